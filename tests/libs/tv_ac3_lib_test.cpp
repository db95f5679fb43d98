// TvAc3Lib.dll through its exported object, against ffmpeg's decode of the
// same streams: channel routing for every encodable layout, the A/52
// downmixes, parameters and bad frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "libs/TvAc3Lib/ac3_mix.h"
#include "libs/TvAc3Lib/tv_ac3_lib.h"
#include "platform/windows_api.h"
#include "support/ac3_tools.h"
#include "support/library_object.h"

namespace {

// The routing rows AdecDolby sends, per output acmod (3/2 with LFE apart).
constexpr int32_t kRows[8][6] = {
    {0, 3, 1, 4, 5, 2}, {2, 0, 3, 4, 5, 1}, {0, 3, 1, 4, 5, 2}, {0, 1, 2, 4, 5, 3},
    {0, 4, 1, 2, 5, 3}, {0, 1, 2, 3, 5, 4}, {0, 5, 1, 2, 3, 4}, {0, 2, 1, 3, 4, 5},
};
constexpr int32_t kRow3F2RLfe[6] = {0, 2, 1, 4, 5, 3};

class Library : public LibraryObject<TvAc3Decoder> {
public:
    Library() : LibraryObject(TAVIO_MODULE_DIR "/TvAc3Lib.dll") {}

    int set(int number, int32_t value) { return decoder_->SetParam(number, &value); }
    int32_t get(int number)
    {
        int32_t value = -99;
        decoder_->GetParam(number, &value);
        return value;
    }

    // Decodes every frame into `mode` (an acmod) with or without LFE, routed
    // by the standard row; the interleaved output of all frames.
    std::vector<int16_t> decode(const std::vector<std::vector<uint8_t>>& frames, int mode, bool lfe)
    {
        decoder_->Reset();
        set(kAc3OutputLfe, lfe);
        decoder_->SetParam(kAc3Routing, mode == 7 && lfe ? kRow3F2RLfe : kRows[mode]);
        set(kAc3OutputMode, mode);
        int channels = maskChannels(mode, lfe);
        std::vector<int16_t> pcm;
        for (const auto& frame : frames) {
            std::vector<uint16_t> words(frame.size() / 2);
            for (size_t i = 0; i < words.size(); ++i)
                words[i] = uint16_t(frame[2 * i] << 8 | frame[2 * i + 1]);
            std::vector<int16_t> out(kAc3MaxOutputBytes / 2);
            if (decoder_->Decode(words.data(), out.data()) != 0)
                ADD_FAILURE() << "frame refused";
            pcm.insert(pcm.end(), out.begin(), out.begin() + 1536 * channels);
        }
        return pcm;
    }

    static int maskChannels(int mode, bool lfe)
    {
        static constexpr int counts[8] = {2, 1, 2, 3, 3, 4, 4, 5};
        return counts[mode] + (lfe ? 1 : 0);
    }
};

std::vector<int16_t> ffmpegDecode(const std::string& path)
{
    return asSamples(commandOutput("ffmpeg -v error -i " + path + " -f s16le -"));
}

class Ac3Routing : public ::testing::TestWithParam<Ac3Layout> {};

// Each tone comes out at the WAVE position of its speaker, and the whole
// output equals ffmpeg's decode.
TEST_P(Ac3Routing, StandardRowsGiveWaveOrderAndMatchFfmpeg)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const Ac3Layout& layout = GetParam();
    TempFolder folder;
    std::string path = folder.file("tones.ac3");
    ASSERT_TRUE(makeAc3Stream(path, layout));
    Library library;
    ASSERT_TRUE(library);
    std::vector<int16_t> ours =
        library.decode(splitAc3Frames(readBytes(path)), layout.acmod, layout.lfe);
    if (layout.encodedAs.empty()) {
        std::vector<int16_t> reference = ffmpegDecode(path);
        ASSERT_EQ(ours.size(), reference.size());
        double snr = snrDb(reference, ours);
        std::cout << "[ snr ] " << layoutName(layout) << ": " << snr << " dB" << std::endl;
        EXPECT_GE(snr, 90.0);
    }

    int channels = int(layout.speakers.size());
    for (int position = 0; position < channels; ++position) {
        const std::string& expected = layout.speakers[position];
        double wanted = tonePower(ours, channels, position, speakerTone(expected), 48000);
        for (const auto& other : layout.speakers) {
            if (other == expected)
                continue;
            EXPECT_GT(wanted, 100 * tonePower(ours, channels, position, speakerTone(other), 48000))
                << "position " << position << " should carry " << expected << ", has " << other;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryLayout,
                         Ac3Routing,
                         ::testing::ValuesIn(encodableLayouts()),
                         [](const auto& info) { return layoutName(info.param); });

// cmixlev and surmixlev of a 3/2 frame, read here from the bits (A/52 5.4.2).
void streamMixLevels(const std::vector<uint8_t>& frame, double& centre, double& surround)
{
    static const double centreLevels[4] = {0.707107, 0.594604, 0.5, 0.594604};
    static const double surroundLevels[4] = {0.707107, 0.5, 0, 0.5};
    int acmodAndLevels = (frame[6] << 8 | frame[7]) >> 5;  // acmod(3) cmixlev(2) surmixlev(2) ...
    centre = centreLevels[(acmodAndLevels >> 6) & 3];
    surround = surroundLevels[(acmodAndLevels >> 4) & 3];
}

// 3/2+LFE to Lo/Ro (mode 2) and to Lt/Rt (mode 0), against the A/52 7.8
// equations applied here to ffmpeg's six-channel float decode.
TEST(Ac3Downmix, StereoAndSurroundCompatibleMatchTheA52Equations)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("surround.ac3");
    ASSERT_TRUE(makeAc3Stream(path, encodableLayouts().back()));
    auto frames = splitAc3Frames(readBytes(path));
    double clev, slev;
    streamMixLevels(frames[0], clev, slev);
    EXPECT_NE(clev, 0.707107) << "the encoder's default levels make the stream's own levels matter";
    std::vector<float> six = asFloats(commandOutput("ffmpeg -v error -i " + path + " -f f32le -"));
    Library library;
    ASSERT_TRUE(library);

    for (int mode : {2, 0}) {
        std::vector<int16_t> ours = library.decode(frames, mode, false);
        std::vector<int16_t> expected;
        for (size_t n = 0; n + 6 <= six.size(); n += 6) {
            double L = six[n], R = six[n + 1], C = six[n + 2], Ls = six[n + 4], Rs = six[n + 5];
            double left, right, norm;
            if (mode == 2) {
                left = L + clev * C + slev * Ls;
                right = R + clev * C + slev * Rs;
                norm = 1 + clev + slev;
            } else {
                left = L + 0.707107 * C - 0.707107 * (Ls + Rs);
                right = R + 0.707107 * C + 0.707107 * (Ls + Rs);
                norm = 1 + 3 * 0.707107;
            }
            for (double v : {left / norm, right / norm})
                expected.push_back(int16_t(std::clamp(std::lrint(v * 32768), -32768L, 32767L)));
        }
        ASSERT_EQ(ours.size(), expected.size());
        int worst = 0;
        for (size_t i = 0; i < ours.size(); ++i)
            worst = std::max(worst, std::abs(ours[i] - expected[i]));
        std::cout << "[ downmix ] mode " << mode << ": max error " << worst << " LSB, SNR "
                  << snrDb(expected, ours) << " dB" << std::endl;
        EXPECT_LE(worst, 1) << "mode " << mode;
    }
}

// Matrices a hand can check: folds of missing speakers, karaoke vocals,
// dual-mono choices, overload scaling.
TEST(Ac3Downmix, MatrixCases)
{
    Ac3FrameInfo surround{8, 0, 7, true, 0.5f, 0.5f};
    Ac3FrameInfo karaoke{8, 7, 7, false, 0.5f, 0.5f};
    Ac3FrameInfo dual{8, 0, 0, false, 0.707f, 0.707f};
    Ac3FrameInfo threeOne{8, 0, 5, false, 0.5f, 0.5f};
    struct Case {
        const char* what;
        Ac3FrameInfo frame;
        Ac3MixRequest request;
        int out, in;
        float coefficient;
    } cases[] = {
        {"same layout passes", surround, {7, true, 0, 0}, kSpeakerLs, kSpeakerLs, 1.0f},
        {"LFE kept", surround, {7, true, 0, 0}, kSpeakerLfe, kSpeakerLfe, 1.0f},
        {"LFE not mixed", surround, {2, false, 0, 0}, kSpeakerL, kSpeakerLfe, 0.0f},
        {"centre to left at cmixlev",
         surround,
         {2, false, 0, 0},
         kSpeakerL,
         kSpeakerC,
         0.5f / 2.0f},
        {"3/2 to 2/1: Ls into S",
         surround,
         {4, false, 0, 0},
         kSpeakerS,
         kSpeakerLs,
         0.70710678f / 1.5f},
        {"3/1 to 2/2: S spread",
         threeOne,
         {6, false, 0, 0},
         kSpeakerLs,
         kSpeakerS,
         0.70710678f / 1.5f},
        {"mono sums Lo and Ro", surround, {1, false, 0, 0}, kSpeakerC, kSpeakerC, 1.0f / 4.0f},
        {"mono LFE keeps its level", surround, {1, true, 0, 0}, kSpeakerLfe, kSpeakerLfe, 1.0f},
        {"Lt/Rt surround negative left",
         surround,
         {0, false, 0, 0},
         kSpeakerL,
         kSpeakerRs,
         -0.70710678f / 3.1213203f},
        {"karaoke: V1 muted in mode 0", karaoke, {7, false, 0, 0}, kSpeakerLs, kSpeakerLs, 0.0f},
        {"karaoke: V1 kept in mode 1", karaoke, {7, false, 1, 0}, kSpeakerLs, kSpeakerLs, 1.0f},
        {"karaoke: V2 kept in mode 3", karaoke, {7, false, 3, 0}, kSpeakerRs, kSpeakerRs, 1.0f},
        {"dual mono Ch1 on both", dual, {2, false, 0, 1}, kSpeakerR, kSpeakerL, 1.0f},
        {"dual mono Ch2 on both", dual, {2, false, 0, 2}, kSpeakerL, kSpeakerR, 1.0f},
        {"dual mono mix", dual, {2, false, 0, 3}, kSpeakerL, kSpeakerR, 0.5f},
    };
    for (const Case& c : cases)
        EXPECT_NEAR(mixMatrix(c.frame, c.request)[c.out][c.in], c.coefficient, 1e-5) << c.what;
}

TEST(Ac3Library, ParametersAreCheckedAndReadBack)
{
    Library library;
    ASSERT_TRUE(library);
    struct Case {
        int number;
        int32_t value;
        bool accepted;
    } cases[] = {
        {kAc3DynamicRangeMode, 0, true},
        {kAc3DynamicRangeMode, 3, false},
        {kAc3DynamicRangeScale, 64, true},
        {kAc3DynamicRangeScale, 129, false},
        {kAc3DialogueTarget, -31, true},
        {kAc3DialogueTarget, 1, false},
        {kAc3BoostScale, 0, true},
        {kAc3KaraokeMode, 3, true},
        {kAc3KaraokeMode, 4, false},
        {kAc3DualMonoMode, 2, true},
        {kAc3OutputMode, 8, false},
        {kAc3OutputLfe, 2, false},
        {7, 0, false},
        {11, 0, false},
    };
    for (const Case& c : cases) {
        int32_t before = library.get(c.number);
        EXPECT_EQ(library.set(c.number, c.value) == 0, c.accepted) << c.number << "=" << c.value;
        EXPECT_EQ(library.get(c.number), c.accepted ? c.value : before) << c.number;
    }
    const int32_t badRow[6] = {0, 1, 2, 3, 4, 6};
    EXPECT_NE(library->SetParam(kAc3Routing, badRow), 0);
}

TEST(Ac3Library, BadFramesAreRefused)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("stereo.ac3");
    ASSERT_TRUE(makeAc3Stream(path, encodableLayouts()[2]));
    std::vector<uint8_t> good = splitAc3Frames(readBytes(path))[1];
    auto swapped = [](std::vector<uint8_t> frame) {
        std::vector<uint16_t> words(kAc3MaxFrameBytes / 2);
        for (size_t i = 0; i + 1 < frame.size() && i / 2 < words.size(); i += 2)
            words[i / 2] = uint16_t(frame[i] << 8 | frame[i + 1]);
        return words;
    };
    std::vector<uint8_t> noSync = good, reservedRate = good, corrupt = good, eac3 = good;
    noSync[0] = 0;
    reservedRate[4] |= 0xC0;
    corrupt[good.size() / 2] ^= 0x55;
    eac3[5] = uint8_t(16 << 3);
    Library library;
    ASSERT_TRUE(library);
    library.set(kAc3OutputMode, 2);
    library.set(kAc3OutputLfe, 0);
    std::vector<int16_t> out(kAc3MaxOutputBytes / 2);
    EXPECT_EQ(library->Decode(swapped(good).data(), out.data()), 0);
    for (const auto* bad : {&noSync, &reservedRate, &corrupt, &eac3})
        EXPECT_NE(library->Decode(swapped(*bad).data(), out.data()), 0);
    EXPECT_NE(library->Decode(nullptr, out.data()), 0);
    // After refusals the next good frame decodes again.
    EXPECT_EQ(library->Decode(swapped(good).data(), out.data()), 0);
}

}  // namespace
