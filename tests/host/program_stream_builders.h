// Hand-built program-stream pieces for the reader's tests, and a way to read
// a stream back in pieces.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

#include "host/parsers/program_stream.h"

namespace psbuild {

using Bytes = std::vector<uint8_t>;

inline Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// A 33-bit time stamp between marker bits, after a 4-bit prefix.
inline Bytes timeStamp(int prefix, int64_t value)
{
    return {uint8_t((prefix << 4) | ((value >> 29) & 0x0E) | 1), uint8_t(value >> 22),
            uint8_t(((value >> 14) & 0xFE) | 1), uint8_t(value >> 7), uint8_t((value << 1) | 1)};
}

// Start code, length and header, then the payload.
inline Bytes pes(uint8_t id, const Bytes& header, const Bytes& payload)
{
    size_t length = header.size() + payload.size();
    return concat({{0, 0, 1, id, uint8_t(length >> 8), uint8_t(length)}, header, payload});
}

// An MPEG-2 PES header. `moreFlags` (ESCR ... extension) announce
// `moreFields`, which follow the time stamps; `stuffing` 0xFF bytes end it.
inline Bytes mpeg2Header(const int64_t* pts,
                         const int64_t* dts = nullptr,
                         uint8_t moreFlags = 0,
                         const Bytes& moreFields = {},
                         size_t stuffing = 0)
{
    uint8_t timeFlags = pts ? (dts ? 0xC0 : 0x80) : 0x00;
    Bytes header = {0x81, uint8_t(timeFlags | moreFlags), 0};
    if (pts)
        header = concat({header, timeStamp(dts ? 3 : 2, *pts)});
    if (dts)
        header = concat({header, timeStamp(1, *dts)});
    header = concat({header, moreFields, Bytes(stuffing, 0xFF)});
    header[2] = uint8_t(header.size() - 3);
    return header;
}

// An MPEG-1 packet header with stuffing and the STD buffer fields.
inline Bytes mpeg1Header(const int64_t* pts, const int64_t* dts = nullptr, size_t stuffing = 0)
{
    Bytes header = concat({Bytes(stuffing, 0xFF), {0x40 | 0x20, 0x00}});
    if (pts && dts)
        return concat({header, timeStamp(3, *pts), timeStamp(1, *dts)});
    if (pts)
        return concat({header, timeStamp(2, *pts)});
    return concat({header, {0x0F}});
}

inline Bytes mpeg2Pack(uint8_t stuffing = 0)
{
    Bytes pack = {0, 0, 1, 0xBA, 0x44, 0, 4, 0, 4, 1, 0x01, 0x89, 0xC3, uint8_t(0xF8 | stuffing)};
    return concat({pack, Bytes(stuffing, 0xFF)});
}

inline Bytes mpeg1Pack()
{
    return {0, 0, 1, 0xBA, 0x21, 0, 1, 0, 1, 0x80, 0x04, 0x23};
}

inline Bytes systemHeader()
{
    return pes(0xBB, {}, {0x80, 0x1F, 0xB3, 0x04, 0x20, 0xFF, 0xBD, 0xC0, 0x20});
}

inline Bytes programEnd()
{
    return {0, 0, 1, 0xB9};
}

// Reads `stream`, appending it in the pieces that end at `cuts`, draining
// after each piece as the reader asks.
inline std::vector<PesPacket> readInPieces(const Bytes& stream,
                                           const std::vector<size_t>& cuts,
                                           ProgramStreamReader& reader)
{
    std::vector<PesPacket> packets;
    PesPacket packet;
    size_t offset = 0;
    auto feed = [&](size_t end) {
        reader.append(stream.data() + offset, end - offset);
        offset = end;
        while (reader.next(packet))
            packets.push_back(packet);
    };
    for (size_t cut : cuts)
        feed(std::clamp(cut, offset, stream.size()));
    feed(stream.size());
    reader.finish();
    while (reader.next(packet))
        packets.push_back(packet);
    return packets;
}

inline std::vector<PesPacket> readWhole(const Bytes& stream)
{
    ProgramStreamReader reader;
    return readInPieces(stream, {}, reader);
}

inline std::vector<size_t> evenCuts(size_t size, size_t piece)
{
    std::vector<size_t> cuts;
    for (size_t at = piece; at < size; at += piece)
        cuts.push_back(at);
    return cuts;
}

// The reader must give the same packets and counts however the input is cut:
// whole, in 1-byte and 17-byte pieces, and in random pieces.
inline void expectSameWhateverTheCuts(const Bytes& stream, unsigned seed = 7)
{
    ProgramStreamReader wholeReader;
    std::vector<PesPacket> whole = readInPieces(stream, {}, wholeReader);
    std::mt19937 random(seed);
    std::vector<size_t> randomCuts;
    for (size_t at = 0; at < stream.size();) {
        at += 1 + random() % 700;
        randomCuts.push_back(at);
    }
    for (const auto& cuts : {evenCuts(stream.size(), 1), evenCuts(stream.size(), 17), randomCuts}) {
        ProgramStreamReader reader;
        std::vector<PesPacket> pieces = readInPieces(stream, cuts, reader);
        ASSERT_EQ(pieces.size(), whole.size()) << cuts.size() << " cuts";
        for (size_t i = 0; i < whole.size(); ++i)
            ASSERT_EQ(pieces[i], whole[i]) << "packet " << i << ", " << cuts.size() << " cuts";
        EXPECT_EQ(reader.skippedBytes(), wholeReader.skippedBytes()) << cuts.size() << " cuts";
        EXPECT_EQ(reader.droppedBytes(), wholeReader.droppedBytes()) << cuts.size() << " cuts";
    }
}

}  // namespace psbuild
