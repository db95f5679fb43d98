// The program-stream reader on hand-built input: one table of packet forms and
// faults, split-input invariance, and bounded memory on hostile input.
#include <gtest/gtest.h>

#include <random>

#include "host/parsers/program_stream_pieces.h"
#include "support/row_name.h"

namespace {

using namespace psbuild;

const int64_t kPts = 0x1ABCDEF01LL;  // uses all 33 bits
const int64_t kDts = 0x0FEDCBA98LL;
// Substream id, the rest of the DVD LPCM private header, samples.
const Bytes kLpcm = {0xA0, 1, 0, 4, 0, 0x01, 0x80, 1, 2, 3, 4};

// What reading a case's stream must give: the count of packets, the first
// packet, and the bytes skipped and dropped on the way.
struct Expected {
    size_t packets;
    uint8_t streamId;
    int substream;
    Bytes payload;
    bool hasPts;
    bool hasDts;
    size_t skipped;
    size_t dropped;
    int streamIdExtension = -1;
};

struct PacketCase {
    const char* name;
    Bytes stream;
    Expected expected;
};

Expected lpcmPacket(size_t skipped = 0, size_t dropped = 0)
{
    return {1, 0xBD, 0xA0, kLpcm, true, false, skipped, dropped};
}

Expected noPacket(size_t dropped)
{
    return {0, 0, -1, {}, false, false, 0, dropped};
}

Bytes lpcmPes()
{
    return pes(0xBD, mpeg2Header(&kPts), kLpcm);
}

Bytes truncated(Bytes stream, size_t cut)
{
    stream.erase(stream.end() - static_cast<std::ptrdiff_t>(cut), stream.end());
    return stream;
}

// The PES extension of an extended-stream packet: PES_extension_flag_2, a
// field length of 1 and stream_id_extension 0x71.
const Bytes kExtension = {0x01, 0x81, 0x71};
// The same after PES_private_data (16 bytes) and the packet sequence counter.
const Bytes kLongExtension =
    concat({{0x80 | 0x20 | 0x01}, Bytes(16, 0x5A), {0x81, 0x01}, {0x81, 0x71}});
// ESCR (6 bytes), ES_rate (3) and previous_PES_CRC (2), all skipped.
const Bytes kSkippedFields = {0x04, 0, 4, 0, 4, 1, 0x80, 0, 1, 0xAB, 0xCD};
const uint8_t kSkippedFlags = 0x20 | 0x10 | 0x02;

// clang-format off
const PacketCase kCases[] = {
    {"Mpeg2PrivateStream", concat({mpeg2Pack(), lpcmPes()}), lpcmPacket()},
    {"Mpeg2PackStuffing", concat({mpeg2Pack(7), lpcmPes()}), lpcmPacket()},
    {"Mpeg2HeaderStuffing", pes(0xBD, mpeg2Header(&kPts, nullptr, 0, {}, 5), kLpcm), lpcmPacket()},
    {"Mpeg2PtsAndDts", pes(0xC0, mpeg2Header(&kPts, &kDts), {1, 2, 3}),
     {1, 0xC0, -1, {1, 2, 3}, true, true, 0, 0}},
    {"Mpeg2NoTimeStamp", pes(0xC1, mpeg2Header(nullptr), {9}),
     {1, 0xC1, -1, {9}, false, false, 0, 0}},
    {"Mpeg2OptionalFieldsSkipped",
     pes(0xC0, mpeg2Header(&kPts, nullptr, kSkippedFlags, kSkippedFields), {7}),
     {1, 0xC0, -1, {7}, true, false, 0, 0}},
    {"ExtendedStreamId", pes(0xFD, mpeg2Header(&kPts, nullptr, 0x01, kExtension), {0x0B, 0x77}),
     {1, 0xFD, -1, {0x0B, 0x77}, true, false, 0, 0, 0x71}},
    {"ExtensionAfterOtherFields",
     pes(0xFD, mpeg2Header(&kPts, nullptr, kSkippedFlags | 0x01,
                           concat({kSkippedFields, kLongExtension})), {1}),
     {1, 0xFD, -1, {1}, true, false, 0, 0, 0x71}},
    {"Mpeg1PackAndStuffing",
     concat({mpeg1Pack(), pes(0xC0, mpeg1Header(&kPts, nullptr, 3), {5, 6})}),
     {1, 0xC0, -1, {5, 6}, true, false, 0, 0}},
    {"Mpeg1PtsAndDts", pes(0xC0, mpeg1Header(&kPts, &kDts), {5}),
     {1, 0xC0, -1, {5}, true, true, 0, 0}},
    {"Mpeg1NoTimeStamp", pes(0xBD, mpeg1Header(nullptr), {0x80, 7}),
     {1, 0xBD, 0x80, {0x80, 7}, false, false, 0, 0}},
    {"EmptyPayload", pes(0xBD, mpeg2Header(nullptr), {}), {1, 0xBD, -1, {}, false, false, 0, 0}},
    {"OtherStreamsSkipped",
     concat({mpeg2Pack(), systemHeader(), pes(0xBC, {}, Bytes(10, 0)),
             pes(0xE0, mpeg2Header(&kPts), {0, 0, 1, 0xB3}), pes(0xBF, {}, {0, 1, 2}),
             pes(0xBE, {}, Bytes(20, 0xFF)), lpcmPes(), programEnd()}),
     lpcmPacket()},
    // A false start code (id 0x05) in the garbage is passed over too.
    {"GarbageFirst", concat({{0x47, 0x00, 0x00, 0x01, 0x05, 0x12}, lpcmPes()}), lpcmPacket(6)},
    {"GarbageBetweenPackets", concat({lpcmPes(), Bytes(100, 0x00), lpcmPes()}),
     {2, 0xBD, 0xA0, kLpcm, true, false, 100, 0}},
    {"TruncatedLastPacket", truncated(concat({lpcmPes(), lpcmPes()}), 3),
     lpcmPacket(0, lpcmPes().size() - 3)},
    {"TruncatedPackHeader", truncated(mpeg2Pack(), 4), noPacket(10)},
    {"HeaderLongerThanPacket", {0, 0, 1, 0xBD, 0, 4, 0x81, 0x80, 40, 0xA0}, noPacket(10)},
    {"PtsFlagWithoutRoom", {0, 0, 1, 0xBD, 0, 5, 0x81, 0x80, 2, 0x21, 0x00}, noPacket(11)},
    {"DtsWithoutPts", pes(0xC0, {0x81, 0x40, 5, 0x11, 0, 1, 0, 1}, {1}), noPacket(15)},
    {"ExtensionPastHeader", pes(0xFD, mpeg2Header(nullptr, nullptr, 0x01, {0x01, 0x85, 0x71}), {1}),
     noPacket(13)},
    {"TooMuchMpeg1Stuffing", pes(0xC0, mpeg1Header(&kPts, nullptr, 17), {1}), noPacket(31)},
    // The 4-byte start code is dropped, then 2 bytes skipped to the next.
    {"ZeroLengthAudioPacket", concat({{0, 0, 1, 0xC0, 0, 0}, lpcmPes()}), lpcmPacket(2, 4)},
    {"PackOfNeitherForm", concat({{0, 0, 1, 0xBA, 0x00}, lpcmPes()}), lpcmPacket(1, 4)},
};
// clang-format on

class ReaderTable : public ::testing::TestWithParam<PacketCase> {};

TEST_P(ReaderTable, YieldsTheAudioPackets)
{
    const Expected& e = GetParam().expected;
    ProgramStreamReader reader;
    std::vector<PesPacket> packets = readInPieces(GetParam().stream, {}, reader);
    ASSERT_EQ(packets.size(), e.packets);
    EXPECT_EQ(reader.skippedBytes(), e.skipped);
    EXPECT_EQ(reader.droppedBytes(), e.dropped);
    EXPECT_EQ(reader.bufferedBytes(), 0u);
    if (e.packets == 0)
        return;
    // The PTS in 100 ns units too; no stamp reads as 0.
    PesPacket want{e.streamId,
                   e.substream,
                   e.streamIdExtension,
                   e.payload,
                   e.hasPts,
                   e.hasPts ? kPts : 0,
                   e.hasPts ? kPts * 1000 / 9 : 0,
                   e.hasDts,
                   e.hasDts ? kDts : 0};
    EXPECT_EQ(packets[0], want);
}

INSTANTIATE_TEST_SUITE_P(Packets, ReaderTable, ::testing::ValuesIn(kCases), RowName());

// Every construct of the table, each once more after an assortment of packs,
// padding and garbage, so that cuts land in every kind of header.
Bytes assortedStream()
{
    Bytes stream;
    for (const PacketCase& c : kCases)
        stream = concat({stream, c.stream});
    std::mt19937 random(3);
    for (int i = 0; i < 60; ++i) {
        Bytes payload(static_cast<size_t>(random() % 3000), uint8_t(i));
        payload.insert(payload.begin(), uint8_t(0x80 + i % 8));
        int64_t pts = i * 2880;
        Bytes header = i % 3 == 0 ? mpeg1Header(&pts, nullptr, size_t(i % 5)) : mpeg2Header(&pts);
        Bytes pack = i % 3 == 0 ? mpeg1Pack() : mpeg2Pack(uint8_t(i % 8));
        Bytes garbage(static_cast<size_t>(i % 4 == 0 ? random() % 50 : 0), 0x00);
        stream = concat(
            {stream, pack, garbage, pes(0xBD, header, payload), pes(0xBE, {}, Bytes(i, 0xFF))});
    }
    return concat({stream, programEnd(), {0, 0, 1}});
}

TEST(ProgramStream, SplitInputGivesTheSamePacketsAndCounts)
{
    Bytes stream = assortedStream();
    ASSERT_GT(readWhole(stream).size(), 60u);
    expectSameWhateverTheCuts(stream);
}

// Noise with start codes, including packets that announce the largest length
// and never end: after draining, the reader must hold less than one packet.
TEST(ProgramStream, HoldsLessThanOnePacketWhateverTheInput)
{
    std::mt19937 random(11);
    Bytes noise(3 << 20);
    for (auto& byte : noise)
        byte = uint8_t(random());
    for (size_t at = 0; at + 6 < noise.size(); at += 1 + random() % 20000) {
        const uint8_t ids[] = {0xBA, 0xBD, 0xC0, 0xE0, 0xBE, 0xFD};
        Bytes code = {0, 0, 1, ids[random() % 6], 0xFF, 0xFF};
        std::copy(code.begin(), code.end(), noise.begin() + static_cast<std::ptrdiff_t>(at));
    }
    ProgramStreamReader reader;
    PesPacket packet;
    size_t largestHeld = 0;
    for (size_t offset = 0; offset < noise.size();) {
        size_t piece = std::min<size_t>(1 + random() % 9000, noise.size() - offset);
        reader.append(noise.data() + offset, piece);
        offset += piece;
        while (reader.next(packet))
            ASSERT_LE(packet.payload.size(), ProgramStreamReader::kMaxPacketSize);
        largestHeld = std::max(largestHeld, reader.bufferedBytes());
    }
    EXPECT_LT(largestHeld, ProgramStreamReader::kMaxPacketSize);
    reader.finish();
    while (reader.next(packet)) {
    }
    EXPECT_EQ(reader.bufferedBytes(), 0u);
    EXPECT_GT(reader.skippedBytes() + reader.droppedBytes(), 0u);
}

}  // namespace
