// The tavio command as a user runs it: exit codes, messages and output.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <cstring>
#include <fstream>
#include <iterator>

#include "host/program_stream_builders.h"
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
    ASSERT_EQ(run(vector + " -q -o " + folder.file("quad.wav"), &errors), 0) << errors;
    WavFile wav = readWav(folder.file("quad.wav"));
    EXPECT_EQ(wav.channelMask(), 0x33u);
    EXPECT_EQ(wav.channels(), 4);
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + vector + " -f s16le -", &ok);
    ASSERT_TRUE(ok);
    EXPECT_TRUE(wav.data == reference) << wav.data.size() << " vs " << reference.size() << " bytes";
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
    ASSERT_EQ(run(both + " -o " + folder.file("ab.wav"), &errors), 0) << errors;
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
    EXPECT_TRUE(std::equal(first.begin(), first.end(), wav.data.begin()));
    auto second = commandOutput("ffmpeg -v error -i " + six + " -f s16le -", &ok);
    EXPECT_EQ(wav.data.size() - first.size(), second.size() / 3);  // the same time in stereo

    ASSERT_EQ(run(both + " -o " + folder.file("ab.raw"), &errors), 0) << errors;
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
// AC-3 library: the same samples as ffmpeg's decode, MP4's priming cut as the
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
        ASSERT_EQ(run(input + " -q -o " + folder.file("out.raw"), &errors), 0) << container << ": " << errors;
        bool ok = false;
        auto reference = commandOutput("ffmpeg -v error -i " + input + " -f s16le -", &ok);
        ASSERT_TRUE(ok);
        EXPECT_TRUE(readAll(folder.file("out.raw")) == reference) << container;
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

}  // namespace
