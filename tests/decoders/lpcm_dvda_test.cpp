// DVD-Audio LPCM: private headers as one table, and round trips of known
// samples through a packer written from the format's packing rules rather than
// from the decoder's reordering table.
#include <gtest/gtest.h>

#include <sstream>

#include "config/config_test_support.h"
#include "decoders/AdecLPCM.h"
#include "support/memory_sample.h"
#include "support/wave_type.h"

namespace {

CMediaType dvdaType(const GUID& major,
                    WORD channels,
                    WORD bits,
                    const GUID& subtype = MEDIASUBTYPE_DVDA_AUDIO_LPCM)
{
    return waveFormatType(&major, &subtype,
                          WAVEFORMATEX{WAVE_FORMAT_PCM, channels, 48000, 0, 0, bits, 0});
}

// DVD-Audio private header: substream id 0xA0, continuity counter, header
// length (bytes after byte 3), first access unit pointer counted from its
// own last byte (byte 5), then quantisation (16 + 4q bits) and frequency
// nibbles of group 1 and group 2, and the channel assignment in byte 10,
// padded to the header length.
std::vector<uint8_t> dvdaHeader(int quant1,
                                int quant2,
                                int freq1,
                                int freq2,
                                int assignment,
                                int headerLength = 8,
                                int leadInBytes = 0)
{
    int pointer = headerLength - 1 + leadInBytes;
    std::vector<uint8_t> header = {0xA0,
                                   0,
                                   0,
                                   uint8_t(headerLength),
                                   uint8_t(pointer >> 8),
                                   uint8_t(pointer),
                                   0x00,
                                   uint8_t((quant1 << 4) | quant2),
                                   uint8_t((freq1 << 4) | freq2),
                                   0,
                                   uint8_t(assignment)};
    header.resize(size_t(4 + headerLength), 0);
    return header;
}

std::vector<uint8_t> dvdVideoHeader(int quantisation, int frequency, int channels, int pointer = 4)
{
    return {0xA0,
            1,
            uint8_t(pointer >> 8),
            uint8_t(pointer),
            0x00,
            uint8_t((quantisation << 6) | (frequency << 4) | (channels - 1)),
            0x80};
}

std::vector<uint8_t> withByte(std::vector<uint8_t> v, size_t at, uint8_t value)
{
    v[at] = value;
    return v;
}

struct HeaderCase {
    const char* what;
    CMediaType type;
    std::vector<uint8_t> header;
    bool accepted;
    size_t consumed;
    int freq;
    int chan;
    int group2;
    TvSampleType stype;
    int64_t firstAccessUnitTime;
    const char* logged;  // in the decoder's log or the assertion log; "" = nothing
};

class LpcmDvdaHeaders : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(LpcmDvdaHeaders, ParseOrRefuse)
{
    const HeaderCase& c = GetParam();
    TempRoot root;
    CapturedLog assertions(root);
    std::ostringstream log;
    AdecLPCM decoder(log);
    ASSERT_NE(decoder.init(c.type), nullptr);
    std::vector<uint8_t> packet = c.header;
    if (c.accepted)
        packet.resize(packet.size() + 72, 0x55);  // whole frames of every layout here
    const uint8_t* p = packet.data();
    const uint8_t* end = p + packet.size();
    EXPECT_EQ(decoder.parsePacketHeader(&p, end), c.accepted) << c.what;
    EXPECT_EQ(size_t(p - packet.data()), c.accepted ? c.consumed : packet.size()) << c.what;
    if (c.accepted) {
        MemorySample out(4096);
        TvStatus* status = decoder.process(&p, end, &out);
        ASSERT_NE(status, nullptr) << c.what;
        EXPECT_EQ(status->freq, c.freq) << c.what;
        EXPECT_EQ(status->chan, c.chan) << c.what;
        EXPECT_EQ(status->stype, c.stype) << c.what;
        EXPECT_EQ(static_cast<TvStatusLpcm*>(status)->group2Channels, c.group2) << c.what;
        EXPECT_EQ(decoder.firstAccessUnitTime(), c.firstAccessUnitTime) << c.what;
    }
    std::string written = log.str();
    for (const auto& line : assertions.lines())
        written += line + "\n";
    if (*c.logged) {
        EXPECT_NE(written.find(c.logged), std::string::npos) << c.what << ": " << written;
    } else {
        EXPECT_EQ(written.find("TvAssert"), std::string::npos) << c.what << ": " << written;
    }
}

const CMediaType pes = dvdaType(MEDIATYPE_MPEG2_PES, 2, 16);
const CMediaType dvdVideoPes = dvdaType(MEDIATYPE_MPEG2_PES, 2, 16, MEDIASUBTYPE_DVD_LPCM_AUDIO);

INSTANTIATE_TEST_SUITE_P(
    Table,
    LpcmDvdaHeaders,
    ::testing::Values(
        HeaderCase{"3+3 24-bit 96 kHz", pes, dvdaHeader(2, 2, 1, 1, 17), true, 12, 96000, 6, 3,
                   ST24Bit, 0, ""},
        HeaderCase{"3+3 16-bit 48 kHz", pes, dvdaHeader(0, 0, 0, 0, 17), true, 12, 48000, 6, 3,
                   ST16Bit, 0, ""},
        HeaderCase{"frequency code 2 is 192 kHz", pes, dvdaHeader(2, 2, 2, 2, 17), true, 12, 192000,
                   6, 3, ST24Bit, 0, ""},
        HeaderCase{"frequency code 8 is 44.1 kHz", pes, dvdaHeader(0, 0, 8, 8, 17), true, 12, 44100,
                   6, 3, ST16Bit, 0, ""},
        HeaderCase{"frequency code 9 is 88.2 kHz", pes, dvdaHeader(0, 0, 9, 9, 17), true, 12, 88200,
                   6, 3, ST16Bit, 0, ""},
        HeaderCase{"frequency code 10 is 176.4 kHz", pes, dvdaHeader(0, 0, 10, 10, 17), true, 12,
                   176400, 6, 3, ST16Bit, 0, ""},
        HeaderCase{"frequency code 3 is refused", pes, dvdaHeader(0, 0, 3, 3, 17), false, 0, 0, 0,
                   0, STUninitialized, 0, "'0'"},
        HeaderCase{"groups that disagree assert, group 1 decides", pes, dvdaHeader(2, 0, 1, 0, 17),
                   true, 12, 96000, 6, 3, ST24Bit, 0, "'quant1 ==quant2 && freq1 == freq2'"},
        HeaderCase{"substream 0xA1 is refused", pes, withByte(dvdaHeader(0, 0, 0, 0, 17), 0, 0xA1),
                   false, 0, 0, 0, 0, STUninitialized, 0, "Error: wrong Audio DVD header"},
        HeaderCase{"assignment 1 is refused", pes, dvdaHeader(0, 0xF, 0, 0xF, 1), false, 0, 0, 0, 0,
                   STUninitialized, 0, "'0'"},
        HeaderCase{"a longer header is skipped whole", pes, dvdaHeader(2, 2, 1, 1, 17, 14), true,
                   18, 96000, 6, 3, ST24Bit, 0, ""},
        // 36 lead-in bytes = 2 frames of six 24-bit channels = 2/96000 s.
        HeaderCase{"first access unit after two frames", pes, dvdaHeader(2, 2, 1, 1, 17, 8, 36),
                   true, 12, 96000, 6, 3, ST24Bit, 208, ""},
        HeaderCase{"a lead-in of partial frames asserts", pes, dvdaHeader(2, 2, 1, 1, 17, 8, 20),
                   true, 12, 96000, 6, 3, ST24Bit, 104,
                   "'first_access_unit_pointer == d_samples * _status.chan * byteSize(_status )'"},
        HeaderCase{"3 bytes assert and are refused",
                   pes,
                   {0xA0, 0, 0},
                   false,
                   0,
                   0,
                   0,
                   0,
                   STUninitialized,
                   0,
                   "'size >= 7'"},
        HeaderCase{"plain audio samples carry no header",
                   dvdaType(MEDIATYPE_Audio, 2, 16),
                   {},
                   true,
                   0,
                   48000,
                   2,
                   0,
                   ST16Bit,
                   0,
                   ""},
        HeaderCase{"a DVD-Video header, 96 kHz", dvdVideoPes, dvdVideoHeader(2, 1, 2, 4 + 12), true,
                   7, 96000, 2, 0, ST24Bit, 208, "number: 1 12"},
        HeaderCase{"a DVD-Video lead-in of partial frames asserts", dvdVideoPes,
                   dvdVideoHeader(0, 0, 2, 4 + 6), true, 7, 48000, 2, 0, ST16Bit, 208,
                   "'first_access_unit_pointer == d_samples * _status.chan * byteSize(_status)'"},
        HeaderCase{"a DVD-Video header of 6 bytes",
                   dvdVideoPes,
                   {0xA0, 1, 0, 4, 0, 1},
                   false,
                   0,
                   0,
                   0,
                   0,
                   STUninitialized,
                   0,
                   "error: bad VideoDVD header"},
        HeaderCase{"a DVD-Video syncword", dvdVideoPes, withByte(dvdVideoHeader(0, 0, 2), 0, 0x80),
                   false, 0, 0, 0, 0, STUninitialized, 0, "error: bad VideoDVD syncword"},
        HeaderCase{"DVD-Video quantisation 3", dvdVideoPes, dvdVideoHeader(3, 0, 2), false, 0, 0, 0,
                   0, STUninitialized, 0, "bad VideoDVD quant"},
        HeaderCase{"DVD-Video frequency 2", dvdVideoPes, dvdVideoHeader(0, 2, 2), false, 0, 0, 0, 0,
                   STUninitialized, 0, "bad VideoDVD freq"},
        HeaderCase{"another subtype asserts",
                   dvdaType(MEDIATYPE_MPEG2_PES, 2, 16, MEDIASUBTYPE_PCM), dvdVideoHeader(0, 0, 2),
                   false, 0, 0, 0, 0, STUninitialized, 0, "'0'"}));

// --- Round trips -----------------------------------------------------------

// Sample frames of signed 24-bit values, channels in the group order of the
// stream (group 1's channels, then group 2's).
using Frames = std::vector<std::vector<int32_t>>;

Frames knownFrames(int frames, int channels, int bits)
{
    Frames out(static_cast<size_t>(frames), std::vector<int32_t>(static_cast<size_t>(channels)));
    for (int f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c) {
            int32_t value = (f + 1) * 0x10203 * (c + 1) + c * 0x55;
            out[size_t(f)][size_t(c)] =
                ((f + c) % 2 ? -value : value) & (bits == 16 ? 0xFFFF : 0xFFFFFF);
        }
    return out;
}

// The format's packing of 24-bit samples: per group and pair of sample
// frames, the upper 16 bits of the group's 2n samples as big-endian words
// (frame 0's channels, then frame 1's), then their 2n low bytes. With two
// groups, each pair of frames carries group 2's block before group 1's (as
// public DVD-Audio readers unpack it).
std::vector<uint8_t> pack24(const Frames& frames, const std::vector<int>& groupSizes)
{
    std::vector<uint8_t> out;
    std::vector<int> firstChannel = {0};
    for (int size : groupSizes)
        firstChannel.push_back(firstChannel.back() + size);
    for (size_t f = 0; f + 1 < frames.size(); f += 2)
        for (int g = int(groupSizes.size()) - 1; g >= 0; --g) {
            std::vector<int32_t> samples;
            for (size_t k = 0; k < 2; ++k)
                for (int c = firstChannel[size_t(g)]; c < firstChannel[size_t(g) + 1]; ++c)
                    samples.push_back(frames[f + k][size_t(c)]);
            for (int32_t s : samples) {
                out.push_back(uint8_t(s >> 16));
                out.push_back(uint8_t(s >> 8));
            }
            for (int32_t s : samples)
                out.push_back(uint8_t(s));
        }
    return out;
}

std::vector<uint8_t> pack16(const Frames& frames)
{
    std::vector<uint8_t> out;
    for (const auto& frame : frames)
        for (int32_t s : frame) {
            out.push_back(uint8_t(s >> 8));
            out.push_back(uint8_t(s));
        }
    return out;
}

// Little-endian samples, frame by frame; group 1 then group 2 is also the
// speaker order of the six-channel layout (L R C, then LFE Ls Rs).
std::vector<BYTE> littleEndian(const Frames& frames, int bits)
{
    std::vector<BYTE> out;
    for (const auto& frame : frames)
        for (int32_t s : frame)
            for (int b = 0; b < bits / 8; ++b)
                out.push_back(BYTE(s >> (8 * b)));
    return out;
}

struct RoundTrip {
    const char* what;
    int bits;
    int channels;
    bool twoGroups;
    int frames;
};

class LpcmDvdaRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(LpcmDvdaRoundTrip, KnownSamplesComeBack)
{
    const RoundTrip& c = GetParam();
    TempRoot root;
    CapturedLog assertions(root);
    std::ostringstream log;
    AdecLPCM decoder(log);
    std::vector<uint8_t> packet;
    if (c.twoGroups) {
        decoder.init(dvdaType(MEDIATYPE_MPEG2_PES, 2, 16));
        packet = dvdaHeader(c.bits == 24 ? 2 : 0, c.bits == 24 ? 2 : 0, 0, 0, 17);
    } else {
        decoder.init(dvdaType(MEDIATYPE_Audio, WORD(c.channels), WORD(c.bits)));
    }
    size_t headerSize = packet.size();
    Frames frames = knownFrames(c.frames, c.channels, c.bits);
    std::vector<uint8_t> audio =
        c.bits == 16
            ? pack16(frames)
            : pack24(frames, c.twoGroups ? std::vector<int>{3, 3} : std::vector<int>{c.channels});
    packet.insert(packet.end(), audio.begin(), audio.end());
    const uint8_t* p = packet.data();
    const uint8_t* end = p + packet.size();
    ASSERT_TRUE(decoder.parsePacketHeader(&p, end));
    ASSERT_EQ(size_t(p - packet.data()), headerSize);
    MemorySample out(4096);
    TvStatus* status = decoder.process(&p, end, &out);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(p, end);
    EXPECT_EQ(status->chan, c.channels);
    EXPECT_EQ(status->samples, c.frames);
    EXPECT_EQ(status->iFrameSize, int32_t(audio.size()));
    EXPECT_EQ(out.data(), littleEndian(frames, c.bits));
    EXPECT_TRUE(assertions.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(Packings,
                         LpcmDvdaRoundTrip,
                         ::testing::Values(RoundTrip{"16-bit stereo", 16, 2, false, 40},
                                           RoundTrip{"16-bit mono", 16, 1, false, 8},
                                           RoundTrip{"24-bit stereo", 24, 2, false, 40},
                                           RoundTrip{"24-bit mono", 24, 1, false, 6},
                                           RoundTrip{"24-bit 3+3, 72 bytes", 24, 6, true, 4},
                                           RoundTrip{"24-bit 3+3", 24, 6, true, 40}));

// --- Conversion faults -------------------------------------------------------

class LpcmDvdaConversion : public ::testing::Test {
protected:
    std::string assertionText()
    {
        std::string all;
        for (const auto& line : assertions.lines())
            all += line + "\n";
        return all;
    }
    TempRoot root;
    CapturedLog assertions{root};
    std::ostringstream log;
    AdecLPCM decoder{log};
};

TEST_F(LpcmDvdaConversion, AnOddSixteenBitFrameCountIsSwappedButNotCounted)
{
    decoder.init(dvdaType(MEDIATYPE_Audio, 2, 16));
    const uint8_t input[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};  // three stereo frames
    MemorySample out(64);
    const uint8_t* p = input;
    TvStatus* status = decoder.process(&p, input + 12, &out);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(p, input + 12);
    EXPECT_EQ(status->samples, 2);
    EXPECT_EQ(status->iFrameSize, 12);
    EXPECT_EQ(out.GetActualDataLength(), 8);
    const std::vector<BYTE> swapped = {2, 1, 4, 3, 6, 5, 8, 7, 10, 9, 12, 11};
    EXPECT_TRUE(std::equal(swapped.begin(), swapped.end(), out.buffer().begin()));
    std::string text = assertionText();
    EXPECT_NE(text.find("error: TvAssert: adeclpcm "), std::string::npos) << text;
    EXPECT_NE(
        text.find("'_status.samples *byteSize(_status) * _status.chan == _status.iFrameSize'"),
        std::string::npos)
        << text;
}

TEST_F(LpcmDvdaConversion, APartialThreePlusThreeUnitIsAssertedAndDropped)
{
    decoder.init(dvdaType(MEDIATYPE_MPEG2_PES, 2, 16));
    std::vector<uint8_t> packet = dvdaHeader(2, 2, 0, 0, 17);
    packet.resize(packet.size() + 54, 0x11);
    const uint8_t* p = packet.data();
    const uint8_t* end = p + packet.size();
    ASSERT_TRUE(decoder.parsePacketHeader(&p, end));
    MemorySample out(4096);
    TvStatus* status = decoder.process(&p, end, &out);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(p, end);
    EXPECT_EQ(status->iFrameSize, 54);
    EXPECT_EQ(out.GetActualDataLength(), 36);
    std::string text = assertionText();
    EXPECT_NE(text.find("'(pend-p)%36 == 0'"), std::string::npos) << text;
    EXPECT_NE(text.find("'p==pend'"), std::string::npos) << text;
}

TEST_F(LpcmDvdaConversion, TwentyBitIsNotConvertedButConsumedAsSilence)
{
    decoder.init(dvdaType(MEDIATYPE_Audio, 2, 20));
    std::vector<uint8_t> input(24, 0x33);
    MemorySample out(64, 0xCD);
    const uint8_t* p = input.data();
    decoder.process(&p, input.data() + input.size(), &out);
    // Consumed, so an unsupported stream never piles up in the input buffer.
    EXPECT_EQ(p, input.data() + input.size());
    EXPECT_EQ(out.data(), std::vector<BYTE>(size_t(out.GetActualDataLength()), 0));
    std::string text = assertionText();
    EXPECT_NE(text.find("'0'"), std::string::npos) << text;
    EXPECT_NE(text.find("'p==pend'"), std::string::npos) << text;
}

TEST_F(LpcmDvdaConversion, OutputNeverOverflowsASmallBuffer)
{
    for (int bits : {16, 24}) {
        decoder.init(dvdaType(MEDIATYPE_Audio, 2, WORD(bits)));
        std::vector<uint8_t> input(480, 0x22);
        MemorySample out(100, 0xCD);
        const uint8_t* p = input.data();
        ASSERT_NE(decoder.process(&p, input.data() + input.size(), &out), nullptr);
        EXPECT_LE(out.GetActualDataLength(), 100);
        EXPECT_EQ(out.buffer().size(), 100u);
        EXPECT_NE(assertionText().find("'dest->GetSize() > oFrameSize'"), std::string::npos)
            << bits;
    }
}

}  // namespace
