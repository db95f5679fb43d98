// Linear PCM of DVD-Video and HD-DVD private streams: big-endian 16-bit
// words, or 20- and 24-bit samples packed in pairs of sample frames, to
// little-endian.
#pragma once

#include "core/Adec.h"

class AdecLpcmDvd : public Adec {
public:
    explicit AdecLpcmDvd(std::ostream& log) : Adec(log) {}

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;
    bool wantsPrivateHeader() override { return true; }
    bool parsePacketHeader(const uint8_t** readPtr, const uint8_t* end) override;

private:
    bool parseDvdVideoHeader(const uint8_t** readPtr, const uint8_t* end);
    bool parseHdDvdHeader(const uint8_t** readPtr, const uint8_t* end);
    bool dvdVideoLayouts() const;
    TvStatus* convert20Bit(const uint8_t** readPtr, const uint8_t* end, IMediaSample* dest);

    CMediaType _mediaType;
    TvStatusLpcm _status;
    int _channelAssignment = 0;
    // Audio bytes in the last packet before its first access unit, for the
    // time-stamp correction.
    int32_t _timeStampBytes = 0;
};
