// MPEG audio through tavio from every container a user hands it, against
// ffmpeg's decode: same length (encoder delay and padding trimmed alike) and
// a stated SNR, one tone per channel.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "support/reference_tools.h"

namespace {

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";

std::vector<int16_t> samples(const std::vector<uint8_t>& bytes)
{
    std::vector<int16_t> out(bytes.size() / 2);
    if (!out.empty())
        std::memcpy(out.data(), bytes.data(), out.size() * 2);
    return out;
}

double snrDb(const std::vector<int16_t>& reference, const std::vector<int16_t>& test)
{
    double signal = 0, noise = 0;
    for (size_t i = 0; i < std::min(reference.size(), test.size()); ++i) {
        signal += double(reference[i]) * reference[i];
        noise += (double(reference[i]) - test[i]) * (double(reference[i]) - test[i]);
    }
    return noise == 0 ? INFINITY : 10 * std::log10(signal / noise);
}

struct Decoded {
    std::vector<int16_t> ours, reference;
};

Decoded decodeBoth(const std::string& input, const TempFolder& folder)
{
    Decoded d;
    std::string out = folder.file("out.raw");
    int status = std::system((std::string(TAVIO_EXECUTABLE) + " -q " + input + " -o " + out).c_str());
    EXPECT_EQ(WEXITSTATUS(status), 0) << input;
    d.ours = samples(commandOutput("cat " + out));
    d.reference = samples(commandOutput("ffmpeg -v error -i " + input + " -f s16le -"));
    return d;
}

struct ContainerCase {
    const char* codec;      // ffmpeg encoder
    const char* container;  // file extension
    int rate;
    // Samples per channel tavio may differ by: Matroska stamps in
    // milliseconds, so its end padding is cut to the nearest millisecond.
    size_t lengthTolerance;
};

class TavioMpeg : public ::testing::TestWithParam<ContainerCase> {};

TEST_P(TavioMpeg, DecodesLikeTheReferenceDecoder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const ContainerCase& c = GetParam();
    TempFolder folder;
    std::string input = folder.file(std::string("in.") + c.container);
    std::string command = "ffmpeg -v error -f lavfi -i \"aevalsrc=exprs=0.5*sin(300*2*PI*t)|0.5*sin(550*2*PI*t):s=" +
                          std::to_string(c.rate) + ":d=1\" -c:a " + c.codec + " -b:a 192k -y " + input;
    ASSERT_EQ(std::system(command.c_str()), 0);
    Decoded d = decodeBoth(input, folder);
    double snr = snrDb(d.reference, d.ours);
    std::cout << "[ snr ] " << c.codec << " in " << c.container << ": " << snr << " dB, " << d.ours.size() / 2
              << " samples per channel, reference " << d.reference.size() / 2 << std::endl;
    EXPECT_GE(snr, 70);
    EXPECT_LE(std::max(d.ours.size(), d.reference.size()) - std::min(d.ours.size(), d.reference.size()),
              2 * c.lengthTolerance);
}

INSTANTIATE_TEST_SUITE_P(Containers, TavioMpeg,
                         ::testing::Values(ContainerCase{"libmp3lame", "mp3", 44100, 0},
                                           ContainerCase{"libmp3lame", "mp4", 44100, 0},
                                           ContainerCase{"libmp3lame", "mkv", 44100, 44},
                                           ContainerCase{"libmp3lame", "avi", 44100, 0},
                                           ContainerCase{"libmp3lame", "wav", 48000, 0},
                                           ContainerCase{"libmp3lame", "ts", 48000, 0},
                                           ContainerCase{"mp2", "mp2", 48000, 0},
                                           ContainerCase{"mp2", "vob", 48000, 0},
                                           ContainerCase{"mp2", "ts", 48000, 0},
                                           ContainerCase{"mp2", "mkv", 48000, 48}));

class TavioMpegVector : public ::testing::TestWithParam<const char*> {};

TEST_P(TavioMpegVector, DecodesLikeTheReferenceDecoder)
{
    std::string input = kVectors + GetParam();
    if (!std::filesystem::exists(input))
        GTEST_SKIP() << input << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    Decoded d = decodeBoth(input, folder);
    double snr = snrDb(d.reference, d.ours);
    std::cout << "[ snr ] " << GetParam() << ": " << snr << " dB, " << d.ours.size() << " samples, reference "
              << d.reference.size() << std::endl;
    EXPECT_GE(snr, 80);
    EXPECT_EQ(d.ours.size(), d.reference.size());
}

INSTANTIATE_TEST_SUITE_P(SharedVectors, TavioMpegVector,
                         ::testing::Values("androidx_media/mp3_bear-vbr-xing-header.mp3",
                                           "androidx_media/mp3_test-cbr-info-header.mp3",
                                           "androidx_media/ts_sample_h262_mpeg_audio.ps",
                                           "androidx_media/ts_sample_h262_mpeg_audio.ts",
                                           "minimp3/l3-nonstandard-sin1k0db_lame_vbrtag.bit"));

}  // namespace
