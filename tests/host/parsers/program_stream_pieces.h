// Reading a program stream back in pieces: the reader must give the same
// packets and counts however its input is cut.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "host/parsers/program_stream.h"
#include "support/program_stream_builder.h"

namespace psbuild {

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
