// Blu-ray LPCM through the whole filter: packets from an M2TS file pushed
// through the input pin come out as the reference decoder's PCM, and every
// packet's 4-byte header is counted as skipped by the receive loop.
#include <gtest/gtest.h>

#include <sstream>

#include "support/av_packets.h"
#include "support/filter_harness.h"
#include "support/reference_tools.h"

namespace {

CMediaType bdType(WORD channels)
{
    CMediaType type(&MEDIATYPE_MPEG2_PES);
    type.SetSubtype(&MEDIASUBTYPE_BDMV_LPCM_AUDIO);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEX wave{WAVE_FORMAT_PCM, channels, 48000, 0, 0, 16, 0};
    wave.nBlockAlign = WORD(channels * 2);
    wave.nAvgBytesPerSec = 48000 * wave.nBlockAlign;
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    return type;
}

size_t countLines(const std::string& text, const std::string& line)
{
    size_t count = 0;
    for (size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1))
        ++count;
    return count;
}

using LpcmBdFilter = FilterHarness;

struct Layout {
    const char* name;
    int channels;
};

class LpcmBdFilterStreams : public LpcmBdFilter, public ::testing::WithParamInterface<Layout> {};

TEST_P(LpcmBdFilterStreams, PacketsDecodeLikeTheReferenceDecoder)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const Layout& layout = GetParam();
    TempFolder folder;
    std::string m2ts = folder.file("in.m2ts");
    std::string exprs;
    for (int c = 0; c < layout.channels; ++c)
        exprs +=
            (c ? "|" : "") + std::string("0.7*sin(") + std::to_string(300 + 125 * c) + "*2*PI*t)";
    std::string make =
        "ffmpeg -v error -f lavfi -i \"aevalsrc=exprs=" + exprs + ":c=" + layout.name +
        ":s=48000:d=0.5\" -c:a pcm_bluray -sample_fmt s16 -f mpegts -mpegts_m2ts_mode 1 -y " + m2ts;
    ASSERT_EQ(std::system(make.c_str()), 0) << make;
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + m2ts + " -f s16le -", &ok);
    ASSERT_TRUE(ok);
    std::vector<DemuxedPacket> packets;
    std::string error;
    ASSERT_TRUE(readAudioPackets(m2ts, packets, error)) << error;

    build(bdType(WORD(layout.channels)));
    for (const DemuxedPacket& packet : packets)
        ASSERT_EQ(push(packet.data, packet.hasTime ? &packet.time : nullptr), S_OK);
    ASSERT_EQ(source->DeliverEndOfStream(), S_OK);
    EXPECT_EQ(output(), reference);
    EXPECT_EQ(sink->SampleCount(), packets.size());
    std::string log = filterLogText();
    EXPECT_EQ(countLines(log, "skipped bytes: 4\n"), packets.size()) << log.substr(0, 2000);
    EXPECT_EQ(countLines(log, "skipped bytes: "), packets.size());
    auto samples = sink->Samples();
    for (size_t i = 0; i < samples.size(); ++i) {
        ASSERT_TRUE(samples[i].hasStart) << i;
        if (packets[i].hasTime) {
            EXPECT_EQ(samples[i].start, packets[i].time) << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts,
                         LpcmBdFilterStreams,
                         ::testing::Values(Layout{"stereo", 2}, Layout{"5.1(side)", 6}),
                         [](const ::testing::TestParamInfo<Layout>& info) {
                             return std::to_string(info.param.channels) + "ch";
                         });

TEST_F(LpcmBdFilter, BadPacketsAreDroppedWithoutOutput)
{
    build(bdType(2));
    const std::vector<uint8_t> stereo = {0, 8, 0x31, 0x40, 1, 2, 3, 4, 5, 6, 7, 8};
    std::vector<uint8_t> twoPackets = stereo;
    twoPackets.insert(twoPackets.end(), stereo.begin(), stereo.end());
    const std::vector<uint8_t>& two = twoPackets;
    const std::vector<uint8_t> cdRate = {0, 8, 0x32, 0x40, 1, 2, 3, 4, 5, 6, 7, 8};
    const std::vector<uint8_t> empty = {0, 0, 0x31, 0x40};
    const std::vector<uint8_t> garbage = {0xFF, 0xFF, 0x13, 0x37, 0x00};
    for (const std::vector<uint8_t>* packet : {&two, &cdRate, &empty})
        EXPECT_EQ(push(*packet), S_OK);
    EXPECT_EQ(sink->SampleCount(), 0u);
    std::string log = filterLogText();
    EXPECT_NE(log.find("error: BD payload size wrong"), std::string::npos) << log;
    // A header announcing more than arrives holds back everything behind it
    // until a flush.
    EXPECT_EQ(push(garbage), S_OK);
    EXPECT_EQ(push(stereo), S_OK);
    EXPECT_EQ(sink->SampleCount(), 0u);
    // Afterwards a good packet decodes again.
    ASSERT_EQ(source->DeliverBeginFlush(), S_OK);
    ASSERT_EQ(source->DeliverEndFlush(), S_OK);
    EXPECT_EQ(push(stereo), S_OK);
    EXPECT_EQ(output(), (std::vector<uint8_t>{2, 1, 4, 3, 6, 5, 8, 7}));
}

}  // namespace
