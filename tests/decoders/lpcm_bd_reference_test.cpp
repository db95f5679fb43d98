// Blu-ray LPCM in M2TS files written by the reference tool must decode to
// exactly the reference decoder's output, channel for channel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <sstream>

#include "decoders/AdecLpcmBd.h"
#include "support/av_packets.h"
#include "support/memory_sample.h"
#include "support/reference_tools.h"

namespace {

struct StreamCase {
    int bits;
    int rate;
    const char* layout;  // the reference tool's name for it
    int channels;
    // Our output channel k carries the reference's channel referenceChannel[k];
    // empty when the two orders agree.
    std::vector<int> referenceChannel = {};
};

// The reference decoder reads the coded surround pair (coded channels 3 and
// 6) of the 3/4 layouts as side speakers and the rear pair (4 and 5) as back
// speakers. Our channel table assigns them the other way round: the same
// samples, with the two pairs exchanged in the output.
const std::vector<int> sevenZeroOrder = {0, 1, 2, 5, 6, 3, 4};
const std::vector<int> sevenOneOrder = {0, 1, 2, 3, 6, 7, 4, 5};

// The reference output in our channel order.
std::vector<uint8_t> reordered(const std::vector<uint8_t>& reference, const StreamCase& c)
{
    if (c.referenceChannel.empty())
        return reference;
    size_t sampleBytes = size_t(c.bits / 8);
    size_t frameBytes = sampleBytes * size_t(c.channels);
    std::vector<uint8_t> out(reference.size());
    for (size_t frame = 0; frame + frameBytes <= reference.size(); frame += frameBytes)
        for (size_t k = 0; k < size_t(c.channels); ++k)
            std::copy_n(reference.begin() +
                            std::ptrdiff_t(frame + size_t(c.referenceChannel[k]) * sampleBytes),
                        sampleBytes, out.begin() + std::ptrdiff_t(frame + k * sampleBytes));
    return out;
}

std::string name(const ::testing::TestParamInfo<StreamCase>& info)
{
    std::string layout;
    for (const char* c = info.param.layout; *c; ++c)
        layout += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
    return std::to_string(info.param.bits) + "bit_" + std::to_string(info.param.rate) + "Hz_" +
           layout;
}

// One tone per channel, labelled with the layout so that nothing is remixed.
std::string toneSource(const StreamCase& c, double seconds)
{
    std::string exprs;
    for (int ch = 0; ch < c.channels; ++ch)
        exprs +=
            (ch ? "|" : "") + std::string("0.8*sin(") + std::to_string(330 + 110 * ch) + "*2*PI*t)";
    return "-f lavfi -i \"aevalsrc=exprs=" + exprs + ":c=" + c.layout +
           ":s=" + std::to_string(c.rate) + ":d=" + std::to_string(seconds) + "\"";
}

class LpcmBdReference : public ::testing::TestWithParam<StreamCase> {};

TEST_P(LpcmBdReference, MatchesTheReferenceDecoderBitForBit)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const StreamCase& c = GetParam();
    TempFolder folder;
    std::string m2ts = folder.file("lpcm.m2ts");
    std::string make = "ffmpeg -v error " + toneSource(c, 0.3) + " -c:a pcm_bluray -sample_fmt " +
                       (c.bits == 16 ? "s16" : "s32") + " -f mpegts -mpegts_m2ts_mode 1 -y " + m2ts;
    ASSERT_EQ(std::system(make.c_str()), 0) << make;
    bool ok = false;
    std::vector<uint8_t> reference = reordered(
        commandOutput(
            "ffmpeg -v error -i " + m2ts + " -f " + (c.bits == 16 ? "s16le" : "s24le") + " -", &ok),
        c);
    ASSERT_TRUE(ok);
    ASSERT_FALSE(reference.empty());

    std::vector<DemuxedPacket> packets;
    std::string error;
    ASSERT_TRUE(readAudioPackets(m2ts, packets, error)) << error;
    ASSERT_GT(packets.size(), 1u);

    std::ostringstream log;
    AdecLpcmBd decoder(log);
    CMediaType type(&MEDIATYPE_MPEG2_PES);
    type.SetSubtype(&MEDIASUBTYPE_BDMV_LPCM_AUDIO);
    ASSERT_NE(decoder.init(type), nullptr);
    std::vector<uint8_t> decoded;
    for (const DemuxedPacket& packet : packets) {
        const uint8_t* begin = packet.data.data();
        const uint8_t* end = begin + packet.data.size();
        MemorySample out(65536);
        // A packet that has not fully arrived is left for later.
        const uint8_t* p = begin;
        ASSERT_EQ(decoder.process(&p, end - 1, &out), nullptr);
        ASSERT_EQ(p, begin);
        TvStatus* status = decoder.process(&p, end, &out);
        ASSERT_NE(status, nullptr);
        EXPECT_EQ(p, end);
        EXPECT_EQ(size_t(status->iFrameSize), packet.data.size() - 4);
        EXPECT_EQ(status->freq, c.rate);
        EXPECT_EQ(status->chan, c.channels);
        EXPECT_EQ(status->stype, c.bits == 16 ? ST16Bit : ST24Bit);
        EXPECT_EQ(size_t(status->samples) * size_t(c.channels) * size_t(c.bits / 8),
                  size_t(out.GetActualDataLength()));
        auto data = out.data();
        decoded.insert(decoded.end(), data.begin(), data.end());
    }
    ASSERT_EQ(decoded.size(), reference.size());
    // Name the first differing sample's frame and channel.
    size_t sampleBytes = size_t(c.bits / 8);
    for (size_t i = 0; i < decoded.size(); ++i)
        ASSERT_EQ(decoded[i], reference[i]) << "frame " << i / sampleBytes / size_t(c.channels)
                                            << " channel " << i / sampleBytes % size_t(c.channels);
}

std::vector<StreamCase> streamCases()
{
    const StreamCase layouts[] = {{0, 0, "mono", 1},
                                  {0, 0, "stereo", 2},
                                  {0, 0, "3.0", 3},
                                  {0, 0, "3.0(back)", 3},
                                  {0, 0, "4.0", 4},
                                  {0, 0, "quad(side)", 4},
                                  {0, 0, "5.0(side)", 5},
                                  {0, 0, "5.1(side)", 6},
                                  {0, 0, "7.0", 7, sevenZeroOrder},
                                  {0, 0, "7.1", 8, sevenOneOrder}};
    std::vector<StreamCase> cases;
    auto add = [&](int bits, int rate, const StreamCase& layout) {
        StreamCase c = layout;
        c.bits = bits;
        c.rate = rate;
        cases.push_back(c);
    };
    for (const StreamCase& layout : layouts) {
        add(16, 48000, layout);
        add(24, 96000, layout);
    }
    add(24, 48000, layouts[1]);
    add(16, 96000, layouts[7]);
    add(16, 192000, layouts[1]);
    add(24, 192000, layouts[7]);
    add(24, 192000, layouts[9]);
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Streams, LpcmBdReference, ::testing::ValuesIn(streamCases()), name);

}  // namespace
