// An AC-3 stream through the whole filter, and the DVD karaoke property.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>

#include <cstring>

#include "filter/karaoke_mode.h"
#include "support/ac3_tools.h"
#include "support/filter_harness.h"
#include "support/wave_type.h"

namespace {

CMediaType ac3Type()
{
    return waveFormatType(&MEDIATYPE_Audio, &MEDIASUBTYPE_DOLBY_AC3,
                          WAVEFORMATEX{0x2000, 6, 48000, 0, 0, 0, 0});
}

TEST(KaraokeMode, FromDownmixBitsAndSpeakerAssignment)
{
    struct Case {
        DWORD downmix, assignment;
        int mode;
    } cases[] = {
        {0x0004, 4, 1}, {0x0000, 4, 0}, {0x0008, 5, 1},  {0x0004, 5, 0},  {0x0004, 6, 1},
        {0x0804, 6, 3}, {0x0800, 6, 2}, {0x1000, 6, 0},  {0x0008, 7, 1},  {0x1008, 7, 3},
        {0x1000, 7, 2}, {0x0804, 7, 0}, {0xFFFF, 2, -1}, {0xFFFF, 3, -1}, {0xFFFF, 8, -1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(karaokeMode({c.downmix, c.assignment}), c.mode)
            << std::hex << c.downmix << " " << c.assignment;
}

class Ac3Filter : public FilterHarness {
protected:
    void SetUp() override { createFilter(); }
};

TEST_F(Ac3Filter, KaraokePropertySet)
{
    IKsPropertySet* properties = nullptr;
    ASSERT_EQ(filter->QueryInterface(IID_IKsPropertySet, reinterpret_cast<void**>(&properties)),
              S_OK);
    DWORD support = 0;
    EXPECT_EQ(properties->QuerySupported(AM_KSPROPSETID_DvdKaraoke, AM_PROPERTY_DVDKARAOKE_DATA,
                                         &support),
              S_OK);
    EXPECT_EQ(support, DWORD(KSPROPERTY_SUPPORT_SET));
    EXPECT_EQ(properties->QuerySupported(AM_KSPROPSETID_DvdKaraoke, 9, &support),
              E_PROP_ID_UNSUPPORTED);
    EXPECT_EQ(properties->QuerySupported(IID_IKsPropertySet, 0, &support), E_PROP_SET_UNSUPPORTED);
    AM_DvdKaraokeData data{0x0804, 6};
    EXPECT_EQ(properties->Set(AM_KSPROPSETID_DvdKaraoke, AM_PROPERTY_DVDKARAOKE_DATA, nullptr, 0,
                              &data, 4),
              E_INVALIDARG);
    // Before a type is set there is no AC-3 decoder to tell: accepted, no effect.
    EXPECT_EQ(properties->Set(AM_KSPROPSETID_DvdKaraoke, AM_PROPERTY_DVDKARAOKE_DATA, nullptr, 0,
                              &data, sizeof data),
              S_OK);
    EXPECT_EQ(properties->Get(AM_KSPROPSETID_DvdKaraoke, AM_PROPERTY_DVDKARAOKE_DATA, nullptr, 0,
                              &data, sizeof data, &support),
              E_PROP_ID_UNSUPPORTED);
    properties->Release();
}

TEST_F(Ac3Filter, TheInputPinAnswersForThePropertySet)
{
    IKsPropertySet* fromFilter = nullptr;
    IKsPropertySet* fromPin = nullptr;
    ASSERT_EQ(filter->QueryInterface(IID_IKsPropertySet, reinterpret_cast<void**>(&fromFilter)), S_OK);
    ASSERT_EQ(filter->inputPin()->QueryInterface(IID_IKsPropertySet, reinterpret_cast<void**>(&fromPin)),
              S_OK);
    EXPECT_EQ(fromPin, fromFilter);
    fromPin->Release();
    fromFilter->Release();
    EXPECT_EQ(filter->inputPin()->NonDelegatingQueryInterface(IID_IKsPropertySet, nullptr), E_POINTER);
    // The output pin is not asked for it.
    void* none = nullptr;
    EXPECT_EQ(filter->outputPin()->QueryInterface(IID_IKsPropertySet, &none), E_NOINTERFACE);
}

// The stream decoded through the pins equals ffmpeg's decode, and the
// karaoke mode set through the property reaches the AC-3 status. With
// TvEac3Dec.dll beside the module the decoder is AdecDDPlus, whose float
// output is libavcodec's own float decode.
TEST_F(Ac3Filter, DecodesThroughThePinsAndTakesTheKaraokeMode)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("s.ac3");
    ASSERT_TRUE(makeAc3Stream(path, encodableLayouts().back(), 48000, 384, 0.5));
    build(ac3Type());
    // A DVD navigator asks the input pin, not the filter, for the property.
    IKsPropertySet* properties = nullptr;
    ASSERT_EQ(filter->inputPin()->QueryInterface(IID_IKsPropertySet, reinterpret_cast<void**>(&properties)),
              S_OK);
    AM_DvdKaraokeData data{0x1008, 7};
    ASSERT_EQ(properties->Set(AM_KSPROPSETID_DvdKaraoke, AM_PROPERTY_DVDKARAOKE_DATA, nullptr, 0, &data,
                              sizeof data),
              S_OK);
    properties->Release();
    pushInPieces(readBytes(path), 1000);
    // The float frames reach a 16-bit connection as 32-bit integers.
    std::vector<uint8_t> referenceBytes =
        commandOutput("ffmpeg -v error -i " + path + " -f s32le -");
    std::vector<uint8_t> outputBytes = output();
    ASSERT_EQ(outputBytes.size(), referenceBytes.size());
    std::vector<int32_t> ours(outputBytes.size() / 4), reference(ours.size());
    std::memcpy(ours.data(), outputBytes.data(), outputBytes.size());
    std::memcpy(reference.data(), referenceBytes.data(), referenceBytes.size());
    int64_t maxDiff = 0;
    for (size_t i = 0; i < ours.size(); ++i)
        maxDiff = std::max(maxDiff, std::abs(int64_t(ours[i]) - reference[i]));
    std::cout << "[ diff ] largest difference to ffmpeg's decode: " << double(maxDiff) / 65536
              << " LSB at 16 bits" << std::endl;
    EXPECT_LE(maxDiff, 65536);
    TvStatus* status = filter->inputStatus();
    ASSERT_NE(status, nullptr);
    ASSERT_EQ(status->formatId(), KindAc3);
    EXPECT_EQ(static_cast<TvStatusAc3*>(status)->karaoke, 3);
    EXPECT_EQ(status->channelMask, 0x3Fu);
    EXPECT_EQ(status->stype, STFloat);
    delete status;
}

}  // namespace
