// ADTS headers: each field where the standard puts it, and "no frame here"
// for what is not a header; the priming an encoder announces in its first
// access unit. Whole ADTS streams are the tavio table's.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "host/parsers/aac_encoder_delay.h"
#include "host/parsers/adts_header.h"

namespace {

TEST(AdtsHeader, FieldsAndNoFrameHere)
{
    struct Case {
        const char* what;
        std::vector<uint8_t> bytes;
        bool frame;
        AdtsHeader expected;
        std::vector<uint8_t> config;
    } cases[] = {
        // MPEG-4, LC, 44.1 kHz (index 4), two channels, 371 bytes, one block.
        {"MPEG-4 without CRC",
         {0xFF, 0xF1, 0x50, 0x80, 0x2E, 0x7F, 0xFC},
         true,
         {4, 1, 4, 2, 371, 7, 1},
         {0x12, 0x10}},
        // MPEG-2, Main, 48 kHz (index 3), 5.1 (configuration 6), 8191 bytes,
        // four blocks, a CRC after the fields.
        {"MPEG-2 with CRC",
         {0xFF, 0xF8, 0x0D, 0x83, 0xFF, 0xFF, 0xFF, 0x12, 0x34},
         true,
         {2, 0, 3, 6, 8191, 9, 4},
         {0x09, 0xB0}},
        {"no sync", {0xFF, 0xE1, 0x50, 0x80, 0x2E, 0x7F, 0xFC}, false, {}, {}},
        {"layer 1", {0xFF, 0xF3, 0x50, 0x80, 0x2E, 0x7F, 0xFC}, false, {}, {}},
        {"six bytes", {0xFF, 0xF1, 0x50, 0x80, 0x2E, 0x7F}, false, {}, {}},
        {"CRC cut off", {0xFF, 0xF0, 0x50, 0x80, 0x2E, 0x7F, 0xFC, 0x00}, false, {}, {}},
    };
    auto fields = [](const AdtsHeader& h) {
        return std::tuple(h.mpegVersion, h.profile, h.rateIndex, h.channelConfig, h.frameLength,
                          h.headerLength, h.rawBlocks);
    };
    for (const Case& c : cases) {
        AdtsHeader header;
        ASSERT_EQ(parseAdtsHeader(c.bytes.data(), c.bytes.size(), header), c.frame) << c.what;
        if (!c.frame)
            continue;
        EXPECT_EQ(fields(header), fields(c.expected)) << c.what;
        EXPECT_EQ(adtsAudioSpecificConfig(header), c.config) << c.what;
    }
}

TEST(AacEncoderDelay, FaacNamesItsPriming)
{
    // A fill element of 15 + 2 - 1 bytes (the escape byte), as FAAC 1.28
    // opens its first access unit, the element's payload after `head`.
    auto unit = [](std::vector<uint8_t> head, const char* text) {
        head.insert(head.end(), text, text + std::strlen(text));
        head.resize(head.size() + 8, 0);
        return head;
    };
    const std::vector<uint8_t> fill16 = {0xDE, 0x04, 0x00, 0x00};
    struct Case {
        const char* what;
        std::vector<uint8_t> bytes;
        uint32_t frames;
    } cases[] = {
        {"FAAC's first unit", unit(fill16, "libfaac 1.28"), 1024},
        {"another encoder's name", unit(fill16, "Lavc60.31.102"), 0},
        {"the name without a version", unit(fill16, "libfaac XY"), 0},
        // A channel pair element first: the bytes are audio, not a name.
        {"not a fill element", unit({0x20, 0x04, 0x00, 0x00}, "libfaac 1.28"), 0},
        // A fill element of 3 bytes cannot hold the name after it.
        {"the name past the element", unit({0xC6, 0x00, 0x00, 0x00}, "libfaac 1.28"), 0},
        {"cut short", {0xDE, 0x04, 0x00, 0x00, 'l', 'i', 'b', 'f', 'a', 'a', 'c', ' ', '1'}, 0},
        {"empty", {}, 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(announcedPrimingFrames(c.bytes.data(), c.bytes.size()), c.frames) << c.what;
}

}  // namespace
