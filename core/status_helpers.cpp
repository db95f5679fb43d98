#define TV_ASSERT_SOURCE "util"  // assertion lines name the helpers' common source
#include "core/status_helpers.h"

#include <bit>

#include "diagnostics/assertions.h"

namespace {

struct SampleTypeInfo {
    int bits;
    int bytes;
};

// Indexed by TvSampleType. Uninitialised reads as 16-bit so that arithmetic on
// a fresh record stays defined.
constexpr SampleTypeInfo sampleTypes[] = {
    {16, 2}, {16, 2}, {8, 1}, {20, 3}, {24, 3}, {32, 4}, {32, 4}, {64, 8},
};

const SampleTypeInfo& infoOf(TvSampleType type)
{
    auto index = static_cast<uint32_t>(type);
    // clang-format off
    if (!TvAssert(index < sizeof sampleTypes / sizeof sampleTypes[0]))
        // clang-format on
        return sampleTypes[0];
    return sampleTypes[index];
}

}  // namespace

int byteSize(TvSampleType type)
{
    return infoOf(type).bytes;
}
int byteSize(const TvStatus& status)
{
    return byteSize(status.stype);
}
int bitsPerSample(TvSampleType type)
{
    return infoOf(type).bits;
}

TvSampleType sampleTypeFromBits(int bits)
{
    switch (bits) {
        case 8:
            return ST8Bit;
        case 20:
            return ST20Bit;
        case 24:
            return ST24Bit;
        case 32:
            return ST32Bit;
        default:
            return ST16Bit;
    }
}

int maskChannelCount(uint32_t mask)
{
    return std::popcount(mask);
}

uint32_t defaultChannelMask(int chan)
{
    // clang-format off
    TvAssert(chan>0 && chan <= 8);
    // clang-format on
    if (chan == 1)
        return 0x4;
    if (chan == 5)
        return 0x37;
    // The lowest `chan` bits; counts outside 1..8 are clamped so the shift stays defined.
    int shift = 8 - chan;
    if (shift < 0)
        shift = 0;
    if (shift > 8)
        shift = 8;
    return 0xFFu >> shift;
}

void fitMaskToCount(TvStatus& status)
{
    if (status.chan > 0 && status.chan <= 8)
        status.channelMask = reportedChannelMask(status);
}

uint32_t reportedChannelMask(const TvStatus& status)
{
    if (status.channelMask != 0 && maskChannelCount(status.channelMask) == status.chan)
        return status.channelMask;
    return defaultChannelMask(status.chan);
}

int64_t frameDuration(const TvStatus& status)
{
    if (status.freq <= 0)
        return 0;
    return int64_t(status.samples) * 10000000 / status.freq;
}

int32_t bitRateKbps(const TvStatus& status)
{
    int64_t bitRate = status.bitRate;
    if (bitRate == 0 && status.samples != 0)
        bitRate = int64_t(status.freq) * status.iFrameSize * 8 / status.samples;
    return static_cast<int32_t>((bitRate + 500) / 1000);
}
