// The tavio command as a user runs it: exit codes, messages and output.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <fstream>
#include <iostream>
#include <iterator>

#include "host/program_stream_builders.h"
#include "support/mlp_tools.h"
#include "support/pcm_compare.h"
#include "support/dts_tools.h"
#include "support/reference_tools.h"
#include "support/wav_file.h"

namespace {

const std::string tavio = TAVIO_EXECUTABLE;
constexpr uint16_t kSpdifFormatTag = 0x0092;  // WAVE_FORMAT_DOLBY_AC3_SPDIF

int run(const std::string& arguments, std::string* errors = nullptr)
{
    TempFolder folder;
    std::string errorFile = folder.file("stderr.txt");
    int status = std::system((tavio + " " + arguments + " 2>" + errorFile).c_str());
    if (errors) {
        std::ifstream in(errorFile);
        errors->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return WEXITSTATUS(status);
}

std::vector<uint8_t> readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

WavFile readWav(const std::string& path)
{
    WavFile wav;
    EXPECT_TRUE(parseWav(readAll(path), wav)) << path;
    return wav;
}

// The largest difference between two runs of 16-bit samples (over the common
// length). AC-3 goes through AdecDDPlus when TvEac3Dec.dll is there: float
// samples that reach 16 bits by their own rounding, within one step of the
// reference's.
int maxDifference16(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b)
{
    int largest = 0;
    for (size_t i = 0; i + 1 < std::min(a.size(), b.size()); i += 2) {
        int x = int16_t(a[i] | (a[i + 1] << 8)), y = int16_t(b[i] | (b[i + 1] << 8));
        largest = std::max(largest, std::abs(x - y));
    }
    return largest;
}

TEST(Tavio, DecodesTheBundledStreamWithoutArguments)
{
    TempFolder folder;
    std::string errors;
    EXPECT_EQ(run("-o " + folder.file("out.wav"), &errors), 0) << errors;
    auto bytes = readAll(folder.file("out.wav"));
    WavFile wav = readWav(folder.file("out.wav"));
    EXPECT_EQ(wav.form, "RIFF");
    EXPECT_EQ(wav.riffSize, bytes.size() - 8);  // exact sizes, unlike the filter's own dump
    EXPECT_EQ(wav.dataSizeField, wav.data.size());
    EXPECT_EQ(wav.formatTag(), 0xFFFE);
    EXPECT_EQ(wav.channelMask(), 0x3u);
    EXPECT_EQ(wav.data.size(), 2u * 48000 * 4);  // the sample is two seconds of stereo
    EXPECT_NE(errors.find("bundled sample"), std::string::npos);
}

// ffmpeg's VOB muxer cuts LPCM payloads anywhere, also inside the sample-frame
// pairs of 24-bit audio; the host re-cuts them on whole pairs.
TEST(Tavio, VobDecodesBitForBitLikeTheReferenceDecoder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    struct Case {
        int channels;
        const char* sampleFormat;
        const char* referenceFormat;
        uint32_t mask;
    } cases[] = {
        {6, "s16", "s16le", 0x3F},
        {2, "s32", "s24le", 0x3},
    };
    for (const Case& c : cases) {
        TempFolder folder;
        std::string vob = folder.file("some.vob");
        ASSERT_EQ(std::system(("ffmpeg -v error " + sineSource(c.channels, 48000, 1.5) + " -c:a pcm_dvd -sample_fmt " +
                               c.sampleFormat + " -f vob -y " + vob).c_str()),
                  0);
        std::string errors;
        ASSERT_EQ(run(vob + " -q -o " + folder.file("some.wav"), &errors), 0) << errors;
        WavFile wav = readWav(folder.file("some.wav"));
        bool ok = false;
        auto reference = commandOutput("ffmpeg -v error -i " + vob + " -f " + c.referenceFormat + " -", &ok);
        ASSERT_TRUE(ok);
        EXPECT_TRUE(wav.data == reference) << c.channels << " channels, " << c.sampleFormat;
        EXPECT_EQ(wav.channelMask(), c.mask);
    }
}

TEST(Tavio, BlurayLpcmFromM2tsDecodesBitForBitLikeTheReferenceDecoder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    struct Case {
        int channels;
        const char* layout;
        const char* sampleFormat;
        const char* referenceFormat;
        uint32_t mask;
    } cases[] = {
        {2, "stereo", "s16", "s16le", 0x3},
        {6, "5.1(side)", "s32", "s24le", 0x3F},
    };
    for (const Case& c : cases) {
        TempFolder folder;
        std::string m2ts = folder.file("bd.m2ts");
        std::string source = sineSource(c.channels, 48000, 0.5);
        source.insert(source.size() - 1, std::string(":c=") + c.layout);
        ASSERT_EQ(std::system(("ffmpeg -v error " + source + " -c:a pcm_bluray -sample_fmt " + c.sampleFormat +
                               " -f mpegts -mpegts_m2ts_mode 1 -y " + m2ts).c_str()),
                  0);
        std::string errors;
        ASSERT_EQ(run(m2ts + " -q -o " + folder.file("bd.wav"), &errors), 0) << errors;
        WavFile wav = readWav(folder.file("bd.wav"));
        bool ok = false;
        auto reference = commandOutput("ffmpeg -v error -i " + m2ts + " -f " + c.referenceFormat + " -", &ok);
        ASSERT_TRUE(ok);
        EXPECT_TRUE(wav.data == reference) << c.layout;
        EXPECT_EQ(wav.channelMask(), c.mask) << c.layout;
    }
}

// Blu-ray 7.1 with one tone per channel: the file's header carries the mask
// the filter delivers (0x63F), and each channel lands where the Blu-ray
// channel table puts it. That table delivers the coded surround pair in the
// back positions and the coded back pair in the side positions, the other
// way round from ffmpeg's decode.
TEST(Tavio, BlurayLpcmSevenOneHasTheDeliveredMaskAndChannelOrder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string m2ts = folder.file("bd71.m2ts");
    std::string source = sineSource(8, 48000, 0.5);
    source.insert(source.size() - 1, ":c=7.1");
    ASSERT_EQ(std::system(("ffmpeg -v error " + source + " -c:a pcm_bluray -sample_fmt s16 -f mpegts -mpegts_m2ts_mode 1 -y " + m2ts)
                              .c_str()),
              0);
    std::string errors;
    ASSERT_EQ(run(m2ts + " -q -o " + folder.file("bd71.wav"), &errors), 0) << errors;
    WavFile wav = readWav(folder.file("bd71.wav"));
    EXPECT_EQ(wav.channelMask(), 0x63Fu);
    EXPECT_EQ(wav.channels(), 8);
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + m2ts + " -f s16le -", &ok);
    ASSERT_TRUE(ok);
    ASSERT_EQ(wav.data.size(), reference.size());
    // Our channel i is ffmpeg's channel fromReference[i].
    const size_t fromReference[8] = {0, 1, 2, 3, 6, 7, 4, 5};
    size_t frames = reference.size() / 16, mismatches = 0;
    for (size_t f = 0; f < frames; ++f)
        for (size_t c = 0; c < 8; ++c)
            mismatches += std::memcmp(&wav.data[16 * f + 2 * c], &reference[16 * f + 2 * fromReference[c]], 2) != 0;
    EXPECT_EQ(mismatches, 0u);
}

// A 2/2 AC-3 stream is delivered with the quadraphonic mask 0x33, which the
// file's header must say rather than the connection's 0xF.
TEST(Tavio, Ac3TwoTwoStreamHasTheDeliveredMask)
{
    const std::string vector = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/dlbframe337/dd_6ch_acmod22.ac3";
    if (!haveFfmpeg() || !std::ifstream(vector))
        GTEST_SKIP() << "ffmpeg or the shared vectors missing";
    TempFolder folder;
    std::string errors;
    ASSERT_EQ(run(vector + " --bits 16 -q -o " + folder.file("quad.wav"), &errors), 0) << errors;
    WavFile wav = readWav(folder.file("quad.wav"));
    EXPECT_EQ(wav.channelMask(), 0x33u);
    EXPECT_EQ(wav.channels(), 4);
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + vector + " -f s16le -", &ok);
    ASSERT_TRUE(ok);
    EXPECT_EQ(wav.data.size(), reference.size());
    EXPECT_LE(maxDifference16(wav.data, reference), 1);
}

// A stream whose layout changes after audio was written: the WAVE file keeps
// the first format and the rest is converted to it, said on standard error;
// raw output goes on in the new format.
TEST(Tavio, AFormatChangeMidStreamIsConvertedToTheFilesFormat)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string stereo = folder.file("a.ac3"), six = folder.file("b.ac3"), both = folder.file("ab.ac3");
    ASSERT_EQ(std::system(("ffmpeg -v error " + sineSource(2, 48000, 1.0) + " -c:a ac3 -y " + stereo).c_str()), 0);
    ASSERT_EQ(std::system(("ffmpeg -v error " + sineSource(6, 48000, 1.0) + " -c:a ac3 -y " + six).c_str()), 0);
    ASSERT_EQ(std::system(("cat " + stereo + " " + six + " >" + both).c_str()), 0);
    std::string errors;
    ASSERT_EQ(run(both + " --bits 16 -o " + folder.file("ab.wav"), &errors), 0) << errors;
    EXPECT_NE(errors.find("changed from 16-bit PCM, 48000 Hz, 2 channels (mask 0x3) to 16-bit PCM, 48000 Hz, "
                          "6 channels (mask 0x3f); converting to the file's format"),
              std::string::npos)
        << errors;
    WavFile wav = readWav(folder.file("ab.wav"));
    EXPECT_EQ(wav.channels(), 2);
    bool ok = false;
    auto first = commandOutput("ffmpeg -v error -i " + stereo + " -f s16le -", &ok);
    ASSERT_TRUE(ok);
    ASSERT_GT(wav.data.size(), first.size());
    EXPECT_LE(maxDifference16(first, wav.data), 1);
    auto second = commandOutput("ffmpeg -v error -i " + six + " -f s16le -", &ok);
    EXPECT_EQ(wav.data.size() - first.size(), second.size() / 3);  // the same time in stereo

    ASSERT_EQ(run(both + " --bits 16 -o " + folder.file("ab.raw"), &errors), 0) << errors;
    EXPECT_NE(errors.find("the raw output goes on in the new format"), std::string::npos) << errors;
    EXPECT_EQ(readAll(folder.file("ab.raw")).size(), first.size() + second.size());
}

// A DVD-Audio AOB of 16-bit six-channel audio at 48 kHz: packs whose private
// stream 1 packets carry the DVD-Audio LPCM header (substream 0xA0, header
// length 8, first access unit right after it, quantisation and frequency
// nibbles 0, channel assignment 17: two groups of three) and big-endian
// samples of a known ramp, which 16-bit streams keep in their coded order.
TEST(Tavio, DvdAudioLpcmFromAnAobKeepsItsSamples)
{
    using namespace psbuild;
    TempFolder folder;
    std::string aob = folder.file("audio.aob");
    std::vector<uint8_t> expected;
    Bytes stream;
    constexpr int kFramesPerPacket = 200;
    for (int packet = 0; packet < 20; ++packet) {
        Bytes payload = {0xA0, 0, 0, 8, 0, 7, 0, 0x00, 0x00, 0, 17, 0};
        for (int frame = 0; frame < kFramesPerPacket; ++frame)
            for (int channel = 0; channel < 6; ++channel) {
                int16_t sample = int16_t((packet * kFramesPerPacket + frame) * (channel - 3) * 7);
                payload.push_back(uint8_t(uint16_t(sample) >> 8));
                payload.push_back(uint8_t(sample));
                expected.push_back(uint8_t(sample));
                expected.push_back(uint8_t(uint16_t(sample) >> 8));
            }
        int64_t pts = 90000 + int64_t(packet) * kFramesPerPacket * 90000 / 48000;
        stream = concat({stream, mpeg2Pack(), pes(0xBD, mpeg2Header(&pts), payload)});
    }
    std::ofstream(aob, std::ios::binary).write(reinterpret_cast<const char*>(stream.data()), long(stream.size()));
    std::string errors;
    ASSERT_EQ(run(aob + " -o " + folder.file("a.wav"), &errors), 0) << errors;
    EXPECT_NE(errors.find("DVD-Audio LPCM, 48000 Hz, 6 channels (assignment 17), 16-bit"), std::string::npos)
        << errors;
    WavFile wav = readWav(folder.file("a.wav"));
    EXPECT_EQ(wav.channelMask(), 0x3Fu);
    EXPECT_TRUE(wav.data == expected) << wav.data.size() << " vs " << expected.size() << " bytes";
}

// 24-bit DVD-Audio LPCM (3+3 channels) whose packets cut the 36-byte groups
// anywhere decodes to the same bytes as the same audio cut on whole groups.
TEST(Tavio, DvdAudioLpcmCutInsideGroupsDecodesLikeWholeGroups)
{
    using namespace psbuild;
    TempFolder folder;
    Bytes audio;
    for (int i = 0; i < 36 * 400; ++i)
        audio.push_back(uint8_t(i * 37 + i / 7));
    auto aobWithPayloadsOf = [&](size_t payloadBytes, const std::string& path) {
        Bytes stream;
        int64_t pts = 90000;
        for (size_t at = 0; at < audio.size(); at += payloadBytes) {
            Bytes payload = {0xA0, 0, 0, 8, 0, 7, 0, 0x22, 0x00, 0, 17, 0};
            payload.insert(payload.end(), audio.begin() + long(at),
                           audio.begin() + long(std::min(audio.size(), at + payloadBytes)));
            stream = concat({stream, mpeg2Pack(), pes(0xBD, mpeg2Header(&pts), payload)});
            pts += 90;
        }
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(stream.data()), long(stream.size()));
    };
    aobWithPayloadsOf(36 * 50, folder.file("whole.aob"));
    aobWithPayloadsOf(1001, folder.file("cut.aob"));
    std::string errors;
    ASSERT_EQ(run(folder.file("whole.aob") + " -q -o " + folder.file("whole.raw"), &errors), 0) << errors;
    ASSERT_EQ(run(folder.file("cut.aob") + " -q -o " + folder.file("cut.raw"), &errors), 0) << errors;
    auto whole = readAll(folder.file("whole.raw"));
    EXPECT_EQ(whole.size(), audio.size());
    EXPECT_TRUE(readAll(folder.file("cut.raw")) == whole);
}

// AC-3 in every container the host reads, decoded through the filter and its
// AC-3 library: ffmpeg's decode within one 16-bit step, MP4's priming cut as the
// container's edit list says.
TEST(Tavio, Ac3FromEachContainerDecodesLikeTheReferenceDecoder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string source = sineSource(6, 48000, 0.5);
    source.insert(source.size() - 1, ":c=5.1(side)");
    for (const char* container : {"ac3", "vob", "mkv", "avi", "mp4", "wav", "ts"}) {
        std::string input = folder.file(std::string("in.") + container);
        ASSERT_EQ(std::system(("ffmpeg -v error " + source + " -c:a ac3 -y " + input).c_str()), 0) << container;
        std::string errors;
        ASSERT_EQ(run(input + " --bits 16 -q -o " + folder.file("out.raw"), &errors), 0)
            << container << ": " << errors;
        bool ok = false;
        auto reference = commandOutput("ffmpeg -v error -i " + input + " -f s16le -", &ok);
        ASSERT_TRUE(ok);
        auto ours = readAll(folder.file("out.raw"));
        EXPECT_EQ(ours.size(), reference.size()) << container;
        EXPECT_LE(maxDifference16(ours, reference), 1) << container;
    }
}

// MLP and TrueHD made from known PCM, in every container the host reads them
// from: the samples are the source's (and ffmpeg's decode of the same file).
TEST(Tavio, MlpFromEachContainerDecodesToItsSourcePcm)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    struct Case {
        MlpEncoding encoding;
        const char* container;
        uint32_t mask;
    } cases[] = {
        {{"mlp", 6, "5.1", 96000, 24}, "mlp", 0x3F},
        {{"mlp", 2, "stereo", 44100, 16}, "mlp", 0x3},
        {{"truehd", 6, "5.1", 48000, 24}, "thd", 0x3F},
        {{"truehd", 6, "5.1", 48000, 24}, "mkv", 0x3F},
        {{"truehd", 5, "5.0", 96000, 16}, "mp4", 0x1F},
        {{"truehd", 2, "stereo", 192000, 24, 0.1}, "m2ts", 0x3},
    };
    for (const Case& c : cases) {
        TempFolder folder;
        MlpStream stream = makeMlpStream(folder, c.encoding, c.container);
        ASSERT_FALSE(stream.path.empty()) << c.container;
        std::string errors;
        ASSERT_EQ(run(stream.path + " -q -o " + folder.file("out.wav"), &errors), 0) << c.container << ": " << errors;
        WavFile wav = readWav(folder.file("out.wav"));
        if (c.mask) {
            EXPECT_EQ(wav.channelMask(), c.mask) << c.container;
        }
        EXPECT_EQ(wav.bitsPerSample(), 24) << c.container;
        EXPECT_TRUE(startsWithSource(wav.data, stream.expected, c.encoding.channels))
            << c.container << ": " << wav.data.size() << " vs " << stream.expected.size();
        bool ok = false;
        // ffmpeg's probe misses some raw streams that its demuxers read.
        std::string demuxer = c.container == std::string("mlp") ? "-f mlp " : "";
        auto reference = commandOutput("ffmpeg -v error " + demuxer + "-i " + stream.path + " -f s24le -", &ok);
        ASSERT_TRUE(ok) << c.container;
        EXPECT_TRUE(wav.data == reference) << c.container;
    }
}

// Program streams of MLP as discs carry them, in packs of one private stream 1
// packet: DVD-Audio (substream 0xA1 behind a header of 4 + 3 bytes) and HD-DVD
// (substream 0xB0 behind 5 bytes), the payload cut wherever the pack ends.
std::vector<uint8_t> mlpProgramStream(const std::vector<uint8_t>& mlp, bool hdDvd)
{
    using namespace psbuild;
    Bytes stream;
    constexpr size_t kPayload = 2000;
    for (size_t offset = 0, n = 0; offset < mlp.size(); offset += kPayload, ++n) {
        Bytes payload = hdDvd ? Bytes{0xB0, uint8_t(n), 0, 0, 0} : Bytes{0xA1, uint8_t(n), 0, 3, 0, 0, 0};
        payload.insert(payload.end(), mlp.begin() + long(offset),
                       mlp.begin() + long(std::min(mlp.size(), offset + kPayload)));
        int64_t pts = 90000;
        stream = concat({stream, mpeg2Pack(), pes(0xBD, mpeg2Header(n == 0 ? &pts : nullptr), payload)});
    }
    return stream;
}

TEST(Tavio, MlpFromDiscProgramStreams)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    MlpStream mlp = makeMlpStream(folder, {"mlp", 6, "5.1", 96000, 24});
    MlpStream trueHd = makeMlpStream(folder, {"truehd", 6, "5.1", 48000, 24});
    ASSERT_FALSE(mlp.path.empty() || trueHd.path.empty());
    struct Case {
        const MlpStream& stream;
        bool hdDvd;
        const char* name;
        const char* described;
    } cases[] = {
        {mlp, false, "audio.aob", "substream 0xA1: DVD-Audio MLP, 96000 Hz, 6 channels"},
        {trueHd, true, "movie.evo", "substream 0xB0: HD-DVD TrueHD, 48000 Hz, 6 channels"},
    };
    for (const Case& c : cases) {
        std::string path = folder.file(c.name);
        std::vector<uint8_t> bytes = mlpProgramStream(fileBytes(c.stream.path), c.hdDvd);
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), long(bytes.size()));
        std::string errors;
        ASSERT_EQ(run(path + " -o " + folder.file("out.wav"), &errors), 0) << c.name << ": " << errors;
        EXPECT_NE(errors.find(c.described), std::string::npos) << errors;
        WavFile wav = readWav(folder.file("out.wav"));
        EXPECT_EQ(wav.channelMask(), 0x3Fu) << c.name;
        EXPECT_TRUE(startsWithSource(wav.data, c.stream.expected, 6))
            << c.name << ": " << wav.data.size() << " vs " << c.stream.expected.size();
    }
}

// The real TrueHD stream (7.1 with two- and six-channel presentations), from
// its MP4 and re-packed as an HD-DVD EVO: ffmpeg's samples, eight channels
// with the mask of the lowest eight speaker bits.
TEST(Tavio, RealTrueHdStreamDecodesLikeTheReferenceDecoder)
{
    std::string mp4 = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/androidx_media/mp4_sample_dthd.mp4";
    if (!std::filesystem::exists(mp4))
        GTEST_SKIP() << mp4 << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string thd = folder.file("v.thd"), evo = folder.file("v.evo");
    ASSERT_EQ(std::system(("ffmpeg -v error -i " + mp4 + " -c copy -f truehd -y " + thd).c_str()), 0);
    std::vector<uint8_t> bytes = mlpProgramStream(fileBytes(thd), true);
    std::ofstream(evo, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), long(bytes.size()));
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + mp4 + " -f s24le -", &ok);
    ASSERT_TRUE(ok);
    for (const std::string& input : {mp4, evo}) {
        std::string errors;
        ASSERT_EQ(run(input + " -q -o " + folder.file("out.wav"), &errors), 0) << errors;
        WavFile wav = readWav(folder.file("out.wav"));
        EXPECT_EQ(wav.channelMask(), 0xFFu) << input;
        EXPECT_TRUE(wav.data == reference) << input << ": " << wav.data.size() << " vs " << reference.size();
    }
}

// Float samples of a WAV data chunk or of ffmpeg's f32le output.
std::vector<float> floatsOf(const std::vector<uint8_t>& bytes)
{
    std::vector<float> out(bytes.size() / 4);
    std::memcpy(out.data(), bytes.data(), out.size() * 4);
    return out;
}

double snrDb(const std::vector<float>& reference, const std::vector<float>& test)
{
    double signal = 0, noise = 0;
    for (size_t i = 0; i < std::min(reference.size(), test.size()); ++i) {
        signal += double(reference[i]) * reference[i];
        noise += (double(reference[i]) - test[i]) * (double(reference[i]) - test[i]);
    }
    return noise == 0 ? INFINITY : 10 * std::log10(signal / noise);
}

// Decodes `input` as float and checks it against ffmpeg's float decode:
// the same number of samples (priming and end padding cut alike) and an
// SNR of at least 90 dB (both decoders are libvorbis-compatible floating
// point). Returns the WAV's channel mask.
uint32_t expectVorbisLikeFfmpeg(const std::string& input, const std::string& name)
{
    TempFolder folder;
    std::string errors;
    EXPECT_EQ(run(input + " -q --bits float -o " + folder.file("out.wav"), &errors), 0) << name << ": " << errors;
    WavFile wav = readWav(folder.file("out.wav"));
    bool ok = false;
    auto reference = floatsOf(commandOutput("ffmpeg -v error -i " + input + " -f f32le -", &ok));
    EXPECT_TRUE(ok) << name;
    auto ours = floatsOf(wav.data);
    EXPECT_EQ(ours.size(), reference.size()) << name;
    double snr = snrDb(reference, ours);
    std::printf("%s: %zu samples, SNR %.1f dB against ffmpeg\n", name.c_str(), ours.size(), snr);
    EXPECT_GE(snr, 90) << name;
    return wav.channelMask();
}

TEST(Tavio, VorbisFromEachContainerDecodesLikeTheReferenceDecoder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string source = sineSource(6, 48000, 0.5);
    source.insert(source.size() - 1, ":c=5.1");
    for (const char* container : {"ogg", "webm", "mkv", "mp4"}) {
        std::string input = folder.file(std::string("in.") + container);
        ASSERT_EQ(std::system(("ffmpeg -v error " + source + " -c:a libvorbis -q:a 6 -y " + input).c_str()), 0)
            << container;
        EXPECT_EQ(expectVorbisLikeFfmpeg(input, container), 0x3Fu) << container;
    }
}

TEST(Tavio, RealVorbisStreamsDecodeLikeTheReferenceDecoder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const std::string vectors = TAVIO_SOURCE_DIR "/../shared/vectors/";
    for (const char* name : {"androidx_media/ogg_bear_vorbis.ogg", "androidx/mkv_bbb_1ch_12kHz_q10_vorbis.webm",
                             "optivorbis/44100hz_500ms_stereo_uncoupled_400hz_sine_wave.ogg"}) {
        if (std::filesystem::exists(vectors + name))
            expectVorbisLikeFfmpeg(vectors + name, name);
    }
    // More than eight channels: refused, in one line.
    std::string nine = vectors + "shakapackager/9ch.ogg";
    if (std::filesystem::exists(nine)) {
        TempFolder folder;
        std::string errors;
        EXPECT_EQ(run(nine + " -o " + folder.file("x.wav"), &errors), 2);
        EXPECT_NE(errors.find("the filter refused the vorbis stream"), std::string::npos) << errors;
        EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    }
}

// AAC in every container the host reads it from (raw access units with the
// container's AudioSpecificConfig, ADTS with its headers stripped, LATM
// turned into access units), decoded by FAAD2 in the filter: within the
// tolerance of two independent decoders of ffmpeg's decode, channels in the
// same WAVE order.
TEST(Tavio, AacFromEachContainerDecodesLikeTheReferenceDecoder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string source = sineSource(6, 48000, 0.5);
    source.insert(source.size() - 1, ":c=5.1");
    std::string m4a = folder.file("source.m4a");
    ASSERT_EQ(std::system(("ffmpeg -v error " + source + " -c:a aac -y " + m4a).c_str()), 0);
    struct Case {
        const char* file;
        const char* options;
    } cases[] = {
        {"in.m4a", ""},
        {"in.3gp", ""},
        {"in.mkv", ""},
        {"in.aac", "-f adts"},
        {"adts.ts", ""},
        {"latm.ts", "-mpegts_flags latm"},
        {"in.loas", "-f latm"},
    };
    for (const Case& c : cases) {
        std::string input = folder.file(c.file);
        ASSERT_EQ(std::system(("ffmpeg -v error -i " + m4a + " -c copy " + c.options + " -y " + input).c_str()), 0)
            << c.file;
        std::string errors;
        ASSERT_EQ(run(input + " -q -o " + folder.file("out.raw"), &errors), 0) << c.file << ": " << errors;
        auto bytes = readAll(folder.file("out.raw"));
        std::vector<int16_t> ours(bytes.size() / 2);
        std::memcpy(ours.data(), bytes.data(), ours.size() * 2);
        std::vector<int16_t> reference = referencePcm(input);
        PcmMatch match = alignedSnr(reference, ours, 6);
        std::cout << "[ snr ] AAC 5.1 from " << c.file << ": " << match.snr << " dB against ffmpeg, shift "
                  << match.shift << " frames" << std::endl;
        EXPECT_GE(match.snr, 50.0) << c.file;
        // Half a second, less at most the unit FAAD2 holds back.
        EXPECT_NEAR(double(ours.size()), 24000.0 * 6, 2048.0 * 6) << c.file;
    }
}

// HE-AAC from real streams: SBR doubles the core rate that the ADTS and MP4
// configurations announce, and FAAD2 delivers mono on both front channels.
// The WAV file takes the format of the first decoded frame, not the
// connection's, and its samples match ffmpeg's decode.
TEST(Tavio, HeAacWavTakesTheDecodedRateAndChannels)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    struct Case {
        const char* file;
        int referenceChannels;
    } cases[] = {
        {"mediabunny/no-initial-keyframe.ts", 2},
        {"taglib/zero-length-mdat.m4a", 1},
    };
    for (const Case& c : cases) {
        std::string path = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/" + c.file;
        if (!std::filesystem::exists(path))
            GTEST_SKIP() << path << " not present";
        TempFolder folder;
        std::string errors;
        ASSERT_EQ(run(path + " -q -o " + folder.file("out.wav"), &errors), 0) << c.file << ": " << errors;
        WavFile wav = readWav(folder.file("out.wav"));
        EXPECT_EQ(wav.sampleRate(), 44100u) << c.file;
        EXPECT_EQ(wav.channels(), 2) << c.file;
        EXPECT_EQ(wav.channelMask(), 0x3u) << c.file;
        std::vector<int16_t> ours(wav.data.size() / 2);
        std::memcpy(ours.data(), wav.data.data(), ours.size() * 2);
        if (c.referenceChannels == 1)
            ours = pickChannels(ours, 2, {0});
        std::vector<int16_t> reference = referencePcm(path);
        PcmMatch match = alignedSnr(reference, ours, c.referenceChannels);
        std::cout << "[ snr ] HE-AAC " << c.file << " through tavio: " << match.snr << " dB against ffmpeg, shift "
                  << match.shift << " frames" << std::endl;
        EXPECT_GE(match.snr, 60.0) << c.file;
        // All of it but the first unit, which FAAD2 holds back.
        EXPECT_NEAR(double(ours.size()), double(reference.size()), 2048.0 * c.referenceChannels) << c.file;
    }
}

// Signal-to-noise ratio of 16-bit samples against a reference, in dB.
double snrDb(const std::vector<uint8_t>& reference, const std::vector<uint8_t>& test)
{
    double signal = 0, noise = 0;
    for (size_t i = 0; i + 1 < std::min(reference.size(), test.size()); i += 2) {
        int16_t r, t;
        std::memcpy(&r, &reference[i], 2);
        std::memcpy(&t, &test[i], 2);
        signal += double(r) * r;
        noise += (double(r) - t) * (double(r) - t);
    }
    return noise == 0 ? INFINITY : 10 * std::log10(signal / noise);
}

// AMR from the real streams, as they come and remuxed into the other
// containers the host reads it from, near ffmpeg's own decoders (a different
// implementation). ffmpeg decodes one frame of each packet, so 3GP samples
// of many frames reach it as the frames of a .amr file.
TEST(Tavio, AmrFromEachContainerDecodesNearTheReferenceDecoder)
{
    const std::string vectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    if (!std::filesystem::exists(vectors + "androidx_media/amr_sample_nb.amr"))
        GTEST_SKIP() << "no AMR vectors in " << vectors;
    TempFolder folder;
    struct Case {
        std::string input;
        std::string remuxTo;  // "" = the vector itself
        double minSnrDb;
    } cases[] = {
        {"androidx_media/amr_sample_nb.amr", "", 33},
        {"androidx_media/amr_sample_wb.amr", "awb", 14},
        {"androidx_media/amr_sample_wb.amr", "3gp", 14},
        {"androidx_media/amr_sample_nb.amr", "mkv", 33},
        {"androidx_media/3gp_bbb_mono_8kHz_12.2kbps_amrnb.3gp", "", 28},
        {"mp4parser/MOV00006.3gp", "", 24},
    };
    for (const Case& c : cases) {
        std::string input = vectors + c.input;
        if (!c.remuxTo.empty()) {
            input = folder.file("remuxed." + c.remuxTo);
            std::string format = c.remuxTo == "awb" ? " -f amr" : "";
            ASSERT_EQ(std::system(("ffmpeg -v error -i " + vectors + c.input + " -c copy" + format +
                                   " -y " + input)
                                      .c_str()),
                      0);
        }
        std::string errors;
        ASSERT_EQ(run(input + " -q -o " + folder.file("out.raw"), &errors), 0)
            << c.input << ": " << errors;
        std::string frames = folder.file("frames.amr");
        ASSERT_EQ(
            std::system(
                ("ffmpeg -v error -i " + input + " -map 0:a -c copy -f amr -y " + frames).c_str()),
            0);
        auto reference = commandOutput("ffmpeg -v error -i " + frames + " -f s16le -");
        auto ours = readAll(folder.file("out.raw"));
        // MP4 priming cut by the edit list leaves ours shorter by less than a frame.
        EXPECT_LE(ours.size(), reference.size()) << c.input;
        EXPECT_LT(reference.size() - ours.size(), 640u) << c.input;
        std::vector<uint8_t> aligned(reference.end() - long(ours.size()), reference.end());
        double snr = snrDb(aligned, ours);
        std::cout << "[ snr ] " << c.input << (c.remuxTo.empty() ? "" : " in ." + c.remuxTo) << ": "
                  << snr << " dB against ffmpeg" << std::endl;
        EXPECT_GE(snr, c.minSnrDb) << c.input << " " << c.remuxTo;
    }
}

// Without TvAmrDec.dll beside the module the filter refuses AMR streams: one
// line, exit code 2.
TEST(Tavio, AmrWithoutItsLibraryIsRefused)
{
    const std::string stream =
        std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/androidx_media/amr_sample_nb.amr";
    if (!std::filesystem::exists(stream))
        GTEST_SKIP() << stream << " not present";
    TempFolder folder;
    std::filesystem::path module = std::filesystem::path(TAVIO_MODULE_DIR);
    for (const auto& entry : std::filesystem::directory_iterator(module))
        if (entry.path().filename() != "TvAmrDec.dll")
            std::filesystem::copy(entry.path(), folder.file(entry.path().filename()));
    std::filesystem::copy(tavio, folder.file("tavio"));
    std::string errorFile = folder.file("stderr.txt");
    int status = std::system(
        (folder.file("tavio") + " " + stream + " -o " + folder.file("x.wav") + " 2>" + errorFile)
            .c_str());
    std::ifstream in(errorFile);
    std::string errors((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(WEXITSTATUS(status), 2);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    EXPECT_NE(errors.find("refused the amr-nb stream"), std::string::npos) << errors;
}

TEST(Tavio, SpdifPassThroughWritesTheBurstsTheReferenceMuxerWrites)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string ac3 = folder.file("in.ac3");
    ASSERT_EQ(std::system(("ffmpeg -v error " + sineSource(2, 48000, 0.5) + " -c:a ac3 -b:a 192k -y " + ac3).c_str()),
              0);
    std::string errors;
    ASSERT_EQ(run(ac3 + " --spdif -q -o " + folder.file("bursts.wav"), &errors), 0) << errors;
    WavFile wav = readWav(folder.file("bursts.wav"));
    EXPECT_EQ(wav.formatTag(), kSpdifFormatTag);
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + ac3 + " -c copy -f spdif -", &ok);
    ASSERT_TRUE(ok);
    EXPECT_TRUE(wav.data == reference) << wav.data.size() << " vs " << reference.size() << " bytes";
}

// The AC-3 frames inside a run of 6144-byte bursts, back in stream order.
std::vector<uint8_t> burstPayloads(const std::vector<uint8_t>& bursts)
{
    std::vector<uint8_t> ac3;
    for (size_t b = 0; b + 6144 <= bursts.size(); b += 6144) {
        size_t bytes = size_t(bursts[b + 6] | (bursts[b + 7] << 8)) / 8;
        for (size_t i = 0; i + 1 < bytes && b + 9 + i < bursts.size(); i += 2) {
            ac3.push_back(bursts[b + 8 + i + 1]);
            ac3.push_back(bursts[b + 8 + i]);
        }
    }
    return ac3;
}

// E-AC-3 from every container a user would hand tavio: without --spdif one
// line that says to use it; with it AC-3 bursts whose frames decode like the
// original, one tone per speaker in its place, 256 samples later (the AC-3
// encoder's delay).
TEST(Tavio, Eac3FromEachContainerGoesOutAsAc3Bursts)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string source = sineSource(6, 48000, 0.5);
    source.insert(source.size() - 1, ":c=5.1(side)");
    for (const char* container : {"eac3", "ec3", "mp4", "mkv", "ts"}) {
        std::string input = folder.file(std::string("in.") + container);
        std::string format = std::string(container) == "ec3" ? " -f eac3" : "";
        ASSERT_EQ(std::system(("ffmpeg -v error " + source + " -c:a eac3 -b:a 384k" + format + " -y " + input)
                                  .c_str()),
                  0)
            << container;
        std::string errors;
        EXPECT_EQ(run(input + " -o " + folder.file("pcm.wav"), &errors), 3) << container;
        EXPECT_NE(errors.find("use --spdif"), std::string::npos) << errors;
        EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;

        ASSERT_EQ(run(input + " --spdif -q -o " + folder.file("bursts.wav"), &errors), 0) << container << errors;
        WavFile wav = readWav(folder.file("bursts.wav"));
        EXPECT_EQ(wav.formatTag(), kSpdifFormatTag);
        std::string converted = folder.file("converted.ac3");
        std::vector<uint8_t> ac3 = burstPayloads(wav.data);
        std::ofstream(converted, std::ios::binary).write(reinterpret_cast<const char*>(ac3.data()), long(ac3.size()));
        bool ok = false;
        auto ours = commandOutput("ffmpeg -v error -i " + converted + " -f s16le -", &ok);
        ASSERT_TRUE(ok) << container;
        auto reference = commandOutput("ffmpeg -v error -i " + input + " -f s16le -", &ok);
        ASSERT_TRUE(ok) << container;
        // The delay that fits best: the AC-3 encoder's 256 samples, and MP4's
        // priming, which the host cannot cut out of bursts, on top.
        constexpr size_t kFrame = 6 * 2, kSkip = 1536 * kFrame;
        double snr = -INFINITY;
        size_t delay = 0;
        for (size_t d = 0; d <= 1024; ++d) {
            size_t shift = d * kFrame;
            double signal = 0, noise = 0;
            for (size_t i = kSkip; i + shift + kSkip < std::min(ours.size(), reference.size() + shift); i += 2) {
                double r = int16_t(reference[i] | (reference[i + 1] << 8));
                double o = int16_t(ours[i + shift] | (ours[i + shift + 1] << 8));
                signal += r * r;
                noise += (r - o) * (r - o);
            }
            double value = 10 * std::log10(signal / noise);
            if (value > snr) {
                snr = value;
                delay = d;
            }
        }
        std::cout << "[ snr ] E-AC-3 in " << container << " through --spdif: " << snr << " dB at a delay of "
                  << delay << " samples" << std::endl;
        EXPECT_EQ(delay, std::string(container) == "mp4" ? 512u : 256u) << container;
        EXPECT_GE(snr, 30.0) << container;
    }
}

// Byte-swapped AC-3 files play like the stream order they stand for.
TEST(Tavio, ByteSwappedAc3PlaysLikeTheStreamOrder)
{
    const std::string vectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";
    const std::string swapped = vectors + "dlbmp4base/5ch_dd_25fps_channel_id-LE.ac3";
    const std::string straight = vectors + "dlbmp4base/5ch_dd_25fps_channel_id.ac3";
    const std::string errorStream = vectors + "dlbframe337/dd_error1.ac3";
    if (!std::ifstream(swapped) || !std::ifstream(straight) || !std::ifstream(errorStream))
        GTEST_SKIP() << "the shared vectors are missing";
    TempFolder folder;
    std::string errors;
    ASSERT_EQ(run(swapped + " -q -o " + folder.file("swapped.raw"), &errors), 0) << errors;
    ASSERT_EQ(run(straight + " -q -o " + folder.file("straight.raw"), &errors), 0) << errors;
    auto fromSwapped = readAll(folder.file("swapped.raw"));
    EXPECT_FALSE(fromSwapped.empty());
    EXPECT_TRUE(fromSwapped == readAll(folder.file("straight.raw")));
    if (!haveFfmpeg())
        return;
    ASSERT_EQ(run(errorStream + " --bits 16 -q -o " + folder.file("error1.raw"), &errors), 0) << errors;
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + errorStream + " -f s16le -", &ok);
    auto ours = readAll(folder.file("error1.raw"));
    EXPECT_FALSE(ours.empty());
    EXPECT_EQ(ours.size(), reference.size());
    EXPECT_LE(maxDifference16(ours, reference), 1);
}

// --output-format goes through the filter's codec API: a 5.1 AC-3 stream as
// decoded, downmixed for S/PDIF, and downmixed surround-compatible.
TEST(Tavio, OutputFormatsReachTheFilterThroughItsCodecApi)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string ac3 = folder.file("in.ac3");
    std::string source = sineSource(6, 48000, 0.5);
    source.insert(source.size() - 1, ":c=5.1(side)");
    ASSERT_EQ(std::system(("ffmpeg -v error " + source + " -c:a ac3 -y " + ac3).c_str()), 0);
    struct Case {
        const char* format;
        int channels;
    } cases[] = {{"pcm-stereo", 6}, {"spdif-pcm", 2}, {"matrix-stereo", 2}};
    std::vector<std::vector<uint8_t>> data;
    for (const Case& c : cases) {
        std::string errors, out = folder.file(std::string(c.format) + ".wav");
        ASSERT_EQ(run(ac3 + " -q --output-format " + c.format + " -o " + out, &errors), 0) << errors;
        WavFile wav = readWav(out);
        EXPECT_EQ(wav.channels(), c.channels) << c.format;
        data.push_back(wav.data);
    }
    EXPECT_EQ(data[1].size(), data[2].size());
    EXPECT_FALSE(data[1] == data[2]) << "the surround-compatible downmix equals the plain one";
}

TEST(Tavio, SixteenBitOnlyOutputStillGetsATwentyFourBitStream)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string vob = folder.file("hi.vob");
    ASSERT_EQ(std::system(("ffmpeg -v error " + sineSource(2, 48000, 1.0) +
                           " -c:a pcm_dvd -sample_fmt s32 -f vob -y " + vob).c_str()),
              0);
    std::string errors;
    ASSERT_EQ(run(vob + " --bits 16 -o " + folder.file("lo.wav"), &errors), 0) << errors;
    WavFile wav = readWav(folder.file("lo.wav"));
    EXPECT_EQ(wav.bitsPerSample(), 16);
    // A second of stereo 16-bit audio, give or take the muxer's last packet.
    EXPECT_NEAR(double(wav.data.size()), 48000.0 * 4, 48000.0 * 4 * 0.05);
    EXPECT_EQ(run(vob + " --bits float -o " + folder.file("f.wav"), &errors), 2);
    EXPECT_NE(errors.find("offers no float output"), std::string::npos) << errors;
}

TEST(Tavio, InfoListsTheAudioStreams)
{
    TempFolder folder;
    std::string listing = folder.file("info.txt");
    ASSERT_EQ(std::system((tavio + " info " + TAVIO_SAMPLE_STREAM + " >" + listing).c_str()), 0);
    auto text = readAll(listing);
    std::string out(text.begin(), text.end());
    EXPECT_NE(out.find("substream 0xA0"), std::string::npos) << out;
    EXPECT_NE(out.find("DVD-Video LPCM, 48000 Hz, 2 channels, 16-bit"), std::string::npos) << out;
    // The property page's text for what the filter decoded and delivered.
    EXPECT_NE(out.find("Frequency:48000"), std::string::npos) << out;
    EXPECT_NE(out.find("Bits: 16 mask: 0x3"), std::string::npos) << out;
}

TEST(Tavio, BadInputsEndWithExitCodeTwoAndOneLine)
{
    TempFolder folder;
    std::ofstream(folder.file("notes.txt")) << "not audio at all\n";
    struct Case {
        std::string arguments;
        int code;
    } cases[] = {
        {folder.file("missing.vob"), 2},
        {folder.file("notes.txt"), 2},
        {folder.file(""), 2},  // a folder is no input
        {"--bogus", 1},
        {"a.vob b.vob", 1},
        {"--bits 12 a.vob", 1},
        {"--stream x a.vob", 1},
        {"--output-format stereo a.vob", 1},
        {std::string(TAVIO_SAMPLE_STREAM) + " --stream 1", 1},
        {"info", 1},
    };
    for (const Case& c : cases) {
        std::string errors;
        EXPECT_EQ(run(c.arguments + " -o " + folder.file("x.wav"), &errors), c.code) << c.arguments;
        EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    }
    if (haveFfmpeg()) {
        std::string video = folder.file("video.mpg");
        ASSERT_EQ(std::system(("ffmpeg -v error -f lavfi -i testsrc=d=1:s=64x64 -f vob -y " + video).c_str()), 0);
        std::string errors;
        EXPECT_EQ(run(video + " -o " + folder.file("v.wav"), &errors), 2);
        EXPECT_NE(errors.find("with no audio stream"), std::string::npos) << errors;
        // Through libavformat: a video-only Matroska file and PCM the filter has no decoder for.
        std::string mkv = folder.file("video.mkv"), wav = folder.file("pcm.wav");
        ASSERT_EQ(std::system(("ffmpeg -v error -f lavfi -i testsrc=d=1:s=64x64 -c:v mpeg4 -y " + mkv).c_str()), 0);
        ASSERT_EQ(std::system(("ffmpeg -v error " + sineSource(2, 48000, 0.2) + " -y " + wav).c_str()), 0);
        EXPECT_EQ(run(mkv + " -o " + folder.file("m.wav"), &errors), 2);
        EXPECT_NE(errors.find("with no audio stream"), std::string::npos) << errors;
        EXPECT_EQ(run(wav + " -o " + folder.file("p.wav"), &errors), 2);
        EXPECT_NE(errors.find("pcm_s16le: the filter has no decoder"), std::string::npos) << errors;
        EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    }
}

// DTS in every container the host reads: within one 24-bit LSB of ffmpeg's decode.
TEST(Tavio, DtsFromEachContainerDecodesLikeTheReferenceDecoder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string source = sineSource(6, 48000, 0.5);
    source.insert(source.size() - 1, ":c=5.1(side)");
    for (const char* container : {"dts", "vob", "mkv", "mp4", "wav", "ts", "m2ts"}) {
        std::string input = folder.file(std::string("in.") + container);
        ASSERT_EQ(std::system(("ffmpeg -v error " + source + " -c:a dca -strict -2 -y " + input).c_str()), 0)
            << container;
        std::string errors;
        ASSERT_EQ(run(input + " -q -o " + folder.file("out.raw"), &errors), 0) << container << ": " << errors;
        bool ok = false;
        auto reference = samples32As24(commandOutput("ffmpeg -v error -i " + input + " -f s32le -", &ok));
        ASSERT_TRUE(ok);
        auto ours = samples24(readAll(folder.file("out.raw")));
        EXPECT_EQ(ours.size(), reference.size()) << container;
        Comparison c = compare24(reference, ours);
        std::cout << "[ snr ] DTS in " << container << ": " << c.snr << " dB, max difference " << c.maxDiff
                  << " LSB (24-bit)" << std::endl;
        EXPECT_LE(c.maxDiff, 1) << container;
    }
}

// DTS-CD rips (14-bit words, either byte order) and little-endian DTS, in raw
// files and in WAV, give exactly what the plain core stream gives.
TEST(Tavio, DtsCdWordFormsDecodeLikeTheCoreStream)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string core = folder.file("core.dts");
    // 1234 kbit/s at 44.1 kHz: 1792-byte frames, 2048 bytes in 14-bit words, as on a CD.
    ASSERT_TRUE(makeDtsStream(core, dtsLayouts()[1], 44100, 0.5, 1234));
    std::string errors;
    ASSERT_EQ(run(core + " -q -o " + folder.file("core.raw"), &errors), 0) << errors;
    std::vector<uint8_t> expected = readAll(folder.file("core.raw"));
    ASSERT_FALSE(expected.empty());
    std::vector<uint8_t> stream = readAll(core);
    struct Case {
        const char* name;
        bool fourteenBit, little, wav;
    } cases[] = {
        {"cd14be.cpt", true, false, false},
        {"cd14le.dts", true, true, false},
        {"le16.dts", false, true, false},
        {"cd14le.wav", true, true, true},
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> carried = streamInCarrierWords(stream, c.fourteenBit, c.little);
        std::ofstream out(folder.file(c.name), std::ios::binary);
        if (c.wav) {
            // A 16-bit stereo PCM header, as CD rips carry it.
            auto put = [&](uint32_t v, int bytes) {
                for (int i = 0; i < bytes; ++i)
                    out.put(char(v >> (8 * i)));
            };
            out << "RIFF";
            put(uint32_t(36 + carried.size()), 4);
            out << "WAVEfmt ";
            put(16, 4), put(1, 2), put(2, 2), put(44100, 4), put(44100 * 4, 4), put(4, 2), put(16, 2);
            out << "data";
            put(uint32_t(carried.size()), 4);
        }
        out.write(reinterpret_cast<const char*>(carried.data()), std::streamsize(carried.size()));
        out.close();
        ASSERT_EQ(run(folder.file(c.name) + " -q -o " + folder.file("out.raw"), &errors), 0) << c.name << errors;
        EXPECT_TRUE(readAll(folder.file("out.raw")) == expected) << c.name;
    }
}

TEST(Tavio, DtsSpdifWritesTheReferenceMuxersBursts)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string dts = folder.file("in.dts");
    ASSERT_TRUE(makeDtsStream(dts, dtsLayouts()[3], 48000, 0.5));
    std::string errors;
    ASSERT_EQ(run(dts + " --spdif -q -o " + folder.file("bursts.wav"), &errors), 0) << errors;
    WavFile wav = readWav(folder.file("bursts.wav"));
    EXPECT_EQ(wav.formatTag(), kSpdifFormatTag);
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + dts + " -c copy -f spdif -", &ok);
    ASSERT_TRUE(ok);
    EXPECT_TRUE(wav.data == reference) << wav.data.size() << " vs " << reference.size() << " bytes";
    std::string listing = folder.file("info.txt");
    ASSERT_EQ(std::system((tavio + " info " + dts + " >" + listing).c_str()), 0);
    auto text = readAll(listing);
    EXPECT_NE(std::string(text.begin(), text.end()).find("Streamtype: DTS"), std::string::npos);
}

// DTS Express has no core: one line that says so, and exit code 3.
TEST(Tavio, DtsExpressEndsWithExitCodeThreeAndOneLine)
{
    std::string path = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/androidx_media/ts_sample_dts_express.ts";
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    TempFolder folder;
    std::string errors;
    EXPECT_EQ(run(path + " -o " + folder.file("x.wav"), &errors), 3);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    EXPECT_NE(errors.find("DTS Express"), std::string::npos) << errors;
}

}  // namespace
