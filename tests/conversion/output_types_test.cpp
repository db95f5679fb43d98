// The output media type made from a decoder's status, and the smaller
// integer types offered beside it: one row per stream, format fields
// computed from the row rather than copied.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "conversion/output_types.h"
#include "platform/media_guids.h"
#include "platform/mmreg.h"

namespace {

WAVEFORMATEXTENSIBLE formatOf(const CMediaType& type)
{
    WAVEFORMATEXTENSIBLE format{};
    std::memcpy(&format, type.pbFormat, std::min<size_t>(type.cbFormat, sizeof format));
    return format;
}

struct TypeCase {
    int freq, chan;
    TvSampleType stype;
    uint32_t statusMask;
    bool spdif;
    GUID subtype;
    WORD tag, channels;
    DWORD mask;
    WORD valid, bits;
    WORD bitsAt32, bitsAt16;  // of typeWithBits(type, 32) and (type, 16)
};

const TypeCase kTypes[] = {
    {48000, 2, ST16Bit, 0, false, MEDIASUBTYPE_PCM, WAVE_FORMAT_EXTENSIBLE, 2, 0x3, 16, 16, 16, 16},
    {96000, 6, ST24Bit, 0x3F, false, MEDIASUBTYPE_PCM, WAVE_FORMAT_EXTENSIBLE, 6, 0x3F, 24, 24, 24,
     16},
    {48000, 5, ST20Bit, 0, false, MEDIASUBTYPE_PCM, WAVE_FORMAT_EXTENSIBLE, 5, 0x37, 20, 24, 24,
     16},
    {44100, 1, STFloat, 0, false, MEDIASUBTYPE_IEEE_FLOAT, WAVE_FORMAT_EXTENSIBLE, 1, 0x4, 32, 32,
     32, 16},
    {48000, 6, ST16Bit, 0x3F, true, MEDIASUBTYPE_DOLBY_AC3_SPDIF, WAVE_FORMAT_DOLBY_AC3_SPDIF, 2,
     0x3, 16, 16, 16, 16},
};

TEST(OutputTypes, StatusFillsTheFormatAndTheSmallerOffers)
{
    for (const TypeCase& c : kTypes) {
        SCOPED_TRACE(std::to_string(c.chan) + " channels, sample type " + std::to_string(c.stype));
        TvStatusLpcm s;
        s.freq = c.freq;
        s.chan = c.chan;
        s.stype = c.stype;
        s.channelMask = c.statusMask;
        s.spdif = c.spdif;
        CMediaType type = initialOutputType();
        EXPECT_TRUE(updateTypeFromStatus(type, s));
        EXPECT_FALSE(updateTypeFromStatus(type, s));  // nothing new the second time
        WAVEFORMATEXTENSIBLE f = formatOf(type);
        EXPECT_TRUE(IsEqualGUID(type.subtype, c.subtype));
        EXPECT_EQ(f.Format.wFormatTag, c.tag);
        EXPECT_EQ(f.Format.nChannels, c.channels);
        EXPECT_EQ(f.Format.nSamplesPerSec, DWORD(c.freq));
        EXPECT_EQ(f.Format.wBitsPerSample, c.bits);
        EXPECT_EQ(f.Format.nBlockAlign, c.bits / 8 * c.channels);
        EXPECT_EQ(f.Format.nAvgBytesPerSec, DWORD(c.freq) * f.Format.nBlockAlign);
        if (c.spdif)
            continue;
        EXPECT_EQ(f.dwChannelMask, c.mask);
        EXPECT_EQ(f.Samples.wValidBitsPerSample, c.valid);
        for (auto [bits, expected] : {std::pair{32, c.bitsAt32}, std::pair{16, c.bitsAt16}}) {
            WAVEFORMATEXTENSIBLE smaller = formatOf(typeWithBits(type, bits));
            EXPECT_EQ(smaller.Format.wBitsPerSample, expected) << bits;
            EXPECT_EQ(smaller.Format.nBlockAlign, expected / 8 * c.channels) << bits;
            EXPECT_TRUE(IsEqualGUID(smaller.SubFormat, KSDATAFORMAT_SUBTYPE_PCM)) << bits;
        }
    }
}

}  // namespace
