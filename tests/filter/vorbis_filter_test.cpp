// Vorbis through the whole filter: demuxed packets pushed with their times
// come out as ffmpeg's decode, stamped from the container's times; the
// silent first packet counts as skipped.
#include <gtest/gtest.h>

#include <cstring>

#include "decoders/vorbis_support.h"
#include "support/filter_harness.h"
#include "support/reference_tools.h"

namespace {

using VorbisFilter = FilterHarness;

std::vector<float> int32AsFloats(const std::vector<uint8_t>& bytes)
{
    std::vector<float> out(bytes.size() / 4);
    for (size_t i = 0; i < out.size(); ++i) {
        int32_t v;
        std::memcpy(&v, bytes.data() + 4 * i, 4);
        out[i] = float(v / 2147483648.0);
    }
    return out;
}

TEST_F(VorbisFilter, PacketsDecodeLikeFfmpegWithContainerTimes)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("in.ogg");
    std::string make =
        "ffmpeg -v error " + sineSource(2, 48000, 0.5) + " -c:a libvorbis -y " + path;
    ASSERT_EQ(std::system(make.c_str()), 0) << make;
    auto stream = readVorbisStream(path);
    ASSERT_TRUE(stream);
    build(stream->type);
    for (const HostPacket& packet : stream->packets)
        ASSERT_EQ(
            push(packet.data.data(), packet.data.size(), packet.hasTime ? &packet.start : nullptr),
            S_OK);

    // The sink takes the first type offered, 32-bit integer PCM.
    std::vector<float> ours = int32AsFloats(output());
    std::vector<float> reference =
        int32AsFloats(commandOutput("ffmpeg -v error -i " + path + " -f s32le -"));
    uint32_t padding = stream->packets.back().paddingFrames;
    size_t lastFrames = sink->Samples().back().data.size() / 8;
    size_t dropped = padding <= lastFrames ? size_t(padding) * 2 : 0;
    EXPECT_EQ(ours.size(), reference.size() + dropped);
    double snr = snrFloat(reference, ours);
    std::printf("Vorbis through the filter: SNR %.1f dB against ffmpeg\n", snr);
    EXPECT_GE(snr, 90);

    // Each delivered sample starts where the packet that made it starts.
    const auto& samples = sink->Samples();
    ASSERT_EQ(samples.size(), stream->packets.size() - 1);
    for (size_t i = 0; i < samples.size(); ++i) {
        ASSERT_TRUE(samples[i].hasStart);
        EXPECT_EQ(samples[i].start, stream->packets[i + 1].start) << "sample " << i;
    }
    std::string text = filterLogText();
    EXPECT_NE(text.find("skipped bytes: " + std::to_string(stream->packets[0].data.size())),
              std::string::npos);
    EXPECT_EQ(text.find("error"), std::string::npos) << text;
}

}  // namespace
