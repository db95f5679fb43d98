// MPEG audio frame headers: each valid kind once, and one case per way to
// refuse, as four hand-built bytes.
#include <gtest/gtest.h>

#include "decoders/mpeg_header.h"

namespace {

struct HeaderCase {
    const char* what;
    uint8_t bytes[4];
    bool valid;
    int version = 0, layer = 0, channels = 0, sampleRate = 0, bitrate = 0, frameSize = 0, samples = 0;
};

const HeaderCase kCases[] = {
    {"MPEG-1 layer III 44.1 kHz 128 kbit/s padded", {0xFF, 0xFB, 0x92, 0x00}, true, 3, 3, 2, 44100, 128, 418, 2304},
    {"MPEG-1 layer III 48 kHz 128 kbit/s", {0xFF, 0xFB, 0x94, 0x00}, true, 3, 3, 2, 48000, 128, 384, 2304},
    {"MPEG-1 layer III 320 kbit/s single channel", {0xFF, 0xFB, 0xE0, 0xC0}, true, 3, 3, 1, 44100, 320, 1044, 1152},
    {"MPEG-1 layer II 48 kHz 384 kbit/s", {0xFF, 0xFD, 0xE4, 0x00}, true, 3, 2, 2, 48000, 384, 1152, 1152},
    {"MPEG-1 layer I 32 kHz 32 kbit/s", {0xFF, 0xFF, 0x18, 0xC0}, true, 3, 1, 1, 32000, 32, 48, 384},
    // Layer I padding counts one byte here, like every other layer.
    {"MPEG-1 layer I 44.1 kHz 384 kbit/s padded", {0xFF, 0xFF, 0xC2, 0x00}, true, 3, 1, 2, 44100, 384, 418, 384},
    {"MPEG-2 layer III 24 kHz 64 kbit/s", {0xFF, 0xF3, 0x84, 0x00}, true, 2, 3, 2, 24000, 64, 192, 1152},
    // MPEG-2 layer II shares layer I's bit-rate row: index 8 reads 128, not 64.
    {"MPEG-2 layer II shares the layer I row", {0xFF, 0xF5, 0x84, 0x00}, true, 2, 2, 2, 24000, 128, 768, 1152},
    {"MPEG-2.5 layer III 11.025 kHz 64 kbit/s", {0xFF, 0xE3, 0x80, 0xC0}, true, 0, 3, 1, 11025, 64, 417, 576},
    {"MPEG-2.5 layer III bit-rate index 9", {0xFF, 0xE3, 0x90, 0xC0}, false},
    {"free format", {0xFF, 0xFB, 0x00, 0x00}, false},
    {"bit-rate index 15", {0xFF, 0xFB, 0xF0, 0x00}, false},
    {"reserved version", {0xFF, 0xEB, 0x90, 0x00}, false},
    {"reserved layer", {0xFF, 0xF9, 0x90, 0x00}, false},
    {"reserved sample rate", {0xFF, 0xFB, 0x9C, 0x00}, false},
    {"no sync in byte 0", {0xFE, 0xFB, 0x90, 0x00}, false},
    {"no sync in byte 1", {0xFF, 0xDB, 0x90, 0x00}, false},
};

TEST(MpegHeader, Table)
{
    for (const HeaderCase& c : kCases) {
        MpegHeader header;
        bool parsed = parseMpegHeader(c.bytes, 4, header);
        ASSERT_EQ(parsed, c.valid) << c.what;
        if (!parsed)
            continue;
        EXPECT_EQ(header.version, c.version) << c.what;
        EXPECT_EQ(header.layer, c.layer) << c.what;
        EXPECT_EQ(header.channels, c.channels) << c.what;
        EXPECT_EQ(int(header.sampleRate), c.sampleRate) << c.what;
        EXPECT_EQ(header.bitrate, c.bitrate) << c.what;
        EXPECT_EQ(header.frameSize, c.frameSize) << c.what;
        EXPECT_EQ(int(header.samples), c.samples) << c.what;
    }
}

TEST(MpegHeader, NeedsFourBytes)
{
    const uint8_t bytes[4] = {0xFF, 0xFB, 0x92, 0x00};
    MpegHeader header;
    EXPECT_FALSE(parseMpegHeader(bytes, 3, header));
}

}  // namespace
