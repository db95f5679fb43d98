// The output media type built from a status, and its reduced-bit variants.
#include <gtest/gtest.h>

#include <cstring>

#include "conversion/output_types.h"
#include "platform/media_guids.h"
#include "platform/mmreg.h"

namespace {

WAVEFORMATEXTENSIBLE formatOf(const CMediaType& type)
{
    WAVEFORMATEXTENSIBLE format;
    std::memcpy(&format, type.pbFormat, sizeof format);
    return format;
}

TvStatusLpcm status(int freq, int chan, TvSampleType stype, uint32_t mask = 0, bool spdif = false)
{
    TvStatusLpcm s;
    s.freq = freq;
    s.chan = chan;
    s.stype = stype;
    s.channelMask = mask;
    s.spdif = spdif;
    return s;
}

TEST(OutputTypes, StatusFillsTheExtensibleFormat)
{
    struct Case {
        TvStatusLpcm status;
        GUID subtype;
        WORD tag;
        WORD channels;
        DWORD mask;
        WORD valid;
        WORD bits;
    } cases[] = {
        {status(48000, 2, ST16Bit), MEDIASUBTYPE_PCM, WAVE_FORMAT_EXTENSIBLE, 2, 0x3, 16, 16},
        {status(96000, 6, ST24Bit, 0x3F), MEDIASUBTYPE_PCM, WAVE_FORMAT_EXTENSIBLE, 6, 0x3F, 24, 24},
        {status(48000, 5, ST20Bit), MEDIASUBTYPE_PCM, WAVE_FORMAT_EXTENSIBLE, 5, 0x37, 20, 24},
        {status(44100, 1, STFloat), MEDIASUBTYPE_IEEE_FLOAT, WAVE_FORMAT_EXTENSIBLE, 1, 0x4, 32, 32},
        {status(48000, 6, ST16Bit, 0x3F, true), MEDIASUBTYPE_DOLBY_AC3_SPDIF, WAVE_FORMAT_DOLBY_AC3_SPDIF, 2, 0x3,
         16, 16},
    };
    for (const Case& c : cases) {
        CMediaType type = initialOutputType();
        EXPECT_TRUE(updateTypeFromStatus(type, c.status));
        EXPECT_FALSE(updateTypeFromStatus(type, c.status));  // nothing new the second time
        WAVEFORMATEXTENSIBLE f = formatOf(type);
        EXPECT_TRUE(IsEqualGUID(type.subtype, c.subtype));
        EXPECT_EQ(f.Format.wFormatTag, c.tag);
        EXPECT_EQ(f.Format.nChannels, c.channels);
        EXPECT_EQ(f.dwChannelMask, c.mask);
        EXPECT_EQ(f.Samples.wValidBitsPerSample, c.valid);
        EXPECT_EQ(f.Format.wBitsPerSample, c.bits);
        EXPECT_EQ(f.Format.nBlockAlign, c.bits / 8 * c.channels);
        EXPECT_EQ(f.Format.nAvgBytesPerSec, f.Format.nBlockAlign * f.Format.nSamplesPerSec);
        EXPECT_TRUE(IsEqualGUID(f.SubFormat, IsEqualGUID(c.subtype, MEDIASUBTYPE_IEEE_FLOAT)
                                                 ? KSDATAFORMAT_SUBTYPE_IEEE_FLOAT
                                                 : KSDATAFORMAT_SUBTYPE_PCM));
    }
}

TEST(OutputTypes, FewerBitsNeverMore)
{
    CMediaType floatType = initialOutputType();
    updateTypeFromStatus(floatType, status(48000, 2, STFloat));
    CMediaType int32 = typeWithBits(floatType, 32);
    EXPECT_TRUE(IsEqualGUID(int32.subtype, MEDIASUBTYPE_PCM));
    EXPECT_EQ(formatOf(int32).Format.wBitsPerSample, 32);
    EXPECT_TRUE(IsEqualGUID(formatOf(int32).SubFormat, KSDATAFORMAT_SUBTYPE_PCM));
    CMediaType int16 = typeWithBits(floatType, 16);
    EXPECT_EQ(formatOf(int16).Format.wBitsPerSample, 16);
    EXPECT_EQ(formatOf(int16).Samples.wValidBitsPerSample, 16);
    EXPECT_EQ(formatOf(int16).Format.nBlockAlign, 4);

    CMediaType sixteen = initialOutputType();
    updateTypeFromStatus(sixteen, status(48000, 2, ST16Bit));
    EXPECT_EQ(formatOf(typeWithBits(sixteen, 32)).Format.wBitsPerSample, 16);

    CMediaType spdif = initialOutputType();
    updateTypeFromStatus(spdif, status(48000, 6, ST16Bit, 0, true));
    EXPECT_EQ(typeWithBits(spdif, 16), spdif);
    EXPECT_TRUE(IsEqualGUID(typeWithBits(spdif, 16).subtype, MEDIASUBTYPE_DOLBY_AC3_SPDIF));
}

}  // namespace
