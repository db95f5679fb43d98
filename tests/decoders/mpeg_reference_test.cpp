// AdecMPEG against ffmpeg's decode: streams made here (one tone per channel,
// so a swap shows), the same streams cut anywhere, and the conformance
// streams of layers I, II and III including the damaged ones.
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <random>

#include "decoders/mpeg_decoder_support.h"
#include "support/ac3_tools.h"
#include "support/reference_tools.h"

namespace {

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";

std::vector<int16_t> ffmpegPcm(const std::string& path)
{
    return asSamples(commandOutput("ffmpeg -v error -i " + path + " -f s16le -"));
}

// SNR of one channel of interleaved samples.
double channelSnr(const std::vector<int16_t>& reference, const std::vector<int16_t>& test, int channels,
                  int channel)
{
    std::vector<int16_t> a, b;
    for (size_t i = size_t(channel); i < reference.size() && i < test.size(); i += size_t(channels)) {
        a.push_back(reference[i]);
        b.push_back(test[i]);
    }
    return snrDb(a, b);
}

struct Synthetic {
    const char* codec;
    int rate, channels, kbps;
};

class AdecMPEGSynthetic : public ::testing::TestWithParam<Synthetic> {};

// libmpg123 and ffmpeg both decode in floating point and round to 16 bits;
// they differ by at most a few LSB.
constexpr double kMinSnrDb = 70;

TEST_P(AdecMPEGSynthetic, MatchesFfmpegPerChannel)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const Synthetic& s = GetParam();
    TempFolder folder;
    std::string path = folder.file("stream");
    ASSERT_TRUE(makeMpegStream(path, s.codec, s.rate, s.channels, s.kbps));
    std::ostringstream log;
    AdecMPEG decoder(log);
    ASSERT_NE(decoder.init(mpegType()), nullptr);
    MpegRun run = runMpeg(decoder, readBytes(path));
    ASSERT_FALSE(run.frames.empty());
    EXPECT_EQ(run.frames.back().chan, s.channels);
    EXPECT_EQ(run.frames.back().freq, s.rate);
    std::vector<int16_t> reference = ffmpegPcm(path);
    std::vector<int16_t> ours = asSamples(run.output);
    EXPECT_EQ(ours.size(), reference.size());
    for (int c = 0; c < s.channels; ++c) {
        double snr = channelSnr(reference, ours, s.channels, c);
        std::cout << "[ snr ] " << s.codec << " " << s.rate << " Hz " << s.kbps << " kbit/s channel " << c
                  << ": " << snr << " dB" << std::endl;
        EXPECT_GE(snr, kMinSnrDb) << "channel " << c;
    }
    EXPECT_EQ(run.skipped, 0u);
}

INSTANTIATE_TEST_SUITE_P(Streams, AdecMPEGSynthetic,
                         ::testing::Values(Synthetic{"libmp3lame", 44100, 2, 320},   // MPEG-1 layer III
                                           Synthetic{"libmp3lame", 48000, 1, 64},    // single channel
                                           Synthetic{"libmp3lame", 32000, 2, 96},
                                           Synthetic{"libmp3lame", 24000, 2, 64},    // MPEG-2
                                           Synthetic{"libmp3lame", 16000, 1, 32},
                                           Synthetic{"libmp3lame", 11025, 1, 32},    // MPEG-2.5
                                           Synthetic{"libmp3lame", 8000, 2, 32},
                                           Synthetic{"mp2", 48000, 2, 384},          // layer II
                                           Synthetic{"mp2", 32000, 1, 64},
                                           Synthetic{"mp2", 44100, 2, 192}));

// The output does not depend on where the input was cut.
TEST(AdecMPEG, SplitInputGivesTheSameOutput)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    for (const char* codec : {"libmp3lame", "mp2"}) {
        std::string path = folder.file(codec);
        ASSERT_TRUE(makeMpegStream(path, codec, 44100, 2, 192, 0.5));
        std::vector<uint8_t> stream = readBytes(path);
        std::mt19937 random(17);
        std::vector<size_t> cuts;
        for (size_t total = 0; total < stream.size(); total += cuts.back())
            cuts.push_back(1 + random() % 900);
        std::vector<uint8_t> whole;
        struct Piece {
            size_t size;
            const std::vector<size_t>* cuts;
        } pieces[] = {{0, nullptr}, {1, nullptr}, {17, nullptr}, {0, &cuts}};
        for (const Piece& piece : pieces) {
            std::ostringstream log;
            AdecMPEG decoder(log);
            ASSERT_NE(decoder.init(mpegType()), nullptr);
            MpegRun run = runMpeg(decoder, stream, piece.size, 16384, piece.cuts ? *piece.cuts : std::vector<size_t>{});
            if (!piece.size && !piece.cuts)
                whole = run.output;
            EXPECT_FALSE(run.output.empty());
            EXPECT_TRUE(run.output == whole) << codec << " in pieces of " << piece.size;
        }
    }
}

struct Vector {
    const char* name;
    // Minimum SNR against ffmpeg; 0 for streams only required to decode
    // without fault (damaged streams, streams the framing reads otherwise).
    double minSnrDb;
    const char* note;
};

class AdecMPEGVector : public ::testing::TestWithParam<Vector> {};

TEST_P(AdecMPEGVector, MatchesFfmpeg)
{
    const Vector& v = GetParam();
    std::string path = kVectors + "minimp3/" + v.name;
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    std::ostringstream log;
    AdecMPEG decoder(log);
    ASSERT_NE(decoder.init(mpegType()), nullptr);
    MpegRun run = runMpeg(decoder, readBytes(path), 4096);
    std::vector<int16_t> ours = asSamples(run.output);
    std::vector<int16_t> reference = ffmpegPcm(path);
    double snr = snrDb(reference, ours);
    std::cout << "[ snr ] " << v.name << ": " << snr << " dB against ffmpeg, " << run.frames.size() << " frames, "
              << run.skipped << " bytes skipped" << (*v.note ? " (" : "") << v.note << (*v.note ? ")" : "");
    std::string pcmPath = path.substr(0, path.size() - 4) + ".pcm";
    if (std::filesystem::exists(pcmPath))
        std::cout << ", " << snrDb(asSamples(readBytes(pcmPath)), ours) << " dB against its .pcm";
    std::cout << std::endl;
    if (v.minSnrDb > 0) {
        EXPECT_GE(snr, v.minSnrDb);
        // ffmpeg also decodes a truncated last frame, which the filter waits on.
        size_t frameSamples = run.frames.empty() ? 0 : 1152u * size_t(run.frames[0].chan);
        EXPECT_TRUE(ours.size() == reference.size() || ours.size() + frameSamples == reference.size())
            << ours.size() << " vs " << reference.size();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Conformance, AdecMPEGVector,
    ::testing::Values(
        Vector{"l3-compl.bit", 90, ""}, Vector{"l3-he_44khz.bit", 90, ""}, Vector{"l3-hecommon.bit", 90, ""},
        Vector{"l3-si_block.bit", 90, ""}, Vector{"M2L3_noise.bit", 90, "MPEG-2"},
        Vector{"M2L3_bitrate_16_all.bit", 90, "MPEG-2, every bit rate"},
        Vector{"M2L3_bitrate_24_all.bit", 90, "MPEG-2, every bit rate"}, Vector{"l2-fl13.bit", 70, ""},
        Vector{"l2-fl15.bit", 70, ""}, Vector{"l1-fl4.bit", 70, ""},
        // The decoders differ in the first frames, whose bit reservoir
        // reaches before the stream's start.
        Vector{"l3-sin1k0db.bit", 20, "reservoir before the start"},
        // ffmpeg drops the first frame; against its .pcm reference the output agrees.
        Vector{"l2-fl11.bit", 0, "ffmpeg drops the first frame"},
        // Layer I at 44.1 kHz: measured as 48 x bit rate / rate bytes, a
        // frame is one byte longer than coded and the next is lost.
        Vector{"l1-fl2.bit", 0, "layer I 44.1 kHz frame sizes"}, Vector{"l1-fl6.bit", 0, "layer I 44.1 kHz frame sizes"},
        Vector{"l1-fl8.bit", 0, "layer I 44.1 kHz frame sizes"},
        // MPEG-2 layer II is measured with the layer I bit-rate row.
        Vector{"l2-nonstandard-test32-size.bit", 0, "MPEG-2 layer II measured with the layer I row"},
        Vector{"l3-test46.bit", 0, "the decoders disagree on MPEG-2 intensity stereo"},
        Vector{"l3-he_free.bit", 0, "free format is refused"},
        Vector{"l3-nonstandard-he_44_48khz.bit", 0, "rate changes mid-stream"},
        Vector{"l3-nonstandard-compl-sideinfo-blocktype.bit", 0, ""}, Vector{"l3-nonstandard-big-iscf.bit", 0, ""},
        Vector{"l3-nonstandard-id3v1.bit", 0, ""}, Vector{"l3-nonstandard-id3v2.bit", 0, ""},
        Vector{"l3-nonstandard-sin1k0db_lame_vbrtag.bit", 0, "ffmpeg trims encoder delay"},
        Vector{"l3-nonstandard-vbrtag-corrupted.bit", 0, ""}, Vector{"l3-nonstandard-vbrtag-noframes.bit", 0, ""},
        Vector{"l3-nonstandard-vbrtag-oob-read.bit", 0, ""}, Vector{"l2-nonstandard-fl1_fl2_ff.bit", 0, ""},
        Vector{"ILL2_center2.bit", 0, "damaged"}, Vector{"ILL2_dynx22.bit", 0, "damaged"},
        Vector{"ILL2_dynx32.bit", 0, "damaged"}, Vector{"ILL2_layer1.bit", 0, "damaged"},
        Vector{"ILL2_mono.bit", 0, "damaged"}, Vector{"ILL2_overalloc1.bit", 0, "damaged"},
        Vector{"ILL2_prediction.bit", 0, "damaged"}, Vector{"ILL2_scf63.bit", 0, "damaged"},
        Vector{"ILL2_tca30.bit", 0, "damaged"}, Vector{"ILL2_tca31_PC.bit", 0, "damaged"},
        Vector{"ILL2_tca31_mtx2.bit", 0, "damaged"}, Vector{"ILL2_wrongcrc.bit", 0, "damaged"},
        Vector{"ILL4_sync.bit", 0, "damaged"}, Vector{"ILL4_wrong_length2.bit", 0, "damaged"}),
    [](const ::testing::TestParamInfo<Vector>& info) {
        std::string name = info.param.name;
        name = name.substr(0, name.size() - 4);
        for (char& c : name)
            if (!std::isalnum(static_cast<unsigned char>(c)))
                c = '_';
        return name;
    });

}  // namespace
