// The three LPCM packings with hand-built packets: private headers as tables
// (what each gives or refuses), the conversions byte for byte, and input that
// must not make a decoder read or write outside its buffers.
#include <gtest/gtest.h>

#include <sstream>

#include "core/media_subtypes.h"
#include "decoders/AdecLPCM.h"
#include "decoders/decoder_rows.h"
#include "support/media_types.h"
#include "support/memory_sample.h"

namespace {

CMediaType pesType(const GUID& subtype, WORD channels = 2, WORD bits = 16)
{
    return waveType(MEDIATYPE_MPEG2_PES, subtype, WAVE_FORMAT_PCM, 48000, channels, bits);
}

CMediaType plainDvda(WORD channels, WORD bits)
{
    return waveType(MEDIATYPE_Audio, MEDIASUBTYPE_DVDA_AUDIO_LPCM, WAVE_FORMAT_PCM, 48000, channels,
                    bits);
}

// DVD-Video LPCM private header: substream, frame count, first access unit
// pointer, then quantisation, frequency and channels in byte 5.
std::vector<uint8_t> dvdHeader(int quantisation, int frequency, int channels, int pointer = 4)
{
    uint8_t format = uint8_t(quantisation << 6 | frequency << 4 | (channels - 1));
    return {0xA0, 1, uint8_t(pointer >> 8), uint8_t(pointer), 0x00, format, 0x80};
}

// HD-DVD LPCM private header: the same four bytes, then quantisation,
// frequency, channels and the channel assignment in a 40-bit field.
std::vector<uint8_t> hdDvdHeader(int quantisation, int frequency, int channels, int assignment)
{
    uint64_t bits = uint64_t(quantisation) << 31 | uint64_t(frequency) << 28 |
                    uint64_t(channels - 1) << 24 | uint64_t(assignment);
    std::vector<uint8_t> header = {0xA0, 1, 0, 10};
    for (int shift = 32; shift >= 0; shift -= 8)
        header.push_back(uint8_t(bits >> shift));
    return header;
}

// DVD-Audio LPCM private header: header length, first access unit pointer
// (from its own last byte), quantisation and frequency of both groups (one
// nibble each), channel assignment, padding.
std::vector<uint8_t> dvdaHeader(int quant, int freq, int assignment, int length = 8, int leadIn = 0)
{
    int pointer = length - 1 + leadIn;
    std::vector<uint8_t> header = {0xA0, 0, 0, uint8_t(length), uint8_t(pointer >> 8)};
    header.insert(header.end(), {uint8_t(pointer), 0, uint8_t(quant), uint8_t(freq), 0});
    header.push_back(uint8_t(assignment));
    header.resize(size_t(4 + length), 0);
    return header;
}

// `v` with byte `at` set to `value`, or cut at `at` when `value` is -1.
std::vector<uint8_t> changed(std::vector<uint8_t> v, size_t at, int value)
{
    if (value < 0)
        v.resize(at);
    else
        v[at] = uint8_t(value);
    return v;
}

struct HeaderCase {
    const char* what;
    Decoder decoder;
    CMediaType type;
    std::vector<uint8_t> header;
    bool accepted;
    size_t consumed = 0;
    int freq = 0, chan = 0;
    TvSampleType stype = STUninitialized;
    uint32_t mask = 0;      // 0: not checked
    int64_t firstUnit = 0;  // DVD-Audio: 100 ns to the first access unit
};

class LpcmHeaders : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(LpcmHeaders, ParseOrRefuse)
{
    const HeaderCase& c = GetParam();
    std::ostringstream log;
    auto decoder = makeDecoder(c.decoder, log);
    ASSERT_TRUE(decoder->init(c.type));
    std::vector<uint8_t> packet = c.header;
    if (c.accepted)
        packet.resize(packet.size() + 72, 0x55);  // whole frames of every layout here
    const uint8_t* p = packet.data();
    EXPECT_EQ(decoder->parsePacketHeader(&p, p + packet.size()), c.accepted);
    if (!c.accepted)
        return;
    EXPECT_EQ(size_t(p - packet.data()), c.consumed);
    MemorySample out(4096);
    TvStatus* status = decoder->process(&p, packet.data() + packet.size(), &out);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(std::vector<int>({status->freq, status->chan, status->stype}),
              std::vector<int>({c.freq, c.chan, c.stype}));
    if (c.mask) {
        EXPECT_EQ(status->channelMask, c.mask);
    }
    if (auto* dvdAudio = dynamic_cast<AdecLPCM*>(decoder.get())) {
        EXPECT_EQ(dvdAudio->firstAccessUnitTime(), c.firstUnit);
    }
}

const CMediaType dvd = pesType(MEDIASUBTYPE_DVD_LPCM_AUDIO),
                 hdDvd = pesType(MEDIASUBTYPE_HDDVD_LPCM),
                 dvda = pesType(MEDIASUBTYPE_DVDA_AUDIO_LPCM);
constexpr auto V = Decoder::LpcmDvd, A = Decoder::LpcmDvda;
constexpr bool kAccepted = true, kRefused = false;

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, LpcmHeaders, ::testing::Values(
    // The header tells no mask: six channels over a stereo format block take the default one.
    HeaderCase{"dvd 24-bit 96k 6ch", V, dvd, dvdHeader(2, 1, 6), kAccepted, 7, 96000, 6, ST24Bit, 0x3F},
    HeaderCase{"dvd 6 bytes", V, dvd, changed(dvdHeader(0, 0, 2), 6, -1), kRefused},
    HeaderCase{"dvd quantisation 3", V, dvd, dvdHeader(3, 0, 2), kRefused},
    HeaderCase{"dvd frequency 2", V, dvd, dvdHeader(0, 2, 2), kRefused},
    HeaderCase{"dvd frequency 3", V, dvd, dvdHeader(0, 3, 2), kRefused},
    HeaderCase{"dvd wrong substream", V, dvd, changed(dvdHeader(0, 0, 2), 0, 0x80), kRefused},
    HeaderCase{"hd-dvd wrong substream", V, hdDvd, changed(hdDvdHeader(0, 0, 2, 1), 0, 0x80), kRefused},
    HeaderCase{"hd-dvd 24-bit 192k 5.1", V, hdDvd, hdDvdHeader(2, 2, 6, 17), kAccepted, 9, 192000, 6, ST24Bit, 0x3F},
    HeaderCase{"hd-dvd assignment 7", V, hdDvd, hdDvdHeader(0, 0, 3, 7), kAccepted, 9, 48000, 3, ST16Bit, 0x103},
    HeaderCase{"hd-dvd assignment 18", V, hdDvd, hdDvdHeader(0, 0, 5, 18), kAccepted, 9, 48000, 5, ST16Bit, 0x3B},
    HeaderCase{"hd-dvd assignment 21", V, hdDvd, hdDvdHeader(0, 0, 2, 21), kRefused},
    HeaderCase{"hd-dvd quantisation 3 is 16-bit", V, hdDvd, hdDvdHeader(3, 0, 2, 1), kAccepted, 9, 48000, 2, ST16Bit, 0x3},
    HeaderCase{"hd-dvd 8 bytes", V, hdDvd, changed(hdDvdHeader(0, 0, 2, 1), 8, -1), kRefused},
    HeaderCase{"dvda frequency code 2", A, dvda, dvdaHeader(0x22, 0x22, 17), kAccepted, 12, 192000, 6, ST24Bit},
    HeaderCase{"dvda frequency code 8", A, dvda, dvdaHeader(0x00, 0x88, 17), kAccepted, 12, 44100, 6, ST16Bit},
    HeaderCase{"dvda frequency code 9", A, dvda, dvdaHeader(0x00, 0x99, 17), kAccepted, 12, 88200, 6, ST16Bit},
    HeaderCase{"dvda frequency code 10", A, dvda, dvdaHeader(0x00, 0xAA, 17), kAccepted, 12, 176400, 6, ST16Bit},
    HeaderCase{"dvda frequency code 3", A, dvda, dvdaHeader(0x00, 0x33, 17), kRefused},
    HeaderCase{"dvda groups that disagree: group 1 decides", A, dvda, dvdaHeader(0x20, 0x10, 17), kAccepted, 12, 96000, 6, ST24Bit},
    HeaderCase{"dvda substream 0xA1", A, dvda, changed(dvdaHeader(0, 0, 17), 0, 0xA1), kRefused},
    HeaderCase{"dvda assignment 1 is stereo", A, dvda, dvdaHeader(0x0F, 0x0F, 1), kAccepted, 12, 48000, 2, ST16Bit, 0x3},
    HeaderCase{"dvda assignment 20 codes the surround pair first", A, dvda, dvdaHeader(0x22, 0x11, 20), kAccepted, 12, 96000, 6, ST24Bit, 0x3F},
    HeaderCase{"dvda assignment 21", A, dvda, dvdaHeader(0x00, 0x00, 21), kRefused},
    HeaderCase{"dvda a longer header is skipped whole", A, dvda, dvdaHeader(0x22, 0x11, 17, 14), kAccepted, 18, 96000, 6, ST24Bit},
    // 36 lead-in bytes = 2 frames of six 24-bit channels = 2/96000 s.
    HeaderCase{"dvda first access unit after two frames", A, dvda, dvdaHeader(0x22, 0x11, 17, 8, 36), kAccepted, 12, 96000, 6, ST24Bit, 0, 208},
    HeaderCase{"dvda 3 bytes", A, dvda, {0xA0, 0, 0}, kRefused},
    HeaderCase{"dvda plain audio has no header", A, plainDvda(2, 16), {}, kAccepted, 0, 48000, 2, ST16Bit},
    HeaderCase{"dvda plain 6ch: the format block names no mask", A, plainDvda(6, 16), {}, kAccepted, 0, 48000, 6, ST16Bit, 0x3F},
    HeaderCase{"dvda typed as dvd-video, 96 kHz", A, dvd, dvdHeader(2, 1, 2, 4 + 12), kAccepted, 7, 96000, 2, ST24Bit, 0, 208},
    HeaderCase{"dvda typed as dvd-video, a syncword", A, dvd, changed(dvdHeader(0, 0, 2), 0, 0x80), kRefused},
    HeaderCase{"dvda another subtype", A, pesType(MEDIASUBTYPE_PCM), dvdHeader(0, 0, 2), kRefused}),
    caseName<HeaderCase>);
// clang-format on

// compatQuirks=1 takes only the two groups of three (assignment 17), as the
// decoder once did; by default every assignment is decoded.
TEST(LpcmPackets, DvdaCompatQuirksTakeOnlyAssignment17)
{
    for (auto [parameters, stereoTaken] :
         {std::pair{"", true}, std::pair{"compatQuirks=1\n", false}}) {
        ParameterLines lines(parameters);
        for (int assignment : {1, 17}) {
            std::ostringstream log;
            auto decoder = makeDecoder(A, log);
            ASSERT_TRUE(decoder->init(dvda));
            std::vector<uint8_t> packet = dvdaHeader(0x00, 0x00, assignment);
            packet.resize(packet.size() + 48, 0x55);
            const uint8_t* p = packet.data();
            EXPECT_EQ(decoder->parsePacketHeader(&p, p + packet.size()),
                      assignment == 17 || stereoTaken)
                << parameters << assignment;
        }
    }
}

// compatQuirks=1 leaves 20-bit DVD-Video LPCM silent, as the decoder once did.
TEST(LpcmPackets, Dvd20BitSilentUnderCompatQuirks)
{
    ParameterLines lines("compatQuirks=1\n");
    std::ostringstream log;
    auto decoder = makeDecoder(V, log);
    ASSERT_TRUE(decoder->init(pesType(MEDIASUBTYPE_DVD_LPCM_AUDIO, 2, 20)));
    std::vector<uint8_t> input(60, 0x5A);
    MemorySample out(4096);
    const uint8_t* p = input.data();
    ASSERT_NE(decoder->process(&p, p + input.size(), &out), nullptr);
    std::vector<uint8_t> written = out.buffer();
    written.resize(size_t(out.GetActualDataLength()));
    EXPECT_EQ(written, std::vector<uint8_t>(60, 0));
}

// Without packet headers the format block alone tells the rate and the
// channels: a block without them refuses the type. With headers, they come
// from the first packet.
TEST(LpcmPackets, FormatBlocksWithoutRateOrChannels)
{
    struct Case {
        Decoder decoder;
        GUID major, subtype;
        DWORD rate;
        WORD channels;
        bool usable;
    };
    const GUID &audio = MEDIATYPE_Audio, &pes = MEDIATYPE_MPEG2_PES,
               &dvdLpcm = MEDIASUBTYPE_DVD_LPCM_AUDIO, &dvdaLpcm = MEDIASUBTYPE_DVDA_AUDIO_LPCM;
    const Case cases[] = {
        {V, audio, dvdLpcm, 0, 2, false},    {V, audio, dvdLpcm, 48000, 0, false},
        {V, audio, dvdLpcm, 48000, 2, true}, {V, pes, dvdLpcm, 0, 2, true},
        {A, audio, dvdaLpcm, 0, 2, false},   {A, audio, dvdaLpcm, 48000, 0, false},
        {A, pes, dvdaLpcm, 0, 0, true},
    };
    for (const Case& c : cases) {
        std::ostringstream log;
        auto decoder = makeDecoder(c.decoder, log);
        CMediaType type = waveType(c.major, c.subtype, WAVE_FORMAT_PCM, c.rate, c.channels, 16);
        EXPECT_EQ(decoder->init(type) != nullptr, c.usable)
            << int(c.decoder) << " " << c.rate << " Hz, " << c.channels << " channels";
    }
}

// "0125" as {0, 1, 2, 5}.
std::vector<int> digits(const std::string& text)
{
    std::vector<int> out;
    for (char c : text)
        out.push_back(c - '0');
    return out;
}

std::vector<uint8_t> counting(size_t size, int step = 3)
{
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = uint8_t(i * size_t(step) + 1);
    return bytes;
}

// One call of a decoder on raw payload bytes: what it consumed, reported and
// wrote (the whole declared output buffer when `buffer` is set).
struct ConversionCase {
    const char* what;
    Decoder decoder;
    CMediaType type;
    std::vector<uint8_t> input;
    size_t outputSize;
    bool frame;
    size_t consumed;
    int samples, frameSize;
    std::vector<uint8_t> output;
};

class LpcmConversion : public ::testing::TestWithParam<ConversionCase> {};

TEST_P(LpcmConversion, BytesInBytesOut)
{
    const ConversionCase& c = GetParam();
    std::ostringstream log;
    auto decoder = makeDecoder(c.decoder, log);
    ASSERT_TRUE(decoder->init(c.type));
    MemorySample out(c.outputSize);
    const uint8_t* p = c.input.data();
    TvStatus* status = decoder->process(&p, p + c.input.size(), &out);
    EXPECT_TRUE(out.guardIntact());
    EXPECT_EQ(size_t(p - c.input.data()), c.consumed);
    ASSERT_EQ(status != nullptr, c.frame);
    if (!status) {
        EXPECT_EQ(out.GetActualDataLength(), 0);
        return;
    }
    EXPECT_EQ(std::vector<int>({status->samples, status->iFrameSize}),
              std::vector<int>({c.samples, c.frameSize}));
    std::vector<uint8_t> written = out.buffer();
    written.resize(c.output.size());
    EXPECT_EQ(written, c.output);
}

// Six 24-bit samples in two frames of three channels, as the packing has them
// (upper words, then low bytes) and as they come out (little-endian).
std::vector<uint8_t> threeChannelPair(bool packed)
{
    std::vector<uint8_t> upper, low, out;
    for (int i = 0; i < 6; ++i) {
        upper.insert(upper.end(), {uint8_t(0x10 + i), uint8_t(0x20 + i)});
        low.push_back(uint8_t(0x30 + i));
        out.insert(out.end(), {uint8_t(0x30 + i), uint8_t(0x20 + i), uint8_t(0x10 + i)});
    }
    return packed ? upper + low : out;
}

const std::vector<uint8_t> kNothing;

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, LpcmConversion, ::testing::Values(
    // Half a stereo frame at the end; then half a word too, copied as it is.
    ConversionCase{"dvd 16-bit with a partial frame", V, dvd, counting(1022), 4096, true, 1022, 255, 1022, swappedPairs(counting(1022))},
    ConversionCase{"dvd 16-bit with a partial word", V, dvd, counting(1023), 4096, true, 1023, 255, 1023, changed(swappedPairs(counting(1023)), 1022, counting(1023).back())},
    // 20-bit: four upper words, then their low nibbles two to a byte (two words and a byte for one channel); a partial pair waits.
    ConversionCase{"dvd 20-bit stereo pair", V, pesType(MEDIASUBTYPE_DVD_LPCM_AUDIO, 2, 20), hex("123456789ABCDEF0A53C010203"), 4096, true, 10, 2, 10, hex("A0341250785630BC9AC0F0DE")},
    ConversionCase{"dvd 20-bit mono pair", V, pesType(MEDIASUBTYPE_DVD_LPCM_AUDIO, 1, 20), hex("12345678A5"), 4096, true, 5, 2, 5, hex("A03412507856")},
    ConversionCase{"dvd 20-bit converts as many pairs as the output holds", V, pesType(MEDIASUBTYPE_DVD_LPCM_AUDIO, 2, 20), hex("123456789ABCDEF0A53C123456789ABCDEF0A53C"), 12, true, 10, 2, 10, hex("A0341250785630BC9AC0F0DE")},
    ConversionCase{"dvd 20-bit three channels stay silent", V, pesType(MEDIASUBTYPE_DVD_LPCM_AUDIO, 3, 20), std::vector<uint8_t>(90, 0x5A), 4096, true, 90, 10, 90, std::vector<uint8_t>(90, 0)},
    // Four channels and more: the pair's samples in fours, four upper words then their four low bytes.
    ConversionCase{"dvd 24-bit four-channel pair", V, pesType(MEDIASUBTYPE_DVD_LPCM_AUDIO, 4, 24), hex("0102030405060708111213142122232425262728313233340A"), 4096, true, 24, 2, 24, hex("110201120403130605140807312221322423332625342827")},
    ConversionCase{"dvd 24-bit three-channel pair", V, pesType(MEDIASUBTYPE_DVD_LPCM_AUDIO, 3, 24), threeChannelPair(true), 64, true, 18, 2, 18, threeChannelPair(false)},
    ConversionCase{"dvd 24-bit odd trailing frame is left", V, pesType(MEDIASUBTYPE_DVD_LPCM_AUDIO, 2, 24), std::vector<uint8_t>(18, 0x11), 64, true, 12, 2, 12, kNothing},
    ConversionCase{"dvd nothing to convert", V, dvd, hex("010203"), 64, false, 0, 0, 0, kNothing},
    ConversionCase{"dvd output room decides", V, dvd, std::vector<uint8_t>(400, 0x22), 100, true, 96, 24, 96, std::vector<uint8_t>(96, 0x22)},
    ConversionCase{"dvda odd 16-bit frame count: swapped, not counted", A, plainDvda(2, 16), counting(12, 1), 64, true, 12, 2, 12, swappedPairs(counting(12, 1))},
    ConversionCase{"dvda 20-bit is consumed as silence", A, plainDvda(2, 20), std::vector<uint8_t>(24, 0x33), 64, true, 24, 4, 24, std::vector<uint8_t>(20, 0)},
    ConversionCase{"dvda 16-bit output room decides", A, plainDvda(2, 16), std::vector<uint8_t>(480, 0x22), 100, true, 480, 120, 480, std::vector<uint8_t>(100, 0x22)}),
    caseName<ConversionCase>);
// clang-format on

// The DVD-Video first access unit pointer sets the time offset: it counts
// from its own last byte, so a pointer of 104 leaves 100 bytes, 25 stereo
// frames, before the unit. compatQuirks=1 counts the 307 bytes from the unit
// to the end of the 407-byte payload instead, 76 frames.
TEST(LpcmPackets, DvdTimeOffsetFromTheFirstAccessUnit)
{
    for (auto [parameters, frames] : {std::pair{"", 25}, std::pair{"compatQuirks=1\n", 76}}) {
        ParameterLines lines(parameters);
        std::ostringstream log;
        auto decoder = makeDecoder(V, log);
        ASSERT_TRUE(decoder->init(dvd));
        std::vector<uint8_t> packet = dvdHeader(0, 0, 2, 104) + std::vector<uint8_t>(400);
        DecoderRun run = feedDecoder(*decoder, {packet}, {.privateHeaders = true});
        ASSERT_FALSE(run.frames.empty());
        EXPECT_EQ(run.frames[0]->timeOffset, -(frames * 10000000 / 48000)) << parameters;
    }
}

// A partial 3+3 unit of DVD-Audio is dropped with its packet.
TEST(LpcmPackets, DvdaPartialThreePlusThreeUnit)
{
    std::ostringstream log;
    auto decoder = makeDecoder(A, log);
    ASSERT_TRUE(decoder->init(dvda));
    std::vector<uint8_t> packet = dvdaHeader(0x22, 0, 17) + std::vector<uint8_t>(54, 0x11);
    DecoderRun run = feedDecoder(*decoder, {packet}, {.privateHeaders = true});
    ASSERT_EQ(run.frames.size(), 1u);
    EXPECT_EQ(run.frames[0]->iFrameSize, 54);
    EXPECT_EQ(run.output.size(), 36u);
}
// Blu-ray LPCM: a packet whose every big-endian sample names its frame and
// coded channel, so the output shows where each one went.
std::vector<uint8_t> bdPacket(int assignment, int frequency, int bits, int channels, int frames)
{
    int width = bits == 1 ? 2 : 3, size = frames * channels * width;
    std::vector<uint8_t> packet = {uint8_t(size >> 8), uint8_t(size),
                                   uint8_t(assignment << 4 | frequency), uint8_t(bits << 6)};
    for (int f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c) {
            if (width == 3)
                packet.push_back(0xA0);
            packet.insert(packet.end(), {uint8_t(f), uint8_t(c)});
        }
    return packet;
}

// Each output channel takes the coded channel `order` names, little-endian.
std::vector<uint8_t> bdOutput(const std::vector<int>& order, int bits, int frames)
{
    std::vector<uint8_t> out;
    for (int f = 0; f < frames; ++f)
        for (int c : order) {
            out.insert(out.end(), {uint8_t(c), uint8_t(f)});
            if (bits != 1)
                out.push_back(0xA0);
        }
    return out;
}

struct BdCase {
    const char* what;
    std::vector<uint8_t> input;
    size_t consumed;
    std::vector<int> order;  // coded channel of each output channel; empty: no frame
    int bits, frames, freq;
    uint32_t mask;
    size_t outputSize = 65536;
    std::vector<uint8_t> literal = {};  // the output, when not made by bdOutput
};

class BdPackets : public ::testing::TestWithParam<BdCase> {};

TEST_P(BdPackets, DecodeOrRefuse)
{
    const BdCase& c = GetParam();
    std::ostringstream log;
    auto decoder = makeDecoder(Decoder::LpcmBd, log);
    ASSERT_TRUE(decoder->init(pesType(MEDIASUBTYPE_BDMV_LPCM_AUDIO)));
    MemorySample out(c.outputSize);
    const uint8_t* p = c.input.data();
    TvStatus* status = decoder->process(&p, p + c.input.size(), &out);
    EXPECT_EQ(size_t(p - c.input.data()), c.consumed);
    EXPECT_TRUE(out.guardIntact());
    if (c.order.empty()) {
        EXPECT_EQ(status, nullptr);
        EXPECT_EQ(out.GetActualDataLength(), 0);
        return;
    }
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(out.data(), c.literal.empty() ? bdOutput(c.order, c.bits, c.frames) : c.literal);
    EXPECT_EQ(std::vector<int>({status->chan, int(status->channelMask), status->freq,
                                status->samples, status->stype, status->iFrameSize}),
              std::vector<int>({int(c.order.size()), int(c.mask), c.freq, c.frames,
                                c.bits == 1 ? ST16Bit : ST24Bit, int(c.input.size()) - 4}));
}

const std::vector<uint8_t> kStereo = bdPacket(3, 1, 1, 2, 4);

// Refused whole (or, when it `waits`, left for more input).
BdCase dropped(const char* what,
               std::vector<uint8_t> input,
               bool waits = false,
               size_t room = 65536)
{
    size_t consumed = waits ? 0 : input.size();
    return {what, std::move(input), consumed, {}, 1, 0, 0, 0, room};
}

INSTANTIATE_TEST_SUITE_P(
    Rows,
    BdPackets,
    ::testing::Values(
        // 16-bit layouts decode against ffmpeg in the reference table.
        BdCase{"3.0 192 kHz 24-bit", bdPacket(4, 5, 3, 4, 3), 40, digits("012"), 3, 3, 192000, 0x7},
        BdCase{"7.0 24-bit", bdPacket(10, 4, 3, 8, 2), 52, digits("0123645"), 3, 2, 96000, 0x637},
        BdCase{"7.1 24-bit", bdPacket(11, 1, 3, 8, 2), 52, digits("01273645"), 3, 2, 48000, 0x63F},
        // A payload of partial frames: the missing half is silence.
        BdCase{"partial frame", hex("0006314012345678EEEE"), 10, digits("01"), 1, 1, 48000, 0x3, 64,
               hex("341278560000")},
        dropped("two packets in one buffer", kStereo + kStereo, false),
        dropped("44.1 kHz (code 2)", bdPacket(3, 2, 1, 2, 4)),
        dropped("44.1 kHz family (code 3)", bdPacket(3, 3, 1, 2, 4)),
        dropped("assignment 0", bdPacket(0, 1, 1, 2, 4)),
        dropped("assignment 2", bdPacket(2, 1, 1, 2, 4)),
        dropped("assignment 12", bdPacket(12, 1, 1, 2, 4)),
        dropped("bits code 0", bdPacket(3, 1, 0, 2, 4)),
        dropped("an incomplete packet waits", changed(kStereo, kStereo.size() - 1, -1), true),
        dropped("three bytes wait", changed(kStereo, 3, -1), true),
        dropped("nothing waits", {}, true),
        dropped("a packet larger than the output", bdPacket(3, 1, 1, 2, 16), false, 64)),
    caseName<BdCase>);

}  // namespace
