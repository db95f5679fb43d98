// MPEG audio frame headers built field by field: each version and layer, the
// ends of the bit-rate rows, padding, and one row per way to refuse.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "decoders/mpeg_header.h"
#include "support/bit_writer.h"

namespace mpeg_header_rows {

// Sync, version bits (0 MPEG-2.5, 1 reserved, 2 MPEG-2, 3 MPEG-1), layer
// (4 writes the reserved code), no CRC, bit-rate index, sample-rate index,
// padding, private bit, channel mode (3: single channel), the rest.
std::vector<uint8_t> mpeg(int version,
                          int layer,
                          int bitrateIndex,
                          int rateIndex,
                          int padding,
                          int mode,
                          size_t size = 4)
{
    BitWriter w;
    w.put(0x7FF, 11).put(version, 2).put((4 - layer) & 3, 2).put(1, 1).put(bitrateIndex, 4);
    return w.put(rateIndex, 2).put(padding, 1).put(0, 1).put(mode, 2).put(0, 6).bytes(size);
}

struct Expected {
    bool found = false;
    int version = 0, layer = 0, channels = 0, sampleRate = 0, kbps = 0, frameSize = 0, samples = 0;
    auto fields() const
    {
        return std::tie(found, version, layer, channels, sampleRate, kbps, frameSize, samples);
    }
};

struct Row {
    const char* what;
    std::vector<uint8_t> bytes;
    Expected expected;
    bool legacyLayer1 = false;
    uint32_t freeFormatBytes = 0;
};

// clang-format off
const Row kRows[] = {
    {"MPEG-1 III 44.1 kHz 128 kbit/s padded", mpeg(3, 3, 9, 0, 1, 0), {true, 3, 3, 2, 44100, 128, 418, 2304}},
    {"MPEG-1 III 48 kHz 128 kbit/s", mpeg(3, 3, 9, 1, 0, 0), {true, 3, 3, 2, 48000, 128, 384, 2304}},
    {"MPEG-1 III largest index, single channel", mpeg(3, 3, 14, 0, 0, 3), {true, 3, 3, 1, 44100, 320, 1044, 1152}},
    {"MPEG-1 III smallest index at 32 kHz", mpeg(3, 3, 1, 2, 0, 0), {true, 3, 3, 2, 32000, 32, 144, 2304}},
    {"MPEG-1 II largest index at 32 kHz, padded", mpeg(3, 2, 14, 2, 1, 0), {true, 3, 2, 2, 32000, 384, 1729, 1152}},
    {"MPEG-1 II 48 kHz 384 kbit/s", mpeg(3, 2, 14, 1, 0, 0), {true, 3, 2, 2, 48000, 384, 1152, 1152}},
    {"MPEG-1 I 32 kHz 32 kbit/s", mpeg(3, 1, 1, 2, 0, 3), {true, 3, 1, 1, 32000, 32, 48, 384}},
    {"MPEG-1 I at 44.1 kHz: whole slots", mpeg(3, 1, 12, 0, 0, 0), {true, 3, 1, 2, 44100, 384, 416, 384}},
    {"MPEG-1 I pads by a slot", mpeg(3, 1, 12, 0, 1, 0), {true, 3, 1, 2, 44100, 384, 420, 384}},
    {"MPEG-1 I legacy: unrounded", mpeg(3, 1, 12, 0, 0, 0), {true, 3, 1, 2, 44100, 384, 417, 384}, true},
    {"MPEG-1 I legacy: pads by a byte", mpeg(3, 1, 12, 0, 1, 0), {true, 3, 1, 2, 44100, 384, 418, 384}, true},
    {"MPEG-1 I largest index", mpeg(3, 1, 14, 2, 0, 0), {true, 3, 1, 2, 32000, 448, 672, 384}},
    {"MPEG-2 III 24 kHz 64 kbit/s", mpeg(2, 3, 8, 1, 0, 0), {true, 2, 3, 2, 24000, 64, 192, 1152}},
    {"MPEG-2 III largest index at 16 kHz", mpeg(2, 3, 14, 2, 0, 3), {true, 2, 3, 1, 16000, 160, 720, 576}},
    {"MPEG-2 II shares the layer I row", mpeg(2, 2, 8, 1, 0, 0), {true, 2, 2, 2, 24000, 128, 768, 1152}},
    {"MPEG-2 I largest index at 22.05 kHz", mpeg(2, 1, 14, 0, 0, 0), {true, 2, 1, 2, 22050, 256, 556, 384}},
    {"MPEG-2.5 III 11.025 kHz 64 kbit/s", mpeg(0, 3, 8, 0, 0, 3), {true, 0, 3, 1, 11025, 64, 417, 576}},
    {"MPEG-2.5 III 8 kHz 8 kbit/s padded", mpeg(0, 3, 1, 2, 1, 0), {true, 0, 3, 2, 8000, 8, 73, 1152}},
    {"MPEG-2.5 III index 9: no size entry", mpeg(0, 3, 9, 0, 0, 3), {}},
    {"free format of unknown length", mpeg(3, 3, 0, 0, 0, 0), {}},
    {"free format III, its rate derived", mpeg(3, 3, 0, 0, 0, 0), {true, 3, 3, 2, 44100, 119, 391, 2304}, false, 391},
    {"free format III padded", mpeg(2, 3, 0, 1, 1, 3), {true, 2, 3, 1, 24000, 80, 241, 576}, false, 240},
    {"free format MPEG-2 II: its own length, not the layer I row's", mpeg(2, 2, 0, 1, 1, 0), {true, 2, 2, 2, 24000, 100, 601, 1152}, false, 600},
    {"free format I is not measured", mpeg(3, 1, 0, 0, 0, 0), {}, false, 392},
    {"free format longer than any looked for", mpeg(3, 3, 0, 0, 0, 0), {}, false, kMaxFreeFormatBytes + 1},
    {"bit-rate index 15", mpeg(3, 3, 15, 0, 0, 0), {}},
    {"reserved version", mpeg(1, 3, 9, 0, 0, 0), {}},
    {"reserved layer", mpeg(3, 4, 9, 0, 0, 0), {}},
    {"reserved sample rate", mpeg(3, 3, 9, 3, 0, 0), {}},
    {"no sync in byte 0", BitWriter().put(0xFEFB9000, 32).bytes(), {}},
    {"no sync in the top of byte 1", BitWriter().put(0xFFDB9000, 32).bytes(), {}},
    {"header cut short at the end of the buffer", mpeg(3, 3, 9, 0, 1, 0, 3), {}},
};
// clang-format on

TEST(MpegHeader, Table)
{
    for (const Row& row : kRows) {
        MpegHeader h;
        Expected got;
        got.found = parseMpegHeader(row.bytes.data(), row.bytes.size(), h, row.legacyLayer1,
                                    row.freeFormatBytes);
        if (got.found)
            got = {true,      h.version,   h.layer,       h.channels, int(h.sampleRate),
                   h.bitrate, h.frameSize, int(h.samples)};
        EXPECT_EQ(got.fields(), row.expected.fields()) << row.what;
    }
}

// Free-format frames laid out at the given offsets (each header a stereo
// MPEG-1 layer III one at 44.1 kHz, padded where asked), zeros between.
std::vector<uint8_t> freeFormatStream(size_t size, std::vector<std::pair<size_t, int>> headers)
{
    std::vector<uint8_t> bytes(size);
    for (auto [at, padding] : headers) {
        std::vector<uint8_t> h = mpeg(3, 3, 0, 0, padding, 0);
        std::copy(h.begin(), h.end(), bytes.begin() + long(at));
    }
    return bytes;
}

TEST(MpegHeader, FreeFormatLength)
{
    struct Case {
        const char* what;
        std::vector<uint8_t> bytes;
        uint32_t length;
    } cases[] = {
        {"the next header, confirmed by the one after",
         freeFormatStream(1200, {{0, 0}, {391, 1}, {783, 1}}), 391},
        {"padding counts once", freeFormatStream(1200, {{0, 1}, {392, 0}, {783, 1}}), 391},
        {"no header after: unknown", freeFormatStream(1200, {{0, 0}}), 0},
        {"the one after beyond the buffer: taken", freeFormatStream(600, {{0, 0}, {391, 0}}), 391},
        {"a false header the next one does not confirm is passed over",
         freeFormatStream(1300, {{0, 0}, {100, 0}, {391, 0}, {782, 0}}), 391},
        {"none inside the side information", freeFormatStream(1200, {{0, 0}, {20, 0}, {40, 0}}), 0},
        {"a header of another rate is no frame of the stream",
         [] {
             std::vector<uint8_t> b = freeFormatStream(1200, {{0, 0}});
             std::vector<uint8_t> other = mpeg(3, 3, 0, 1, 0, 0);
             std::copy(other.begin(), other.end(), b.begin() + 391);
             return b;
         }(),
         0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(measureFreeFormatFrame(c.bytes.data(), c.bytes.size()), c.length) << c.what;
}

}  // namespace mpeg_header_rows
