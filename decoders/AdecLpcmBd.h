// Linear PCM of Blu-ray streams: one packet per call, a 4-byte header giving
// size, layout, rate and depth, then big-endian samples with odd layouts
// padded to an even channel count. Output is little-endian in speaker order.
#pragma once

#include "core/Adec.h"

class AdecLpcmBd : public Adec {
public:
    explicit AdecLpcmBd(std::ostream& log) : Adec(log) {}

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;
    bool wantsPrivateHeader() override { return true; }

    // One row of the channel assignment table.
    struct ChannelLayout {
        int outputChannels;       // 0: the assignment is refused
        int codedChannels;        // the stream pads odd layouts to an even count
        uint8_t codedChannel[8];  // coded channel taken for each output channel
        uint32_t mask;
    };
    // The row for a header's channel assignment, or null when refused.
    static const ChannelLayout* channelLayout(int assignment);

private:
    TvStatusLpcm _status;
};
