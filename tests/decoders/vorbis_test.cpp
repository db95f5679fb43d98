// AdecVorbis on libvorbis: streams made by ffmpeg's libvorbis encoder with one
// tone per channel and real streams, decoded against ffmpeg's own Vorbis
// decoder; the refusals at init; bad packets and full output samples.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "config/config_test_support.h"
#include "decoders/vorbis_support.h"
#include "support/reference_tools.h"

namespace {

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";

// Both decoders are libvorbis-compatible floating-point implementations:
// they differ by rounding only.
constexpr double kMinimumSnrDb = 90;

std::vector<float> ffmpegDecode(const std::string& path)
{
    bool ok = false;
    auto bytes = commandOutput("ffmpeg -v error -i " + path + " -f f32le -", &ok);
    EXPECT_TRUE(ok) << path;
    return asFloats(bytes);
}

// An Ogg Vorbis stream of `channels` tones (330 Hz, 440 Hz, ... per channel).
std::string makeOggVorbis(const TempFolder& folder,
                          int channels,
                          const std::string& layout = "",
                          const std::string& options = "")
{
    std::string path = folder.file(std::to_string(channels) + "ch.ogg");
    std::string source = sineSource(channels, 44100, 0.5);
    if (!layout.empty())
        source.insert(source.size() - 1, ":c=" + layout);
    std::string command =
        "ffmpeg -v error " + source + " -c:a libvorbis -q:a 6 " + options + " -y " + path;
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return path;
}

struct LayoutCase {
    int channels;
    const char* layout;  // ffmpeg's name, whose channels the encoder maps to Vorbis order
    uint32_t mask;
    // For each output slot, the channel of ffmpeg's decode (WAVE order) it
    // must equal. Up to 6 channels that is the slot itself; for 7 and 8
    // the stream's back and side pairs and LFE land where the channel row
    // table puts them.
    std::vector<int> referenceChannel;
};

class AdecVorbisLayouts : public ::testing::TestWithParam<LayoutCase> {};

TEST_P(AdecVorbisLayouts, EachToneInItsSlotAsFfmpegDecodesIt)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const LayoutCase& c = GetParam();
    TempFolder folder;
    std::string path = makeOggVorbis(folder, c.channels, c.layout);
    auto stream = readVorbisStream(path);
    ASSERT_TRUE(stream);
    std::ostringstream log;
    AdecVorbis decoder(log);
    ASSERT_TRUE(decoder.accepts(stream->type));
    TvStatus* status = decoder.init(stream->type);
    ASSERT_NE(status, nullptr) << log.str();
    EXPECT_EQ(status->chan, c.channels);
    EXPECT_EQ(status->channelMask, c.mask);
    EXPECT_EQ(status->stype, STFloat);
    EXPECT_EQ(status->freq, 44100);
    EXPECT_EQ(status->formatId(), KindVorbis);

    VorbisRun run = runVorbis(decoder, stream->packets);
    std::vector<float> reference = ffmpegDecode(path);
    // No leading samples of our own: the first packet gives nothing, as in
    // ffmpeg; the end padding of the last page is the host's to cut.
    EXPECT_EQ(run.output.size(),
              reference.size() + paddingDropped(*stream, run) * size_t(c.channels));
    EXPECT_EQ(run.silentPackets, 1u);
    ASSERT_FALSE(run.frames.empty());
    for (int slot = 0; slot < c.channels; ++slot) {
        // Slot `slot` of ours against ffmpeg's channel, both interleaved.
        std::vector<float> ours, theirs;
        for (size_t i = size_t(slot); i < run.output.size(); i += size_t(c.channels))
            ours.push_back(run.output[i]);
        for (size_t i = size_t(c.referenceChannel[size_t(slot)]); i < reference.size();
             i += size_t(c.channels))
            theirs.push_back(reference[i]);
        double snr = snrFloat(theirs, ours);
        std::printf("%d channels, slot %d: SNR %.1f dB against ffmpeg\n", c.channels, slot, snr);
        EXPECT_GE(snr, kMinimumSnrDb) << "slot " << slot;
    }
}

INSTANTIATE_TEST_SUITE_P(OneToEightChannels,
                         AdecVorbisLayouts,
                         ::testing::Values(LayoutCase{1, "mono", 0x4, {0}},
                                           LayoutCase{2, "stereo", 0x3, {0, 1}},
                                           LayoutCase{3, "3.0", 0x7, {0, 1, 2}},
                                           LayoutCase{4, "quad", 0x33, {0, 1, 2, 3}},
                                           LayoutCase{5, "5.0", 0x37, {0, 1, 2, 3, 4}},
                                           LayoutCase{6, "5.1", 0x3F, {0, 1, 2, 3, 4, 5}},
                                           LayoutCase{7, "6.1", 0x7F, {0, 1, 2, 4, 5, 6, 3}},
                                           LayoutCase{8, "7.1", 0xFF, {0, 1, 2, 4, 6, 7, 5, 3}}),
                         [](const auto& info) {
                             return std::to_string(info.param.channels) + "ch";
                         });

class AdecVorbisRealStream : public ::testing::TestWithParam<const char*> {};

TEST_P(AdecVorbisRealStream, MatchesFfmpeg)
{
    std::string path = kVectors + GetParam();
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    auto stream = readVorbisStream(path);
    ASSERT_TRUE(stream);
    std::ostringstream log;
    AdecVorbis decoder(log);
    // Initialised twice, as a flush does: the second init starts afresh.
    decoder.init(stream->type);
    TvStatus* status = decoder.init(stream->type);
    ASSERT_NE(status, nullptr) << log.str();
    int channels = status->chan;
    VorbisRun run = runVorbis(decoder, stream->packets);
    std::vector<float> reference = ffmpegDecode(path);
    EXPECT_EQ(run.output.size(),
              reference.size() + paddingDropped(*stream, run) * size_t(channels));
    double snr = snrFloat(reference, run.output);
    std::printf("%s: SNR %.1f dB against ffmpeg\n", GetParam(), snr);
    EXPECT_GE(snr, kMinimumSnrDb);
}

INSTANTIATE_TEST_SUITE_P(
    Vectors,
    AdecVorbisRealStream,
    ::testing::Values("androidx_media/ogg_bear_vorbis.ogg",
                      "androidx/mkv_bbb_1ch_12kHz_q10_vorbis.webm",
                      "optivorbis/44100hz_500ms_stereo_uncoupled_400hz_sine_wave.ogg"));

// The media type of `stream` with its format block or format type changed.
CMediaType withFormat(const CMediaType& type,
                      const std::vector<uint8_t>& block,
                      const GUID& formatType = FORMAT_VorbisFormat2)
{
    CMediaType changed = type;
    changed.SetFormatType(&formatType);
    changed.SetFormat(block.data(), ULONG(block.size()));
    return changed;
}

std::vector<uint8_t> formatBlock(const CMediaType& type)
{
    return {type.Format(), type.Format() + type.FormatLength()};
}

uint32_t read32(const std::vector<uint8_t>& block, size_t at)
{
    uint32_t v;
    std::memcpy(&v, block.data() + at, 4);
    return v;
}

void write32(std::vector<uint8_t>& block, size_t at, uint32_t v)
{
    std::memcpy(block.data() + at, &v, 4);
}

// The block with its comment and setup headers swapped.
std::vector<uint8_t> swappedCommentAndSetup(const std::vector<uint8_t>& block)
{
    uint32_t id = read32(block, 12), comment = read32(block, 16), setup = read32(block, 20);
    std::vector<uint8_t> out(block.begin(), block.begin() + 24 + id);
    out.insert(out.end(), block.begin() + 24 + id + comment, block.end());
    out.insert(out.end(), block.begin() + 24 + id, block.begin() + 24 + id + comment);
    write32(out, 16, setup);
    write32(out, 20, comment);
    return out;
}

TEST(AdecVorbis, RefusesWhatItCannotDecodeAtInit)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    auto stereo = readVorbisStream(makeOggVorbis(folder, 2));
    ASSERT_TRUE(stereo);
    // ffmpeg's encoder takes 9 channels without a layout name.
    std::string nine = folder.file("9ch.ogg");
    ASSERT_EQ(
        std::system(("ffmpeg -v error " + sineSource(9, 48000, 0.2) + " -c:a libvorbis -y " + nine)
                        .c_str()),
        0);
    auto nineChannels = readVorbisStream(nine);
    ASSERT_TRUE(nineChannels);

    const std::vector<uint8_t> block = formatBlock(stereo->type);
    const std::string lengthCheck =
        "'mt.FormatLength() == sizeof(VORBISFORMAT2) "
        "+pv->HeaderSize[0]+pv->HeaderSize[1]+pv->HeaderSize[2]'";
    const std::string headerCheck = "'readHeader(p1, pv->HeaderSize[i] )'";
    const std::string allHeaders = "Ogg::readHeader 1\nOgg::readHeader 3\nOgg::readHeader 5\n";
    std::vector<uint8_t> longer = block, shorter(block.begin(), block.begin() + 20),
                         unsigned_ = block, sixChannels = block;
    longer.push_back(0);
    unsigned_[24 + read32(block, 12) + 1] = 'V';  // the comment header's "vorbis"
    write32(sixChannels, 0, 6);
    struct Case {
        const char* what;
        CMediaType type;
        std::string assertion;  // in the process log, "" for none
        std::string decoderLog;
    } cases[] = {
        {"a block one byte too long", withFormat(stereo->type, longer), lengthCheck, ""},
        {"a block shorter than its fixed part", withFormat(stereo->type, shorter), lengthCheck, ""},
        {"a wave format type", withFormat(stereo->type, block, FORMAT_WaveFormatEx),
         "'*mt.FormatType() == FORMAT_VorbisFormat2'", ""},
        {"a comment header without its signature", withFormat(stereo->type, unsigned_), headerCheck,
         "Ogg::readHeader 1\nbad vorbis page start\n"},
        {"the setup header before the comment header",
         withFormat(stereo->type, swappedCommentAndSetup(block)), headerCheck,
         "Ogg::readHeader 1\nOgg::readHeader 5\n"},
        {"nine channels", nineChannels->type, "", allHeaders},
        {"a block that claims six channels of a stereo stream",
         withFormat(stereo->type, sixChannels), "'chan == _pvi->channels'", allHeaders},
    };
    for (const Case& c : cases) {
        TempRoot root;
        CapturedLog processLog(root);
        std::ostringstream log;
        AdecVorbis decoder(log);
        EXPECT_EQ(decoder.init(c.type), nullptr) << c.what;
        std::string asserted;
        for (const std::string& line : processLog.lines())
            asserted += line + "\n";
        if (c.assertion.empty())
            EXPECT_EQ(asserted, "") << c.what;
        else
            EXPECT_NE(asserted.find("error: TvAssert: AdecVorbis "), std::string::npos)
                << c.what;
        EXPECT_NE(asserted.find(c.assertion), std::string::npos) << c.what << ": " << asserted;
        EXPECT_EQ(log.str(), c.decoderLog) << c.what;
        // A refused stream decodes nothing, whatever it is sent.
        const HostPacket& packet = stereo->packets[1];
        const uint8_t* p = packet.data.data();
        MemorySample out(65540);
        EXPECT_EQ(decoder.process(&p, p + packet.data.size(), &out), nullptr) << c.what;
        EXPECT_EQ(out.GetActualDataLength(), 0) << c.what;
    }
}

TEST(AdecVorbis, InitLogsTheHeadersAndTheComments)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    auto stream = readVorbisStream(makeOggVorbis(folder, 2));
    ASSERT_TRUE(stream);
    // A comment header of our own: libavformat's Ogg reader keeps only the
    // vendor string of the one in the file.
    std::vector<uint8_t> comment = {3, 'v', 'o', 'r', 'b', 'i', 's'};
    auto append = [&comment](const std::string& text) {
        uint32_t size = uint32_t(text.size());
        comment.insert(comment.end(), reinterpret_cast<uint8_t*>(&size),
                       reinterpret_cast<uint8_t*>(&size) + 4);
        comment.insert(comment.end(), text.begin(), text.end());
    };
    append("Tavio tone maker");
    comment.insert(comment.end(), {2, 0, 0, 0});
    append("TITLE=Tones");
    append("ARTIST=Nobody");
    comment.push_back(1);  // framing bit
    std::vector<uint8_t> block = formatBlock(stream->type);
    uint32_t id = read32(block, 12), oldComment = read32(block, 16);
    block.erase(block.begin() + 24 + id, block.begin() + 24 + id + oldComment);
    block.insert(block.begin() + 24 + id, comment.begin(), comment.end());
    write32(block, 16, uint32_t(comment.size()));

    std::ostringstream log;
    AdecVorbis decoder(log);
    ASSERT_NE(decoder.init(withFormat(stream->type, block)), nullptr);
    EXPECT_EQ(log.str(),
              "Ogg::readHeader 1\nOgg::readHeader 3\nOgg::readHeader 5\nVorbis Comments: \n"
              "TITLE=Tones\nARTIST=Nobody\nEncoded by: Tavio tone maker\n2 channels, 44100 Hz\n");
}

TEST(AdecVorbis, PacketFaults)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    auto stream = readVorbisStream(makeOggVorbis(folder, 2));
    ASSERT_TRUE(stream);
    const auto& packets = stream->packets;
    ASSERT_GT(packets.size(), 8u);

    std::ostringstream log;
    AdecVorbis decoder(log);
    ASSERT_NE(decoder.init(stream->type), nullptr);
    // No input: nothing consumed, nothing produced.
    MemorySample none(65540);
    const uint8_t* p = packets[0].data.data();
    EXPECT_EQ(decoder.process(&p, p, &none), nullptr);
    EXPECT_EQ(p, packets[0].data.data());

    // A header packet among the audio packets is dropped; decoding goes on.
    std::vector<HostPacket> withHeader(packets.begin(), packets.begin() + 4);
    HostPacket header;
    const BYTE* block = stream->type.Format();
    header.data.assign(block + 24, block + 24 + read32(formatBlock(stream->type), 12));
    withHeader.push_back(header);
    withHeader.insert(withHeader.end(), packets.begin() + 4, packets.end());
    VorbisRun run = runVorbis(decoder, withHeader);
    EXPECT_NE(log.str().find("\nerror: vorbis_synthesis\n"), std::string::npos);
    EXPECT_EQ(run.silentPackets, 2u);  // the first packet and the header
    EXPECT_EQ(run.frames.size(), packets.size() - 1);

    // Output that does not fit below the sample's size is not written.
    ASSERT_NE(decoder.init(stream->type), nullptr);
    VorbisRun whole = runVorbis(decoder, {packets.begin(), packets.begin() + 3});
    ASSERT_EQ(whole.frames.size(), 2u);
    size_t bytes = size_t(whole.frames[1].samples) * 2 * 4;
    for (size_t spare : {size_t(0), size_t(4)}) {
        std::ostringstream log2;
        AdecVorbis small(log2);
        ASSERT_NE(small.init(stream->type), nullptr);
        runVorbis(small, {packets.begin(), packets.begin() + 2});
        VorbisRun last = runVorbis(small, {packets[2]}, bytes + spare);
        EXPECT_NE(log2.str().find("vorbis_pcmout: " + std::to_string(whole.frames[1].samples)),
                  std::string::npos);
        if (spare == 0) {
            EXPECT_TRUE(last.frames.empty());
        } else {
            ASSERT_EQ(last.frames.size(), 1u);
            EXPECT_EQ(last.output,
                      std::vector<float>(whole.output.end() - long(bytes / 4), whole.output.end()));
        }
    }
}

}  // namespace
