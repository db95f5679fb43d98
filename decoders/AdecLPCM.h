// Linear PCM of DVD-Audio private streams: big-endian 16-bit words and 24-bit
// samples packed in pairs of sample frames, in the one or two channel groups
// of the stream's channel assignment, to little-endian PCM in speaker order.
#pragma once

#include "core/Adec.h"

class AdecLPCM : public Adec {
public:
    explicit AdecLPCM(std::ostream& log) : Adec(log) {}

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;
    bool wantsPrivateHeader() override { return true; }
    bool parsePacketHeader(const uint8_t** readPtr, const uint8_t* end) override;

    // Time from the packet's first audio byte to its first access unit, in
    // 100 ns units, as the last header gave it. Computed, not applied.
    int64_t firstAccessUnitTime() const { return _firstAccessUnitTime; }

private:
    bool parseDvdAudioHeader(const uint8_t** readPtr, const uint8_t* end);
    bool parseDvdVideoHeader(const uint8_t** readPtr, const uint8_t* end);

    void convert24BitPairs(const uint8_t** readPtr,
                           const uint8_t* end,
                           uint8_t* out,
                           int32_t capacity);
    void putFramesInSpeakerOrder(uint8_t* pcm, int32_t bytes) const;

    CMediaType _mediaType;
    TvStatusLpcm _status;
    void useCodedOrder();

    // Where each coded channel of a frame goes; identity unless the
    // assignment codes the surround pair first.
    uint8_t _slot[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    bool _reordered = false;
    int64_t _firstAccessUnitTime = 0;
};
