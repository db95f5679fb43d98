// Framing cases a reference decode cannot reach, one row each: false syncs,
// truncated and oversized frames, termination frames, rates without a code,
// bit rates and downmixes of AC-3, CRC failures, MLP private headers and
// presentations.
#include <gtest/gtest.h>

#include <sstream>

#include "core/media_subtypes.h"
#include "decoders/decoder_rows.h"
#include "support/media_types.h"

namespace {

DecoderRun decode(Decoder which,
                  const CMediaType& type,
                  const std::vector<std::vector<uint8_t>>& packets,
                  bool spdif = false,
                  int mixKind = 0,
                  int mixType = 0,
                  uint32_t mixMask = 0)
{
    std::ostringstream log;
    auto decoder = makeDecoder(which, log);
    if (mixType)
        decoder->setMixType(mixKind, mixType, mixMask);
    EXPECT_TRUE(decoder->init(type));
    if (spdif)
        decoder->setSpdif(true);
    bool packed = type.majortype == MEDIATYPE_MPEG2_PES;
    return feedDecoder(*decoder, packets, {.privateHeaders = packed});
}

// Tones encoded by ffmpeg, 0.3 s unless said.
std::vector<uint8_t> made(const std::string& speakers,
                          const std::string& options,
                          const std::string& extension,
                          double seconds = 0.3)
{
    return readBytes(madeStream({speakers, 48000, seconds, 0.5}, options, extension));
}

struct FramingCase {
    const char* what;
    Decoder decoder;
    std::vector<uint8_t> input;
    bool spdif;
    size_t frames;
    int samples, freq;
    size_t skipped;  // bytes passed over in all
    size_t breaks;   // calls that break the receive loop's contract
};

class Framing : public ::testing::TestWithParam<FramingCase> {};

TEST_P(Framing, FramesSamplesRateAndSkippedBytes)
{
    const FramingCase& c = GetParam();
    const GUID& subtype = c.decoder == Decoder::Dts ? MEDIASUBTYPE_DTS : MEDIASUBTYPE_MP3;
    DecoderRun run = decode(c.decoder, audioType(subtype), {c.input}, c.spdif);
    EXPECT_EQ(run.contractBreaks.size(), c.breaks);
    ASSERT_EQ(run.frames.size(), c.frames);
    EXPECT_EQ(run.skipped, c.skipped);
    if (c.frames) {
        EXPECT_EQ(run.frames[0]->samples, c.samples);
        EXPECT_EQ(run.frames[0]->freq, c.freq);
    }
}

const std::vector<uint8_t> kGarbage = {1, 2, 3};

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Framing, ::testing::Values(
    FramingCase{"dts normal frame with SHORT 30 is a false sync", Decoder::Dts, dtsFrame(1, 30, 16, 1000, 13), true, 0, 0, 0, 1000 - 16, 0},
    FramingCase{"dts termination frame of SHORT 7", Decoder::Dts, dtsFrame(0, 7, 16, 1000, 13), true, 1, 504, 48000, 0, 0},
    // A record without a rate: the receive loop asserts on it.
    FramingCase{"dts SFREQ 4 has no rate", Decoder::Dts, dtsFrame(1, 31, 16, 1000, 4), true, 1, 512, 0, 0, 1},
    FramingCase{"dts 1024 samples at 44.1 kHz", Decoder::Dts, dtsFrame(1, 31, 32, 2000, 8), true, 1, 1024, 44100, 0, 0},
    // Its record comes back without output, which the receive loop asserts
    // on; the frame is consumed all the same.
    FramingCase{"dts undecodable frame", Decoder::Dts, dtsFrame(1, 31, 16, 1000, 13), false, 1, 512, 48000, 0, 1},
    FramingCase{"dts frame too large for its burst", Decoder::Dts, dtsFrame(1, 31, 16, 2041, 13) + std::vector<uint8_t>(100), true, 0, 0, 0, 2141, 0},
    FramingCase{"dts garbage before a frame", Decoder::Dts, kGarbage + dtsFrame(1, 31, 16, 900, 13), true, 1, 512, 48000, 3, 0},
    FramingCase{"dts 16 bytes are not enough to look at", Decoder::Dts, dtsFrame(1, 31, 16, 16, 13), true, 0, 0, 0, 0, 0},
    FramingCase{"mpeg 24 zero bytes: one passed over", Decoder::Mpeg, std::vector<uint8_t>(24), false, 0, 0, 0, 1, 0},
    FramingCase{"mpeg 23 zero bytes wait", Decoder::Mpeg, std::vector<uint8_t>(23), false, 0, 0, 0, 0, 0}),
    caseName<FramingCase>);
// clang-format on

// AC-3 through the AC-3 library: karaoke streams, bit rates, and the downmixes
// the remixer asks of the decoder.
struct Ac3Case {
    const char* what;
    const char* speakers;
    int kbps;
    const char* options;
    int mixKind, mixType;
    uint32_t mixMask;
    int chan, acmod, lfeon, bsmod, bitRate, frameSize;
    TvRemixMode remix;
};

class Ac3Settings : public ::testing::TestWithParam<Ac3Case> {};

TEST_P(Ac3Settings, StatusOfTheFirstFrame)
{
    REQUIRE_FFMPEG();
    const Ac3Case& c = GetParam();
    std::vector<uint8_t> stream =
        made(c.speakers, "-c:a ac3 -b:a " + std::to_string(c.kbps) + "k " + c.options, "ac3");
    DecoderRun run = decode(Decoder::Dolby, audioType(MEDIASUBTYPE_DOLBY_AC3), {stream}, false,
                            c.mixKind, c.mixType, c.mixMask);
    ASSERT_FALSE(run.frames.empty());
    const auto& s = static_cast<const TvStatusAc3&>(*run.frames[0]);
    EXPECT_EQ(std::vector<int>(
                  {s.chan, s.acmod, s.lfeon, s.bsmod, s.bitRate, s.iFrameSize, int(s.remixMode)}),
              std::vector<int>(
                  {c.chan, c.acmod, c.lfeon, c.bsmod, c.bitRate, c.frameSize, int(c.remix)}));
    if (c.remix != RemixNone) {
        EXPECT_EQ(std::vector<int>({s.codedAcmod, s.codedLfeon}), std::vector<int>({7, 1}));
    }
    EXPECT_EQ(run.skipped, 0u);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Ac3Settings, ::testing::Values(
    Ac3Case{"karaoke 3/2 is 2/0 without LFE", k51, 384, "-audio_service_type ka", 0, 0, 0, 2, 2, 0, 7, 384000, 1536, RemixNone},
    Ac3Case{"448 kbit/s", "FL+FR", 448, "", 0, 0, 0, 2, 2, 0, 0, 448000, 1792, RemixNone},
    Ac3Case{"224 kbit/s is reported as 256", "FL+FR", 224, "", 0, 0, 0, 2, 2, 0, 0, 256000, 896, RemixNone},
    Ac3Case{"surround downmix to stereo", k51, 384, "", KindAc3, RemixDecoderSurroundDownmix, 0x3, 2, 0, 0, 0, 384000, 1536, RemixDecoderSurroundDownmix},
    Ac3Case{"decoder downmix to 3/0+LFE", k51, 384, "", KindAc3, RemixDecoderDownmix, 0xF, 4, 3, 1, 0, 384000, 1536, RemixDecoderDownmix},
    Ac3Case{"a downmix to as many channels", k51, 384, "", KindAc3, RemixDecoderDownmix, 0x3F, 6, 7, 1, 0, 384000, 1536, RemixNone},
    Ac3Case{"another kind's downmix is ignored", k51, 384, "", KindDts, RemixDecoderDownmix, 0x3, 6, 7, 1, 0, 384000, 1536, RemixNone}),
    caseName<Ac3Case>);
// clang-format on

TEST(Ac3Framing, BothLibrariesDownmixAlike)
{
    REQUIRE_FFMPEG();
    std::vector<uint8_t> stream = made(k51, "-c:a ac3 -b:a 384k", "ac3");
    DecoderRun sixteen = decode(Decoder::Dolby, audioType(MEDIASUBTYPE_DOLBY_AC3), {stream}, false,
                                KindAc3, RemixDecoderSurroundDownmix, 0x3);
    DecoderRun floats = decode(Decoder::DDPlus, audioType(MEDIASUBTYPE_DOLBY_AC3), {stream}, false,
                               KindAc3, RemixDecoderSurroundDownmix, 0x3);
    std::vector<double> a = samplesOf(sixteen.output, SampleFormat::S16),
                        b = samplesOf(floats.output, SampleFormat::F32);
    ASSERT_EQ(a.size(), b.size());
    EXPECT_LE(maxDifference(a, b) * 32768, 1.0);
}

// The DD+ library checks each frame: a broken one is passed over whole; its
// float output is clipped at full scale.
TEST(Ac3Framing, BrokenFramesAndClipping)
{
    REQUIRE_FFMPEG();
    std::vector<uint8_t> stream = made("FL+FR", "-c:a ac3 -b:a 192k", "ac3", 0.2);
    DecoderRun clean = decode(Decoder::DDPlus, audioType(MEDIASUBTYPE_DOLBY_AC3), {stream});
    std::vector<uint8_t> broken = stream;
    broken[100] ^= 0x40;
    DecoderRun run = decode(Decoder::DDPlus, audioType(MEDIASUBTYPE_DOLBY_AC3), {broken});
    EXPECT_EQ(run.frames.size(), clean.frames.size() - 1);
    EXPECT_EQ(run.skipped, 768u);
    DecoderRun tooShort = decode(Decoder::DDPlus, audioType(MEDIASUBTYPE_DOLBY_AC3),
                                 {{stream.begin(), stream.begin() + 127}});
    EXPECT_EQ(tooShort.consumed, 0u);

    ToneSignal loud{"FC", 48000, 0.2, 1.25};
    std::string path = madeStream(loud, "-c:a ac3 -b:a 192k", "ac3");
    ASSERT_GT(peak(samplesOf(referenceDecode(path, "f32le"), SampleFormat::F32)), 1.0);
    DecoderRun clipped =
        decode(Decoder::DDPlus, audioType(MEDIASUBTYPE_DOLBY_AC3), {readBytes(path)});
    EXPECT_EQ(peak(samplesOf(clipped.output, SampleFormat::F32)), 1.0);
}

// MLP private headers: DVD-Audio (substream 0xA1, 4 + header length bytes)
// and HD-DVD (0xB0-0xB7, five bytes).
struct MlpHeaderCase {
    const char* what;
    bool hdDvd;
    std::vector<uint8_t> packet;
    bool accepted;
    size_t consumed;
};

class MlpHeaders : public ::testing::TestWithParam<MlpHeaderCase> {};

TEST_P(MlpHeaders, StripOrRefuse)
{
    const MlpHeaderCase& c = GetParam();
    std::ostringstream log;
    auto decoder = makeDecoder(Decoder::Mlp, log);
    ASSERT_TRUE(decoder->init(waveType(
        MEDIATYPE_MPEG2_PES, c.hdDvd ? MEDIASUBTYPE_HDDVD_AUDIO_MLP : MEDIASUBTYPE_DVDA_AUDIO_MLP,
        0, 48000, 2, 24)));
    const uint8_t* p = c.packet.data();
    EXPECT_EQ(decoder->parsePacketHeader(&p, p + c.packet.size()), c.accepted);
    EXPECT_EQ(size_t(p - c.packet.data()), c.consumed);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, MlpHeaders, ::testing::Values(
    MlpHeaderCase{"dvd-audio", false, {0xA1, 0, 0, 3, 0, 0, 0, 0xAA}, true, 7},
    MlpHeaderCase{"dvd-audio longer header", false, {0xA1, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0xAA}, true, 12},
    MlpHeaderCase{"dvd-audio header to the end", false, {0xA1, 0, 0, 4, 0, 0, 0, 0}, false, 8},
    MlpHeaderCase{"dvd-audio wrong substream", false, {0xA0, 0, 0, 3, 0, 0, 0, 0xAA}, false, 0},
    MlpHeaderCase{"dvd-audio four bytes", false, {0xA1, 0, 0, 0}, false, 0},
    MlpHeaderCase{"dvd-audio empty", false, {}, false, 0},
    MlpHeaderCase{"hd-dvd", true, {0xB3, 0, 0, 0, 0, 0xAA}, true, 5},
    MlpHeaderCase{"hd-dvd wrong substream", true, {0xA1, 0, 0, 0, 0, 0xAA}, false, 0},
    MlpHeaderCase{"hd-dvd nothing after the header", true, {0xB0, 0, 0, 0, 0}, false, 5},
    MlpHeaderCase{"hd-dvd empty", true, {}, false, 0}),
    caseName<MlpHeaderCase>);
// clang-format on

// A stream whose layout changes (stereo, 5.1, stereo) gives each part under
// its own channel count, never two layouts in one frame.
TEST(MlpFraming, LayoutChanges)
{
    REQUIRE_FFMPEG();
    std::vector<uint8_t> stream, expected;
    std::vector<int> layouts;
    for (const char* speakers : {"FL+FR", k51, "FL+FR"}) {
        std::string part = madeStream({speakers, 48000, 0.3, 0.5}, "-c:a truehd -strict -2", "thd");
        stream = stream + readBytes(part);
        expected = expected + referenceDecode(part, "s24le");
    }
    DecoderRun run = decode(
        Decoder::Mlp, waveType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_HDDVD_AUDIO_MLP, 0, 48000, 2, 24),
        mlpPackets(stream, true, {2048}));
    EXPECT_TRUE(run.output == expected) << run.output.size() << " against " << expected.size();
    for (const auto& frame : run.frames)
        if (layouts.empty() || layouts.back() != frame->chan)
            layouts.push_back(frame->chan);
    EXPECT_EQ(layouts, (std::vector<int>{2, 6, 2}));
}

// Only a stereo decoder downmix of an MLP stream asks for the two-channel
// presentation; a stream without one gives its multichannel one.
TEST(MlpFraming, PresentationChoice)
{
    REQUIRE_FFMPEG();
    REQUIRE_VECTOR("androidx_media/mp4_sample_dthd.mp4");
    StreamInput vector = demuxed(vectorPath("androidx_media/mp4_sample_dthd.mp4"));
    StreamInput fiveOne =
        demuxed(madeStream({k51, 48000, 0.3, 0.5}, "-c:a truehd -strict -2", "thd"));
    struct Case {
        const char* what;
        const StreamInput& input;
        int kind, mixType, chan;
    } cases[] = {
        {"a request for another kind", vector, KindAc3, RemixDecoderDownmix, 8},
        {"a surround downmix", vector, KindMlp, RemixDecoderSurroundDownmix, 8},
        {"no two-channel presentation", fiveOne, KindMlp, RemixDecoderDownmix, 6},
    };
    for (const Case& c : cases) {
        ASSERT_FALSE(c.input.packets.empty()) << c.what;
        DecoderRun run =
            decode(Decoder::Mlp, c.input.type, c.input.packets, false, c.kind, c.mixType, 0x3);
        ASSERT_FALSE(run.frames.empty()) << c.what;
        EXPECT_EQ(run.last().chan, c.chan) << c.what;
    }
}

}  // namespace

// Layer I at 44.1 kHz comes in frames of 416 and 420 bytes: every one is
// decoded, and compatQuirks=1's old measure (a byte off) passes over the
// frame after each.
TEST(MpegFraming, LayerOneAt44kHzKeepsEveryFrame)
{
    REQUIRE_VECTOR("minimp3/l1-fl6.bit");
    std::vector<uint8_t> stream = readBytes(vectorPath("minimp3/l1-fl6.bit"));
    for (auto [parameters, frames] : {std::pair{"", 49u}, std::pair{"compatQuirks=1\n", 25u}}) {
        ParameterLines lines(parameters);
        DecoderRun run = decode(Decoder::Mpeg, audioType(MEDIASUBTYPE_MPEG1AudioPayload), {stream});
        EXPECT_EQ(run.frames.size(), frames) << parameters;
        EXPECT_EQ(run.output.size(), run.frames.size() * 384 * 2 * 2) << parameters;
    }
}

// Padded layer I frames at 96 kbit/s and 44.1 kHz take 108 bytes, which
// compatQuirks=1's old measure takes for 105: the engine completes a frame
// given that much short, so none is lost (here silent frames, no allocation).
TEST(MpegFraming, LayerOneFramesMeasuredShortAreCompleted)
{
    std::vector<uint8_t> frame(108, 0), stream;
    frame[0] = 0xFF, frame[1] = 0xFF, frame[2] = 0x32;
    for (int i = 0; i < 20; ++i)
        stream.insert(stream.end(), frame.begin(), frame.end());
    for (const char* parameters : {"", "compatQuirks=1\n"}) {
        ParameterLines lines(parameters);
        DecoderRun run = decode(Decoder::Mpeg, audioType(MEDIASUBTYPE_MPEG1AudioPayload), {stream});
        EXPECT_EQ(run.frames.size(), 20u) << parameters;
        EXPECT_EQ(run.output.size(), run.frames.size() * 384 * 2 * 2) << parameters;
    }
}

// Free format names no frame length: the first frame's is the distance to
// the next header, kept for the rest (the last one included), however the
// input is cut. compatQuirks=1 refuses free format, as the decoder once did.
TEST(MpegFraming, FreeFormatIsMeasuredOnTheFirstFrame)
{
    REQUIRE_VECTOR("minimp3/l3-he_free.bit");
    std::vector<uint8_t> stream = readBytes(vectorPath("minimp3/l3-he_free.bit"));
    const CMediaType type = audioType(MEDIASUBTYPE_MP3, WAVE_FORMAT_MPEGLAYER3, 44100);
    auto run = [&](size_t piece) {
        std::ostringstream log;
        auto decoder = makeDecoder(Decoder::Mpeg, log);
        EXPECT_TRUE(decoder->init(type));
        DecoderRun result = feedDecoder(*decoder, {stream}, {.piece = piece});
        EXPECT_EQ(result.contractBreaks, std::vector<std::string>{});
        return result;
    };
    DecoderRun whole = run(0);
    EXPECT_EQ(whole.frames.size(), 68u);
    EXPECT_EQ(whole.output.size(), 68u * 1152 * 2 * 2);
    for (size_t piece : {1u, 17u, 3000u})
        EXPECT_TRUE(run(piece).output == whole.output) << "pieces of " << piece;
    ParameterLines compat("compatQuirks=1\n");
    // Refusing free format, it finds only false syncs inside the frames.
    EXPECT_FALSE(run(0).output == whole.output);
}

// Two free-format streams joined, frames of 300 bytes then of 420 (silent
// ones: a header, then zeros): the second length is measured where the first
// stops leading to a header.
TEST(MpegFraming, FreeFormatStreamsJoined)
{
    std::vector<uint8_t> stream;
    for (size_t length : {300u, 300u, 300u, 420u, 420u, 420u}) {
        std::vector<uint8_t> frame(length);
        frame[0] = 0xFF, frame[1] = 0xFB;  // MPEG-1 layer III, free format, 44.1 kHz
        stream.insert(stream.end(), frame.begin(), frame.end());
    }
    std::ostringstream log;
    auto decoder = makeDecoder(Decoder::Mpeg, log);
    ASSERT_TRUE(decoder->init(audioType(MEDIASUBTYPE_MP3, WAVE_FORMAT_MPEGLAYER3, 44100)));
    DecoderRun run = feedDecoder(*decoder, {stream});
    EXPECT_EQ(run.contractBreaks, std::vector<std::string>{});
    ASSERT_EQ(run.frames.size(), 6u) << log.str();
    EXPECT_EQ(run.frames[0]->iFrameSize, 300);
    EXPECT_EQ(run.frames[5]->iFrameSize, 420);
}
