// The WAVE writer: exact sizes, RIFF below the limit and RF64 with its ds64
// chunk above it, the same samples either way. Odd-sized data (24-bit mono,
// an odd count of samples) is followed by the pad byte the RIFF size counts.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <thread>

#include "host/wav_writer.h"
#include "support/files.h"
#include "support/wav_file.h"

namespace {

TEST(WavWriter, SmallFilesAreRiffAndLargeOnesRf64WithTheSameData)
{
    TempFolder folder;
    std::vector<uint8_t> pcm(9999);
    for (size_t i = 0; i < pcm.size(); ++i)
        pcm[i] = uint8_t(i * 7);
    WAVEFORMATEX wave{WAVE_FORMAT_PCM, 1, 48000, 144000, 3, 24, 0};
    std::vector<uint8_t> format(reinterpret_cast<uint8_t*>(&wave),
                                reinterpret_cast<uint8_t*>(&wave) + 18);
    for (bool large : {false, true}) {
        std::string path = folder.file(large ? "large.wav" : "small.wav");
        WavWriter writer;
        if (large)
            writer.setRiffLimitForTesting(5000);
        ASSERT_TRUE(writer.open(path, fileWaveFormat(format)));
        writer.write(pcm.data(), 3000);
        writer.write(pcm.data() + 3000, pcm.size() - 3000);
        ASSERT_TRUE(writer.close());
        auto bytes = readBytes(path);
        WavFile wav;
        ASSERT_TRUE(parseWav(bytes, wav));
        EXPECT_EQ(wav.data, pcm);
        EXPECT_EQ(wav.formatTag(), WAVE_FORMAT_EXTENSIBLE);
        EXPECT_EQ(wav.channelMask(), 0x4u);
        EXPECT_EQ(wav.bitsPerSample(), 24);
        EXPECT_EQ(bytes.size() % 2, 0u);
        EXPECT_EQ(wav.form, large ? "RF64" : "RIFF");
        EXPECT_EQ(wav.hasDs64, large);
        if (large) {
            EXPECT_EQ(wav.riffSize, 0xFFFFFFFFu);
            EXPECT_EQ(wav.dataSizeField, 0xFFFFFFFFu);
            EXPECT_EQ(wav.ds64RiffSize, bytes.size() - 8);
            EXPECT_EQ(wav.ds64DataSize, pcm.size());
        } else {
            EXPECT_EQ(wav.riffSize, bytes.size() - 8);
        }
    }
}

// To a pipe the header cannot be rewritten: its sizes say "unknown", the
// data follows it whole, and closing succeeds.
TEST(WavWriter, APipeGetsUnknownSizes)
{
    TempFolder folder;
    std::string fifo = folder.file("pipe.wav");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::vector<uint8_t> received;
    std::thread reader([&] { received = readBytes(fifo); });
    std::vector<uint8_t> pcm(4000, 0x5A);
    WAVEFORMATEX wave{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
    std::vector<uint8_t> format(reinterpret_cast<uint8_t*>(&wave),
                                reinterpret_cast<uint8_t*>(&wave) + 18);
    WavWriter writer;
    bool opened = writer.open(fifo, fileWaveFormat(format));
    writer.write(pcm.data(), pcm.size());
    EXPECT_TRUE(writer.close());
    reader.join();
    ASSERT_TRUE(opened);
    ASSERT_GT(received.size(), pcm.size());
    size_t header = received.size() - pcm.size();
    EXPECT_EQ(std::vector<uint8_t>(received.begin() + long(header), received.end()), pcm);
    for (size_t at : {size_t(4), header - 4})
        EXPECT_EQ(
            std::vector<uint8_t>(received.begin() + long(at), received.begin() + long(at) + 4),
            std::vector<uint8_t>(4, 0xFF))
            << at;
}

}  // namespace
