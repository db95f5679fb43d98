// TvAc3Lib.dll through its exported object, for what the decoder-level table
// does not reach: the A/52 downmixes against ffmpeg's six channels, the mix
// matrices of karaoke and dual mono, and refused frames. Routing at every
// layout is compared with ffmpeg by the decoder suite.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "decoders/ac3_header.h"
#include "libs/TvAc3Lib/ac3_mix.h"
#include "libs/TvAc3Lib/tv_ac3_lib.h"
#include "platform/windows_api.h"
#include "support/ffmpeg.h"
#include "support/library_object.h"
#include "support/pcm.h"

namespace {

class Library : public LibraryObject<TvAc3Decoder> {
public:
    Library() : LibraryObject(TAVIO_MODULE_DIR "/TvAc3Lib.dll") {}

    int set(int number, int32_t value) { return decoder_->SetParam(number, &value); }
    // Decode's input: the frame as 16-bit words in the machine's order.
    static std::vector<uint16_t> words(const std::vector<uint8_t>& frame)
    {
        std::vector<uint16_t> w(kAc3MaxFrameBytes / 2);
        for (size_t i = 0; i + 1 < frame.size() && i / 2 < w.size(); i += 2)
            w[i / 2] = uint16_t(frame[i] << 8 | frame[i + 1]);
        return w;
    }
    int decode(const std::vector<uint16_t>& frame, std::vector<int16_t>& pcm)
    {
        std::vector<int16_t> out(kAc3MaxOutputBytes / 2);
        int result = decoder_->Decode(frame.data(), out.data());
        pcm.insert(pcm.end(), out.begin(), out.begin() + 1536 * 2);
        return result;
    }
};

// A second of 5.1 tones as AC-3 in `folder`, cut into its frames.
std::vector<std::vector<uint8_t>> surroundFrames(const TempFolder& folder)
{
    std::string path = folder.file("surround.ac3");
    EXPECT_TRUE(
        encodeTones(path, {"FL+FR+FC+LFE+BL+BR", 48000, 1.0, 0.5}, "-c:a ac3 -b:a 384k -f ac3"));
    std::vector<uint8_t> stream = readBytes(path);
    std::vector<std::vector<uint8_t>> frames;
    Ac3Header header;
    for (size_t at = 0; at + 8 <= stream.size() &&
                        parseAc3Header(&stream[at], stream.size() - at, header) && header.complete;
         at += header.frameSize)
        frames.emplace_back(stream.begin() + long(at),
                            stream.begin() + long(at + header.frameSize));
    return frames;
}

// 3/2+LFE to Lo/Ro (mode 2) and Lt/Rt (mode 0): the A/52 7.8 equations with
// the stream's own mix levels, applied to ffmpeg's six-channel float decode.
TEST(Ac3Library, DownmixesFollowTheA52Equations)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    auto frames = surroundFrames(folder);
    ASSERT_FALSE(frames.empty());
    Ac3Header header;
    ASSERT_TRUE(parseAc3Header(frames[0].data(), frames[0].size(), header));
    const double centreLevels[4] = {0.707107, 0.594604, 0.5, 0.594604};
    const double surroundLevels[4] = {0.707107, 0.5, 0, 0.5};
    double clev = centreLevels[header.cmixlev], slev = surroundLevels[header.surmixlev];
    ASSERT_NE(header.cmixlev, 0) << "the stream's own levels must differ from the default";
    std::vector<double> six =
        samplesOf(referenceDecode(folder.file("surround.ac3"), "f32le"), SampleFormat::F32);
    Library library;
    ASSERT_TRUE(library);
    for (int mode : {2, 0}) {
        const int32_t row[6] = {0, 3, 1, 4, 5, 2};
        library->Reset();
        library.set(kAc3OutputLfe, 0);
        library->SetParam(kAc3Routing, row);
        library.set(kAc3OutputMode, mode);
        std::vector<int16_t> ours;
        for (const auto& frame : frames)
            ASSERT_EQ(library.decode(Library::words(frame), ours), 0);
        std::vector<int16_t> expected;
        for (size_t n = 0; n + 6 <= six.size(); n += 6) {
            double L = six[n], R = six[n + 1], C = six[n + 2], Ls = six[n + 4], Rs = six[n + 5];
            const double k = 0.707107;
            bool loRo = mode == 2;
            double c = loRo ? clev : k, norm = loRo ? 1 + clev + slev : 1 + 3 * k;
            double left = L + c * C + (loRo ? slev * Ls : -k * (Ls + Rs));
            double right = R + c * C + (loRo ? slev * Rs : k * (Ls + Rs));
            for (double v : {left / norm, right / norm})
                expected.push_back(int16_t(std::clamp(std::lrint(v * 32768), -32768L, 32767L)));
        }
        ASSERT_EQ(ours.size(), expected.size());
        for (size_t i = 0; i < ours.size(); ++i)
            ASSERT_LE(std::abs(ours[i] - expected[i]), 1) << "mode " << mode << " sample " << i;
    }
}

// Matrices a hand can check where the downmix test above does not reach:
// folds of missing speakers, karaoke vocals, dual-mono choices, mono.
TEST(Ac3Library, MixMatrices)
{
    Ac3FrameInfo surround{8, 0, 7, true, 0.5f, 0.5f}, karaoke{8, 7, 7, false, 0.5f, 0.5f};
    Ac3FrameInfo dual{8, 0, 0, false, 0.707f, 0.707f}, threeOne{8, 0, 5, false, 0.5f, 0.5f};
    const float kRoot = 0.70710678f;
    struct Row {
        const char* what;
        Ac3FrameInfo frame;
        Ac3MixRequest request;
        int out, in;
        float coefficient;
    } rows[] = {
        // clang-format off
        {"3/2 to 2/1: Ls into S", surround, {4, false, 0, 0}, kSpeakerS, kSpeakerLs, kRoot / 1.5f},
        {"3/1 to 2/2: S spread", threeOne, {6, false, 0, 0}, kSpeakerLs, kSpeakerS, kRoot / 1.5f},
        {"mono sums Lo and Ro", surround, {1, false, 0, 0}, kSpeakerC, kSpeakerC, 1.0f / 4.0f},
        {"mono LFE keeps its level", surround, {1, true, 0, 0}, kSpeakerLfe, kSpeakerLfe, 1.0f},
        {"karaoke: V1 muted in mode 0", karaoke, {7, false, 0, 0}, kSpeakerLs, kSpeakerLs, 0.0f},
        {"karaoke: V1 kept in mode 1", karaoke, {7, false, 1, 0}, kSpeakerLs, kSpeakerLs, 1.0f},
        {"karaoke: V2 kept in mode 3", karaoke, {7, false, 3, 0}, kSpeakerRs, kSpeakerRs, 1.0f},
        {"dual mono Ch1 on both", dual, {2, false, 0, 1}, kSpeakerR, kSpeakerL, 1.0f},
        {"dual mono Ch2 on both", dual, {2, false, 0, 2}, kSpeakerL, kSpeakerR, 1.0f},
        {"dual mono mix", dual, {2, false, 0, 3}, kSpeakerL, kSpeakerR, 0.5f},
        // clang-format on
    };
    for (const Row& row : rows)
        EXPECT_NEAR(mixMatrix(row.frame, row.request)[row.out][row.in], row.coefficient, 1e-5)
            << row.what;
}

// A frame whose sync, rate, CRC, syntax or word order is wrong is refused, and
// the next good frame decodes again.
TEST(Ac3Library, BadFramesAreRefused)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::vector<uint8_t> good = surroundFrames(folder).at(1);
    std::vector<uint8_t> noSync = good, reservedRate = good, corrupt = good, eac3 = good;
    noSync[0] = 0;
    reservedRate[4] |= 0xC0;
    corrupt[good.size() / 2] ^= 0x55;
    eac3[5] = uint8_t(16 << 3);
    std::vector<uint16_t> byteOrder(kAc3MaxFrameBytes / 2);
    std::memcpy(byteOrder.data(), good.data(), good.size());
    Library library;
    ASSERT_TRUE(library);
    library.set(kAc3OutputMode, 2);
    library.set(kAc3OutputLfe, 0);
    std::vector<int16_t> pcm;
    for (const auto& bad : {noSync, reservedRate, corrupt, eac3}) {
        EXPECT_NE(library.decode(Library::words(bad), pcm), 0);
        EXPECT_EQ(library.decode(Library::words(good), pcm), 0);
    }
    EXPECT_NE(library.decode(byteOrder, pcm), 0);
    std::vector<int16_t> out(kAc3MaxOutputBytes / 2);
    EXPECT_NE(library->Decode(nullptr, out.data()), 0);
}

}  // namespace
