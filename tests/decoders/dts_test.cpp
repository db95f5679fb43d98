// AdecDTS with its in-process engine: framing edge cases, decoding equal to
// ffmpeg's (each channel's tone in its WAVE place, whole and in pieces, real
// streams), and IEC 61937 bursts byte-equal to ffmpeg's where the two agree.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>

#include "core/status_helpers.h"
#include "decoders/dts_decoder_support.h"
#include "decoders/dts_header.h"
#include "support/ac3_tools.h"
#include "support/av_packets.h"
#include "support/dts_tools.h"

namespace {

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";

uint16_t word(const std::vector<uint8_t>& bytes, size_t at)
{
    return uint16_t(bytes[at] | (bytes[at + 1] << 8));
}

std::vector<uint8_t> concat(std::vector<uint8_t> a, const std::vector<uint8_t>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(AdecDTS, FramingEdgeCases)
{
    struct Case {
        const char* what;
        std::vector<uint8_t> input;
        bool spdif;
        size_t frames;  // produced
        int32_t samples = 0, freq = 0;
        size_t output = 0;     // bytes of the first frame's output
        size_t skipped = 0;    // bytes passed over in all
        const char* logged = "";
    } cases[] = {
        {"normal frame with SHORT 30 is a false sync", dtsHeaderFrame(1, 30, 16, 1000, 13), true, 0,
         0, 0, 0, 1000 - 16, "DTS: no frame found"},
        {"termination frame of 16 blocks, SHORT 7", dtsHeaderFrame(0, 7, 16, 1000, 13), true, 1,
         504, 48000, 4 * 504, 0, "DTS: size: 1000 freq: 48000 samples: 504"},
        {"SFREQ 4 gives no rate and no error", dtsHeaderFrame(1, 31, 16, 1000, 4), true, 1, 512, 0,
         2048, 0, "DTS: size: 1000 freq: 0 samples: 512"},
        {"1024-sample frame in pass-through", dtsHeaderFrame(1, 31, 32, 2000, 8), true, 1, 1024,
         44100, 4096, 0, ""},
        {"undecodable frame: consumed without output", dtsHeaderFrame(1, 31, 16, 1000, 13), false,
         1, 512, 48000, 0, 0, "DTS decode error: "},
        {"frame too large for its burst drops all input",
         concat(dtsHeaderFrame(1, 31, 16, 2041, 13), std::vector<uint8_t>(100)), true, 0, 0, 0, 0,
         2141, ""},
        {"garbage before a frame is skipped", concat({1, 2, 3}, dtsHeaderFrame(1, 31, 16, 900, 13)),
         true, 1, 512, 48000, 2048, 3, ""},
    };
    for (const Case& c : cases) {
        std::ostringstream log;
        AdecDTS decoder(log);
        ASSERT_NE(decoder.init(dtsType()), nullptr);
        decoder.setSpdif(c.spdif);
        DtsRun run = runDts(decoder, c.input);
        ASSERT_EQ(run.frames.size(), c.frames) << c.what << "\n" << log.str();
        EXPECT_EQ(run.skipped, c.skipped) << c.what;
        EXPECT_NE(log.str().find(c.logged), std::string::npos) << c.what << "\n" << log.str();
        if (c.frames == 0)
            continue;
        EXPECT_EQ(run.frames[0].samples, c.samples) << c.what;
        EXPECT_EQ(run.frames[0].freq, c.freq) << c.what;
        EXPECT_EQ(run.output.size(), c.output) << c.what;
        EXPECT_EQ(run.frames[0].stype, c.spdif ? ST16Bit : ST24Bit) << c.what;
        if (c.spdif) {
            EXPECT_EQ(word(run.output, 4), 0x000B) << c.what;  // DTS type I, whatever the samples
            EXPECT_TRUE(run.frames[0].spdif) << c.what;
        }
    }
}

// Sixteen bytes are never enough to look at: every call says so and takes nothing.
TEST(AdecDTS, SixteenBytesLogNoFrameOnEveryCall)
{
    std::ostringstream log;
    AdecDTS decoder(log);
    ASSERT_NE(decoder.init(dtsType()), nullptr);
    std::vector<uint8_t> input = dtsHeaderFrame(1, 31, 16, 16, 13);
    for (int call = 0; call < 3; ++call) {
        MemorySample out(65536);
        const uint8_t* p = input.data();
        EXPECT_EQ(decoder.process(&p, p + input.size(), &out), nullptr);
        EXPECT_EQ(p, input.data());
    }
    std::string text = log.str(), line = "DTS: no frame found\n";
    size_t count = 0;
    for (size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1))
        ++count;
    EXPECT_EQ(count, 3u) << text;
}

// The burst's words: preamble, Pd = bits modulo 65536, payload words swapped,
// an odd frame's last byte left as it stands, zeros after.
TEST(AdecDTS, BurstWords)
{
    struct Case {
        int blocks, bytes;
        uint16_t pd;
    } cases[] = {{16, 1001, 8008}, {128, 8200, uint16_t(8200 * 8 % 65536)}};
    for (const Case& c : cases) {
        std::ostringstream log;
        AdecDTS decoder(log);
        ASSERT_NE(decoder.init(dtsType()), nullptr);
        decoder.setSpdif(true);
        std::vector<uint8_t> frame = dtsHeaderFrame(1, 31, c.blocks, c.bytes, 13);
        for (size_t i = 12; i < frame.size(); ++i)
            frame[i] = uint8_t(i * 7 + 1);
        DtsRun run = runDts(decoder, frame);
        ASSERT_EQ(run.frames.size(), 1u) << c.bytes;
        const std::vector<uint8_t>& b = run.output;
        ASSERT_EQ(b.size(), size_t(c.blocks) * 32 * 4);
        EXPECT_EQ(word(b, 0), 0xF872);
        EXPECT_EQ(word(b, 2), 0x4E1F);
        EXPECT_EQ(word(b, 4), 0x000B);
        EXPECT_EQ(word(b, 6), c.pd);
        EXPECT_EQ(word(b, 8), 0x7FFE);  // sync word read as little-endian
        size_t words = size_t(c.bytes) / 2;
        for (size_t i = 0; i < words; ++i)
            ASSERT_EQ(word(b, 8 + 2 * i), (frame[2 * i] << 8) | frame[2 * i + 1]) << i;
        if (c.bytes % 2) {
            EXPECT_EQ(b[8 + size_t(c.bytes) - 1], frame.back());
        }
        for (size_t i = 8 + size_t(c.bytes); i < b.size(); ++i)
            ASSERT_EQ(b[i], 0) << i;
    }
}

struct DecodeCase {
    DtsLayout layout;
    int rate;
};

void PrintTo(const DecodeCase& c, std::ostream* os)
{
    *os << c.layout.name << ", " << c.rate << " Hz";
}

class AdecDTSDecode : public ::testing::TestWithParam<DecodeCase> {};

// Each channel's tone lands in its WAVE place, and the samples equal
// ffmpeg's decode rounded to 24 bits within one LSB.
TEST_P(AdecDTSDecode, MatchesFfmpegChannelByChannel)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const DecodeCase& c = GetParam();
    TempFolder folder;
    std::string path = folder.file("in.dts");
    ASSERT_TRUE(makeDtsStream(path, c.layout, c.rate));
    std::ostringstream log;
    AdecDTS decoder(log);
    ASSERT_NE(decoder.init(dtsType()), nullptr);
    DtsRun run = runDts(decoder, readBytes(path));
    ASSERT_FALSE(run.frames.empty()) << log.str();
    const TvStatusDts& s = run.frames.back();
    int channels = int(c.layout.tones.size());
    EXPECT_EQ(s.chan, channels);
    EXPECT_EQ(s.channelMask, c.layout.mask);
    EXPECT_EQ(s.freq, c.rate);
    EXPECT_EQ(s.samples, 512);
    EXPECT_EQ(s.stype, ST24Bit);
    EXPECT_EQ(run.skipped, 0u);

    std::vector<int32_t> ours = samples24(run.output);
    std::vector<int32_t> reference =
        samples32As24(commandOutput("ffmpeg -v error -i " + path + " -f s32le -"));
    EXPECT_EQ(ours.size(), reference.size());
    Comparison cmp = compare24(reference, ours);
    std::cout << "[ snr ] " << c.layout.name << " " << c.rate << " Hz: " << cmp.snr
              << " dB, max difference " << cmp.maxDiff << " LSB (24-bit)" << std::endl;
    EXPECT_LE(cmp.maxDiff, 1);

    for (int ch = 0; ch < channels; ++ch) {
        double own = tonePower24(ours, channels, ch, c.layout.tones[size_t(ch)], c.rate);
        for (int other = 0; other < channels; ++other)
            if (other != ch) {
                EXPECT_GT(own, 100 * tonePower24(ours, channels, ch, c.layout.tones[size_t(other)],
                                                 c.rate))
                    << "channel " << ch << " carries the tone of channel " << other;
            }
    }
}

std::vector<DecodeCase> decodeCases()
{
    std::vector<DecodeCase> cases;
    for (const DtsLayout& layout : dtsLayouts())
        for (int rate : {44100, 48000})
            cases.push_back({layout, rate});
    return cases;
}

INSTANTIATE_TEST_SUITE_P(LayoutsAndRates, AdecDTSDecode, ::testing::ValuesIn(decodeCases()),
                         [](const auto& info) {
                             std::string name = info.param.layout.name;
                             for (char& ch : name)
                                 if (!std::isalnum(static_cast<unsigned char>(ch)))
                                     ch = '_';
                             return name + "_" + std::to_string(info.param.rate);
                         });

// Whole, 1-byte, 17-byte and random pieces give the same output; a second
// init starts over and gives it again.
TEST(AdecDTS, SplitInputAndReinitGiveTheSameOutput)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("in.dts");
    ASSERT_TRUE(makeDtsStream(path, dtsLayouts()[3], 48000, 0.3));
    std::vector<uint8_t> stream = readBytes(path);
    std::ostringstream log;
    AdecDTS decoder(log);
    ASSERT_NE(decoder.init(dtsType()), nullptr);
    DtsRun whole = runDts(decoder, stream);
    ASSERT_FALSE(whole.output.empty());
    std::mt19937 random(16);
    std::vector<std::pair<const char*, std::function<size_t()>>> pieces = {
        {"1 byte", [] { return size_t(1); }},
        {"17 bytes", [] { return size_t(17); }},
        {"random", [&] { return size_t(1 + random() % 3000); }},
    };
    for (const auto& [what, next] : pieces) {
        ASSERT_NE(decoder.init(dtsType()), nullptr);
        DtsRun run = runDts(decoder, stream, next);
        EXPECT_TRUE(run.output == whole.output) << what;
        EXPECT_EQ(run.frames.size(), whole.frames.size()) << what;
    }
}

// An output sample too small for the decoded frame is never overrun.
TEST(AdecDTS, SmallOutputSamplesAreNeverOverrun)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("in.dts");
    ASSERT_TRUE(makeDtsStream(path, dtsLayouts()[3], 48000, 0.1));
    for (size_t size : {size_t(3 * 2 * 512), size_t(3 * 2 * 512 + 1), size_t(3 * 6 * 512 - 1)}) {
        std::ostringstream log;
        AdecDTS decoder(log);
        ASSERT_NE(decoder.init(dtsType()), nullptr);
        DtsRun run = runDts(decoder, readBytes(path), nullptr, size);
        EXPECT_TRUE(run.output.empty()) << size;
    }
}

struct SpdifCase {
    int layout;
    int rate;
    int kbps;
};

void PrintTo(const SpdifCase& c, std::ostream* os)
{
    *os << dtsLayouts()[size_t(c.layout)].name << ", " << c.rate << " Hz, " << c.kbps << " kbit/s";
}

class AdecDTSSpdif : public ::testing::TestWithParam<SpdifCase> {};

// 512-sample frames: the bursts equal ffmpeg's IEC 61937 muxer's byte for
// byte, whole or in 17-byte pieces. (Frames of 2041 bytes or more, as 5.1 at
// 44.1 kHz and 1411 kbit/s makes, leave no room for the preamble: ffmpeg then
// writes them bare, the filter drops them; see FramingEdgeCases.)
TEST_P(AdecDTSSpdif, BurstsEqualFfmpeg)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("in.dts");
    const SpdifCase& c = GetParam();
    ASSERT_TRUE(makeDtsStream(path, dtsLayouts()[size_t(c.layout)], c.rate, 0.5, c.kbps));
    std::vector<uint8_t> reference = commandOutput("ffmpeg -v error -i " + path + " -c copy -f spdif -");
    ASSERT_FALSE(reference.empty());
    for (size_t piece : {size_t(0), size_t(17)}) {
        std::ostringstream log;
        AdecDTS decoder(log);
        ASSERT_NE(decoder.init(dtsType()), nullptr);
        decoder.setSpdif(true);
        DtsRun run = runDts(decoder, readBytes(path), piece ? std::function<size_t()>([] { return size_t(17); })
                                                            : nullptr);
        EXPECT_TRUE(run.output == reference)
            << "piece " << piece << ": " << run.output.size() << " vs " << reference.size();
    }
}

INSTANTIATE_TEST_SUITE_P(LayoutsAndRates, AdecDTSSpdif,
                         ::testing::Values(SpdifCase{1, 44100, 768}, SpdifCase{3, 48000, 0},
                                           SpdifCase{0, 48000, 1152}),
                         [](const auto& info) {
                             return std::to_string(info.param.layout) + "_" + std::to_string(info.param.rate);
                         });

// Frames of 1024 and 2048 samples: ffmpeg's muxer marks them as DTS type II
// and III (Pc 12 and 13); the filter keeps type 11 (Pc 0x000B). Every other
// byte of the bursts is the same.
TEST(AdecDTS, LongFramesKeepDataTypeElevenWhereFfmpegWritesTwelveAndThirteen)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("in.dts");
    ASSERT_TRUE(makeDtsStream(path, dtsLayouts()[1], 48000, 0.2));
    std::vector<uint8_t> stream = readBytes(path);
    for (auto [blocks, ffmpegPc] : {std::pair{32, 0x000C}, std::pair{64, 0x000D}}) {
        // The same frames relabelled as longer ones: pass-through never
        // decodes them.
        std::vector<uint8_t> relabelled = stream;
        for (size_t at = 0; at + 16 < relabelled.size(); ++at)
            if (isDtsCoreSync(&relabelled[at]))
                putBits(relabelled, at * 8 + kNblksBit, 7, uint32_t(blocks - 1));
        std::string longPath = folder.file("long" + std::to_string(blocks) + ".dts");
        std::ofstream(longPath, std::ios::binary)
            .write(reinterpret_cast<const char*>(relabelled.data()), std::streamsize(relabelled.size()));
        std::vector<uint8_t> reference =
            commandOutput("ffmpeg -v error -i " + longPath + " -c copy -f spdif -");
        std::ostringstream log;
        AdecDTS decoder(log);
        ASSERT_NE(decoder.init(dtsType()), nullptr);
        decoder.setSpdif(true);
        DtsRun run = runDts(decoder, relabelled);
        ASSERT_EQ(run.output.size(), reference.size()) << blocks;
        size_t burst = size_t(blocks) * 32 * 4;
        for (size_t at = 0; at < run.output.size(); at += burst) {
            EXPECT_EQ(word(run.output, at + 4), 0x000B);
            EXPECT_EQ(word(reference, at + 4), ffmpegPc);
            std::vector<uint8_t> a(run.output.begin() + long(at), run.output.begin() + long(at + burst));
            std::vector<uint8_t> b(reference.begin() + long(at), reference.begin() + long(at + burst));
            a[4] = b[4] = 0;
            ASSERT_TRUE(a == b) << "burst at " << at;
        }
    }
}

class AdecDTSRealStream : public ::testing::TestWithParam<const char*> {};

// The demuxed core frames decode like ffmpeg's core decode.
TEST_P(AdecDTSRealStream, MatchesFfmpeg)
{
    std::string path = kVectors + GetParam();
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    std::vector<DemuxedPacket> packets;
    std::string error;
    ASSERT_TRUE(readAudioPackets(path, packets, error)) << error;
    std::vector<uint8_t> stream;
    for (const DemuxedPacket& p : packets)
        stream.insert(stream.end(), p.data.begin(), p.data.end());
    std::ostringstream log;
    AdecDTS decoder(log);
    ASSERT_NE(decoder.init(dtsType()), nullptr);
    DtsRun run = runDts(decoder, stream);
    ASSERT_FALSE(run.frames.empty());
    std::vector<int32_t> ours = samples24(run.output);
    std::vector<int32_t> reference = samples32As24(
        commandOutput("ffmpeg -v error -core_only 1 -i " + path + " -map 0:a:0 -f s32le -"));
    EXPECT_EQ(ours.size(), reference.size());
    Comparison cmp = compare24(reference, ours);
    std::cout << "[ snr ] " << GetParam() << ": " << cmp.snr << " dB, max difference " << cmp.maxDiff
              << " LSB (24-bit), " << run.frames.size() << " frames, " << run.frames[0].chan
              << " channels, mask 0x" << std::hex << run.frames[0].channelMask << std::dec << ", "
              << run.skipped << " bytes skipped" << std::endl;
    EXPECT_LE(cmp.maxDiff, 1);
}

INSTANTIATE_TEST_SUITE_P(SharedVectors, AdecDTSRealStream,
                         ::testing::Values("androidx_media/ts_sample_dts.ts",
                                           "androidx_media/mkv_sample_with_dts.mkv",
                                           "exoplayer/ts_sample_h264_dts_audio.ts"));

}  // namespace
