// AdecDolby with TvAc3Lib.dll: framing edge cases, S/PDIF bursts byte-equal
// to ffmpeg's, decoding equal to ffmpeg's (synthetic and real streams, whole
// and in pieces), and a missing or broken library.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "core/status_helpers.h"
#include "decoders/ac3_decoder_support.h"
#include "support/ac3_tools.h"
#include "support/library_refusal.h"

namespace {

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";

std::vector<uint8_t> ffmpegPcm(const std::string& path)
{
    return commandOutput("ffmpeg -v error -i " + path + " -f s16le -");
}

struct StreamFolder {
    TempFolder folder;
    std::string make(const Ac3Layout& layout,
                     int rate = 48000,
                     int kbps = 384,
                     const std::string& extra = "")
    {
        std::string path = folder.file("s" + std::to_string(count++) + ".ac3");
        EXPECT_TRUE(makeAc3Stream(path, layout, rate, kbps, 0.5, extra));
        return path;
    }
    int count = 0;
};

Ac3Layout surround51()
{
    return encodableLayouts().back();
}
Ac3Layout stereo()
{
    return encodableLayouts()[2];
}

TEST(AdecDolby, EdgeCases)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    StreamFolder streams;
    struct Case {
        const char* what;
        std::string path;
        int mixType;
        uint32_t mask;
        size_t bytes;  // of input; 0 = all
        // Expected of the first frame (frames 0 means none at all).
        size_t frames;
        int chan = 0, acmod = 0, lfeon = 0, bsmod = 0, bitRate = 0;
        uint32_t remixMode = RemixNone;
        size_t outputPerFrame = 0;
    } cases[] = {
        {"63 bytes: nothing", streams.make(surround51()), 101, 0, 63, 0},
        {"karaoke 3/2 is 2/0 without LFE",
         streams.make(surround51(), 48000, 384, "-audio_service_type ka"), 101, 0, 0, 1, 2, 2, 0, 7,
         384000, RemixNone, 6144},
        {"448 kbit/s: 1792 bytes", streams.make(stereo(), 48000, 448), 101, 0, 0, 1, 2, 2, 0, 0,
         448000, RemixNone, 6144},
        {"224 kbit/s: 896 bytes, reported 256 kbit/s", streams.make(stereo(), 48000, 224), 101, 0,
         0, 1, 2, 2, 0, 0, 256000, RemixNone, 6144},
        {"surround downmix of 3/2 to stereo", streams.make(surround51()), 105, 0x3, 0, 1, 2, 0, 0,
         0, 384000, RemixDecoderSurroundDownmix, 6144},
        {"decoder downmix of 3/2 to 3/0+LFE", streams.make(surround51()), 104, 0xF, 0, 1, 4, 3, 1,
         0, 384000, RemixDecoderDownmix, 1536 * 8},
        {"downmix to as many channels as the stream", streams.make(surround51()), 104, 0x3F, 0, 1,
         6, 7, 1, 0, 384000, RemixNone, 1536 * 12},
        {"another kind's downmix is ignored", streams.make(surround51()), 104, 0x3, 0, 1, 6, 7, 1,
         0, 384000, RemixNone, 1536 * 12},
    };
    int index = 0;
    for (const Case& c : cases) {
        std::ostringstream log;
        AdecDolby decoder(log, moduleFolder());
        int kind = ++index == 8 ? KindDts : KindAc3;
        decoder.setMixType(kind, c.mixType, c.mask);
        ASSERT_NE(decoder.init(ac3Type()), nullptr) << c.what;
        std::vector<uint8_t> stream = readBytes(c.path);
        if (c.bytes)
            stream.resize(c.bytes);
        Ac3Run run = runAc3(decoder, stream);
        if (c.frames == 0) {
            EXPECT_TRUE(run.frames.empty()) << c.what;
            EXPECT_TRUE(run.output.empty()) << c.what;
            EXPECT_EQ(run.skipped, 0u) << c.what;
            continue;
        }
        ASSERT_FALSE(run.frames.empty()) << c.what << "\n" << log.str();
        const TvStatusAc3& s = run.frames[0];
        EXPECT_EQ(s.chan, c.chan) << c.what;
        EXPECT_EQ(s.acmod, c.acmod) << c.what;
        EXPECT_EQ(s.lfeon, c.lfeon) << c.what;
        EXPECT_EQ(s.bsmod, c.bsmod) << c.what;
        EXPECT_EQ(s.bitRate, c.bitRate) << c.what;
        EXPECT_EQ(s.remixMode, c.remixMode) << c.what;
        EXPECT_EQ(s.samples, 1536) << c.what;
        EXPECT_EQ(s.stype, ST16Bit) << c.what;
        EXPECT_EQ(maskChannelCount(s.channelMask), s.chan) << c.what;
        EXPECT_EQ(run.output.size(), run.frames.size() * c.outputPerFrame) << c.what;
        if (c.remixMode != RemixNone) {
            EXPECT_EQ(s.codedAcmod, 7) << c.what;
            EXPECT_EQ(s.codedLfeon, 1) << c.what;
        }
    }
}

struct SpdifCase {
    int rate;
    int kbps;
};

class AdecDolbySpdif : public ::testing::TestWithParam<SpdifCase> {};

// The bursts equal ffmpeg's IEC 61937 muxer's output byte for byte, whether
// the stream arrives whole or in 17-byte pieces.
TEST_P(AdecDolbySpdif, BurstsEqualFfmpeg)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    StreamFolder streams;
    std::string path = streams.make(surround51(), GetParam().rate, GetParam().kbps);
    std::vector<uint8_t> reference =
        commandOutput("ffmpeg -v error -i " + path + " -c copy -f spdif -");
    ASSERT_FALSE(reference.empty());
    for (size_t piece : {size_t(0), size_t(17)}) {
        std::ostringstream log;
        AdecDolby decoder(log, moduleFolder());
        ASSERT_NE(decoder.init(ac3Type()), nullptr);
        decoder.setSpdif(true);
        Ac3Run run = runAc3(decoder, readBytes(path), piece);
        EXPECT_TRUE(run.output == reference) << "piece " << piece << ": " << run.output.size()
                                             << " vs " << reference.size() << " bytes";
        ASSERT_FALSE(run.frames.empty());
        EXPECT_TRUE(run.frames[0].spdif);
    }
}

INSTANTIATE_TEST_SUITE_P(RatesAndBitRates,
                         AdecDolbySpdif,
                         ::testing::Values(SpdifCase{32000, 96},
                                           SpdifCase{32000, 640},
                                           SpdifCase{44100, 192},
                                           SpdifCase{44100, 448},
                                           SpdifCase{48000, 384},
                                           SpdifCase{48000, 640}),
                         [](const auto& info) {
                             return std::to_string(info.param.rate) + "Hz_" +
                                    std::to_string(info.param.kbps) + "k";
                         });

// Decoded output equals ffmpeg's decode; split input gives the same output.
TEST(AdecDolby, DecodesLikeFfmpegWholeAndInPieces)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    StreamFolder streams;
    std::string path = streams.make(surround51());
    std::vector<uint8_t> reference = ffmpegPcm(path);
    std::vector<uint8_t> whole;
    for (size_t piece : {size_t(0), size_t(1), size_t(17), size_t(1000)}) {
        std::ostringstream log;
        AdecDolby decoder(log, moduleFolder());
        ASSERT_NE(decoder.init(ac3Type()), nullptr);
        Ac3Run run = runAc3(decoder, readBytes(path), piece);
        if (piece == 0)
            whole = run.output;
        EXPECT_TRUE(run.output == whole) << "piece " << piece;
        EXPECT_EQ(run.skipped, 0u);
    }
    EXPECT_EQ(snrDb(asSamples(reference), asSamples(whole)), INFINITY);
    EXPECT_EQ(whole.size(), reference.size());
}

class AdecDolbyRealStream : public ::testing::TestWithParam<const char*> {};

TEST_P(AdecDolbyRealStream, MatchesFfmpeg)
{
    std::string path = kVectors + GetParam();
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    std::ostringstream log;
    AdecDolby decoder(log, moduleFolder());
    ASSERT_NE(decoder.init(ac3Type()), nullptr);
    Ac3Run run = runAc3(decoder, readBytes(path), 4096);
    std::vector<int16_t> reference = asSamples(ffmpegPcm(path));
    std::vector<int16_t> ours = asSamples(run.output);
    ASSERT_FALSE(run.frames.empty());
    // ffmpeg also decodes a truncated last frame, which the filter waits on.
    size_t frameSamples = 1536 * size_t(run.frames[0].chan);
    EXPECT_TRUE(ours.size() == reference.size() || ours.size() + frameSamples == reference.size())
        << ours.size() << " vs " << reference.size();
    double snr = snrDb(reference, ours);
    std::cout << "[ snr ] " << GetParam() << ": " << snr << " dB, " << run.frames.size()
              << " frames, " << run.frames[0].chan << " channels, " << run.skipped
              << " bytes skipped" << std::endl;
    EXPECT_GE(snr, 90.0);
}

INSTANTIATE_TEST_SUITE_P(SharedVectors,
                         AdecDolbyRealStream,
                         ::testing::Values("androidx_media/ts_sample.ac3",
                                           "mp4parser/ac3-sample.ac3"));

// A missing, broken or foreign TvAc3Lib.dll refuses the type.
TEST(AdecDolby, WithoutItsLibraryRefusesTheType)
{
    expectRefusedWithoutItsLibrary<AdecDolby>("TvAc3Lib.dll", ac3Type());
}

// Without room in the output sample the frame is passed over, not written.
TEST(AdecDolby, SmallOutputSamplesAreNeverOverrun)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    StreamFolder streams;
    std::string path = streams.make(surround51());
    for (bool spdif : {false, true}) {
        std::ostringstream log;
        AdecDolby decoder(log, moduleFolder());
        ASSERT_NE(decoder.init(ac3Type()), nullptr);
        decoder.setSpdif(spdif);
        Ac3Run run = runAc3(decoder, readBytes(path), 0, 4000);
        EXPECT_TRUE(run.frames.empty());
        EXPECT_EQ(run.skipped, readBytes(path).size());
    }
}

}  // namespace
