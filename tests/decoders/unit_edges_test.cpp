// Decoders fed one coded unit per input sample (AAC, Vorbis): the set-ups
// they refuse, downmixes, and units that do not decode.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <utility>

#include "core/media_subtypes.h"
#include "decoders/decoder_rows.h"
#include "support/media_types.h"

namespace {

StreamInput madeInput(const std::string& speakers,
                      const std::string& options,
                      const std::string& format)
{
    return demuxed(
        madeStream({speakers, format == "ogg" ? 44100 : 48000, 0.5, 0.5}, options, format));
}

DecoderRun decodeUnits(Adec& decoder, const std::vector<std::vector<uint8_t>>& units)
{
    DecoderRun run = feedDecoder(decoder, units);
    EXPECT_EQ(run.contractBreaks, std::vector<std::string>{});
    return run;
}

std::vector<std::vector<uint8_t>> slice(const std::vector<std::vector<uint8_t>>& units,
                                        size_t from,
                                        size_t to)
{
    return {units.begin() + long(from), units.begin() + long(to)};
}

// The remixer's decoder downmix folds 5.1 AAC to stereo in the library, only
// when asked for front left and right of an AAC stream, and takes effect at
// the next unit when it changes mid-stream.
TEST(AacUnits, DecoderDownmix)
{
    REQUIRE_FFMPEG();
    StreamInput input = madeInput("FL+FR+FC+LFE+BL+BR", "-c:a aac", "mp4");
    ASSERT_GE(input.packets.size(), 12u);
    struct Case {
        int kind, mixType;
        uint32_t mask;
        int chan;
        TvRemixMode remix;
    } cases[] = {
        {KindAac, RemixDecoderDownmix, 0x3, 2, RemixDecoderDownmix},
        {KindAac, RemixDecoderDownmix, 0x3F, 6, RemixNone},
        {KindAac, RemixDecoderSurroundDownmix, 0x3, 6, RemixNone},
        {KindAc3, RemixDecoderDownmix, 0x3, 6, RemixNone},
    };
    for (const Case& c : cases) {
        std::ostringstream log;
        auto decoder = makeDecoder(Decoder::Aac, log);
        decoder->setMixType(c.kind, c.mixType, c.mask);
        ASSERT_TRUE(decoder->init(input.type));
        DecoderRun run = decodeUnits(*decoder, input.packets);
        ASSERT_FALSE(run.frames.empty());
        EXPECT_EQ(std::vector<int>({run.last().chan, int(run.last().remixMode)}),
                  std::vector<int>({c.chan, int(c.remix)}));
        EXPECT_EQ(run.output.size(), run.frames.size() * 1024 * 2 * size_t(c.chan));
    }
    std::ostringstream log;
    auto decoder = makeDecoder(Decoder::Aac, log);
    ASSERT_TRUE(decoder->init(input.type));
    std::vector<int> channels;
    for (int mix : {RemixNone, RemixDecoderDownmix, RemixNone}) {
        decoder->setMixType(KindAac, mix, mix == RemixNone ? 0 : 0x3);
        DecoderRun run = decodeUnits(
            *decoder, slice(input.packets, channels.size() * 4, channels.size() * 4 + 4));
        ASSERT_FALSE(run.frames.empty());
        channels.push_back(run.frames.front()->chan);
    }
    EXPECT_EQ(channels, (std::vector<int>{6, 2, 6}));
}

// A broken unit costs only itself: the library is opened again and the next
// unit decodes. compatQuirks=1 lets each opening withhold its first unit's
// output, the stream's first and the one after the broken unit.
TEST(AacUnits, ABrokenUnitCostsOnlyItself)
{
    REQUIRE_FFMPEG();
    StreamInput input = madeInput("FL+FR", "-c:a aac", "mp4");
    ASSERT_GE(input.packets.size(), 10u);
    std::memset(input.packets[5].data(), 0xFF, input.packets[5].size());
    for (auto [parameters, lost] : {std::pair{"", 1u}, std::pair{"compatQuirks=1\n", 3u}}) {
        ParameterLines lines(parameters);
        std::ostringstream log;
        auto decoder = makeDecoder(Decoder::Aac, log);
        ASSERT_TRUE(decoder->init(input.type));
        DecoderRun run = decodeUnits(*decoder, input.packets);
        EXPECT_EQ(run.output.size(), (input.packets.size() - lost) * 1024 * 2 * 2) << parameters;
    }
}

// Configurations the decoder refuses, and what init derives: 22.05 kHz LC is
// upsampled by implicit SBR to 44.1 kHz.
TEST(AacUnits, Configurations)
{
    auto typeWith = [](const GUID& subtype, std::vector<uint8_t> config, int declared = -1) {
        CMediaType type = waveType(MEDIATYPE_Audio, subtype, 0xFF, 48000, 2, 16, config);
        reinterpret_cast<WAVEFORMATEX*>(type.Format())->cbSize =
            WORD(declared < 0 ? config.size() : size_t(declared));
        return type;
    };
    std::ostringstream log;
    auto decoder = makeDecoder(Decoder::Aac, log);
    const std::vector<uint8_t> lcStereo48k = {0x11, 0x90};
    EXPECT_TRUE(decoder->accepts(typeWith(MEDIASUBTYPE_MP4_AUDIO, lcStereo48k)));
    EXPECT_FALSE(decoder->accepts(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {})));
    EXPECT_FALSE(
        decoder->accepts(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {0xF8, 0x00})));  // object type 31+
    EXPECT_FALSE(
        decoder->accepts(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {}, 40)));  // cbSize beyond the block
    EXPECT_EQ(decoder->init(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {})), nullptr);
    TvStatus* status = decoder->init(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {0x13, 0x90}));
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(std::vector<int>({status->freq, status->chan}), std::vector<int>({44100, 2}));
}

uint32_t read32(const std::vector<uint8_t>& block, size_t at)
{
    uint32_t v;
    std::memcpy(&v, block.data() + at, 4);
    return v;
}

void write32(std::vector<uint8_t>& block, size_t at, uint32_t v)
{
    std::memcpy(block.data() + at, &v, 4);
}

CMediaType withFormat(CMediaType type,
                      const std::vector<uint8_t>& block,
                      const GUID& format = FORMAT_VorbisFormat2)
{
    type.SetFormatType(&format);
    type.SetFormat(block.data(), ULONG(block.size()));
    return type;
}

// Set-ups the Vorbis decoder refuses at init; a refused stream decodes
// nothing, whatever it is sent.
TEST(VorbisUnits, RefusedSetups)
{
    REQUIRE_FFMPEG();
    StreamInput stereo = madeInput("FL+FR", "-c:a libvorbis -q:a 6", "ogg");
    ASSERT_GT(stereo.packets.size(), 8u);
    StreamInput nineChannels = demuxed(
        madeStream({"FL+FR+FC+LFE+BL+BR+BC+SL+SR", 48000, 0.2, 0.5}, "-c:a libvorbis", "ogg"));
    const std::vector<uint8_t> block(stereo.type.Format(),
                                     stereo.type.Format() + stereo.type.FormatLength());
    uint32_t id = read32(block, 12), comment = read32(block, 16), setup = read32(block, 20);
    std::vector<uint8_t> longer = block, shorter(block.begin(), block.begin() + 20),
                         unsigned_ = block, sixChannels = block,
                         swapped(block.begin(), block.begin() + 24 + id);
    longer.push_back(0);
    unsigned_[24 + id + 1] = 'V';  // the comment header's "vorbis"
    write32(sixChannels, 0, 6);
    swapped.insert(swapped.end(), block.begin() + 24 + id + comment, block.end());
    swapped.insert(swapped.end(), block.begin() + 24 + id, block.begin() + 24 + id + comment);
    write32(swapped, 16, setup);
    write32(swapped, 20, comment);
    for (const CMediaType& type :
         {withFormat(stereo.type, longer), withFormat(stereo.type, shorter),
          withFormat(stereo.type, block, FORMAT_WaveFormatEx), withFormat(stereo.type, unsigned_),
          withFormat(stereo.type, swapped), nineChannels.type,
          withFormat(stereo.type, sixChannels)}) {
        std::ostringstream log;
        auto decoder = makeDecoder(Decoder::Vorbis, log);
        EXPECT_EQ(decoder->init(type), nullptr);
        DecoderRun run = decodeUnits(*decoder, slice(stereo.packets, 1, 3));
        EXPECT_TRUE(run.output.empty());
    }
}

// A header packet among the audio packets is dropped; decoding goes on.
TEST(VorbisUnits, AHeaderAmongTheAudioIsDropped)
{
    REQUIRE_FFMPEG();
    StreamInput stream = madeInput("FL+FR", "-c:a libvorbis -q:a 6", "ogg");
    std::vector<std::vector<uint8_t>> packets = slice(stream.packets, 0, 4);
    const BYTE* block = stream.type.Format();
    uint32_t id;
    std::memcpy(&id, block + 12, 4);
    packets.emplace_back(block + 24, block + 24 + id);
    packets.insert(packets.end(), stream.packets.begin() + 4, stream.packets.end());
    std::ostringstream log;
    auto decoder = makeDecoder(Decoder::Vorbis, log);
    ASSERT_TRUE(decoder->init(stream.type));
    DecoderRun run = decodeUnits(*decoder, packets);
    EXPECT_EQ(run.frames.size(), stream.packets.size() - 1);  // the first packet gives nothing
}

}  // namespace
