// The remixer's own steps (one channel picked, the matrix upmix, 16-bit
// only) as one table: a mode and a layout in, the channels and speakers out,
// checked against the input channel each output sample must come from.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "config/config.h"
#include "conversion/AudioConv.h"
#include "conversion/remix_parameters.h"
#include "core/status_helpers.h"
#include "support/assertion_guard.h"
#include "support/memory_sample.h"

namespace {

struct SilentHost : RemixHost {
    void setMixType(int, int, uint32_t) override {}
    LibraryFolder moduleFolder() override { return TAVIO_MODULE_DIR "/"; }
};

class Remixer : public ::testing::Test {
protected:
    void SetUp() override
    {
        resetParametersForTesting();
        remixer = new AudioConv(nullptr, &host, &lock);
        remixer->NonDelegatingAddRef();
    }
    void TearDown() override
    {
        remixer->NonDelegatingRelease();
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
        resetParametersForTesting();
    }
    // `frames` frames of `chan` channels whose 16-bit words tell channel and
    // frame apart: 1000 * channel + frame % 1000.
    std::unique_ptr<MemorySample> ramp(int chan, int frames, size_t capacity = 65540)
    {
        auto sample = std::make_unique<MemorySample>(capacity);
        BYTE* p;
        sample->GetPointer(&p);
        auto* words = reinterpret_cast<int16_t*>(p);
        for (int i = 0; i < frames; ++i)
            for (int c = 0; c < chan; ++c)
                words[i * chan + c] = static_cast<int16_t>(1000 * c + i % 1000);
        sample->SetActualDataLength(frames * chan * 2);
        return sample;
    }

    CCritSec lock;
    SilentHost host;
    AudioConv* remixer = nullptr;
};

struct RemixCase {
    const char* name;
    int chan;
    TvSampleType stype;
    unsigned outputMask;
    int down, up, single;
    int frames;
    int outChan;    // 0: the sample is left as it was
    int picked;     // the input channel a one-channel output carries, or -1
    uint32_t mask;  // of the output
    unsigned long assertions;
};

const RemixCase kRemixCases[] = {
    {"LeftOnly", 2, ST16Bit, 0x3, RemixLeftOnly, RemixNone, 0, 1024, 1, 0, 0x4, 0},
    {"RightOnly", 2, ST16Bit, 0x3, RemixRightOnly, RemixNone, 0, 1024, 1, 1, 0x4, 0},
    // Right-only is not converted first: float fails the one-channel step.
    {"RightOnlyOfFloat", 2, STFloat, 0x3, RemixRightOnly, RemixNone, 0, 512, 0, -1, 0, 1},
    {"SingleChannelOfSix", 6, ST16Bit, 0x3, RemixSingleChannel, RemixNone, 2, 100, 1, 2, 0x4, 0},
    {"SingleChannelTheStreamLacks", 6, ST16Bit, 0x3, RemixSingleChannel, RemixNone, 7, 100, 0, -1,
     0, 0},
    {"SameLayoutIsLeftAlone", 2, ST16Bit, 0x3, RemixSingleChannel, RemixNone, 0, 64, 0, -1, 0, 0},
    {"UpmixToFive", 2, ST16Bit, 0x37, RemixNone, RemixProLogicUpmix, 0, 1024, 5, -1, 0x37, 0},
    // The library takes whole blocks of 8 frames, at most 8192 bytes.
    {"UpmixOfOddFrames", 2, ST16Bit, 0x37, RemixNone, RemixProLogicUpmix, 0, 1001, 0, -1, 0, 0},
    {"UpmixOfTooMuch", 2, ST16Bit, 0x37, RemixNone, RemixProLogicUpmix, 0, 4096, 0, -1, 0, 1},
};

class RemixTable : public Remixer, public ::testing::WithParamInterface<RemixCase> {};

TEST_P(RemixTable, ChannelsLandWhereTheModeSays)
{
    const RemixCase& c = GetParam();
    AssertionGuard assertions;
    assertions.expect(c.assertions);
    ASSERT_TRUE(remixer->loadRemixLibrary());
    ASSERT_EQ(remixer->SetOutputConfig(0, c.outputMask), S_OK);
    remixer->SetDownmixType(0, c.down);
    if (c.up == RemixProLogicUpmix) {
        ASSERT_EQ(remixer->SetUpmixType(0, c.up), S_OK);
    }
    remixer->SetSingleChannel(c.single);
    auto sample = ramp(c.chan, c.frames, size_t(c.frames * c.chan * 2) * 3 + 64);
    const std::vector<BYTE> before = sample->data();
    TvStatusLpcm in;
    in.freq = 48000;
    in.chan = c.chan;
    in.stype = c.stype;
    in.samples = c.frames;
    in.channelMask = c.chan == 2 ? 3 : 0;
    TvStatus* out = remixer->process(sample.get(), &in);
    if (c.outChan == 0) {
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(sample->data(), before);
        return;
    }
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->chan, c.outChan);
    EXPECT_EQ(out->channelMask, c.mask);
    ASSERT_EQ(sample->GetActualDataLength(), c.frames * c.outChan * 2);
    if (c.picked >= 0) {
        auto data = sample->data();
        const auto* words = reinterpret_cast<const int16_t*>(data.data());
        for (int i = 0; i < c.frames; ++i)
            ASSERT_EQ(words[i], 1000 * c.picked + i % 1000) << "frame " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Modes,
                         RemixTable,
                         ::testing::ValuesIn(kRemixCases),
                         [](const ::testing::TestParamInfo<RemixCase>& info) {
                             return info.param.name;
                         });

TEST_F(Remixer, UpmixNeedsALoadedLibraryAndATargetWithoutLfe)
{
    remixer->SetOutputConfig(0, 0x37);
    EXPECT_EQ(remixer->SetUpmixType(0, RemixProLogicUpmix), E_FAIL);  // not loaded
    ASSERT_TRUE(remixer->loadRemixLibrary());
    remixer->SetOutputConfig(0, 0x3F);
    EXPECT_EQ(remixer->SetUpmixType(0, RemixProLogicUpmix), E_FAIL);
}

TEST_F(Remixer, SixteenBitOnlyConvertsAndNeverRemixes)
{
    Px16.value = true;
    remixer->SetDownmixType(0, RemixLeftOnly);
    MemorySample sample(64);
    BYTE* p;
    sample.GetPointer(&p);
    const float values[4] = {0.5f, -0.5f, 1.0f, 0.0f};
    std::memcpy(p, values, sizeof values);
    sample.SetActualDataLength(16);
    TvStatusLpcm in;
    in.chan = 2;
    in.stype = STFloat;
    TvStatus* out = remixer->process(&sample, &in);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->stype, ST16Bit);
    EXPECT_EQ(out->chan, 2);
    EXPECT_EQ(sample.data(), (std::vector<BYTE>{0x00, 0x40, 0x01, 0xC0, 0xFF, 0x7F, 0, 0}));
}

// Every layout against every target and mode: the sample's length never
// leaves its buffer (AddressSanitizer sees any write beyond it).
TEST_F(Remixer, EveryLayoutAgainstEveryTargetStaysInTheBuffer)
{
    ASSERT_TRUE(remixer->loadRemixLibrary());
    const TvSampleType types[] = {ST16Bit, ST24Bit, ST32Bit, STFloat};
    for (unsigned mask : {0x0u, 0x4u, 0x3u, 0x37u, 0x3Fu, 0xFFu})
        for (int down : {101, 103, 106, 107})
            for (int chan = 1; chan <= 8; ++chan)
                for (TvSampleType type : types) {
                    remixer->SetOutputConfig(0, mask);
                    remixer->SetDownmixType(0, down);
                    remixer->SetUpmixType(0, RemixProLogicUpmix);
                    remixer->SetSingleChannel(chan - 1);
                    MemorySample sample(4096);
                    sample.SetActualDataLength(64 * chan * byteSize(type));
                    TvStatusLpcm in;
                    in.chan = chan;
                    in.stype = type;
                    in.samples = 64;
                    remixer->process(&sample, &in);
                    ASSERT_LE(sample.GetActualDataLength(), sample.GetSize());
                }
}

}  // namespace
