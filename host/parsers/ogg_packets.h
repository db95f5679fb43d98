// The packets of an Ogg stream (RFC 3533), read page by page without
// checking the pages' CRC: for the Windows graph test, which has no
// libavformat, and for the Vorbis fuzz target, whose mutated pages must
// still reach the decoder. Only the first logical stream is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct OggPacket {
    std::vector<uint8_t> data;
    int64_t granule = -1;  // of the page the packet ends on, for its last packet; else -1
};

// The packets of the pages in [data, data + size); a truncated page or
// anything that is not a page ends the stream.
std::vector<OggPacket> readOggPackets(const uint8_t* data, size_t size);

// Vorbis set-up data in Xiph lacing (as Matroska's CodecPrivate holds it)
// from the three header packets.
std::vector<uint8_t> xiphLacedHeaders(const std::vector<OggPacket>& packets);
