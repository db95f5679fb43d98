// What tavio does beyond decoding a stream into a file: its defaults, exit
// codes, listing, stream choice, piped input, format changes and output
// formats.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>

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

// Several inputs are decoded one after another, each as alone and to its own
// default name; one that fails does not stop the others, and the exit code is
// the first failure's.
TEST(Tavio, DecodesSeveralInputsEachToItsOwnName)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    const char* names[] = {"a.mp3", "b.ac3"};
    ASSERT_TRUE(encodeTones(folder.file(names[0]), {"FL+FR", 44100, 1.0}, "-c:a libmp3lame"));
    ASSERT_TRUE(encodeTones(folder.file(names[1]), {"FL+FR+FC+LFE+SL+SR", 48000, 1.0}, "-c:a ac3"));
    EXPECT_EQ(runTavio("-q -o " + folder.file("alone.wav") + " " + folder.file(names[0])), 0);
    EXPECT_EQ(runTavio("-q -o " + folder.file("alone2.wav") + " " + folder.file(names[1])), 0);
    int status = std::system(("cd " + folder.path() + " && " + kTavio +
                              " -q a.mp3 missing.mp2 b.ac3 2>" + folder.file("err.txt"))
                                 .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 2);
    std::string said = readText(folder.file("err.txt"));
    EXPECT_EQ(lineCount(said), 1) << said;
    EXPECT_NE(said.find("missing.mp2"), std::string::npos) << said;
    EXPECT_EQ(readBytes(folder.file("a.wav")), readBytes(folder.file("alone.wav")));
    EXPECT_EQ(readBytes(folder.file("b.wav")), readBytes(folder.file("alone2.wav")));
}

// Outputs that would do harm are refused with one line, before anything is
// written. AC-3 in a WAVE file gets its own name as the default output, and
// writing it would truncate the stream under the reader, whatever name leads
// there; samples written to a terminal would fill it with noise.
TEST(Tavio, RefusesAnOutputThatDoesHarm)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string input = folder.file("ac3.wav");
    ASSERT_TRUE(encodeTones(input, {"FL+FR", 48000, 1.0}, "-c:a ac3 -f wav"));
    std::filesystem::create_symlink(input, folder.file("link.wav"));
    std::filesystem::create_symlink(input, folder.file("link.ts"));
    auto bytes = readBytes(input);
    const std::string here = "cd " + folder.path() + " && " + kTavio;
    std::string errors = folder.file("err.txt");
    struct Case {
        std::string run;
        const char* says;
    } cases[] = {
        {here + " ac3.wav 2>" + errors, "is the input"},
        // Several inputs: checked before any is read.
        {here + " tone.mp3 tone.ac3 2>" + errors, "would both be written to tone.wav"},
        {here + " ac3.mp2 link.ts 2>" + errors, "would be written over the input link.ts"},
        {kTavio + " -o " + input + " " + input + " 2>" + errors, "is the input"},
        {kTavio + " -o " + folder.file("link.wav") + " - <" + input + " 2>" + errors,
         "is the input"},
        // script(1) gives tavio a terminal as its standard output.
        {"script -qec '" + kTavio + " -o - " + input + " 2>" + errors + "' /dev/null >/dev/null",
         "standard output is a terminal"},
    };
    for (const Case& c : cases) {
        EXPECT_FALSE(runCommand(c.run)) << c.run;
        std::string said = readText(errors);
        EXPECT_EQ(lineCount(said), 1) << said;
        EXPECT_NE(said.find(c.says), std::string::npos) << c.run << ": " << said;
        EXPECT_EQ(readBytes(input), bytes) << c.run;
    }
}

// Each failure ends with its exit code and one line that names the cause.
TEST(Tavio, FailuresEndWithTheirExitCodeAndOneLine)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    writeText(folder.file("notes.txt"), "not audio at all\n");
    writeText(folder.file("empty.mp3"), "");
    auto made = [&](const std::string& name, const std::string& command) {
        EXPECT_TRUE(runCommand("ffmpeg -v error -nostdin " + command + " -y " + folder.file(name)));
        return folder.file(name);
    };
    auto firstHalf = [&](const std::string& path) {  // a download broken off
        auto bytes = readBytes(path);
        writeBytes(path,
                   std::vector<uint8_t>(bytes.begin(), bytes.begin() + long(bytes.size() / 2)));
        return path;
    };
    const std::string video = "-f lavfi -i testsrc=d=1:s=64x64";
    const std::string sample = TAVIO_SAMPLE_STREAM;
    struct Case {
        std::string arguments;
        int code;
        std::string says;
    };
    std::vector<Case> cases = {
        {"--bogus", 1, ""},
        {"a.vob b.vob", 1, ""},
        {"--bits 12 a.vob", 1, ""},
        {"--stream x a.vob", 1, ""},
        {"--output-format stereo a.vob", 1, ""},
        {sample + " --stream 1", 1, ""},
        {"info", 1, ""},
        {sample + " --start -1", 1, "--start takes a time"},
        {sample + " --start 1:70", 1, "--start takes a time"},
        {sample + " --start 999999999:00:00", 1, "--start takes a time"},
        {sample + " --duration 0", 1, "--duration takes a time"},
        {sample + " --start 1:00:00", 3, "no audio from 3600.000 s on"},
        {folder.file("missing.vob"), 2, ""},
        {folder.file("notes.txt"), 2, ""},
        {folder.file("empty.mp3"), 2, "the input is empty"},
        {folder.path(), 2, ""},  // a folder is no input
        {made("video.mpg", video + " -f vob"), 2, "with no audio stream"},
        {made("video.mkv", video + " -c:v mpeg4"), 2, "with no audio stream"},
        {made("pcm.wav", toneInput({})), 2, "pcm_s16le: the filter has no decoder"},
        {made("tone.flac", toneInput({})), 2, "raw FLAC (flac): a format tavio reads no audio"},
        {firstHalf(made("tone.m4a", toneInput({}) + " -c:a aac")), 2, "MP4 file without its index"},
        {made("hi.vob", toneInput({}) + " -c:a pcm_dvd -sample_fmt s32 -f vob") + " --bits float",
         2, "offers no float output"},
        {sample + " -o " + folder.file("none/x.wav"), 1, "cannot be written (No such file"},
        {sample + " -o " + folder.path(), 1, "cannot be written (Is a directory)"},
    };
    // Real streams, where the shared vectors are present (CI needs them).
    for (const Case& c :
         {Case{"androidx_media/ts_sample_dts_express.ts", 3, "DTS Express"},
          Case{"shakapackager/9ch.ogg", 2, "the filter refused the vorbis stream"}}) {
        if (vectorPresent(c.arguments))
            cases.push_back({vectorPath(c.arguments), c.code, c.says});
        else
            EXPECT_FALSE(runningInCi()) << "missing vector " << vectorPath(c.arguments);
    }
    for (const Case& c : cases) {
        std::string errors;
        bool named = c.arguments.find(" -o ") != std::string::npos;
        EXPECT_EQ(runTavio(c.arguments + (named ? "" : " -o " + folder.file("x.wav")), &errors),
                  c.code)
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

// info --json carries the listing's numbers: a path that needs escaping, the
// bundled LPCM, 5.1 AC-3 (its details record) and E-AC-3 (both filters of the
// AC-3 conversion), read back by Python's json.
TEST(Tavio, InfoJsonCarriesTheListingsValues)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string odd = folder.file("quote\"back\\slash\ttab \xC3\xA9 \xFF.vob");
    ASSERT_TRUE(runCommand("cp " + std::string(TAVIO_SAMPLE_STREAM) + " '" + odd + "'"));
    std::string ac3 = folder.file("in.ac3"), eac3 = folder.file("in.eac3"),
                listing = folder.file("info.txt");
    ASSERT_TRUE(encodeTones(ac3, {"FL+FR+FC+LFE+SL+SR"}, "-c:a ac3"));
    ASSERT_TRUE(encodeTones(eac3, {"FL+FR+FC+LFE+SL+SR"}, "-c:a eac3 -b:a 256k"));
    // One "key.path=value" line per value; strings unquoted.
    const std::string flatten =
        "python3 -c \"import json,sys\n"
        "def f(p,v):\n"
        "  if isinstance(v,dict): [f(p+k+'.',x) for k,x in v.items()]\n"
        "  elif isinstance(v,list): [f(p+str(i)+'.',x) for i,x in enumerate(v)]\n"
        "  else: print(p[:-1]+'='+(v if isinstance(v,str) else json.dumps(v)))\n"
        "f('',json.load(sys.stdin))\"";
    struct Case {
        std::string input;
        std::vector<std::string> expected;  // key=value
    } cases[] = {
        {odd,
         {"input.path=" + odd.substr(0, odd.size() - 5) + "\xEF\xBF\xBD.vob",
          "input.container=MPEG program stream", "streams.0.chosen=true",
          "streams.0.output.channelMask=3", "streams.0.decoder.streamType=lpcm"}},
        {ac3,
         {"streams.0.output.channels=6", "streams.0.output.channelMask=63",
          "streams.0.decoder.ac3.acmod=7", "streams.0.decoder.ac3.lfe=true",
          "streams.0.delivered.channels=6"}},
        {eac3,
         {"streams.0.output.channels=6", "streams.0.decoder.bitRate=256",
          "streams.0.ac3Decoder.bitRate=640", "streams.0.ac3Decoder.ac3.acmod=7",
          "streams.0.ac3Delivered.channels=6"}},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(runCommand(kTavio + " info '" + c.input + "' >" + listing));
        std::string text = readText(listing);
        bool ok = false;
        auto out = commandOutput(kTavio + " info --json '" + c.input + "' | " + flatten, &ok);
        ASSERT_TRUE(ok) << c.input;
        std::map<std::string, std::string> json;
        std::istringstream flat(std::string(out.begin(), out.end()));
        for (std::string line; std::getline(flat, line);)
            json[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
        for (const std::string& pair : c.expected)
            EXPECT_EQ(json[pair.substr(0, pair.find('='))], pair.substr(pair.find('=') + 1));
        // The listing's own numbers, rebuilt from the JSON values.
        auto at = [&](const std::string& key) { return json["streams.0." + key]; };
        auto hex = [&](const std::string& key) {
            char text[16];
            std::snprintf(text, sizeof text, "0x%x", unsigned(std::stoul(at(key))));
            return std::string(text);
        };
        std::string output =
            (at("output.float") == "true" ? "32-bit float" : at("output.bits") + "-bit PCM") +
            ", " + at("output.rate") + " Hz, " + at("output.channels") + " channels (mask " +
            hex("output.channelMask") + ")";
        std::vector<std::string> lines = {"output: " + output};
        for (std::string record : {"decoder", "delivered"})
            lines.insert(lines.end(), {"bitrate: " + at(record + ".bitRate"),
                                       "framesize: " + at(record + ".frameSize"),
                                       "Frequency:" + at(record + ".sampleRate"),
                                       "Bits: " + at(record + ".bitsPerSample") +
                                           " mask: " + hex(record + ".channelMask"),
                                       "Channels: " + at(record + ".channels")});
        if (json.count("streams.0.decoder.ac3.acmod"))
            lines.insert(lines.end(),
                         {"acmod: " + at("decoder.ac3.acmod"), "bsmod: " + at("decoder.ac3.bsmod"),
                          "surmod: " + at("decoder.ac3.dsurmod"),
                          at("decoder.ac3.lfe") == "true" ? "lf: 1" : "lf: 0"});
        for (const std::string& line : lines)
            EXPECT_NE(text.find(line), std::string::npos) << line << " in\n" << text;
    }
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
        const char* output = "out.wav";
    } cases[] = {{"--stream 1", 2, "OUT.WAV"},  // a WAVE file by any case of its name
                 {"--stream 0", 6},
                 {"--output-format pcm-stereo", 6},
                 {"--output-format spdif-pcm", 2},
                 {"--output-format matrix-stereo", 2}};
    std::vector<std::vector<uint8_t>> data;
    for (const Case& c : cases) {
        std::string errors, out = folder.file(c.output);
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

// Stopped by a signal once a megabyte is written, or by a full disk (a file
// size limit), tavio stops the graph and leaves a WAVE file whose sizes count
// what it wrote, as ffmpeg reads it too.
TEST(Tavio, AStoppedDecodeKeepsWhatItWrote)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    // Ten minutes: thirty copies of 20 s of stereo MPEG layer II.
    std::string part = folder.file("part.mp2"), input = folder.file("long.mp2");
    ASSERT_TRUE(encodeTones(part, {"FL+FR", 48000, 20.0}, "-c:a mp2"));
    ASSERT_TRUE(runCommand("for i in $(seq 30); do cat " + part + "; done >" + input));
    const std::string out = folder.file("out.wav"),
                      whileShort = "while kill -0 $p 2>/dev/null && [ $(stat -c %s " + out +
                                   " 2>/dev/null || echo 0) -lt 1000000 ]; do sleep 0.01; done; ";
    struct Case {
        std::string before;  // shell commands before tavio starts
        std::string after;   // ... and while it runs
        int code;
        const char* says;
    } cases[] = {
        {"", whileShort + "kill -INT $p;", 130, "tavio: interrupted, "},
        {"", whileShort + "kill -TERM $p;", 143, "tavio: interrupted, "},
        {"", whileShort + "kill -HUP $p;", 129, "tavio: interrupted, "},
        {"ulimit -f 2000;", "", 4, "writing failed (File too large); "},
    };
    for (const Case& c : cases) {
        std::string errors = folder.file("errors.txt");
        int status = std::system(("(rm -f " + out + "; " + c.before + kTavio + " " + input +
                                  " -q --bits 16 -o " + out + " 2>" + errors + " & p=$!; " +
                                  c.after + " wait $p)")
                                     .c_str());
        EXPECT_EQ(WEXITSTATUS(status), c.code) << c.after;
        std::string said = readText(errors);
        EXPECT_EQ(lineCount(said), 1) << said;
        EXPECT_NE(said.find(c.says), std::string::npos) << said;
        WavFile wav = readWav(out);
        EXPECT_EQ(wav.riffSize, std::filesystem::file_size(out) - 8);
        EXPECT_EQ(wav.dataSizeField, wav.data.size());
        EXPECT_GT(wav.data.size(), 0u);
        EXPECT_LT(wav.data.size(), 600u * 48000 * 4);
        EXPECT_EQ(wav.data.size() % 4, 0u);
        auto decoded = commandOutput("ffmpeg -v error -i " + out + " -f s16le - | wc -c");
        EXPECT_EQ(std::stoul(std::string(decoded.begin(), decoded.end())), wav.data.size());
    }
}

// A stream piped in decodes as the file does: tavio's readers open their
// input more than once, and an MP4 with its index at the end is sought in.
// The copy that makes this possible goes with the run.
TEST(Tavio, PipedInputDecodesAsTheFileDoes)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    struct Case {
        const char* name;
        const char* options;
        const char* pipe;  // how the file reaches tavio; FILE and OUT stand for the paths
    } cases[] = {
        {"tone.mp3", "-c:a libmp3lame", "cat FILE | TAVIO - -o OUT"},
        {"tone.m4a", "-c:a aac", "cat FILE | TAVIO /dev/stdin -o OUT"},
        {"tone.vob", "-c:a pcm_dvd -f vob",
         "mkfifo P.vob; timeout 60 cat FILE >P.vob & TAVIO P.vob -o OUT"},
        {"tone.mp2", "-c:a mp2", "TAVIO - -o OUT <FILE"},
    };
    for (const Case& c : cases) {
        std::string file = folder.file(c.name), fromFile = folder.file("file.wav"),
                    piped = folder.file("piped.wav"), spool = folder.file("spool");
        ASSERT_TRUE(encodeTones(file, {"FL+FR", 48000, 2.0}, c.options)) << c.name;
        ASSERT_EQ(runTavio("-q " + file + " -o " + fromFile), 0) << c.name;
        std::string command = c.pipe;
        for (auto [from, to] : {std::pair<std::string, std::string>{"FILE", file},
                                {"TAVIO", "TMPDIR=" + spool + " " + kTavio + " -q"},
                                {"OUT", piped},
                                {"P.", folder.file("fifo.")}})
            for (size_t at; (at = command.find(from)) != std::string::npos;)
                command.replace(at, from.size(), to);
        std::filesystem::create_directory(spool);
        EXPECT_TRUE(runCommand("rm -f " + piped + " " + folder.file("fifo.vob") + "; " + command))
            << command;
        EXPECT_EQ(readBytes(piped), readBytes(fromFile)) << command;
        EXPECT_TRUE(std::filesystem::is_empty(spool)) << command;
    }
    std::string errors;
    EXPECT_EQ(runTavio("- <" + folder.file("tone.mp3"), &errors), 1);
    EXPECT_NE(errors.find("give -o OUTPUT"), std::string::npos) << errors;
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
// anywhere decodes to the same bytes as the same audio cut on whole groups,
// from the start and after a seek (which must know which bytes of a group the
// packets it lands on carry). A file cut from a longer title begins with the
// end of a group: its audio starts at the first access unit.
TEST(Tavio, DvdAudioLpcmCutInsideGroupsDecodesLikeWholeGroups)
{
    TempFolder folder;
    psbuild::Bytes audio;
    for (int i = 0; i < 36 * 400; ++i)
        audio.push_back(uint8_t(i * 37 + i / 7));
    auto decode = [&](const psbuild::Bytes& stream, const std::string& options) {
        std::string aob = folder.file("in.aob"), errors;
        writeBytes(aob, stream);
        EXPECT_EQ(runTavio(aob + " -q " + options + " -o " + folder.file("out.raw"), &errors), 0)
            << errors;
        return readBytes(folder.file("out.raw"));
    };
    constexpr size_t kFrame = 18;
    auto whole = psbuild::dvdAudioLpcmProgramStream(audio, 36 * 50, 0x22, 17, kFrame);
    auto reference = decode(whole, "");
    ASSERT_EQ(reference.size(), audio.size());
    const std::string seek = "--start 0.009";
    const size_t seekFrames = 432;
    EXPECT_TRUE(decode(whole, seek) ==
                psbuild::Bytes(reference.begin() + seekFrames * kFrame, reference.end()));
    struct Case {
        const char* name;
        size_t stampEvery;
        size_t packsDropped;  // from the front: the title's earlier part
        size_t firstFrame;    // where the reference starts for it
    } cases[] = {
        {"every packet stamped", 1, 0, 0},
        {"every third packet stamped", 3, 0, 0},
        // The third packet starts at byte 2002 of the audio; its first whole
        // group at 2016, frame 112.
        {"cut from a longer title", 1, 2, 112},
    };
    for (const Case& c : cases) {
        auto stream =
            psbuild::dvdAudioLpcmProgramStream(audio, 1001, 0x22, 17, kFrame, c.stampEvery);
        for (size_t dropped = 0, at = 1; dropped < c.packsDropped; ++at)
            if (stream[at] == 0 && stream[at + 1] == 0 && stream[at + 2] == 1 &&
                stream[at + 3] == 0xBA && ++dropped == c.packsDropped)
                stream.erase(stream.begin(), stream.begin() + long(at));
        auto from = [&](size_t frame) {
            return psbuild::Bytes(reference.begin() + long(frame * kFrame), reference.end());
        };
        EXPECT_TRUE(decode(stream, "") == from(c.firstFrame)) << c.name;
        // Times count from the file's first stamp.
        EXPECT_TRUE(decode(stream, seek) == from(c.firstFrame + seekFrames)) << c.name;
    }
}

}  // namespace
