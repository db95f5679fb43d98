// The remixer through its control interface and its process step.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "config/config_test_support.h"
#include "conversion/AudioConv.h"
#include "support/memory_sample.h"

namespace {

struct RecordingHost : RemixHost {
    void setMixType(int kind, int type, uint32_t mask) override { calls.push_back({kind, type, mask}); }
    std::string moduleFolder() override { return folder; }
    struct Call {
        int kind, type;
        uint32_t mask;
    };
    std::vector<Call> calls;
    std::string folder = TAVIO_MODULE_DIR "/";
};

class AudioConvTest : public ::testing::Test {
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
    }
    // A sample of `frames` frames of `chan` channels: 16-bit words 1000*c + i.
    MemorySample& fill16(int chan, int frames, size_t capacity = 65540)
    {
        sample = std::make_unique<MemorySample>(capacity);
        BYTE* p;
        sample->GetPointer(&p);
        auto* words = reinterpret_cast<int16_t*>(p);
        for (int i = 0; i < frames; ++i)
            for (int c = 0; c < chan; ++c)
                words[i * chan + c] = static_cast<int16_t>(1000 * c + i % 1000);
        sample->SetActualDataLength(frames * chan * 2);
        return *sample;
    }
    TvStatusLpcm status(int chan, int frames, TvSampleType stype = ST16Bit)
    {
        TvStatusLpcm s;
        s.freq = 48000;
        s.chan = chan;
        s.stype = stype;
        s.samples = frames;
        s.iFrameSize = 1;
        s.channelMask = chan == 2 ? 3 : 0;
        return s;
    }
    std::vector<std::string> assertions()
    {
        std::vector<std::string> out;
        for (const auto& line : log.lines())
            if (line.rfind("error: TvAssert", 0) == 0)
                out.push_back(line);
        return out;
    }

    TempRoot root;
    CapturedLog log{root};
    CCritSec lock;
    RecordingHost host;
    AudioConv* remixer = nullptr;
    std::unique_ptr<MemorySample> sample;
};

TEST_F(AudioConvTest, ConstructionResetsEveryKindAndTellsTheFilter)
{
    for (int kind = 0; kind < 11; ++kind) {
        int up = 0, down = 0;
        ASSERT_EQ(remixer->GetUpmixType(kind, &up), S_OK);
        ASSERT_EQ(remixer->GetDownmixType(kind, &down), S_OK);
        EXPECT_EQ(up, 101);
        EXPECT_EQ(down, 101);
    }
    EXPECT_GE(host.calls.size(), 22u);
    EXPECT_EQ(remixer->GetUpmixType(0, nullptr), E_POINTER);
    int mode;
    EXPECT_EQ(remixer->GetOutputConfig(&mode, nullptr), E_POINTER);
}

TEST_F(AudioConvTest, OutputConfigChecksModeOneAndWipesTheTypes)
{
    remixer->SetDownmixType(9, RemixSingleChannel);
    EXPECT_EQ(remixer->SetOutputConfig(1, 7), E_FAIL);
    int down = 0;
    remixer->GetDownmixType(9, &down);
    EXPECT_EQ(down, RemixSingleChannel);  // unchanged by the refusal
    EXPECT_EQ(remixer->SetOutputConfig(1, 3), S_OK);
    remixer->GetDownmixType(9, &down);
    EXPECT_EQ(down, 101);
    int mode = 0;
    unsigned mask = 0;
    remixer->GetOutputConfig(&mode, &mask);
    EXPECT_EQ(mode, 1);
    EXPECT_EQ(mask, 3u);
}

TEST_F(AudioConvTest, NotificationsDifferBetweenUpmixAndDownmix)
{
    remixer->SetOutputConfig(0, 0x37);
    host.calls.clear();
    remixer->SetDownmixType(9, RemixDecoderDownmix);
    ASSERT_EQ(host.calls.size(), 1u);
    EXPECT_EQ(host.calls[0].kind, 9);
    EXPECT_EQ(host.calls[0].type, RemixDecoderDownmix);
    EXPECT_EQ(host.calls[0].mask, 0x37u);
    host.calls.clear();
    remixer->SetUpmixType(9, RemixNone);  // one kind: stored, nobody told
    EXPECT_TRUE(host.calls.empty());
    remixer->SetDownmixType(0, RemixDecoderSurroundDownmix);
    EXPECT_EQ(host.calls.size(), 11u);
    auto lines = log.lines();
    // The two logs name kind and type in opposite orders.
    EXPECT_NE(std::find(lines.begin(), lines.end(), "AudioConv::SetDownmixType 9 104"), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "AudioConv::SetUpmixType 101 9"), lines.end());
}

TEST_F(AudioConvTest, UpmixSetupNeedsASurroundTargetAndALoadedLibrary)
{
    remixer->SetOutputConfig(0, 0x3F);  // has LFE: refused
    EXPECT_EQ(remixer->SetUpmixType(0, RemixProLogicUpmix), E_FAIL);
    remixer->SetOutputConfig(0, 0x37);
    EXPECT_EQ(remixer->SetUpmixType(0, RemixProLogicUpmix), E_FAIL);  // fresh: not loaded
    ASSERT_TRUE(remixer->loadRemixLibrary());
    remixer->SetOutputConfig(0, 0x37);
    EXPECT_EQ(remixer->SetUpmixType(0, RemixProLogicUpmix), S_OK);
    remixer->SetOutputConfig(0, 0x37);
    EXPECT_EQ(remixer->SetUpmixType(0, RemixProLogicUpmix), S_OK);  // replaces the object
}

TEST_F(AudioConvTest, LeftOnlyKeepsChannelZero)
{
    remixer->SetDownmixType(9, RemixLeftOnly);
    MemorySample& s = fill16(2, 1024);
    TvStatusLpcm in = status(2, 1024);
    TvStatus* out = remixer->process(&s, &in);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(s.GetActualDataLength(), 2048);
    EXPECT_EQ(out->chan, 1);
    EXPECT_EQ(out->channelMask, 4u);
    EXPECT_EQ(out->remixMode, RemixSingleChannel);
    EXPECT_EQ(out->formatId(), 6);
    auto data = s.data();
    auto* words = reinterpret_cast<const int16_t*>(data.data());
    for (int i = 0; i < 1024; ++i)
        ASSERT_EQ(words[i], i % 1000);
}

TEST_F(AudioConvTest, RightOnlyOnFloatIsNotConvertedAndFailsTheTypeCheck)
{
    remixer->SetDownmixType(9, RemixRightOnly);
    MemorySample& s = fill16(2, 512);  // 2048 bytes read as 512 stereo floats
    auto before = s.data();
    TvStatusLpcm in = status(2, 256, STFloat);
    EXPECT_EQ(remixer->process(&s, &in), nullptr);
    EXPECT_EQ(s.data(), before);
    auto failed = assertions();
    ASSERT_FALSE(failed.empty());
    EXPECT_NE(failed[0].find("'status.stype == ST16Bit'"), std::string::npos);
}

TEST_F(AudioConvTest, SingleChannelFromMoreChannelsThanTheTarget)
{
    remixer->SetOutputConfig(0, 0x3);
    remixer->SetDownmixType(9, RemixSingleChannel);
    remixer->SetSingleChannel(2);
    MemorySample& s = fill16(6, 100);
    TvStatusLpcm in = status(6, 100);
    TvStatus* out = remixer->process(&s, &in);
    ASSERT_NE(out, nullptr);
    auto data = s.data();
    ASSERT_EQ(data.size(), 200u);
    EXPECT_EQ(reinterpret_cast<const int16_t*>(data.data())[5], 2005);
    // A channel the stream does not have leaves the buffer alone.
    remixer->SetSingleChannel(7);
    MemorySample& t = fill16(6, 100);
    EXPECT_EQ(remixer->process(&t, &in), nullptr);
    EXPECT_EQ(t.GetActualDataLength(), 1200);
}

TEST_F(AudioConvTest, SixteenBitOnlyModeConvertsAndNeverRemixes)
{
    root.write("Tavio.conf", "x16=1");
    resetParametersForTesting();
    loadParameterFile(root.file("Tavio.conf"));
    remixer->SetDownmixType(9, RemixLeftOnly);
    sample = std::make_unique<MemorySample>(64);
    BYTE* p;
    sample->GetPointer(&p);
    const float values[4] = {0.5f, -0.5f, 1.0f, 0.0f};
    std::memcpy(p, values, sizeof values);
    sample->SetActualDataLength(16);
    TvStatusLpcm in = status(2, 2, STFloat);
    TvStatus* out = remixer->process(sample.get(), &in);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->stype, ST16Bit);
    EXPECT_EQ(out->chan, 2);
    EXPECT_EQ(sample->GetActualDataLength(), 8);
    resetParametersForTesting();
}

TEST_F(AudioConvTest, UpmixThroughTheLoadedLibrary)
{
    ASSERT_TRUE(remixer->loadRemixLibrary());
    remixer->SetOutputConfig(0, 0x37);
    ASSERT_EQ(remixer->SetUpmixType(0, RemixProLogicUpmix), S_OK);
    MemorySample& s = fill16(2, 1024);
    TvStatusLpcm in = status(2, 1024);
    TvStatus* out = remixer->process(&s, &in);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->chan, 5);
    EXPECT_EQ(out->channelMask, 0x37u);
    EXPECT_EQ(out->remixMode, RemixProLogicUpmix);
    EXPECT_EQ(s.GetActualDataLength(), 1024 * 5 * 2);

    // Not a multiple of 8 frames: left as it is.
    MemorySample& odd = fill16(2, 1001);
    TvStatusLpcm oddStatus = status(2, 1001);
    EXPECT_EQ(remixer->process(&odd, &oddStatus), nullptr);
    EXPECT_EQ(odd.GetActualDataLength(), 1001 * 4);

    // More than 8192 input bytes: refused with its assertion.
    MemorySample& big = fill16(2, 4096, 4096 * 10 + 100);
    TvStatusLpcm bigStatus = status(2, 4096);
    EXPECT_EQ(remixer->process(&big, &bigStatus), nullptr);
    bool seen = false;
    for (const auto& line : assertions())
        seen |= line.find("'isize <= 8192'") != std::string::npos;
    EXPECT_TRUE(seen);
}

TEST_F(AudioConvTest, EveryLayoutAgainstEveryTargetWithoutACrash)
{
    ASSERT_TRUE(remixer->loadRemixLibrary());
    const unsigned masks[] = {0, 0x3, 0x4, 0x7, 0xF, 0x33, 0x37, 0x3F, 0x103, 0x107, 0x63F, 0xFF};
    const int downs[] = {101, 103, 104, 106, 107};
    const TvSampleType types[] = {ST16Bit, ST24Bit, ST32Bit, STFloat};
    for (unsigned mask : masks)
        for (int down : downs)
            for (int up : {101, 102})
                for (int chan = 1; chan <= 8; ++chan)
                    for (TvSampleType type : types) {
                        remixer->SetOutputConfig(0, mask);
                        remixer->SetDownmixType(9, down);
                        remixer->SetUpmixType(9, up);
                        remixer->SetSingleChannel(chan - 1);
                        int frames = 64;
                        int bytes = frames * chan * (type == ST16Bit ? 2 : type == ST24Bit ? 3 : 4);
                        sample = std::make_unique<MemorySample>(4096);
                        sample->SetActualDataLength(bytes);
                        TvStatusLpcm in = status(chan, frames, type);
                        TvStatus* out = remixer->process(sample.get(), &in);
                        ASSERT_LE(sample->GetActualDataLength(), sample->GetSize());
                        if (out) {
                            ASSERT_GT(out->chan, 0);
                        }
                    }
}

}  // namespace
