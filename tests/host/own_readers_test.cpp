// Bare MPEG audio, AMR and Ogg Vorbis read by the host's own readers must
// decode exactly as they do through libavformat: the same PCM, byte for byte
// (encoder delay and padding cut alike), the same duration and description,
// and the same first samples after a seek. Made streams cover each tag and
// edge; every such vector that a reader takes is checked the same way.
#include <gtest/gtest.h>

#include <filesystem>

#include "filter/TvFilter.h"
#include "host/av_input.h"
#include "host/decode_session.h"
#include "host/elementary_audio_input.h"
#include "host/ogg_vorbis_input.h"
#include "support/amr_codec.h"
#include "support/ffmpeg.h"
#include "support/files.h"
#include "support/row_name.h"

namespace {

// The decoded bytes; a failed decode fails the test unless `exitCode` is
// asked for.
std::vector<uint8_t> decodeThrough(InputSource& input,
                                   const std::string& output,
                                   std::optional<REFERENCE_TIME> start = std::nullopt,
                                   int* exitCode = nullptr)
{
    DecodeRequest request;
    request.output = output;
    request.start = start;
    if (start)
        request.duration = 3000000;  // 0.3 s
    DecodeOutcome outcome = decodeStream(
        [] {
            HRESULT hr = S_OK;
            auto* filter = new TvFilter(nullptr, &hr, TAVIO_MODULE_DIR "/");
            filter->NonDelegatingAddRef();
            return static_cast<IBaseFilter*>(filter);
        },
        input, 0, request);
    if (exitCode)
        *exitCode = outcome.exitCode;
    else
        EXPECT_EQ(outcome.exitCode, 0) << outcome.message;
    return readBytes(output);
}

// The host's own reader of `path`, whichever takes it.
std::unique_ptr<InputSource> openOwn(const std::string& path)
{
    auto input = openElementaryAudio(path);
    return input ? std::move(input) : openOggVorbis(path);
}

// Decodes `path` through both readers, whole and from a few times on.
void expectSameAsLibavformat(const std::string& path)
{
    SCOPED_TRACE(path);
    TempFolder folder;
    auto ours = openOwn(path);
    ASSERT_TRUE(ours);
    std::string error;
    auto reference = openAvInput(path, error);
    ASSERT_TRUE(reference) << error;
    ASSERT_EQ(ours->streams().size(), 1u);
    ASSERT_TRUE(ours->streams()[0].mediaType);
    EXPECT_TRUE(*ours->streams()[0].mediaType == *reference->streams()[0].mediaType);
    EXPECT_EQ(ours->containerName(), reference->containerName());
    EXPECT_EQ(ours->streams()[0].description, reference->streams()[0].description);
    ASSERT_TRUE(ours->select(0) && reference->select(0));
    EXPECT_EQ(ours->duration(), reference->duration());
    int oursExit = 0, referenceExit = 0;
    std::vector<uint8_t> pcm = decodeThrough(*ours, folder.file("ours.raw"), {}, &oursExit);
    std::vector<uint8_t> expected =
        decodeThrough(*reference, folder.file("reference.raw"), {}, &referenceExit);
    EXPECT_EQ(oursExit, referenceExit);
    if (referenceExit != 0)
        return;  // a stream the filter refuses (9 Vorbis channels), refused alike
    EXPECT_FALSE(pcm.empty());
    EXPECT_TRUE(pcm == expected) << "whole stream differs";
    for (REFERENCE_TIME start : {REFERENCE_TIME(5000000), REFERENCE_TIME(12500000)}) {
        if (start + 3000000 >= reference->duration().value_or(0))
            continue;
        EXPECT_TRUE(decodeThrough(*ours, folder.file("ours.raw"), start) ==
                    decodeThrough(*reference, folder.file("reference.raw"), start))
            << "differs from " << start / 1e7 << " s";
    }
}

// How a made stream is made: ffmpeg's encoder options, then bytes changed.
struct Made {
    std::string name;
    std::string file;
    std::string ffmpegOptions;  // empty: AMR from the codec libraries
    bool wideband = false;
    std::function<void(std::vector<uint8_t>&)> change;
    std::string input;  // ffmpeg's input options; empty: a tone per speaker
};

// Clicks four times a second over a quiet tone: transients that make the
// Vorbis encoder switch to short windows.
const char* const kClicks =
    "-f lavfi -i \"aevalsrc='if(lt(mod(t,0.25),0.01),sin(2*PI*3000*t),0.001*sin(2*PI*200*t))'"
    ":s=44100:d=3\"";

void appendApeTag(std::vector<uint8_t>& bytes)
{
    // An APEv2 tag with its header: header, one item "Title=x", footer.
    auto block = [](bool header) {
        std::vector<uint8_t> b = {'A', 'P', 'E',  'T', 'A', 'G',
                                  'E', 'X', 0xD0, 7,   0,   0,
                                  47,  0,   0,    0,   1,   0,
                                  0,   0,   0,    0,   0,   header ? uint8_t(0xA0) : uint8_t(0x80)};
        b.resize(32, 0);
        return b;
    };
    auto head = block(true), foot = block(false);
    std::vector<uint8_t> item = {1, 0, 0, 0, 0, 0, 0, 0, 'T', 'i', 't', 'l', 'e', 0, 'x'};
    bytes.insert(bytes.end(), head.begin(), head.end());
    bytes.insert(bytes.end(), item.begin(), item.end());
    bytes.insert(bytes.end(), foot.begin(), foot.end());
}

const Made kMade[] = {
    {"LameDelayAndPadding", "lame.mp3", "-ac 2 -c:a libmp3lame -b:a 128k", false, nullptr, ""},
    {"LameVbrMonoMpeg2", "vbr.mp3", "-ac 1 -ar 22050 -c:a libmp3lame -q:a 5", false, nullptr, ""},
    {"Id3v2AndId3v1", "tags.mp3",
     "-ac 2 -c:a libmp3lame -b:a 96k -metadata title=Tones -id3v2_version 3 -write_id3v1 1", false,
     nullptr, ""},
    {"ApeTagBehind", "ape.mp3", "-ac 2 -c:a libmp3lame -b:a 96k -write_xing 0", false, appendApeTag,
     ""},
    {"Mp2", "in.mp2", "-ac 2 -c:a mp2 -b:a 192k", false, nullptr, ""},
    {"LastFrameCutShort", "cut.mp3", "-ac 2 -c:a libmp3lame -b:a 128k", false,
     [](std::vector<uint8_t>& b) { b.resize(b.size() - 150); }, ""},
    {"AmrNb", "in.amr", "", false, nullptr, ""},
    {"AmrWbLastFrameCutShort", "in.awb", "", true,
     [](std::vector<uint8_t>& b) { b.resize(b.size() - 20); }, ""},
    // Short windows between long ones (the clicks), and the end trimmed.
    {"VorbisShortWindows", "clicks.ogg", "-ac 2 -c:a libvorbis -q:a 4", false, nullptr, kClicks},
    {"VorbisStartingLate", "late.ogg", "-ac 2 -c:a libvorbis -output_ts_offset 1.5", false, nullptr,
     ""},
    {"VorbisSurroundLowRate", "surround.ogg", "-ac 6 -ar 22050 -c:a libvorbis -q:a 2", false,
     nullptr, ""},
    {"VorbisMonoWithComments", "tagged.ogg",
     "-ac 1 -ar 8000 -c:a libvorbis -metadata title=Tones -metadata artist=Someone", false, nullptr,
     ""},
};

void PrintTo(const Made& made, std::ostream* out)
{
    *out << made.name;
}

class OwnReader : public ::testing::TestWithParam<Made> {};

TEST_P(OwnReader, DecodesAsThroughLibavformat)
{
    const Made& made = GetParam();
    TempFolder folder;
    std::string path = folder.file(made.file);
    if (made.ffmpegOptions.empty()) {
        AmrStream stream = encodeAmr(made.wideband, made.wideband ? 8 : 7, true,
                                     vowelLikeSignal(made.wideband ? 16000 : 8000, 3, 1.2));
        std::vector<uint8_t> bytes = stream.body();
        std::string magic = made.wideband ? "#!AMR-WB\n" : "#!AMR\n";
        bytes.insert(bytes.begin(), magic.begin(), magic.end());
        writeBytes(path, bytes);
    } else if (!made.input.empty()) {
        REQUIRE_FFMPEG();
        ASSERT_TRUE(runCommand("ffmpeg -v error -nostdin " + made.input + " " + made.ffmpegOptions +
                               " -y '" + path + "'"));
    } else {
        REQUIRE_FFMPEG();
        ASSERT_TRUE(encodeTones(path, ToneSignal{"FL+FR", 44100, 2.0, 0.5}, made.ffmpegOptions));
    }
    if (made.change) {
        std::vector<uint8_t> bytes = readBytes(path);
        made.change(bytes);
        writeBytes(path, bytes);
    }
    expectSameAsLibavformat(path);
}

INSTANTIATE_TEST_SUITE_P(Made, OwnReader, ::testing::ValuesIn(kMade), RowName());

// What the reader leaves to libavformat.
TEST(OwnReader, LeavesDoubtfulStreamsToLibavformat)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string mp3 = folder.file("in.mp3");
    ASSERT_TRUE(encodeTones(mp3, {}, "-ac 2 -c:a libmp3lame -b:a 128k -write_xing 0"));
    std::vector<uint8_t> frames = readBytes(mp3);
    auto with = [&](const std::string& name, std::vector<uint8_t> bytes) {
        writeBytes(folder.file(name), bytes);
        return folder.file(name);
    };
    std::vector<uint8_t> junk = frames;
    junk.insert(junk.begin() + 2000, {1, 2, 3});
    std::vector<uint8_t> trailing = frames;
    trailing.insert(trailing.end(), {'j', 'u', 'n', 'k'});
    std::string multiChannel = "#!AMR_MC1.0\n";
    std::vector<uint8_t> mc(multiChannel.begin(), multiChannel.end());
    mc.insert(mc.end(), {0, 0, 0, 2});
    mc.resize(mc.size() + 64, 0x3C);
    for (const std::string& path : {with("junk.mp3", junk), with("trailing.mp3", trailing),
                                    with("mc.amr", mc), with("one.mp3", {0xFF, 0xFB, 0x90, 0x64})})
        EXPECT_FALSE(openElementaryAudio(path)) << path;

    // Ogg: two streams one after the other (chained), a page whose checksum
    // fails, bytes after the last page, and audio that ends on its first page.
    std::string ogg = folder.file("in.ogg"), brief = folder.file("brief.ogg");
    ASSERT_TRUE(encodeTones(ogg, ToneSignal{"FL+FR", 44100, 2.0}, "-c:a libvorbis"));
    ASSERT_TRUE(encodeTones(brief, ToneSignal{"FL", 48000, 0.05}, "-c:a libvorbis"));
    ASSERT_TRUE(openOggVorbis(ogg));
    std::vector<uint8_t> pages = readBytes(ogg);
    std::vector<uint8_t> chained = pages, damaged = pages, after = pages;
    chained.insert(chained.end(), pages.begin(), pages.end());
    damaged[damaged.size() / 2] ^= 0x10;
    after.insert(after.end(), {'j', 'u', 'n', 'k'});
    for (const std::string& path : {with("chained.ogg", chained), with("damaged.ogg", damaged),
                                    with("after.ogg", after), brief})
        EXPECT_FALSE(openOggVorbis(path)) << path;
}

TEST(OwnReader, VectorsDecodeAsThroughLibavformat)
{
    REQUIRE_VECTOR("minimp3");
    size_t taken = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(vectorPath(""))) {
        std::string extension = entry.path().extension().string();
        if (!entry.is_regular_file() ||
            !(extension == ".mp3" || extension == ".mp2" || extension == ".mp1" ||
              extension == ".bit" || extension == ".amr" || extension == ".awb" ||
              extension == ".ogg"))
            continue;
        std::string error;
        auto reference = openAvInput(entry.path().string(), error);
        if (!openOwn(entry.path().string()) || !reference)
            continue;  // left to libavformat, or read by neither
        ++taken;
        expectSameAsLibavformat(entry.path().string());
    }
    EXPECT_GT(taken, 10u);
}

}  // namespace
