// Helpers on the status record and on channel counts and masks.
#pragma once

#include <cstdint>

#include "core/TvStatus.h"

// Bytes a sample of the record's type occupies (20-bit samples take 3).
int byteSize(const TvStatus& status);
int byteSize(TvSampleType type);
// Bits per sample written as wBitsPerSample and reported as "Bits".
int bitsPerSample(TvSampleType type);
// 8, 20, 24 and 32 map to their types; any other depth is 16-bit.
TvSampleType sampleTypeFromBits(int bits);
// Number of speakers in a mask.
int maskChannelCount(uint32_t mask);
// The mask assumed for a channel count: one channel is front centre, five have
// no LFE; otherwise the lowest n speaker bits. Asserts 1 <= chan <= 8.
uint32_t defaultChannelMask(int chan);
// A record whose mask does not fit its channel count (a plain wave format of
// more than two channels names none; a header that gives only a count leaves
// the format block's) takes the default mask of its count, the one it is
// reported with anyway. Counts outside 1..8 are left alone.
void fitMaskToCount(TvStatus& status);
// The record's mask where it agrees with its channel count, else the default.
uint32_t reportedChannelMask(const TvStatus& status);
// Duration of one frame in 100 ns units (truncated).
int64_t frameDuration(const TvStatus& status);
// Bit rate in kbit/s, estimated from the frame size when unknown, rounded.
int32_t bitRateKbps(const TvStatus& status);
// The text the property page shows for a remix mode ("" for none). Inline:
// hosts that show the page text use it without the streaming core.
inline const char* remixModeText(TvRemixMode mode)
{
    switch (mode) {
        case RemixProLogicUpmix:
            return "prologic upmix";
        case RemixSingleChannel:
            return "single channel";
        case RemixDecoderDownmix:
            return "decoder downmix";
        case RemixDecoderSurroundDownmix:
            return "decoder surround downmix";
        default:
            return "";
    }
}
