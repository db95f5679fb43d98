// The program-stream reader: hand-built packets as one table, streams from the
// reference muxer, split-input invariance and real streams.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "host/program_stream.h"
#include "support/reference_tools.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes timeStamp(int prefix, int64_t value)
{
    return {uint8_t((prefix << 4) | ((value >> 29) & 0x0E) | 1), uint8_t(value >> 22),
            uint8_t(((value >> 14) & 0xFE) | 1), uint8_t(value >> 7), uint8_t((value << 1) | 1)};
}

Bytes mpeg2Pack()
{
    return {0, 0, 1, 0xBA, 0x44, 0, 4, 0, 4, 1, 0x01, 0x89, 0xC3, 0xF8};  // 0 stuffing
}

Bytes mpeg2Pes(uint8_t id, const Bytes& payload, const int64_t* pts, const int64_t* dts = nullptr)
{
    Bytes header = {0x81, uint8_t(pts ? (dts ? 0xC0 : 0x80) : 0x00), 0};
    if (pts) {
        Bytes t = timeStamp(dts ? 3 : 2, *pts);
        header.insert(header.end(), t.begin(), t.end());
    }
    if (dts) {
        Bytes t = timeStamp(1, *dts);
        header.insert(header.end(), t.begin(), t.end());
    }
    header[2] = uint8_t(header.size() - 3);
    size_t length = header.size() + payload.size();
    Bytes packet = {0, 0, 1, id, uint8_t(length >> 8), uint8_t(length)};
    packet.insert(packet.end(), header.begin(), header.end());
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

Bytes mpeg1Pes(uint8_t id, const Bytes& payload, const int64_t* pts, int stuffing)
{
    Bytes header(static_cast<size_t>(stuffing), 0xFF);
    header.insert(header.end(), {0x40 | 0x20, 0x00});  // STD buffer fields
    if (pts) {
        Bytes t = timeStamp(2, *pts);
        header.insert(header.end(), t.begin(), t.end());
    } else {
        header.push_back(0x0F);
    }
    size_t length = header.size() + payload.size();
    Bytes packet = {0, 0, 1, id, uint8_t(length >> 8), uint8_t(length)};
    packet.insert(packet.end(), header.begin(), header.end());
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

std::vector<PesPacket> readAll(const Bytes& stream, const std::vector<size_t>& cuts = {},
                               ProgramStreamReader* keep = nullptr)
{
    ProgramStreamReader local;
    ProgramStreamReader& reader = keep ? *keep : local;
    std::vector<PesPacket> packets;
    PesPacket packet;
    size_t offset = 0;
    for (size_t cut : cuts) {
        cut = std::min(cut, stream.size());
        reader.append(stream.data() + offset, cut - offset);
        offset = cut;
        while (reader.next(packet))
            packets.push_back(packet);
    }
    reader.append(stream.data() + offset, stream.size() - offset);
    while (reader.next(packet))
        packets.push_back(packet);
    reader.finish();
    while (reader.next(packet))
        packets.push_back(packet);
    return packets;
}

const int64_t pts = 0x1ABCDEF01LL;  // uses all 33 bits
const int64_t dts = 12345;

struct PacketCase {
    const char* what;
    Bytes stream;
    size_t packets;
    int substream;
    bool hasPts;
    bool hasDts;
    size_t payloadSize;
    size_t skipped;
    size_t dropped;
};

class ReaderTable : public ::testing::TestWithParam<PacketCase> {};

TEST_P(ReaderTable, YieldsTheAudioPackets)
{
    const PacketCase& c = GetParam();
    ProgramStreamReader reader;
    auto packets = readAll(c.stream, {}, &reader);
    ASSERT_EQ(packets.size(), c.packets) << c.what;
    EXPECT_EQ(reader.skippedBytes(), c.skipped) << c.what;
    EXPECT_EQ(reader.droppedBytes(), c.dropped) << c.what;
    if (!c.packets)
        return;
    const PesPacket& p = packets[0];
    EXPECT_EQ(p.substreamId, c.substream) << c.what;
    EXPECT_EQ(p.hasPts, c.hasPts) << c.what;
    EXPECT_EQ(p.hasDts, c.hasDts) << c.what;
    EXPECT_EQ(p.payload.size(), c.payloadSize) << c.what;
    if (c.hasPts) {
        EXPECT_EQ(p.pts, pts) << c.what;
        EXPECT_EQ(p.ptsReferenceTime, pts * 1000 / 9) << c.what;
    }
    if (c.hasDts) {
        EXPECT_EQ(p.dts, dts) << c.what;
    }
}

const Bytes lpcm = {0xA0, 1, 0, 4, 0, 0x01, 0x80, 1, 2, 3, 4};

INSTANTIATE_TEST_SUITE_P(
    Packets, ReaderTable,
    ::testing::Values(
        PacketCase{"mpeg-2 private stream", concat({mpeg2Pack(), mpeg2Pes(0xBD, lpcm, &pts)}), 1, 0xA0,
                   true, false, lpcm.size(), 0, 0},
        PacketCase{"pts and dts", mpeg2Pes(0xC0, {1, 2, 3}, &pts, &dts), 1, -1, true, true, 3, 0, 0},
        PacketCase{"no time stamp", mpeg2Pes(0xC1, {9}, nullptr), 1, -1, false, false, 1, 0, 0},
        PacketCase{"mpeg-1 with stuffing", mpeg1Pes(0xC0, {5, 6}, &pts, 3), 1, -1, true, false, 2, 0, 0},
        PacketCase{"mpeg-1 without time", mpeg1Pes(0xBD, {0x80, 7}, nullptr, 0), 1, 0x80, false, false, 2, 0, 0},
        PacketCase{"garbage first", concat({{0x47, 0x00, 0x00, 0x12}, mpeg2Pes(0xBD, lpcm, &pts)}), 1, 0xA0,
                   true, false, lpcm.size(), 4, 0},
        PacketCase{"video and padding skipped",
                   concat({mpeg2Pes(0xE0, {0, 0, 1, 0xB3}, &pts), mpeg2Pes(0xBE, Bytes(20, 0xFF), nullptr),
                           mpeg2Pes(0xBD, lpcm, &pts), {0, 0, 1, 0xB9}}),
                   1, 0xA0, true, false, lpcm.size(), 0, 0},
        PacketCase{"truncated last packet",
                   [] {
                       Bytes s = concat({mpeg2Pes(0xBD, lpcm, &pts), mpeg2Pes(0xBD, lpcm, &pts)});
                       s.resize(s.size() - 3);
                       return s;
                   }(),
                   1, 0xA0, true, false, lpcm.size(), 0, mpeg2Pes(0xBD, lpcm, &pts).size() - 3},
        PacketCase{"header longer than packet",
                   Bytes{0, 0, 1, 0xBD, 0, 4, 0x81, 0x80, 40, 0xA0}, 0, -1, false, false, 0, 0, 10},
        PacketCase{"zero-length audio packet", concat({Bytes{0, 0, 1, 0xC0, 0, 0}, mpeg2Pes(0xBD, lpcm, &pts)}),
                   1, 0xA0, true, false, lpcm.size(), 2, 4},
        PacketCase{"empty payload", mpeg2Pes(0xBD, {}, nullptr), 1, -1, false, false, 0, 0, 0}));

TEST(ProgramStream, SplitInputGivesTheSamePackets)
{
    Bytes stream;
    for (int i = 0; i < 40; ++i) {
        Bytes payload(static_cast<size_t>(100 + i * 37), uint8_t(i));
        payload[0] = 0xA0;
        int64_t t = i * 3003;
        stream = concat({stream, mpeg2Pack(), mpeg2Pes(0xBD, payload, &t), {0x00, 0x00}});
    }
    auto whole = readAll(stream);
    ASSERT_EQ(whole.size(), 40u);
    std::mt19937 random(7);
    std::vector<std::vector<size_t>> splits(3);
    for (size_t i = 1; i < stream.size(); ++i)
        splits[0].push_back(i);  // one byte at a time
    for (size_t i = 17; i < stream.size(); i += 17)
        splits[1].push_back(i);
    for (size_t i = 0; i < stream.size();) {
        i += 1 + random() % 700;
        splits[2].push_back(i);
    }
    for (const auto& cuts : splits) {
        auto pieces = readAll(stream, cuts);
        ASSERT_EQ(pieces.size(), whole.size());
        for (size_t i = 0; i < whole.size(); ++i) {
            EXPECT_EQ(pieces[i].payload, whole[i].payload);
            EXPECT_EQ(pieces[i].pts, whole[i].pts);
        }
    }
}

TEST(ProgramStream, ReferenceMuxerStreamsKeepTheirPrivateHeadersAndTimes)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    struct Stream {
        const char* codec;
        int substream;
    } streams[] = {{"pcm_dvd -sample_fmt s16", 0xA0}, {"ac3", 0x80}, {"mp2", -1}};
    for (const Stream& s : streams) {
        std::string vob = folder.file("out.vob");
        std::string make = "ffmpeg -v error " + sineSource(2, 48000, 1.0) + " -c:a " + s.codec + " -f vob -y " + vob;
        ASSERT_EQ(std::system(make.c_str()), 0) << make;
        std::vector<PesPacket> packets;
        ASSERT_TRUE(readProgramStreamFile(vob, packets));
        ASSERT_FALSE(packets.empty()) << s.codec;
        bool ok = false;
        auto probe = commandOutput("ffprobe -v error -select_streams a -show_entries packet=pts -of csv=p=0 " + vob, &ok);
        ASSERT_TRUE(ok);
        std::vector<int64_t> probed;
        std::string text(probe.begin(), probe.end());
        std::stringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            if (!line.empty() && line != "N/A")
                probed.push_back(std::stoll(line));
        std::vector<int64_t> ours;
        for (const PesPacket& p : packets) {
            EXPECT_EQ(p.substreamId, s.substream) << s.codec;
            if (p.hasPts) {
                ours.push_back(p.pts);
            }
        }
        // Every PES time stamp is one the reference demuxer reports for a
        // frame (it also stamps the frames it splits from each packet).
        ASSERT_FALSE(ours.empty());
        size_t next = 0;
        for (int64_t t : ours) {
            while (next < probed.size() && probed[next] != t)
                ++next;
            EXPECT_LT(next, probed.size()) << s.codec << " pts " << t;
        }
    }
}

TEST(ProgramStream, RealStreams)
{
    const std::filesystem::path vectors = "/work/shared/vectors/androidx_media";
    if (!std::filesystem::exists(vectors))
        GTEST_SKIP() << "shared test vectors not present";
    struct Vector {
        const char* file;
        uint8_t streamId;
    } files[] = {{"ts_sample_ac3.ps", 0xBD}, {"ts_sample_h262_mpeg_audio.ps", 0xC0}};
    for (const Vector& v : files) {
        std::vector<PesPacket> packets;
        ASSERT_TRUE(readProgramStreamFile((vectors / v.file).string(), packets)) << v.file;
        ASSERT_FALSE(packets.empty()) << v.file;
        EXPECT_EQ(packets[0].streamId, v.streamId) << v.file;
        EXPECT_TRUE(packets[0].hasPts) << v.file;
    }
}

}  // namespace
