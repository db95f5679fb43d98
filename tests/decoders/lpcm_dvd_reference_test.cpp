// DVD-Video LPCM decoded through the program-stream reader and the decoder
// must equal the reference decoder's output bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "decoders/AdecLpcmDvd.h"
#include "host/parsers/program_stream.h"
#include "support/memory_sample.h"
#include "support/reference_tools.h"
#include "support/wave_type.h"

namespace {

struct StreamCase {
    int bits;
    int rate;
    int channels;
};

std::string name(const ::testing::TestParamInfo<StreamCase>& info)
{
    return std::to_string(info.param.bits) + "bit_" + std::to_string(info.param.rate) + "Hz_" +
           std::to_string(info.param.channels) + "ch";
}

class LpcmDvdReference : public ::testing::TestWithParam<StreamCase> {};

TEST_P(LpcmDvdReference, MatchesTheReferenceDecoderBitForBit)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const StreamCase& c = GetParam();
    TempFolder folder;
    std::string vob = folder.file("lpcm.vob");
    std::string make = "ffmpeg -v error " + sineSource(c.channels, c.rate, 0.7) + " -c:a pcm_dvd -sample_fmt " +
                       (c.bits == 16 ? "s16" : "s32") + " -f vob -y " + vob;
    ASSERT_EQ(std::system(make.c_str()), 0) << make;
    bool ok = false;
    std::vector<uint8_t> reference = commandOutput(
        "ffmpeg -v error -i " + vob + " -f " + (c.bits == 16 ? "s16le" : "s24le") + " -", &ok);
    ASSERT_TRUE(ok);
    ASSERT_FALSE(reference.empty());

    std::vector<PesPacket> packets;
    ASSERT_TRUE(readProgramStreamFile(vob, packets));
    std::ostringstream log;
    AdecLpcmDvd decoder(log);
    CMediaType type = waveFormatType(
        &MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_DVD_LPCM_AUDIO,
        WAVEFORMATEX{WAVE_FORMAT_PCM, WORD(c.channels), DWORD(c.rate), 0, 0, WORD(c.bits), 0});
    ASSERT_NE(decoder.init(type), nullptr);

    // Each packet's header is read as the filter reads it. 16-bit payloads
    // are converted packet by packet. The reference muxer cuts 24-bit
    // payloads anywhere, while the decoder converts whole pairs of sample
    // frames per call, so those payloads are joined and fed in pair-aligned
    // pieces, as a disc that keeps pairs within packets delivers them.
    std::vector<uint8_t> decoded;
    std::vector<uint8_t> joined;
    int lpcmPackets = 0;
    auto convert = [&](const uint8_t* p, const uint8_t* end) {
        MemorySample out(65536);
        TvStatus* status = decoder.process(&p, end, &out);
        ASSERT_NE(status, nullptr);
        EXPECT_EQ(status->freq, c.rate);
        EXPECT_EQ(status->chan, c.channels);
        EXPECT_EQ(p, end);
        auto data = out.data();
        decoded.insert(decoded.end(), data.begin(), data.end());
    };
    for (const PesPacket& packet : packets) {
        if (packet.substreamId != 0xA0)
            continue;
        ++lpcmPackets;
        const uint8_t* p = packet.payload.data();
        const uint8_t* end = p + packet.payload.size();
        ASSERT_TRUE(decoder.parsePacketHeader(&p, end));
        if (c.bits == 16)
            convert(p, end);
        else
            joined.insert(joined.end(), p, end);
    }
    size_t pairBytes = 6u * static_cast<size_t>(c.channels);
    size_t piece = pairBytes * 100;
    for (size_t offset = 0; offset + pairBytes <= joined.size(); offset += piece) {
        size_t length = std::min(piece, (joined.size() - offset) / pairBytes * pairBytes);
        convert(joined.data() + offset, joined.data() + offset + length);
    }
    EXPECT_GT(lpcmPackets, 1);
    ASSERT_EQ(decoded.size(), reference.size());
    EXPECT_TRUE(decoded == reference);
}

INSTANTIATE_TEST_SUITE_P(Streams, LpcmDvdReference,
                         ::testing::Values(StreamCase{16, 48000, 2}, StreamCase{16, 48000, 1},
                                           StreamCase{16, 96000, 6}, StreamCase{16, 48000, 8},
                                           StreamCase{24, 48000, 2}, StreamCase{24, 96000, 2},
                                           StreamCase{24, 48000, 1}),
                         name);

}  // namespace
