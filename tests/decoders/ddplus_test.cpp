// AdecDDPlus with TvEac3Dec.dll: AC-3 decoded like AdecDolby (float against
// 16-bit, within one step), E-AC-3 converted into AC-3 bursts that decode like
// ffmpeg's decode of the original, E-AC-3 without pass-through passed over,
// framing edge cases, split input, and a missing library.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>

#include "core/status_helpers.h"
#include "decoders/AdecDDPlus.h"
#include "decoders/ac3_decoder_support.h"
#include "support/ac3_tools.h"

namespace {

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";

std::vector<int16_t> toSixteenBits(const std::vector<float>& samples)
{
    std::vector<int16_t> out(samples.size());
    for (size_t i = 0; i < samples.size(); ++i)
        out[i] = int16_t(std::lrint(std::clamp(samples[i] * 32768.0f, -32768.0f, 32767.0f)));
    return out;
}

Ac3Run decodeWith(Adec& decoder, const std::vector<uint8_t>& stream, size_t piece = 0,
                  size_t sampleSize = 1536 * 6 * 4)
{
    EXPECT_NE(decoder.init(ac3Type()), nullptr);
    return runAc3(decoder, stream, piece, sampleSize);
}

// E-AC-3 made by ffmpeg with a distinct tone per speaker.
bool makeEac3Stream(const std::string& path, const std::vector<std::string>& speakers,
                    int kbps = 384, double seconds = 0.5)
{
    std::string exprs, channels;
    for (const auto& s : speakers) {
        exprs += (exprs.empty() ? "" : "|") + std::string("0.5*sin(") +
                 std::to_string(int(speakerTone(s))) + "*2*PI*t)";
        channels += (channels.empty() ? "" : "+") + s;
    }
    std::string command = "ffmpeg -v error -f lavfi -i \"aevalsrc=exprs=" + exprs +
                          ":c=" + channels + ":s=48000:d=" + std::to_string(seconds) +
                          "\" -c:a eac3 -b:a " + std::to_string(kbps) + "k -f eac3 -y " + path;
    return std::system(command.c_str()) == 0;
}

uint16_t word(const std::vector<uint8_t>& bytes, size_t offset)
{
    return uint16_t(bytes[offset] | (bytes[offset + 1] << 8));
}

// The AC-3 frames inside a run of 6144-byte bursts, back in stream order.
std::vector<uint8_t> burstPayloads(const std::vector<uint8_t>& bursts)
{
    std::vector<uint8_t> ac3;
    for (size_t b = 0; b + 6144 <= bursts.size(); b += 6144) {
        size_t bytes = word(bursts, b + 6) / 8;
        for (size_t i = 0; i + 1 < bytes; i += 2) {
            ac3.push_back(bursts[b + 8 + i + 1]);
            ac3.push_back(bursts[b + 8 + i]);
        }
    }
    return ac3;
}

// SNR of `test` against `reference` (interleaved, `channels`) at the delay in
// sample frames, out of 0..maxDelay, that gives the best one.
std::pair<double, int> bestSnr(const std::vector<int16_t>& reference,
                               const std::vector<int16_t>& test, int channels, int maxDelay)
{
    std::pair<double, int> best{-INFINITY, 0};
    for (int delay = 0; delay <= maxDelay; ++delay) {
        size_t shift = size_t(delay) * size_t(channels);
        if (shift >= test.size())
            break;
        std::vector<int16_t> shifted(test.begin() + long(shift), test.end());
        size_t n = std::min(shifted.size(), reference.size());
        // Leave out the encoder's start-up frame and the stream's end.
        size_t from = 1536 * size_t(channels), to = n > from + 1536 * size_t(channels)
                                                       ? n - 1536 * size_t(channels)
                                                       : n;
        std::vector<int16_t> r(reference.begin() + long(from), reference.begin() + long(to));
        std::vector<int16_t> t(shifted.begin() + long(from), shifted.begin() + long(to));
        double snr = snrDb(r, t);
        if (snr > best.first)
            best = {snr, delay};
    }
    return best;
}

TEST(AdecDDPlus, DecodesAc3LikeAdecDolbyInEveryLayout)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    for (const Ac3Layout& layout : encodableLayouts()) {
        std::string path = folder.file(layoutName(layout) + ".ac3");
        ASSERT_TRUE(makeAc3Stream(path, layout, 48000, 384, 0.3));
        std::vector<uint8_t> stream = readBytes(path);
        std::ostringstream log;
        AdecDolby dolby(log, moduleFolder());
        AdecDDPlus ddplus(log, moduleFolder());
        Ac3Run sixteen = decodeWith(dolby, stream, 0, 18432);
        Ac3Run floats = decodeWith(ddplus, stream);
        ASSERT_FALSE(floats.frames.empty()) << layoutName(layout);
        EXPECT_EQ(floats.frames.size(), sixteen.frames.size());
        EXPECT_EQ(floats.frames[0].channelMask, sixteen.frames[0].channelMask);
        EXPECT_EQ(floats.frames[0].stype, STFloat);
        std::vector<int16_t> ours = toSixteenBits(asFloats(floats.output));
        std::vector<int16_t> theirs = asSamples(sixteen.output);
        ASSERT_EQ(ours.size(), theirs.size());
        int maxDiff = 0;
        for (size_t i = 0; i < ours.size(); ++i)
            maxDiff = std::max(maxDiff, std::abs(ours[i] - theirs[i]));
        std::cout << "[ diff ] " << layoutName(layout) << ": max " << maxDiff
                  << " LSB against AdecDolby" << std::endl;
        EXPECT_LE(maxDiff, 1) << layoutName(layout);
        // One tone per speaker: each in its own WAVE position (a layout
        // made by mixing down carries the mixed speakers' tones too).
        int channels = floats.frames[0].chan;
        for (int c = 0; layout.encodedAs.empty() && c < channels; ++c) {
            double own = tonePower(ours, channels, c, speakerTone(layout.speakers[size_t(c)]),
                                   48000);
            for (int other = 0; other < channels; ++other) {
                if (other != c) {
                    EXPECT_GT(own, 100 * tonePower(ours, channels, other,
                                                   speakerTone(layout.speakers[size_t(c)]), 48000))
                        << layoutName(layout) << " channel " << c;
                }
            }
        }
    }
}

TEST(AdecDDPlus, DownmixAndSplitInputGiveTheSameAsWhole)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("s.ac3");
    ASSERT_TRUE(makeAc3Stream(path, encodableLayouts().back(), 48000, 384, 0.3));
    std::vector<uint8_t> stream = readBytes(path);
    std::ostringstream log;
    // A stereo Lt/Rt request: the same mix as AdecDolby's.
    AdecDolby dolby(log, moduleFolder());
    AdecDDPlus ddplus(log, moduleFolder());
    dolby.setMixType(KindAc3, RemixDecoderSurroundDownmix, 0x3);
    ddplus.setMixType(KindAc3, RemixDecoderSurroundDownmix, 0x3);
    Ac3Run sixteen = decodeWith(dolby, stream, 0, 18432);
    Ac3Run whole = decodeWith(ddplus, stream);
    ASSERT_FALSE(whole.frames.empty());
    EXPECT_EQ(whole.frames[0].chan, 2);
    EXPECT_EQ(whole.frames[0].remixMode, uint32_t(RemixDecoderSurroundDownmix));
    std::vector<int16_t> ours = toSixteenBits(asFloats(whole.output));
    std::vector<int16_t> theirs = asSamples(sixteen.output);
    ASSERT_EQ(ours.size(), theirs.size());
    for (size_t i = 0; i < ours.size(); ++i)
        ASSERT_LE(std::abs(ours[i] - theirs[i]), 1) << i;

    std::mt19937 random(7);
    for (size_t piece : {size_t(1), size_t(17), size_t(0)}) {
        AdecDDPlus again(log, moduleFolder());
        again.setMixType(KindAc3, RemixDecoderSurroundDownmix, 0x3);
        ASSERT_NE(again.init(ac3Type()), nullptr);
        // piece 0: random cuts.
        Ac3Run run = runAc3Pieces(
            again, stream, [&] { return piece ? piece : size_t(random() % 3000 + 1); },
            1536 * 6 * 4);
        EXPECT_TRUE(run.output == whole.output) << "piece " << piece;
    }
}

TEST(AdecDDPlus, Eac3PassThroughGivesAc3BurstsThatDecodeLikeTheOriginal)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    struct Case {
        const char* name;
        std::vector<std::string> speakers;
        int kbps;
    };
    const Case cases[] = {
        {"5.1", {"FL", "FR", "FC", "LFE", "BL", "BR"}, 384},
        {"stereo", {"FL", "FR"}, 192},
    };
    for (const Case& c : cases) {
        std::string path = folder.file(std::string(c.name) + ".eac3");
        ASSERT_TRUE(makeEac3Stream(path, c.speakers, c.kbps));
        std::vector<uint8_t> stream = readBytes(path);
        std::ostringstream log;
        AdecDDPlus decoder(log, moduleFolder());
        decoder.setSpdif(true);
        Ac3Run whole = decodeWith(decoder, stream, 0, 6144);
        ASSERT_FALSE(whole.frames.empty()) << c.name;
        EXPECT_EQ(whole.skipped, 0u);
        ASSERT_EQ(whole.output.size(), whole.frames.size() * 6144);
        for (size_t b = 0; b < whole.output.size(); b += 6144) {
            EXPECT_EQ(word(whole.output, b), 0xF872);
            EXPECT_EQ(word(whole.output, b + 2), 0x4E1F);
            EXPECT_EQ(word(whole.output, b + 4) & 0xFF, 0x01);
            // Pc carries the converted frame's bsmod.
            EXPECT_EQ(word(whole.output, b + 4) >> 8, whole.output[b + 12] & 7);
            EXPECT_EQ(word(whole.output, b + 6), 2560u * 8) << "640 kbit/s at 48 kHz";
            EXPECT_EQ(word(whole.output, b + 8), 0x0B77);
        }
        EXPECT_TRUE(whole.frames[0].spdif);

        std::string converted = folder.file(std::string(c.name) + "-converted.ac3");
        std::ofstream(converted, std::ios::binary).write(
            reinterpret_cast<const char*>(burstPayloads(whole.output).data()),
            long(burstPayloads(whole.output).size()));
        bool ok = false;
        std::vector<int16_t> ours = asSamples(
            commandOutput("ffmpeg -v error -i " + converted + " -f s16le -", &ok));
        ASSERT_TRUE(ok) << "ffmpeg cannot decode the burst payloads";
        std::vector<int16_t> reference =
            asSamples(commandOutput("ffmpeg -v error -i " + path + " -f s16le -"));
        int channels = int(c.speakers.size());
        auto [snr, delay] = bestSnr(reference, ours, channels, 600);
        std::cout << "[ snr ] E-AC-3 " << c.name << " through AC-3 at 640 kbit/s: " << snr
                  << " dB at a delay of " << delay << " samples" << std::endl;
        EXPECT_GE(snr, 25.0);
        EXPECT_EQ(delay, 256);

        // In 17-byte pieces: the same bursts.
        AdecDDPlus pieces(log, moduleFolder());
        pieces.setSpdif(true);
        EXPECT_TRUE(decodeWith(pieces, stream, 17, 6144).output == whole.output) << c.name;
    }
}

TEST(AdecDDPlus, SevenOneEac3BecomesFiveOneAc3)
{
    std::string path = kVectors + "dlbmp4base/7ch_ddp_25fps_channel_id.ec3";
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    std::vector<uint8_t> stream = readBytes(path);
    stream.resize(std::min<size_t>(stream.size(), 200000));
    std::ostringstream log;
    AdecDDPlus decoder(log, moduleFolder());
    decoder.setSpdif(true);
    Ac3Run run = decodeWith(decoder, stream, 0, 6144);
    ASSERT_FALSE(run.frames.empty());
    EXPECT_EQ(run.skipped, 0u);
    EXPECT_EQ(run.frames[0].samples, 1536);
    TempFolder folder;
    std::string converted = folder.file("converted.ac3");
    std::vector<uint8_t> ac3 = burstPayloads(run.output);
    std::ofstream(converted, std::ios::binary).write(reinterpret_cast<const char*>(ac3.data()),
                                                      long(ac3.size()));
    std::vector<uint8_t> probe =
        commandOutput("ffprobe -v error -show_entries stream=channel_layout -of csv=p=0 " + converted);
    std::string layout(probe.begin(), probe.end());
    EXPECT_EQ(layout.substr(0, 4), "5.1(") << layout;
    std::cout << "[ frames ] 7.1 E-AC-3: " << run.frames.size() << " access units of "
              << run.frames[0].iFrameSize << " bytes became 5.1 AC-3 bursts" << std::endl;
}

TEST(AdecDDPlus, Eac3WithoutPassThroughYieldsNothing)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("s.eac3");
    ASSERT_TRUE(makeEac3Stream(path, {"FL", "FR"}, 192, 0.2));
    std::vector<uint8_t> stream = readBytes(path);
    std::ostringstream log;
    AdecDDPlus decoder(log, moduleFolder());
    ASSERT_NE(decoder.init(ac3Type()), nullptr);
    // The first call finds the frame and leaves it swapped, consuming nothing.
    MemorySample out(36864);
    const uint8_t* p = stream.data();
    EXPECT_EQ(decoder.process(&p, stream.data() + stream.size(), &out), nullptr);
    EXPECT_EQ(p, stream.data());
    EXPECT_EQ(out.GetActualDataLength(), 0);
    // Every later call passes over it as garbage.
    Ac3Run run = runAc3(decoder, stream, 0, 36864);
    EXPECT_TRUE(run.output.empty());
    EXPECT_TRUE(run.frames.empty());
    // All but the last frame, whose end the decoder waits to see.
    EXPECT_EQ(run.skipped, stream.size() - 768);
}

TEST(AdecDDPlus, EdgeCases)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("s.ac3");
    ASSERT_TRUE(makeAc3Stream(path, encodableLayouts()[2], 48000, 192, 0.2));
    std::vector<uint8_t> stream = readBytes(path);
    std::ostringstream log;
    AdecDDPlus decoder(log, moduleFolder());
    ASSERT_NE(decoder.init(ac3Type()), nullptr);

    // 127 bytes: nothing happens.
    MemorySample out(36864);
    const uint8_t* p = stream.data();
    EXPECT_EQ(decoder.process(&p, stream.data() + 127, &out), nullptr);
    EXPECT_EQ(p, stream.data());

    // A frame whose CRC fails is skipped byte by byte and logged.
    std::vector<uint8_t> broken = stream;
    broken[100] ^= 0x40;
    Ac3Run run = runAc3(decoder, broken, 0, 36864);
    EXPECT_NE(log.str().find("error: ddpi_dcv_checkframe: 4"), std::string::npos);
    EXPECT_EQ(run.frames.size(), splitAc3Frames(stream).size() - 1);
    EXPECT_EQ(run.skipped, splitAc3Frames(stream)[0].size());
    EXPECT_NE(log.str().find("ac3 frame: 768 acmod: 2 bsid: 8"), std::string::npos);
}

TEST(AdecDDPlus, SamplesBeyondFullScaleAreClipped)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("loud.ac3");
    std::string command = "ffmpeg -v error -f lavfi -i \"aevalsrc=1.25*sin(100*2*PI*t):s=48000:"
                          "d=0.2\" -c:a ac3 -b:a 192k -y " + path;
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::vector<uint8_t> reference = commandOutput("ffmpeg -v error -i " + path + " -f f32le -");
    float referencePeak = 0;
    for (float s : asFloats(reference))
        referencePeak = std::max(referencePeak, std::abs(s));
    ASSERT_GT(referencePeak, 1.0f) << "the stream does not go beyond full scale";
    std::ostringstream log;
    AdecDDPlus decoder(log, moduleFolder());
    Ac3Run run = decodeWith(decoder, readBytes(path));
    float peak = 0;
    for (float s : asFloats(run.output))
        peak = std::max(peak, std::abs(s));
    std::cout << "[ peak ] reference " << referencePeak << ", ours " << peak << std::endl;
    EXPECT_EQ(peak, 1.0f);
}

class AdecDDPlusRealStream : public ::testing::TestWithParam<const char*> {};

// Real AC-3 decodes like AdecDolby; real E-AC-3 passes through as bursts
// ffmpeg decodes, close to its decode of the original.
TEST_P(AdecDDPlusRealStream, MatchesTheReference)
{
    std::string path = kVectors + GetParam();
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    std::vector<uint8_t> stream = readBytes(path);
    bool eac3 = path.ends_with("3") && !path.ends_with(".ac3");
    std::ostringstream log;
    AdecDDPlus decoder(log, moduleFolder());
    decoder.setSpdif(eac3);
    Ac3Run run = decodeWith(decoder, stream, 4096, 36864);
    ASSERT_FALSE(run.frames.empty());
    std::vector<int16_t> reference = asSamples(commandOutput("ffmpeg -v error -i " + path +
                                                             " -f s16le -"));
    int channels = run.frames[0].chan;
    if (!eac3) {
        std::vector<int16_t> ours = toSixteenBits(asFloats(run.output));
        double snr = snrDb(reference, ours);
        std::cout << "[ snr ] " << GetParam() << ": " << snr << " dB" << std::endl;
        EXPECT_GE(snr, 90.0);
        return;
    }
    TempFolder folder;
    std::string converted = folder.file("converted.ac3");
    std::vector<uint8_t> ac3 = burstPayloads(run.output);
    std::ofstream(converted, std::ios::binary).write(reinterpret_cast<const char*>(ac3.data()),
                                                      long(ac3.size()));
    std::vector<int16_t> ours =
        asSamples(commandOutput("ffmpeg -v error -i " + converted + " -f s16le -"));
    auto [snr, delay] = bestSnr(reference, ours, channels, 600);
    std::cout << "[ snr ] " << GetParam() << " converted: " << snr << " dB at a delay of "
              << delay << " samples, " << run.frames.size() << " bursts, " << run.skipped
              << " bytes skipped" << std::endl;
    EXPECT_GE(snr, 15.0);
}

INSTANTIATE_TEST_SUITE_P(SharedVectors,
                         AdecDDPlusRealStream,
                         ::testing::Values("androidx_media/ts_sample.ac3",
                                           "dlbframe337/dd_6ch_bsid0.ac3",
                                           "androidx_media/ts_sample.eac3",
                                           "dlbframe337/ddp_3_stream_640.ec3",
                                           "dlbframe337/ddp_evo_passthrough_32L.ec3"));

TEST(AdecDDPlus, WithoutItsLibraryTheConstructorThrows)
{
    std::ostringstream log;
    TempFolder empty;
    EXPECT_THROW(AdecDDPlus(log, empty.file("")), std::exception);
    EXPECT_NE(log.str().find("error: TvEac3Dec.dll not found"), std::string::npos);
    // A library without the entry points.
    std::filesystem::copy_file(TEST_MODULE_PATH, empty.file("TvEac3Dec.dll"));
    std::ostringstream log2;
    EXPECT_THROW(AdecDDPlus(log2, empty.file("")), std::exception);
    EXPECT_NE(log2.str().find("error: could not find function ddpi_dcv_query"), std::string::npos);
}

}  // namespace
