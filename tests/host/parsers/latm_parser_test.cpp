// LATM/LOAS to raw AAC access units: ffmpeg's LOAS muxer against the access
// units of the MP4 it was made from, whole and in pieces, and hand-built
// AudioMuxElements for the paths ffmpeg does not write.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "host/input_source.h"
#include "host/parsers/latm_parser.h"
#include "support/bit_writer.h"
#include "support/ffmpeg.h"

namespace {

std::vector<std::vector<uint8_t>> parseInPieces(const std::vector<uint8_t>& stream,
                                                size_t piece,
                                                LatmParser& parser,
                                                std::mt19937* random = nullptr)
{
    std::vector<std::vector<uint8_t>> units;
    std::vector<uint8_t> unit;
    size_t offset = 0;
    while (offset < stream.size()) {
        size_t take = random ? 1 + (*random)() % 700 : piece ? piece : stream.size();
        take = std::min(take, stream.size() - offset);
        parser.push(stream.data() + offset, take);
        offset += take;
        while (parser.next(unit))
            units.push_back(unit);
    }
    return units;
}

TEST(LatmParser, GivesTheAccessUnitsAndConfigOfTheStreamFfmpegMuxed)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string m4a = folder.file("in.m4a"), loas = folder.file("in.loas");
    ASSERT_TRUE(encodeTones(m4a, {"FL+FR", 44100, 1.5}, "-c:a aac"));
    ASSERT_TRUE(runCommand("ffmpeg -v error -i " + m4a + " -c copy -f latm -y " + loas));

    std::string error;
    auto input = openInputSource(m4a, error);
    ASSERT_TRUE(input && input->select(0)) << error;
    const CMediaType& type = *input->streams()[0].mediaType;
    std::vector<uint8_t> config(type.pbFormat + sizeof(WAVEFORMATEX),
                                type.pbFormat + type.cbFormat);
    std::vector<std::vector<uint8_t>> expected;
    HostPacket packet;
    while (input->next(packet))
        expected.push_back(packet.data);
    ASSERT_GT(expected.size(), 40u);  // the muxer repeats its configuration every 20 frames

    std::vector<uint8_t> stream = readBytes(loas);
    std::mt19937 random(7);
    for (size_t piece : {size_t(0), size_t(1), size_t(17), size_t(1000), size_t(2)}) {
        LatmParser parser;
        auto units = parseInPieces(stream, piece, parser, piece == 2 ? &random : nullptr);
        EXPECT_TRUE(units == expected)
            << "piece " << piece << ": " << units.size() << " vs " << expected.size();
        // Without a length for it, the configuration ends where the core
        // configuration ends: the MP4's trailing SBR sync extension (which
        // says "no SBR") is not carried.
        const auto& got = parser.audioSpecificConfig();
        ASSERT_GE(got.size(), 2u);
        ASSERT_LE(got.size(), config.size());
        EXPECT_TRUE(std::equal(got.begin(), got.end(), config.begin())) << "piece " << piece;
        EXPECT_EQ(parser.droppedFrames(), 0u);
    }
}

// A payload behind its 255-escaped length, for hand-built AudioMuxElements.
BitWriter& payload(BitWriter& b, size_t length, uint8_t fill)
{
    for (size_t rest = length;; rest -= 255) {
        b.put(uint32_t(std::min<size_t>(rest, 255)), 8);
        if (rest < 255)
            break;
    }
    for (size_t i = 0; i < length; ++i)
        b.put(fill, 8);
    return b;
}

// The element inside a LOAS frame.
std::vector<uint8_t> loas(const BitWriter& b)
{
    std::vector<uint8_t> frame = b.bytes();
    frame.insert(frame.begin(), {0x56, uint8_t(0xE0 | (frame.size() >> 8)), uint8_t(frame.size())});
    return frame;
}

// A StreamMuxConfig of version 1 (configuration length given) with one
// program, one layer, LC stereo at 48 kHz.
BitWriter& versionOneConfig(BitWriter& b, int programs = 0, bool sameTimeFraming = true)
{
    b.put(0, 1).put(1, 1).put(0, 1);         // new config, audioMuxVersion 1, versionA 0
    b.put(0, 2).put(0xFF, 8);                // taraBufferFullness
    b.put(sameTimeFraming, 1).put(1, 6);     // all streams same framing, numSubFrames 1 (two units)
    b.put(uint32_t(programs), 4).put(0, 3);  // numProgram, numLayer
    b.put(0, 2).put(16, 8).put(0x1190, 16);  // ascLen 16 bits, AudioSpecificConfig
    b.put(0, 3).put(0xFF, 8);                // frameLengthType 0, latmBufferFullness
    b.put(0, 1).put(0, 1);                   // no other data, no CRC
    return b;
}

TEST(LatmParser, HandBuiltElements)
{
    struct Case {
        const char* what;
        std::vector<uint8_t> stream;
        std::vector<size_t> unitSizes;
        size_t dropped;
    };
    BitWriter first, same, programs, framing, tooLong;
    payload(payload(versionOneConfig(first), 3, 0xAA), 300, 0xBB);
    payload(payload(same.put(1, 1), 1, 0xCC), 2, 0xDD);  // useSameStreamMux
    payload(payload(versionOneConfig(programs, 1), 3, 0xAA), 3, 0xAA);
    payload(payload(versionOneConfig(framing, 0, false), 3, 0xAA), 3, 0xAA);
    tooLong.put(1, 1).put(200, 8).put(0xEE, 8);
    auto join = [](std::vector<std::vector<uint8_t>> parts) {
        std::vector<uint8_t> all;
        for (auto& p : parts)
            all.insert(all.end(), p.begin(), p.end());
        return all;
    };
    const std::vector<uint8_t> garbage = {0x00, 0x56, 0x12, 0xFF};
    std::vector<uint8_t> cut = loas(first);
    cut.pop_back();
    Case cases[] = {
        {"config, then same config", join({loas(first), loas(same)}), {3, 300, 1, 2}, 0},
        {"garbage between frames",
         join({garbage, loas(first), garbage, loas(same)}),
         {3, 300, 1, 2},
         0},
        {"same config before any", join({loas(same), loas(first)}), {3, 300}, 1},
        {"two programs", loas(programs), {}, 1},
        {"different time framing", loas(framing), {}, 1},
        {"unit longer than the frame", join({loas(first), loas(tooLong)}), {3, 300}, 1},
        {"frame cut short", cut, {}, 0},
    };
    for (const Case& c : cases) {
        LatmParser parser;
        auto units = parseInPieces(c.stream, 0, parser);
        std::vector<size_t> sizes;
        for (const auto& u : units)
            sizes.push_back(u.size());
        EXPECT_EQ(sizes, c.unitSizes) << c.what;
        EXPECT_EQ(parser.droppedFrames(), c.dropped) << c.what;
        if (!c.unitSizes.empty()) {
            EXPECT_EQ(parser.audioSpecificConfig(), (std::vector<uint8_t>{0x11, 0x90})) << c.what;
            EXPECT_EQ(units[0], std::vector<uint8_t>(3, 0xAA)) << c.what;
        }
    }
}

}  // namespace
