// The Vorbis set-up headers in Xiph lacing unlaced into the VorbisFormat2
// block, malformed lacing refused.
#include <gtest/gtest.h>

#include <cstring>

#include "core/media_subtypes.h"
#include "host/host_media_types.h"

namespace {

std::vector<uint8_t> vorbisHeader(uint8_t type, size_t size)
{
    std::vector<uint8_t> header(size, 0xAB);
    header[0] = type;
    std::memcpy(header.data() + 1, "vorbis", 6);
    return header;
}

TEST(OggPackets, VorbisHeadersAreUnlacedIntoTheVorbisFormat2Block)
{
    auto id = vorbisHeader(1, 30), comment = vorbisHeader(3, 300), setup = vorbisHeader(5, 1000);
    // Channels and rate are the identification header's, whatever the
    // container says.
    id[11] = 2;
    uint32_t rate = 48000;
    std::memcpy(id.data() + 12, &rate, 4);
    AudioStreamParameters vorbis;
    vorbis.codec = "vorbis";
    vorbis.sampleRate = 44100;
    vorbis.channels = 0;
    vorbis.extradata = {2, 30, 255, 45};  // 300 = 255 + 45
    for (const auto* h : {&id, &comment, &setup})
        vorbis.extradata.insert(vorbis.extradata.end(), h->begin(), h->end());
    std::string why;
    auto type = hostMediaType(vorbis, why);
    ASSERT_TRUE(type) << why;
    EXPECT_TRUE(IsEqualGUID(type->formattype, FORMAT_VorbisFormat2));
    ASSERT_EQ(type->cbFormat, 24u + 30 + 300 + 1000);
    uint32_t fields[6];
    std::memcpy(fields, type->pbFormat, sizeof fields);
    EXPECT_EQ(fields[0], 2u);
    EXPECT_EQ(fields[1], 48000u);
    EXPECT_EQ(fields[3], 30u);
    EXPECT_EQ(fields[4], 300u);
    EXPECT_EQ(fields[5], 1000u);
    EXPECT_EQ(type->pbFormat[24 + 30], 3);  // the comment header follows the identification header

    // Malformed lacing: sizes past the end, a wrong count, a wrong packet type.
    std::vector<std::vector<uint8_t>> headers;
    for (std::vector<uint8_t> bad : {std::vector<uint8_t>{2, 255, 255},
                                     std::vector<uint8_t>{3, 1, 1, 1, 1}, std::vector<uint8_t>{}})
        EXPECT_FALSE(splitXiphHeaders(bad, headers));
    auto swapped = vorbis.extradata;
    swapped[4] = 3;  // the first header claims to be a comment header
    EXPECT_FALSE(splitXiphHeaders(swapped, headers));
}

}  // namespace
