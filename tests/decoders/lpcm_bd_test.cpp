// Blu-ray LPCM packets built by hand: valid layouts, the ways a buffer is
// refused, and input that must not make the decoder read or write outside its
// buffers.
#include <gtest/gtest.h>

#include <sstream>

#include "config/config_test_support.h"
#include "decoders/AdecLpcmBd.h"
#include "support/memory_sample.h"
#include "support/wave_type.h"

namespace {

CMediaType bdType()
{
    return waveFormatType(&MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_BDMV_LPCM_AUDIO,
                          WAVEFORMATEX{WAVE_FORMAT_PCM, 2, 48000, 0, 0, 16, 0});
}

// Header codes: frequency 1 = 48 kHz, 4 = 96 kHz, 5 = 192 kHz; bits 1 = 16,
// 3 = 24.
std::vector<uint8_t> bdHeader(int payloadSize, int assignment, int frequency, int bits)
{
    return {uint8_t(payloadSize >> 8), uint8_t(payloadSize), uint8_t((assignment << 4) | frequency),
            uint8_t(bits << 6)};
}

// A packet whose every big-endian sample names its frame and coded channel,
// so the output shows where each one went.
std::vector<uint8_t> bdPacket(int assignment,
                              int frequency,
                              int bits,
                              int codedChannels,
                              int frames)
{
    int sampleBytes = bits == 1 ? 2 : 3;
    std::vector<uint8_t> packet =
        bdHeader(frames * codedChannels * sampleBytes, assignment, frequency, bits);
    for (int f = 0; f < frames; ++f)
        for (int c = 0; c < codedChannels; ++c) {
            if (sampleBytes == 3)
                packet.push_back(0xA0);
            packet.push_back(uint8_t(f));
            packet.push_back(uint8_t(c));
        }
    return packet;
}

// What the decoder should write for such a packet: each output channel takes
// the coded channel `order` names, little-endian.
std::vector<BYTE> expectedOutput(const std::vector<int>& order, int bits, int frames)
{
    std::vector<BYTE> out;
    for (int f = 0; f < frames; ++f)
        for (int c : order) {
            out.push_back(BYTE(c));
            out.push_back(BYTE(f));
            if (bits != 1)
                out.push_back(0xA0);
        }
    return out;
}

std::vector<uint8_t> joined(std::vector<uint8_t> a, const std::vector<uint8_t>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<uint8_t> firstBytes(std::vector<uint8_t> v, size_t n)
{
    v.resize(n);
    return v;
}

constexpr size_t all = ~size_t(0);

struct BdCase {
    const char* what;
    std::vector<uint8_t> input;
    bool decoded;
    size_t consumed;         // bytes the decoder advances; `all` for the whole input
    std::vector<int> order;  // coded channel of each output channel
    int bits;                // header code
    int frames;
    int freq;
    uint32_t mask;
    const char* logged;  // in the decoder's log or the assertion log
    LONG outputSize = 65536;
};

class LpcmBdPackets : public ::testing::TestWithParam<BdCase> {};

TEST_P(LpcmBdPackets, DecodeOrRefuse)
{
    const BdCase& c = GetParam();
    TempRoot root;
    CapturedLog assertions(root);
    std::ostringstream log;
    AdecLpcmBd decoder(log);
    ASSERT_NE(decoder.init(bdType()), nullptr);
    MemorySample out(size_t(c.outputSize));
    const uint8_t* p = c.input.data();
    const uint8_t* end = p + c.input.size();
    TvStatus* status = decoder.process(&p, end, &out);
    EXPECT_EQ(size_t(p - c.input.data()), c.consumed == all ? c.input.size() : c.consumed)
        << c.what;
    if (c.decoded) {
        ASSERT_NE(status, nullptr) << c.what;
        EXPECT_EQ(out.data(), expectedOutput(c.order, c.bits, c.frames)) << c.what;
        EXPECT_EQ(status->chan, int(c.order.size())) << c.what;
        EXPECT_EQ(status->channelMask, c.mask) << c.what;
        EXPECT_EQ(status->freq, c.freq) << c.what;
        EXPECT_EQ(status->samples, c.frames) << c.what;
        EXPECT_EQ(status->stype, c.bits == 1 ? ST16Bit : ST24Bit) << c.what;
        // The 4 header bytes are left for the caller to count as skipped.
        EXPECT_EQ(size_t(status->iFrameSize), c.input.size() - 4) << c.what;
        EXPECT_EQ(status->formatId(), 9) << c.what;
    } else {
        EXPECT_EQ(status, nullptr) << c.what;
        EXPECT_EQ(out.GetActualDataLength(), 0) << c.what;
    }
    std::string written = log.str();
    for (const auto& line : assertions.lines())
        written += line + "\n";
    if (*c.logged) {
        EXPECT_NE(written.find(c.logged), std::string::npos) << c.what << ": " << written;
    } else {
        EXPECT_EQ(written, "") << c.what;
    }
}

const std::vector<uint8_t> stereo = bdPacket(3, 1, 1, 2, 4);

INSTANTIATE_TEST_SUITE_P(
    Table,
    LpcmBdPackets,
    ::testing::Values(
        BdCase{"mono drops its padding channel: 960 bytes give 480",
               bdPacket(1, 1, 1, 2, 240),
               true,
               964,
               {0},
               1,
               240,
               48000,
               0x4,
               ""},
        BdCase{"stereo 96 kHz", bdPacket(3, 4, 1, 2, 10), true, 44, {0, 1}, 1, 10, 96000, 0x3, ""},
        BdCase{"3.0 192 kHz 24-bit",
               bdPacket(4, 5, 3, 4, 3),
               true,
               40,
               {0, 1, 2},
               3,
               3,
               192000,
               0x7,
               ""},
        BdCase{"2/1 keeps the coded order",
               bdPacket(5, 1, 1, 4, 2),
               true,
               20,
               {0, 1, 2},
               1,
               2,
               48000,
               0x103,
               ""},
        BdCase{"5.1 puts coded channel 5 in output position 3",
               bdPacket(9, 1, 1, 6, 3),
               true,
               40,
               {0, 1, 2, 5, 3, 4},
               1,
               3,
               48000,
               0x3F,
               ""},
        BdCase{"7.0 24-bit",
               bdPacket(10, 4, 3, 8, 2),
               true,
               52,
               {0, 1, 2, 3, 6, 4, 5},
               3,
               2,
               96000,
               0x637,
               ""},
        BdCase{"7.1 24-bit",
               bdPacket(11, 1, 3, 8, 2),
               true,
               52,
               {0, 1, 2, 7, 3, 6, 4, 5},
               3,
               2,
               48000,
               0x63F,
               ""},
        BdCase{"two packets in one buffer are both dropped",
               joined(stereo, stereo),
               false,
               all,
               {},
               1,
               0,
               0,
               0,
               "error: BD payload size wrong"},
        BdCase{"44.1 kHz (code 2) is dropped silently",
               bdPacket(3, 2, 1, 2, 4),
               false,
               all,
               {},
               1,
               0,
               0,
               0,
               ""},
        BdCase{"44.1 kHz family (code 3) is dropped silently",
               bdPacket(3, 3, 1, 2, 4),
               false,
               all,
               {},
               1,
               0,
               0,
               0,
               ""},
        BdCase{"assignment 0 is refused", bdPacket(0, 1, 1, 2, 4), false, all, {}, 1, 0, 0, 0, ""},
        BdCase{"assignment 2 is refused", bdPacket(2, 1, 1, 2, 4), false, all, {}, 1, 0, 0, 0, ""},
        BdCase{"assignment 12 is refused",
               bdPacket(12, 1, 1, 2, 4),
               false,
               all,
               {},
               1,
               0,
               0,
               0,
               ""},
        BdCase{"bits code 0 is refused", bdPacket(3, 1, 0, 2, 4), false, all, {}, 1, 0, 0, 0, ""},
        BdCase{"a packet not yet complete waits",
               firstBytes(stereo, stereo.size() - 1),
               false,
               0,
               {},
               1,
               0,
               0,
               0,
               ""},
        BdCase{"three bytes wait", firstBytes(stereo, 3), false, 0, {}, 1, 0, 0, 0, ""},
        BdCase{"nothing waits", {}, false, 0, {}, 1, 0, 0, 0, ""},
        BdCase{"a packet larger than the output buffer is dropped",
               bdPacket(3, 1, 1, 2, 16),
               false,
               all,
               {},
               1,
               0,
               0,
               0,
               "'payload_size < dest->GetSize()'",
               64}));

TEST(LpcmBd, APayloadOfPartialFramesIsAssertedAndPaddedWithSilence)
{
    TempRoot root;
    CapturedLog assertions(root);
    std::ostringstream log;
    AdecLpcmBd decoder(log);
    decoder.init(bdType());
    // Stereo 16-bit: one whole frame and half of the next.
    std::vector<uint8_t> packet =
        joined(bdHeader(6, 3, 1, 1), {0x12, 0x34, 0x56, 0x78, 0xEE, 0xEE});
    MemorySample out(64);
    const uint8_t* p = packet.data();
    TvStatus* status = decoder.process(&p, packet.data() + packet.size(), &out);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->samples, 1);
    EXPECT_EQ(out.data(), (std::vector<BYTE>{0x34, 0x12, 0x78, 0x56, 0, 0}));
    auto lines = assertions.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].find("error: TvAssert: AdecLpcmBd "), 0u) << lines[0];
    EXPECT_NE(lines[0].find("'size % xsize == 0'"), std::string::npos) << lines[0];
}

TEST(LpcmBd, AcceptsOnlyItsSubtypeAndWantsThePrivateHeader)
{
    std::ostringstream log;
    AdecLpcmBd decoder(log);
    EXPECT_TRUE(decoder.accepts(bdType()));
    CMediaType other = bdType();
    other.SetSubtype(&MEDIASUBTYPE_DVDA_AUDIO_LPCM);
    EXPECT_FALSE(decoder.accepts(other));
    EXPECT_TRUE(decoder.wantsPrivateHeader());
    const uint8_t header[4] = {0, 0, 0x31, 0x40};
    const uint8_t* p = header;
    EXPECT_TRUE(decoder.parsePacketHeader(&p, header + 4));
    EXPECT_EQ(p, header);  // the header stays with the packet for process
}

}  // namespace
