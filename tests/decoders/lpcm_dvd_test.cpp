// DVD-Video and HD-DVD LPCM: the private headers as one table, and the
// conversions checked byte for byte.
#include <gtest/gtest.h>

#include <sstream>

#include "config/config_test_support.h"
#include "decoders/AdecLpcmDvd.h"
#include "support/memory_sample.h"
#include "support/wave_type.h"

namespace {

CMediaType lpcmType(const GUID& subtype, WORD channels, DWORD rate, WORD bits)
{
    return waveFormatType(&MEDIATYPE_MPEG2_PES, &subtype,
                          WAVEFORMATEX{WAVE_FORMAT_PCM, channels, rate, 0, 0, bits, 0});
}

// Private header of a DVD-Video LPCM packet.
std::vector<uint8_t> dvdHeader(int quantisation, int frequency, int channels, int pointer = 4)
{
    return {0xA0, 1, uint8_t(pointer >> 8), uint8_t(pointer), 0x00,
            uint8_t((quantisation << 6) | (frequency << 4) | (channels - 1)), 0x80};
}

// Private header of an HD-DVD LPCM packet.
std::vector<uint8_t> hdDvdHeader(int quantisation, int frequency, int channels, int assignment,
                                 int pointer = 10)
{
    uint64_t bits = 0;
    bits = (bits << 7) | 0;
    bits = (bits << 2) | uint64_t(quantisation);
    bits = (bits << 3) | uint64_t(frequency);
    bits = (bits << 4) | uint64_t(channels - 1);
    bits = (bits << 16) | 0;
    bits = (bits << 3) | 0;
    bits = (bits << 5) | uint64_t(assignment);
    std::vector<uint8_t> header = {0xA0, 1, uint8_t(pointer >> 8), uint8_t(pointer)};
    for (int shift = 32; shift >= 0; shift -= 8)
        header.push_back(uint8_t(bits >> shift));
    return header;
}

struct HeaderCase {
    const char* what;
    bool hdDvd;
    std::vector<uint8_t> header;
    bool accepted;
    int freq;
    int chan;
    TvSampleType stype;
    uint32_t mask;  // HD-DVD only
    const char* logged;
};

class LpcmDvdHeaders : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(LpcmDvdHeaders, ParseOrRefuse)
{
    const HeaderCase& c = GetParam();
    TempRoot root;
    CapturedLog assertions(root);
    std::ostringstream log;
    AdecLpcmDvd decoder(log);
    const GUID& subtype = c.hdDvd ? MEDIASUBTYPE_HDDVD_LPCM : MEDIASUBTYPE_DVD_LPCM_AUDIO;
    TvStatus* status = decoder.init(lpcmType(subtype, 2, 48000, 16));
    ASSERT_NE(status, nullptr);
    const uint8_t* p = c.header.data();
    const uint8_t* end = p + c.header.size();
    EXPECT_EQ(decoder.parsePacketHeader(&p, end), c.accepted) << c.what;
    if (c.accepted) {
        EXPECT_EQ(p, end) << c.what;
        EXPECT_EQ(status->freq, c.freq) << c.what;
        EXPECT_EQ(status->chan, c.chan) << c.what;
        EXPECT_EQ(status->stype, c.stype) << c.what;
        if (c.hdDvd) {
            EXPECT_EQ(status->channelMask, c.mask) << c.what;
        }
    } else {
        EXPECT_EQ(p, c.header.data()) << c.what;
    }
    std::string written = log.str();
    for (const auto& line : assertions.lines())
        written += line + "\n";
    if (*c.logged) {
        EXPECT_NE(written.find(c.logged), std::string::npos) << c.what << ": " << written;
    }
}

std::vector<uint8_t> shortened(std::vector<uint8_t> header)
{
    header.pop_back();
    return header;
}

INSTANTIATE_TEST_SUITE_P(
    Table, LpcmDvdHeaders,
    ::testing::Values(
        HeaderCase{"dvd 16-bit 48k stereo", false, dvdHeader(0, 0, 2), true, 48000, 2, ST16Bit, 0, "number: 1 7"},
        HeaderCase{"dvd 24-bit 96k 6ch", false, dvdHeader(2, 1, 6), true, 96000, 6, ST24Bit, 0, ""},
        HeaderCase{"dvd 20-bit", false, dvdHeader(1, 0, 1), true, 48000, 1, ST20Bit, 0, ""},
        HeaderCase{"dvd 6 bytes", false, shortened(dvdHeader(0, 0, 2)), false, 0, 0, STUninitialized, 0,
                   "error: bad VideoDVD header"},
        HeaderCase{"dvd quantisation 3", false, dvdHeader(3, 0, 2), false, 0, 0, STUninitialized, 0,
                   "bad VideoDVD quant"},
        HeaderCase{"dvd frequency 2", false, dvdHeader(0, 2, 2), false, 0, 0, STUninitialized, 0,
                   "error: bad Video DVD freq"},
        HeaderCase{"dvd frequency 3", false, dvdHeader(0, 3, 2), false, 0, 0, STUninitialized, 0,
                   "error: bad Video DVD freq"},
        // Not an LPCM substream: asserted, and the header refused.
        HeaderCase{"dvd wrong substream", false, {0x80, 1, 0, 4, 0, 0x01, 0x80}, false, 0, 0, STUninitialized,
                   0, "AdecLpcmDVD"},
        HeaderCase{"hd-dvd wrong substream", true, {0x80, 1, 0, 10, 0, 0, 0, 0, 1}, false, 0, 0,
                   STUninitialized, 0, "'(*p & 0xf8) == 0xa0'"},
        HeaderCase{"hd-dvd 24-bit 192k", true, hdDvdHeader(2, 2, 6, 17), true, 192000, 6, ST24Bit, 0x3F,
                   "number: 1 4"},
        HeaderCase{"hd-dvd assignment 7", true, hdDvdHeader(0, 0, 3, 7), true, 48000, 3, ST16Bit, 0x103, ""},
        HeaderCase{"hd-dvd assignment 18", true, hdDvdHeader(0, 0, 5, 18), true, 48000, 5, ST16Bit, 0x3B,
                   "'correctOrder[_channelAssignment]'"},
        // No layout above 20: asserted, and the header refused.
        HeaderCase{"hd-dvd assignment 21", true, hdDvdHeader(0, 0, 2, 21), false, 0, 0, STUninitialized, 0,
                   "'_channelAssignment <=20'"},
        HeaderCase{"hd-dvd quantisation 3", true, hdDvdHeader(3, 0, 2, 1), true, 48000, 2, ST16Bit, 0x3, ""},
        HeaderCase{"hd-dvd 8 bytes", true, shortened(hdDvdHeader(0, 0, 2, 1)), false, 0, 0, STUninitialized,
                   0, "error: bad VideoDVD header"}));

class LpcmDvdConversion : public ::testing::Test {
protected:
    TvStatus* start(WORD channels, WORD bits)
    {
        return decoder.init(lpcmType(MEDIASUBTYPE_DVD_LPCM_AUDIO, channels, 48000, bits));
    }
    TempRoot root;
    CapturedLog assertions{root};
    std::ostringstream log;
    AdecLpcmDvd decoder{log};
};

TEST_F(LpcmDvdConversion, SixteenBitWordsAreSwappedEvenForAPartialFrame)
{
    // 1 022 bytes: half a stereo frame at the end; 1 023: half a word too,
    // whose byte is copied as it is.
    for (size_t size : {1022u, 1023u}) {
        start(2, 16);
        std::vector<uint8_t> input(size);
        for (size_t i = 0; i < input.size(); ++i)
            input[i] = static_cast<uint8_t>(i * 3 + 1);
        MemorySample out(4096);
        const uint8_t* p = input.data();
        TvStatus* status = decoder.process(&p, input.data() + input.size(), &out);
        ASSERT_NE(status, nullptr);
        EXPECT_EQ(status->samples, 255);
        EXPECT_EQ(status->iFrameSize, int(size));
        EXPECT_EQ(p, input.data() + input.size());
        auto data = out.data();
        ASSERT_EQ(data.size(), size);
        for (size_t i = 0; i + 1 < size; i += 2) {
            EXPECT_EQ(data[i], input[i + 1]) << size << " " << i;
            EXPECT_EQ(data[i + 1], input[i]) << size << " " << i;
        }
        if (size % 2) {
            EXPECT_EQ(data.back(), input.back());
        }
    }
    auto lines = assertions.lines();
    ASSERT_EQ(lines.size(), 2u);
    for (const auto& line : lines)
        EXPECT_EQ(line.rfind("error: TvAssert: AdecLpcmDVD ", 0), 0u) << line;
    EXPECT_NE(lines[0].find("'samples * sampleSize == size'"), std::string::npos);
}

TEST_F(LpcmDvdConversion, TwentyBitIsConsumedAsSilenceSoNothingPilesUp)
{
    start(2, 20);
    std::vector<uint8_t> input(600, 0x5A);
    MemorySample out(4096);
    const uint8_t* p = input.data();
    TvStatus* status = decoder.process(&p, input.data() + input.size(), &out);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(p, input.data() + input.size());
    EXPECT_EQ(out.data(), std::vector<BYTE>(size_t(out.GetActualDataLength()), 0));
    EXPECT_NE(assertions.lines().at(0).find("'0'"), std::string::npos);
}

TEST_F(LpcmDvdConversion, TwentyFourBitPairsUnpackToLittleEndian)
{
    start(2, 24);
    // One pair of stereo frames: samples s0..s3 = 0x123456, 0xABCDEF, 0x010203, 0xFEDCBA.
    const uint8_t input[] = {0x12, 0x34, 0xAB, 0xCD, 0x01, 0x02, 0xFE, 0xDC,  // upper words
                             0x56, 0xEF, 0x03, 0xBA};                          // low bytes
    MemorySample out(64);
    const uint8_t* p = input;
    TvStatus* status = decoder.process(&p, input + sizeof input, &out);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->samples, 2);
    EXPECT_EQ(out.data(), (std::vector<BYTE>{0x56, 0x34, 0x12, 0xEF, 0xCD, 0xAB, 0x03, 0x02, 0x01,
                                             0xBA, 0xDC, 0xFE}));
    EXPECT_TRUE(assertions.lines().empty());
}

TEST_F(LpcmDvdConversion, MultichannelPairsCarryAllUpperWordsBeforeTheLowBytes)
{
    start(3, 24);
    // Six samples (two frames of three channels): upper words, then low bytes.
    std::vector<uint8_t> input;
    for (int i = 0; i < 6; ++i) {
        input.push_back(uint8_t(0x10 + i));
        input.push_back(uint8_t(0x20 + i));
    }
    for (int i = 0; i < 6; ++i)
        input.push_back(uint8_t(0x30 + i));
    MemorySample out(64);
    const uint8_t* p = input.data();
    ASSERT_NE(decoder.process(&p, input.data() + input.size(), &out), nullptr);
    std::vector<BYTE> expected;
    for (int i = 0; i < 6; ++i) {
        expected.push_back(BYTE(0x30 + i));
        expected.push_back(BYTE(0x20 + i));
        expected.push_back(BYTE(0x10 + i));
    }
    EXPECT_EQ(out.data(), expected);
}

TEST_F(LpcmDvdConversion, AnOddTrailingFrameIsLeftAndAsserted)
{
    start(2, 24);
    std::vector<uint8_t> input(18, 0x11);
    MemorySample out(64);
    const uint8_t* p = input.data();
    TvStatus* status = decoder.process(&p, input.data() + input.size(), &out);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->samples, 3);
    EXPECT_EQ(status->iFrameSize, 18);
    EXPECT_EQ(p, input.data() + 12);
    auto lines = assertions.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("'p == pend'"), std::string::npos);
}

TEST_F(LpcmDvdConversion, NothingToConvertConsumesNothing)
{
    start(2, 16);
    const uint8_t input[3] = {1, 2, 3};
    MemorySample out(64);
    const uint8_t* p = input;
    EXPECT_EQ(decoder.process(&p, input + 3, &out), nullptr);
    EXPECT_EQ(p, input);
    EXPECT_EQ(out.GetActualDataLength(), 0);
}

TEST_F(LpcmDvdConversion, OutputNeverOverflowsASmallBuffer)
{
    start(2, 16);
    std::vector<uint8_t> input(400, 0x22);
    MemorySample out(100);
    const uint8_t* p = input.data();
    TvStatus* status = decoder.process(&p, input.data() + input.size(), &out);
    ASSERT_NE(status, nullptr);
    EXPECT_LE(out.GetActualDataLength(), 100);
    EXPECT_EQ(status->iFrameSize, out.GetActualDataLength());
    EXPECT_EQ(p, input.data() + status->iFrameSize);
    auto lines = assertions.lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines[0].find("'dest->GetSize() > oFrameSize'"), std::string::npos);
}

TEST_F(LpcmDvdConversion, TimeOffsetComesFromTheFirstAccessUnitPointer)
{
    start(2, 16);
    // 400 payload bytes after the header, first access unit at offset 104:
    // 100 bytes = 25 frames of the previous unit, -25/48000 s.
    std::vector<uint8_t> packet = dvdHeader(0, 0, 2, 104);
    packet.resize(packet.size() + 400, 0);
    const uint8_t* p = packet.data();
    ASSERT_TRUE(decoder.parsePacketHeader(&p, packet.data() + packet.size()));
    MemorySample out(4096);
    TvStatus* status = decoder.process(&p, packet.data() + packet.size(), &out);
    ASSERT_NE(status, nullptr);
    // byte count = size - pointer + 4 = 407 - 104 + 4 = 307 -> 76 frames.
    EXPECT_EQ(status->timeOffset, -(76 * 10000000 / 48000));
}

}  // namespace
