// Ogg pages and the Vorbis set-up headers they carry: our reader against
// libavformat's on an ffmpeg-made stream, and the headers' Xiph lacing into
// the VorbisFormat2 block, malformed lacing refused.
#include <gtest/gtest.h>

#include <cstring>

#include "core/media_subtypes.h"
#include "host/host_media_types.h"
#include "host/input_source.h"
#include "host/parsers/ogg_packets.h"
#include "support/ffmpeg.h"

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

// Our own Ogg reader and libavformat's agree on the audio packets, and the
// last packet carries the final granule position. (libavformat keeps only
// the vendor of the comment header, so the set-up data is compared without it.)
TEST(OggPackets, TheSamePacketsAsLibavformat)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    ASSERT_TRUE(encodeTones(folder.file("x.ogg"), {"FL+FR", 44100, 1.0}, "-c:a libvorbis"));
    std::string error;
    auto input = openInputSource(folder.file("x.ogg"), error);
    ASSERT_TRUE(input) << error;
    ASSERT_TRUE(input->select(0));
    std::vector<std::vector<uint8_t>> demuxed;
    HostPacket packet;
    while (input->next(packet))
        demuxed.push_back(packet.data);
    std::vector<uint8_t> bytes = readBytes(folder.file("x.ogg"));
    std::vector<OggPacket> ours = readOggPackets(bytes.data(), bytes.size());
    ASSERT_EQ(ours.size(), demuxed.size() + 3);
    for (size_t i = 0; i < demuxed.size(); ++i)
        ASSERT_TRUE(ours[i + 3].data == demuxed[i]) << "packet " << i;
    EXPECT_EQ(ours.back().granule, 44100);
    std::vector<std::vector<uint8_t>> headers;
    ASSERT_TRUE(splitXiphHeaders(xiphLacedHeaders(ours), headers));
    EXPECT_TRUE(headers[0] == ours[0].data);
    EXPECT_TRUE(headers[2] == ours[2].data);
    // A cut page ends the stream where it is cut.
    EXPECT_LT(readOggPackets(bytes.data(), bytes.size() - 1).size(), ours.size());
}

}  // namespace
