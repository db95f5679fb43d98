// S/PDIF pass-through: IEC 61937 bursts equal to ffmpeg's spdif muxer byte for
// byte (AC-3 from both Dolby decoders, DTS), and E-AC-3 converted to AC-3
// bursts whose frames decode like the original.
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "core/media_subtypes.h"
#include "decoders/decoder_rows.h"
#include "decoders/dts_header.h"
#include "support/media_types.h"

namespace {

uint16_t word(const std::vector<uint8_t>& bytes, size_t at)
{
    return uint16_t(bytes[at] | bytes[at + 1] << 8);
}

DecoderRun passThrough(Decoder which,
                       const std::vector<uint8_t>& stream,
                       size_t piece = 0,
                       size_t outputSize = 1 << 18)
{
    std::ostringstream log;
    auto decoder = makeDecoder(which, log);
    EXPECT_TRUE(decoder->init(
        audioType(which == Decoder::Dts ? MEDIASUBTYPE_DTS : MEDIASUBTYPE_DOLBY_AC3)));
    decoder->setSpdif(true);
    DecoderRun run = feedDecoder(*decoder, {stream}, {.piece = piece, .outputSize = outputSize});
    EXPECT_EQ(run.contractBreaks, std::vector<std::string>{});
    return run;
}

std::vector<uint8_t> ffmpegBursts(const std::string& path)
{
    return commandOutput("ffmpeg -v error -nostdin -i '" + path +
                         "' -c copy -f spdif - 2>/dev/null");
}

class SpdifBursts : public ::testing::TestWithParam<Row> {};

TEST_P(SpdifBursts, EqualFfmpegsWholeAndInPieces)
{
    REQUIRE_FFMPEG();
    const Row& row = GetParam();
    if (!row.vector.empty())
        REQUIRE_VECTOR(row.vector);
    size_t bar = row.encode.find('|');
    std::string path = row.vector.empty() ? madeStream(row.tones, row.encode.substr(0, bar),
                                                       row.encode.substr(bar + 1))
                                          : vectorPath(row.vector);
    std::vector<uint8_t> reference = ffmpegBursts(path);
    ASSERT_FALSE(reference.empty());
    for (size_t piece : {size_t(0), size_t(17)}) {
        DecoderRun run = passThrough(row.decoder, readBytes(path), piece);
        EXPECT_TRUE(run.output == reference) << "pieces of " << piece << ": " << run.output.size()
                                             << " against " << reference.size();
        ASSERT_FALSE(run.frames.empty());
        EXPECT_TRUE(run.last().spdif);
    }
}

// AC-3 or DTS at `kbps` ("" for the encoder's default), named after all that.
Row burstRow(Decoder decoder, const char* speakers, int rate, std::string kbps = "")
{
    bool dts = decoder == Decoder::Dts;
    std::string options = dts ? "-c:a dca -strict -2" : "-c:a ac3";
    if (!kbps.empty())
        options += " -b:a " + kbps;
    return {.name = std::string(decoderName(decoder)) + " " + speakers + " " +
                    std::to_string(rate) + " " + kbps,
            .decoder = decoder,
            .tones = {speakers, rate, 0.5, 0.5},
            .encode = options + (dts ? "|dts" : "|ac3")};
}

// Frames of 2041 bytes or more leave no room for the preamble: ffmpeg writes
// them bare, the decoder drops them (see the framing table).
INSTANTIATE_TEST_SUITE_P(Streams,
                         SpdifBursts,
                         ::testing::Values(burstRow(Decoder::Dolby, k51, 32000, "96k"),
                                           burstRow(Decoder::Dolby, k51, 32000, "640k"),
                                           burstRow(Decoder::Dolby, k51, 44100, "192k"),
                                           burstRow(Decoder::Dolby, k51, 44100, "448k"),
                                           burstRow(Decoder::Dolby, k51, 48000, "384k"),
                                           burstRow(Decoder::Dolby, k51, 48000, "640k"),
                                           burstRow(Decoder::DDPlus, "FL+FR", 44100, "192k"),
                                           burstRow(Decoder::DDPlus, k51, 48000, "640k"),
                                           // Half-rate AC-3 goes out unchanged, as AC-3.
                                           Row{.name = "ddplus half rate ac3-sample",
                                               .decoder = Decoder::DDPlus,
                                               .tones = ToneSignal{},
                                               .vector = "mp4parser/ac3-sample.ac3"},
                                           burstRow(Decoder::Dts, "FL+FR", 44100, "768k"),
                                           burstRow(Decoder::Dts, "FL+FR+FC+LFE+SL+SR", 48000),
                                           burstRow(Decoder::Dts, "FC", 48000, "1152k")),
                         rowName);

// Frames of 1024 and 2048 samples are DTS type II and III (Pc 12 and 13), as
// ffmpeg marks them; with compatQuirks=1 every burst says type I (Pc 11).
TEST(DtsBursts, LongFramesCarryTheirDataType)
{
    REQUIRE_FFMPEG();
    std::string path = madeStream({"FL+FR", 48000, 0.5, 0.5}, "-c:a dca -strict -2", "dts");
    std::vector<uint8_t> stream = readBytes(path);
    for (bool quirks : {false, true})
        for (int blocks : {32, 64}) {
            // The same frames relabelled as longer ones: pass-through never decodes them.
            std::vector<uint8_t> relabelled = stream;
            for (size_t at = 0; at + 16 < relabelled.size(); ++at)
                if (isDtsCoreSync(&relabelled[at])) {
                    relabelled[at + 4] = uint8_t((relabelled[at + 4] & 0xFE) | (blocks - 1) >> 6);
                    relabelled[at + 5] =
                        uint8_t((relabelled[at + 5] & 0x03) | ((blocks - 1) & 0x3F) << 2);
                }
            std::vector<uint8_t> reference =
                ffmpegBursts(cachedBytes(path + std::to_string(blocks), "dts", relabelled));
            DecoderRun run = [&] {
                ParameterLines parameters(quirks ? "compatQuirks=1\n" : "");
                return passThrough(Decoder::Dts, relabelled);
            }();
            ASSERT_EQ(run.output.size(), reference.size()) << blocks;
            for (size_t at = 0; quirks && at < run.output.size(); at += size_t(blocks) * 128)
                reference[at + 4] = 0x0B;
            EXPECT_TRUE(run.output == reference) << blocks << (quirks ? " with quirks" : "");
        }
}

// Hand-made frames: Pd is the frame's bits modulo 65536, the payload's words
// are swapped, an odd frame's last byte stands as it is, zeros follow.
TEST(DtsBursts, BurstWords)
{
    for (auto [blocks, bytes] : {std::pair{16, 1001}, std::pair{128, 8200}}) {
        std::vector<uint8_t> frame = dtsFrame(1, 31, blocks, bytes, 13);  // 48 kHz
        for (size_t i = 9; i < frame.size(); ++i)
            frame[i] = uint8_t(i * 7 + 1);
        DecoderRun run = passThrough(Decoder::Dts, frame);
        ASSERT_EQ(run.frames.size(), 1u) << bytes;
        const std::vector<uint8_t>& b = run.output;
        ASSERT_EQ(b.size(), size_t(blocks) * 32 * 4);
        EXPECT_EQ(std::vector<uint16_t>({word(b, 0), word(b, 2), word(b, 4), word(b, 6)}),
                  std::vector<uint16_t>({0xF872, 0x4E1F, 0x000B, uint16_t(bytes * 8)}));
        for (size_t i = 0; i + 1 < frame.size(); i += 2)
            ASSERT_EQ(word(b, 8 + i), frame[i] << 8 | frame[i + 1]) << i;
        if (bytes % 2) {
            EXPECT_EQ(b[8 + size_t(bytes) - 1], frame.back());
        }
        EXPECT_EQ(std::count(b.begin() + 8 + bytes, b.end(), 0), long(b.size()) - 8 - bytes);
    }
}

// E-AC-3 reaches S/PDIF as 640 kbit/s AC-3 bursts (Pc carries the frame's
// bsmod) whose frames decode close to ffmpeg's decode of the original, 256
// samples later.
struct Eac3Case {
    std::string what;
    std::string speakers;  // a made stream; "" for a vector
    std::string vector;
    double minSnr;
    int channels;  // of the converted frames
};

class Eac3Conversion : public ::testing::TestWithParam<Eac3Case> {};

TEST_P(Eac3Conversion, BurstsDecodeLikeTheOriginal)
{
    REQUIRE_FFMPEG();
    const Eac3Case& c = GetParam();
    std::string path;
    if (c.vector.empty()) {
        path = madeStream({c.speakers, 48000, 0.5, 0.5}, "-c:a eac3 -b:a 384k", "eac3");
    } else {
        REQUIRE_VECTOR(c.vector);
        path = vectorPath(c.vector);
    }
    std::vector<uint8_t> stream = readBytes(path);
    stream.resize(std::min<size_t>(stream.size(), 200000));
    DecoderRun run = passThrough(Decoder::DDPlus, stream, 0, 6144);
    ASSERT_FALSE(run.frames.empty());
    EXPECT_EQ(run.skipped, 0u);
    ASSERT_EQ(run.output.size(), run.frames.size() * 6144);
    std::vector<uint8_t> ac3;
    for (size_t b = 0; b < run.output.size(); b += 6144) {
        const auto& o = run.output;
        EXPECT_EQ(std::vector<uint16_t>(
                      {word(o, b), word(o, b + 2), word(o, b + 4), word(o, b + 6), word(o, b + 8)}),
                  std::vector<uint16_t>(
                      {0xF872, 0x4E1F, uint16_t(1 | (o[b + 12] & 7) << 8), 2560 * 8, 0x0B77}));
        for (size_t i = 0; i < 2560; i += 2)
            ac3.insert(ac3.end(), {o[b + 9 + i], o[b + 8 + i]});
    }
    std::string converted = cachedBytes(path + "converted", "ac3", ac3);
    std::vector<uint8_t> probe = commandOutput(
        "ffprobe -v error -show_entries stream=channels -of csv=p=0 '" + converted + "'");
    EXPECT_EQ(std::string(probe.begin(), probe.end()), std::to_string(c.channels) + "\n");
    if (c.minSnr == 0)
        return;
    std::vector<double> ours = samplesOf(referenceDecode(converted, "s16le"), SampleFormat::S16);
    std::vector<double> reference = samplesOf(referenceDecode(path, "s16le"), SampleFormat::S16);
    PcmMatch match = alignedSnr(reference, ours, c.channels, 600);
    std::cout << "[ snr ] " << c.what << " through AC-3: " << match.snr << " dB, shift "
              << match.shift << std::endl;
    EXPECT_GE(match.snr, c.minSnr);
    EXPECT_EQ(match.shift, 256);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Streams, Eac3Conversion, ::testing::Values(
    Eac3Case{"eac3 5.1", k51, "", 25, 6},
    Eac3Case{"eac3 stereo", "FL+FR", "", 25, 2},
    Eac3Case{"ts_sample.eac3", "", "androidx_media/ts_sample.eac3", 15, 6},
    Eac3Case{"ddp_3_stream_640", "", "dlbframe337/ddp_3_stream_640.ec3", 15, 6},
    Eac3Case{"ddp_evo_passthrough_32L", "", "dlbframe337/ddp_evo_passthrough_32L.ec3", 15, 6},
    // 7.1 becomes 5.1: compared by its layout only.
    Eac3Case{"7ch_ddp_channel_id", "", "dlbmp4base/7ch_ddp_25fps_channel_id.ec3", 0, 6}),
    caseName<Eac3Case>);
// clang-format on

// Without pass-through E-AC-3 gives nothing: the first call finds the frame
// and consumes nothing, every later one passes it over; the last frame, whose
// end is not yet seen, stays.
TEST(Eac3Conversion, WithoutPassThroughNothingComesOut)
{
    REQUIRE_FFMPEG();
    std::string path = madeStream({"FL+FR", 48000, 0.2, 0.5}, "-c:a eac3 -b:a 192k", "eac3");
    std::vector<uint8_t> stream = readBytes(path);
    std::ostringstream log;
    auto decoder = makeDecoder(Decoder::DDPlus, log);
    ASSERT_TRUE(decoder->init(audioType(MEDIASUBTYPE_DOLBY_AC3)));
    // The second input finds the frame left swapped by the first call.
    DecoderRun run = feedDecoder(*decoder, {stream, {0}});
    EXPECT_TRUE(run.output.empty());
    EXPECT_EQ(run.skipped, stream.size() + 1 - 768 - 1);
    EXPECT_EQ(run.contractBreaks, std::vector<std::string>{});
}

}  // namespace
