// What tavio does beyond decoding a stream into a file: its defaults, exit
// codes, listing, stream choice, format changes and output formats.
#include <gtest/gtest.h>

#include "host/tavio_run.h"
#include "support/ffmpeg.h"
#include "support/pcm.h"
#include "support/program_stream_builder.h"

namespace {

TEST(Tavio, DecodesTheBundledStreamWithoutArguments)
{
    TempFolder folder;
    std::string errors;
    EXPECT_EQ(runTavio("-o " + folder.file("out.wav"), &errors), 0) << errors;
    auto bytes = readBytes(folder.file("out.wav"));
    WavFile wav = readWav(folder.file("out.wav"));
    EXPECT_EQ(wav.riffSize, bytes.size() - 8);
    EXPECT_EQ(wav.dataSizeField, wav.data.size());
    EXPECT_EQ(wav.channelMask(), 0x3u);
    EXPECT_EQ(wav.data.size(), 2u * 48000 * 4);  // two seconds of stereo
    EXPECT_NE(errors.find("bundled sample"), std::string::npos);
}

// Each failure ends with its exit code and one line that names the cause.
TEST(Tavio, FailuresEndWithTheirExitCodeAndOneLine)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    writeText(folder.file("notes.txt"), "not audio at all\n");
    auto made = [&](const std::string& name, const std::string& command) {
        EXPECT_TRUE(runCommand("ffmpeg -v error -nostdin " + command + " -y " + folder.file(name)));
        return folder.file(name);
    };
    const std::string video = "-f lavfi -i testsrc=d=1:s=64x64";
    const std::string sample = TAVIO_SAMPLE_STREAM;
    struct Case {
        std::string arguments;
        int code;
        std::string says;
    } cases[] = {
        {"--bogus", 1, ""},
        {"a.vob b.vob", 1, ""},
        {"--bits 12 a.vob", 1, ""},
        {"--stream x a.vob", 1, ""},
        {"--output-format stereo a.vob", 1, ""},
        {sample + " --stream 1", 1, ""},
        {"info", 1, ""},
        {folder.file("missing.vob"), 2, ""},
        {folder.file("notes.txt"), 2, ""},
        {folder.path(), 2, ""},  // a folder is no input
        {made("video.mpg", video + " -f vob"), 2, "with no audio stream"},
        {made("video.mkv", video + " -c:v mpeg4"), 2, "with no audio stream"},
        {made("pcm.wav", toneInput({})), 2, "pcm_s16le: the filter has no decoder"},
        {made("hi.vob", toneInput({}) + " -c:a pcm_dvd -sample_fmt s32 -f vob") + " --bits float",
         2, "offers no float output"},
        {made("in.eac3", toneInput({}) + " -c:a eac3"), 3, "use --spdif"},
        {vectorPath("androidx_media/ts_sample_dts_express.ts"), 3, "DTS Express"},
        {vectorPath("shakapackager/9ch.ogg"), 2, "the filter refused the vorbis stream"},
    };
    for (const Case& c : cases) {
        std::string errors;
        EXPECT_EQ(runTavio(c.arguments + " -o " + folder.file("x.wav"), &errors), c.code)
            << c.arguments;
        EXPECT_EQ(lineCount(errors), 1) << errors;
        EXPECT_NE(errors.find(c.says), std::string::npos) << errors;
    }
}

// The listing names each audio stream and what the filter made of it (the
// property page's text).
TEST(Tavio, InfoListsTheAudioStreams)
{
    TempFolder folder;
    std::string listing = folder.file("info.txt");
    ASSERT_TRUE(runCommand(kTavio + " info " + TAVIO_SAMPLE_STREAM + " >" + listing));
    std::string out = readText(listing);
    for (const char* line : {"substream 0xA0", "DVD-Video LPCM, 48000 Hz, 2 channels, 16-bit",
                             "Frequency:48000", "Bits: 16 mask: 0x3"})
        EXPECT_NE(out.find(line), std::string::npos) << out;
    // A stream the filter refuses is listed with the reason.
    if (vectorPresent("shakapackager/9ch.ogg")) {
        ASSERT_TRUE(
            runCommand(kTavio + " info " + vectorPath("shakapackager/9ch.ogg") + " >" + listing));
        EXPECT_NE(readText(listing).find("refused by the filter"), std::string::npos);
    }
    // Help and version go to standard output and end well.
    for (const char* asked : {"--help", "-h", "--version"})
        EXPECT_EQ(runTavio(std::string(asked) + " >" + listing), 0) << asked;
}

// --stream picks the audio stream by its index among the file's audio
// streams; --output-format reaches the filter through its codec API: 5.1
// AC-3 as decoded, downmixed for S/PDIF, and downmixed surround-compatible.
TEST(Tavio, StreamAndOutputFormatOptions)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string vob = folder.file("two.vob");
    ASSERT_TRUE(runCommand(
        "ffmpeg -v error -nostdin " + toneInput({"FL+FR+FC+LFE+BL+BR"}) + " " + toneInput({}) +
        " -map 0 -map 1 -c:a:0 ac3 -c:a:1 pcm_dvd -sample_fmt:a:1 s16 -f vob -y " + vob));
    struct Case {
        const char* options;
        int channels;
    } cases[] = {{"--stream 1", 2},
                 {"--stream 0", 6},
                 {"--output-format pcm-stereo", 6},
                 {"--output-format spdif-pcm", 2},
                 {"--output-format matrix-stereo", 2}};
    std::vector<std::vector<uint8_t>> data;
    for (const Case& c : cases) {
        std::string errors, out = folder.file("out.wav");
        ASSERT_EQ(runTavio(vob + " -q " + c.options + " -o " + out, &errors), 0) << errors;
        WavFile wav = readWav(out);
        EXPECT_EQ(wav.channels(), c.channels) << c.options;
        data.push_back(wav.data);
    }
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + vob + " -map 0:a:1 -f s16le -", &ok);
    ASSERT_TRUE(ok);
    EXPECT_TRUE(data[0] == reference);
    EXPECT_EQ(data[3].size(), data[4].size());
    EXPECT_FALSE(data[3] == data[4]) << "the surround-compatible downmix equals the plain one";
}

// A layout change after audio was written: the WAVE file keeps the first
// format and the rest is converted to it; raw output goes on in the new one.
TEST(Tavio, AFormatChangeMidStreamIsConvertedToTheFilesFormat)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string stereo = folder.file("a.ac3"), six = folder.file("b.ac3"),
                both = folder.file("ab.ac3");
    ASSERT_TRUE(encodeTones(stereo, {"FL+FR", 48000, 1.0}, "-c:a ac3"));
    ASSERT_TRUE(encodeTones(six, {"FL+FR+FC+LFE+SL+SR", 48000, 1.0}, "-c:a ac3"));
    ASSERT_TRUE(runCommand("cat " + stereo + " " + six + " >" + both));
    std::string errors;
    ASSERT_EQ(runTavio(both + " --bits 16 -o " + folder.file("ab.wav"), &errors), 0) << errors;
    EXPECT_NE(errors.find("changed from 16-bit PCM, 48000 Hz, 2 channels (mask 0x3) to 16-bit PCM, "
                          "48000 Hz, 6 channels (mask 0x3f); converting to the file's format"),
              std::string::npos)
        << errors;
    WavFile wav = readWav(folder.file("ab.wav"));
    EXPECT_EQ(wav.channels(), 2);
    auto first = samplesOf(referenceDecode(stereo, "s16le"), SampleFormat::S16);
    auto second = referenceDecode(six, "s16le");
    auto ours = samplesOf(wav.data, SampleFormat::S16);
    EXPECT_LE(maxDifference(first, ours), 1.0 / 32768);
    EXPECT_EQ(ours.size() - first.size(), second.size() / 2 / 3);  // the same time in stereo

    ASSERT_EQ(runTavio(both + " --bits 16 -o " + folder.file("ab.raw"), &errors), 0) << errors;
    EXPECT_NE(errors.find("the raw output goes on in the new format"), std::string::npos) << errors;
    EXPECT_EQ(readBytes(folder.file("ab.raw")).size(), first.size() * 2 + second.size());
}

// 24-bit DVD-Audio LPCM (3+3 channels) whose packets cut the 36-byte groups
// anywhere decodes to the same bytes as the same audio cut on whole groups.
TEST(Tavio, DvdAudioLpcmCutInsideGroupsDecodesLikeWholeGroups)
{
    TempFolder folder;
    psbuild::Bytes audio;
    for (int i = 0; i < 36 * 400; ++i)
        audio.push_back(uint8_t(i * 37 + i / 7));
    std::vector<uint8_t> decoded[2];
    size_t payloads[2] = {36 * 50, 1001};
    for (int i = 0; i < 2; ++i) {
        std::string aob = folder.file(std::to_string(i) + ".aob"), errors;
        writeBytes(aob, psbuild::dvdAudioLpcmProgramStream(audio, payloads[i], 0x22, 17, 18));
        ASSERT_EQ(runTavio(aob + " -q -o " + folder.file("out.raw"), &errors), 0) << errors;
        decoded[i] = readBytes(folder.file("out.raw"));
    }
    EXPECT_EQ(decoded[0].size(), audio.size());
    EXPECT_TRUE(decoded[1] == decoded[0]);
}

}  // namespace
