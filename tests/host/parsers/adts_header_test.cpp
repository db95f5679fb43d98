// ADTS headers: each field where the standard puts it, "no frame here" for
// what is not a header, and a whole stream as ffmpeg writes it read the way
// the host reads it, against the same stream remuxed into MP4, whose
// configuration and access units ffmpeg derives on its own.
#include <gtest/gtest.h>

#include <cstring>

#include "host/input_source.h"
#include "host/parsers/adts_header.h"
#include "support/ffmpeg.h"

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
    for (const Case& c : cases) {
        AdtsHeader header;
        ASSERT_EQ(parseAdtsHeader(c.bytes.data(), c.bytes.size(), header), c.frame) << c.what;
        if (!c.frame)
            continue;
        EXPECT_EQ(header.mpegVersion, c.expected.mpegVersion) << c.what;
        EXPECT_EQ(header.profile, c.expected.profile) << c.what;
        EXPECT_EQ(header.rateIndex, c.expected.rateIndex) << c.what;
        EXPECT_EQ(header.channelConfig, c.expected.channelConfig) << c.what;
        EXPECT_EQ(header.frameLength, c.expected.frameLength) << c.what;
        EXPECT_EQ(header.headerLength, c.expected.headerLength) << c.what;
        EXPECT_EQ(header.rawBlocks, c.expected.rawBlocks) << c.what;
        EXPECT_EQ(adtsAudioSpecificConfig(header), c.config) << c.what;
    }
}

std::vector<uint8_t> formatTail(const CMediaType& type)
{
    return {type.pbFormat + sizeof(WAVEFORMATEX), type.pbFormat + type.cbFormat};
}

std::vector<std::vector<uint8_t>> payloads(InputSource& input)
{
    std::vector<std::vector<uint8_t>> all;
    input.select(0);
    for (HostPacket packet; input.next(packet);)
        all.push_back(packet.data);
    return all;
}

TEST(AdtsHeader, AStreamReadsAsItsMp4Remux)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string adts = folder.file("x.aac"), mp4 = folder.file("x.m4a");
    ASSERT_TRUE(encodeTones(adts, {"FL+FR+FC+LFE+BL+BR"}, "-c:a aac -f adts"));
    ASSERT_TRUE(runCommand("ffmpeg -v error -i " + adts + " -c copy -y " + mp4));

    // Every frame parses, and the frames tile the file.
    std::vector<uint8_t> bytes = readBytes(adts);
    size_t offset = 0, frames = 0;
    AdtsHeader header;
    while (offset < bytes.size()) {
        ASSERT_TRUE(parseAdtsHeader(&bytes[offset], bytes.size() - offset, header)) << offset;
        ASSERT_GT(header.frameLength, header.headerLength);
        offset += header.frameLength;
        ++frames;
    }
    EXPECT_EQ(offset, bytes.size());

    std::string error;
    auto fromAdts = openInputSource(adts, error);
    ASSERT_TRUE(fromAdts) << error;
    auto fromMp4 = openInputSource(mp4, error);
    ASSERT_TRUE(fromMp4) << error;
    ASSERT_TRUE(fromAdts->streams()[0].mediaType);
    ASSERT_TRUE(fromMp4->streams()[0].mediaType);
    EXPECT_EQ(formatTail(*fromAdts->streams()[0].mediaType),
              formatTail(*fromMp4->streams()[0].mediaType));
    auto units = payloads(*fromAdts);
    EXPECT_EQ(units.size(), frames);
    EXPECT_EQ(units, payloads(*fromMp4));
}

}  // namespace
