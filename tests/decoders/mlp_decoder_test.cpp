// AdecMLP with TvMlpDec.dll: DVD-Audio and HD-DVD packets through their
// private headers, decoded bit for bit equal to the source PCM or to ffmpeg's
// decode; the presentation choice; the room rule; header faults; a missing or
// broken library.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>

#include "config/config_test_support.h"
#include "core/decoder_factory.h"
#include "decoders/AdecMLP.h"
#include "support/memory_sample.h"
#include "support/mlp_tools.h"
#include "support/wave_type.h"

namespace {

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";
const std::string kTrueHdVector = kVectors + "androidx_media/mp4_sample_dthd.mp4";
constexpr LONG kOutputSize = 48000;

std::string moduleFolder()
{
    return TAVIO_MODULE_DIR "/";
}

CMediaType mlpType(const GUID& major, const GUID& subtype)
{
    return waveFormatType(&major, &subtype, WAVEFORMATEX{0, 2, 48000, 0, 0, 24, 0});
}

const CMediaType dvdaPes = mlpType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DVDA_AUDIO_MLP);
const CMediaType hdDvdPes = mlpType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_HDDVD_AUDIO_MLP);

// Private headers: DVD-Audio (substream 0xA1, continuity counter, a reserved
// byte, the length of the rest) and HD-DVD (substream 0xB0 and four bytes).
std::vector<uint8_t> dvdaHeader(uint8_t counter)
{
    return {0xA1, counter, 0x00, 0x03, 0x00, 0x00, 0x00};
}
std::vector<uint8_t> hdDvdHeader(uint8_t counter)
{
    return {0xB0, counter, 0x00, 0x00, 0x00};
}

// Cuts `stream` into packets of the given payload sizes (repeated), each
// behind the private header of its packing.
std::vector<std::vector<uint8_t>> packetize(const std::vector<uint8_t>& stream, bool hdDvd,
                                            const std::vector<size_t>& sizes)
{
    std::vector<std::vector<uint8_t>> packets;
    size_t offset = 0;
    for (size_t n = 0; offset < stream.size(); ++n) {
        size_t take = std::min(sizes[n % sizes.size()], stream.size() - offset);
        std::vector<uint8_t> packet = hdDvd ? hdDvdHeader(uint8_t(n)) : dvdaHeader(uint8_t(n));
        packet.insert(packet.end(), stream.begin() + long(offset), stream.begin() + long(offset + take));
        packets.push_back(std::move(packet));
        offset += take;
    }
    return packets;
}

struct MlpRun {
    std::vector<uint8_t> output;
    std::vector<TvStatusMlp> frames;
    std::vector<size_t> frameBytes;  // output length of each frame
    size_t skipped = 0;
};

// The filter's input buffer and receive loop in small: each packet's header
// stripped, its audio appended, frames taken until the decoder wants more.
MlpRun runMlp(AdecMLP& decoder, const std::vector<std::vector<uint8_t>>& packets, LONG outputSize = kOutputSize)
{
    MlpRun run;
    std::vector<uint8_t> buffer;
    for (const auto& packet : packets) {
        const uint8_t* p = packet.data();
        const uint8_t* end = p + packet.size();
        if (!decoder.parsePacketHeader(&p, end))
            continue;
        buffer.insert(buffer.end(), p, end);
        for (;;) {
            MemorySample out{size_t(outputSize)};
            const uint8_t* start = buffer.data();
            const uint8_t* q = start;
            TvStatus* status = decoder.process(&q, start + buffer.size(), &out);
            size_t consumed = size_t(q - start);
            if (consumed == 0) {
                EXPECT_EQ(status, nullptr);
                break;
            }
            if (status) {
                run.frames.push_back(static_cast<TvStatusMlp&>(*status));
                run.skipped += consumed - size_t(status->iFrameSize);
                auto data = out.data();
                run.output.insert(run.output.end(), data.begin(), data.end());
                run.frameBytes.push_back(data.size());
            } else {
                run.skipped += consumed;
            }
            buffer.erase(buffer.begin(), buffer.begin() + long(consumed));
        }
    }
    return run;
}

std::vector<uint8_t> trueHdVectorStream(const TempFolder& folder)
{
    std::string thd = folder.file("vector.thd");
    if (std::system(("ffmpeg -v error -i " + kTrueHdVector + " -c copy -f truehd -y " + thd).c_str()) != 0)
        return {};
    return fileBytes(thd);
}

struct LosslessCase {
    MlpEncoding encoding;
    bool hdDvd;
    int expectedFreq;
};

class AdecMlpLossless : public ::testing::TestWithParam<LosslessCase> {};

// DVD-Audio MLP and HD-DVD TrueHD made by ffmpeg from known PCM: the output is
// that PCM, whatever the packet sizes; the status follows the major sync.
TEST_P(AdecMlpLossless, PacketsDecodeToTheSourcePcm)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const LosslessCase& c = GetParam();
    TempFolder folder;
    MlpStream stream = makeMlpStream(folder, c.encoding);
    ASSERT_FALSE(stream.path.empty());
    std::vector<uint8_t> bytes = fileBytes(stream.path);
    std::mt19937 random(5);
    std::vector<size_t> randomSizes;
    for (int i = 0; i < 50; ++i)
        randomSizes.push_back(1 + random() % 3000);
    std::vector<uint8_t> whole;
    for (const auto& sizes : {std::vector<size_t>{2000}, std::vector<size_t>{17}, randomSizes}) {
        std::ostringstream log;
        AdecMLP decoder(log, moduleFolder());
        ASSERT_NE(decoder.init(c.hdDvd ? hdDvdPes : dvdaPes), nullptr);
        MlpRun run = runMlp(decoder, packetize(bytes, c.hdDvd, sizes));
        ASSERT_FALSE(run.frames.empty()) << log.str().substr(0, 2000);
        const TvStatusMlp& s = run.frames.back();
        EXPECT_EQ(s.freq, c.expectedFreq);
        EXPECT_EQ(s.chan, c.encoding.channels);
        EXPECT_EQ(s.channelMask, 0xFFFFu >> (16 - c.encoding.channels));
        EXPECT_EQ(s.stype, ST24Bit);
        EXPECT_EQ(s.majorSync, std::string(c.encoding.codec) == "truehd" ? 1 : 0);
        EXPECT_EQ(run.skipped, 0u);
        EXPECT_TRUE(startsWithSource(run.output, stream.expected, c.encoding.channels))
            << sizes.size() << " sizes: " << run.output.size() << " vs " << stream.expected.size();
        if (whole.empty())
            whole = run.output;
        EXPECT_TRUE(run.output == whole);
    }
}

INSTANTIATE_TEST_SUITE_P(
    DvdAudioAndHdDvd,
    AdecMlpLossless,
    ::testing::Values(LosslessCase{{"mlp", 2, "stereo", 44100, 16}, false, 44100},
                      LosslessCase{{"mlp", 6, "5.1", 96000, 24}, false, 96000},
                      LosslessCase{{"mlp", 5, "5.0", 88200, 24}, false, 88200},
                      LosslessCase{{"mlp", 4, "quad", 192000, 16, 0.1}, false, 192000},
                      LosslessCase{{"truehd", 6, "5.1", 48000, 24}, true, 48000},
                      LosslessCase{{"truehd", 2, "stereo", 176400, 16, 0.1}, true, 176400}),
    [](const auto& info) { return mlpEncodingName(info.param.encoding); });

// The real TrueHD stream carries a two-channel presentation beside its 7.1
// one: without a request the 7.1 one comes out (mask from the lowest eight
// bits), with the stereo request the two-channel one, each equal to ffmpeg's
// decode of that presentation. A stream without a two-channel presentation
// gives its multichannel one to the request.
TEST(AdecMLP, PresentationChoice)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    if (!std::filesystem::exists(kTrueHdVector))
        GTEST_SKIP() << kTrueHdVector << " not present";
    TempFolder folder;
    std::vector<uint8_t> vector = trueHdVectorStream(folder);
    ASSERT_FALSE(vector.empty());
    MlpStream fiveOne = makeMlpStream(folder, {"truehd", 6, "5.1", 48000, 24});
    std::vector<uint8_t> fiveOneBytes = fileBytes(fiveOne.path);
    struct Case {
        const char* what;
        const std::vector<uint8_t>& stream;
        int kind, mixType;
        uint32_t mask;
        int chan;
        uint32_t channelMask;
        const char* reference;  // ffmpeg's options for the same decode
    } cases[] = {
        {"7.1 without a request", vector, KindMlp, 104, 0x3F, 8, 0xFF, ""},
        {"stereo request", vector, KindMlp, 104, 0x3, 2, 0x3, "-downmix stereo"},
        {"a request for another kind", vector, KindAc3, 104, 0x3, 8, 0xFF, ""},
        {"surround downmix is no stereo request", vector, KindMlp, 105, 0x3, 8, 0xFF, ""},
        {"no two-channel presentation", fiveOneBytes, KindMlp, 104, 0x3, 6, 0x3F, ""},
    };
    for (const Case& c : cases) {
        std::ostringstream log;
        AdecMLP decoder(log, moduleFolder());
        decoder.setMixType(c.kind, c.mixType, c.mask);
        ASSERT_NE(decoder.init(hdDvdPes), nullptr);
        MlpRun run = runMlp(decoder, packetize(c.stream, true, {2013}));
        ASSERT_FALSE(run.frames.empty()) << c.what;
        EXPECT_EQ(run.frames[0].chan, c.chan) << c.what;
        EXPECT_EQ(run.frames[0].channelMask, c.channelMask) << c.what;
        std::string input = &c.stream == &vector ? kTrueHdVector : fiveOne.path;
        bool ok = false;
        auto reference = commandOutput(
            std::string("ffmpeg -v error ") + c.reference + " -i " + input + " -f s24le -", &ok);
        ASSERT_TRUE(ok) << c.what;
        EXPECT_TRUE(run.output == reference) << c.what << ": " << run.output.size() << " vs " << reference.size();
        EXPECT_NE(log.str().find(" samples: 40 chan: " + std::to_string(c.chan) + " freq: 0 multichan: 0 twochan: "),
                  std::string::npos)
            << c.what;
    }
}

// A stream whose layout changes (stereo, then 5.1, then stereo again) gives
// each part's samples under its own channel count, never two layouts in one
// output sample.
TEST(AdecMLP, LayoutChangeStartsANewOutputSample)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    MlpStream stereo = makeMlpStream(folder, {"truehd", 2, "stereo", 48000, 24});
    MlpStream surround = makeMlpStream(folder, {"truehd", 6, "5.1", 48000, 24});
    std::vector<uint8_t> bytes, expected;
    struct Part {
        const MlpStream& stream;
        int chan;
    } parts[] = {{stereo, 2}, {surround, 6}, {stereo, 2}};
    for (const Part& part : parts) {
        std::vector<uint8_t> encoded = fileBytes(part.stream.path);
        bytes.insert(bytes.end(), encoded.begin(), encoded.end());
        bool ok = false;
        auto decoded = commandOutput("ffmpeg -v error -i " + part.stream.path + " -f s24le -", &ok);
        ASSERT_TRUE(ok);
        expected.insert(expected.end(), decoded.begin(), decoded.end());
    }
    std::ostringstream log;
    AdecMLP decoder(log, moduleFolder());
    ASSERT_NE(decoder.init(hdDvdPes), nullptr);
    MlpRun run = runMlp(decoder, packetize(bytes, true, {2048}));
    EXPECT_TRUE(run.output == expected) << run.output.size() << " vs " << expected.size();
    std::vector<int> layouts;
    for (size_t i = 0; i < run.frames.size(); ++i) {
        const TvStatusMlp& frame = run.frames[i];
        EXPECT_EQ(size_t(frame.samples) * size_t(frame.chan) * 3, run.frameBytes[i]) << "frame " << i;
        if (layouts.empty() || layouts.back() != frame.chan)
            layouts.push_back(frame.chan);
    }
    EXPECT_EQ(layouts, (std::vector<int>{2, 6, 2}));
}

// Output samples with 4803 bytes of room or less receive nothing and consume
// nothing; one byte more takes one access unit.
TEST(AdecMLP, RoomForOneCallOfOutput)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    MlpStream stream = makeMlpStream(folder, {"mlp", 2, "stereo", 48000, 24});
    std::vector<uint8_t> bytes = fileBytes(stream.path);
    for (LONG size : {LONG(4803), LONG(4804)}) {
        std::ostringstream log;
        AdecMLP decoder(log, moduleFolder());
        ASSERT_NE(decoder.init(mlpType(MEDIATYPE_Audio, MEDIASUBTYPE_DVDA_AUDIO_MLP)), nullptr);
        MemorySample out{size_t(size)};
        const uint8_t* p = bytes.data();
        TvStatus* status = decoder.process(&p, bytes.data() + bytes.size(), &out);
        if (size == 4803) {
            EXPECT_EQ(status, nullptr);
            EXPECT_EQ(p, bytes.data());
            EXPECT_EQ(out.GetActualDataLength(), 0);
        } else {
            ASSERT_NE(status, nullptr);
            EXPECT_EQ(status->samples, 40);
            EXPECT_EQ(out.GetActualDataLength(), 40 * 2 * 3);
            EXPECT_EQ(size_t(p - bytes.data()), size_t(status->iFrameSize));
            EXPECT_NE(log.str().find("MLP buffer: " + std::to_string(bytes.size()) + " 0\n"), std::string::npos);
            EXPECT_NE(log.str().find("outsize: 240\n"), std::string::npos);
        }
    }
}

// Bytes before the first major sync are passed over (and logged as a library
// error), not kept: the samples after them are all there.
TEST(AdecMLP, GarbageBeforeTheFirstMajorSyncIsDropped)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    MlpStream stream = makeMlpStream(folder, {"mlp", 2, "stereo", 48000, 24});
    std::vector<uint8_t> bytes(3001, 0x5A);
    std::vector<uint8_t> encoded = fileBytes(stream.path);
    bytes.insert(bytes.end(), encoded.begin(), encoded.end());
    std::ostringstream log;
    AdecMLP decoder(log, moduleFolder());
    ASSERT_NE(decoder.init(dvdaPes), nullptr);
    MlpRun run = runMlp(decoder, packetize(bytes, false, {1000}));
    // The call that finds the sync counts the garbage it passed over (fewer
    // than the 8 bytes a sync search looks at) with its frame.
    EXPECT_LE(run.skipped, 3001u);
    EXPECT_GE(run.skipped, 3001u - 8);
    EXPECT_TRUE(startsWithSource(run.output, stream.expected, 2));
    EXPECT_NE(log.str().find("MLP error: 1\n"), std::string::npos);
}

struct HeaderCase {
    const char* what;
    bool hdDvd;
    std::vector<uint8_t> packet;
    bool accepted;
    size_t consumed;          // by the header step
    const char* assertion;    // "" = none
};

class AdecMlpHeaders : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(AdecMlpHeaders, StripOrRefuse)
{
    const HeaderCase& c = GetParam();
    TempRoot root;
    CapturedLog assertions(root);
    std::ostringstream log;
    AdecMLP decoder(log, moduleFolder());
    ASSERT_NE(decoder.init(c.hdDvd ? hdDvdPes : dvdaPes), nullptr);
    const uint8_t* p = c.packet.data();
    EXPECT_EQ(decoder.parsePacketHeader(&p, p + c.packet.size()), c.accepted) << c.what;
    EXPECT_EQ(size_t(p - c.packet.data()), c.consumed) << c.what;
    std::string written;
    for (const auto& line : assertions.lines())
        written += line + "\n";
    if (*c.assertion)
        EXPECT_NE(written.find(std::string("'") + c.assertion + "'"), std::string::npos) << c.what << ": " << written;
    else
        EXPECT_EQ(written, "") << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    PrivateHeaders,
    AdecMlpHeaders,
    ::testing::Values(
        HeaderCase{"DVD-Audio: 4 + header length", false, {0xA1, 0, 0, 3, 0, 0, 0, 0xAA}, true, 7, ""},
        HeaderCase{"DVD-Audio: a longer header", false, {0xA1, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0xAA}, true, 12, ""},
        HeaderCase{"DVD-Audio: header length pointing at the end", false, {0xA1, 0, 0, 4, 0, 0, 0, 0}, false, 8,
                   "p<end"},
        HeaderCase{"DVD-Audio: wrong substream", false, {0xA0, 0, 0, 3, 0, 0, 0, 0xAA}, false, 0, "p[0] == 0xa1"},
        HeaderCase{"DVD-Audio: four bytes", false, {0xA1, 0, 0, 0}, false, 0, "end-p>4"},
        HeaderCase{"DVD-Audio: empty payload", false, {}, false, 0, "p[0] == 0xa1"},
        HeaderCase{"HD-DVD: five bytes", true, {0xB3, 0, 0, 0, 0, 0xAA}, true, 5, ""},
        HeaderCase{"HD-DVD: wrong substream", true, {0xA1, 0, 0, 0, 0, 0xAA}, false, 0, "(p[0] & 0xF8) == 0xB0"},
        HeaderCase{"HD-DVD: nothing after the header", true, {0xB0, 0, 0, 0, 0}, false, 5, "p<end"},
        HeaderCase{"HD-DVD: empty payload", true, {}, false, 0, "(p[0] & 0xF8) == 0xB0"}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

// A missing library or one without an entry point refuses the type, with the
// filter log naming what was missing.
TEST(AdecMLP, WithoutItsLibraryRefusesTheType)
{
    TempFolder folder;
    struct Case {
        const char* what;
        std::string library;  // copied in as TvMlpDec.dll; "" = none
        const char* logged;
    } cases[] = {
        {"missing", "", "error: TvMlpDec.dll not found\n"},
        {"no entry points", TEST_MODULE_PATH, "error: could not find function mlpDecoderClose\n"},
    };
    for (const Case& c : cases) {
        std::filesystem::remove(folder.file("TvMlpDec.dll"));
        if (!c.library.empty())
            std::filesystem::copy_file(c.library, folder.file("TvMlpDec.dll"));
        std::ostringstream log;
        AdecMLP decoder(log, folder.file(""));
        EXPECT_TRUE(decoder.accepts(dvdaPes) && decoder.accepts(hdDvdPes));
        EXPECT_EQ(decoder.init(dvdaPes), nullptr) << c.what;
        EXPECT_EQ(log.str(), c.logged) << c.what;
    }
}

// The factory creates AdecMLP after the Vorbis decoder and before the LPCM
// decoders; both MLP subtypes reach it.
TEST(AdecMLP, PlaceInTheFactory)
{
    std::ostringstream log;
    DecoderList decoders;
    createDecoders(decoders, log, moduleFolder());
    std::string text = log.str();
    size_t ac3 = text.find("successfully initialized Decoder: AdecVorbis\n");
    size_t mlp = text.find("successfully initialized Decoder: AdecMLP\n");
    size_t lpcm = text.find("successfully initialized Decoder: AdecLpcmDvd\n");
    ASSERT_NE(mlp, std::string::npos) << text;
    EXPECT_LT(ac3, mlp);
    EXPECT_LT(mlp, lpcm);
    for (const CMediaType* type : {&dvdaPes, &hdDvdPes})
        EXPECT_NE(dynamic_cast<AdecMLP*>(chooseDecoder(decoders, *type)), nullptr);
}

}  // namespace
