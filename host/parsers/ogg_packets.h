// Ogg pages and the packets they carry (RFC 3533).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// One page, as it lies in the bytes it was read from.
struct OggPage {
    size_t offset = 0;  // of its capture pattern "OggS"
    size_t size = 0;    // header, lacing values and body
    uint8_t flags = 0;  // kOggContinued, kOggFirst, kOggLast
    int64_t granule = -1;
    uint32_t serial = 0;
    const uint8_t* lacing = nullptr;  // one byte per segment
    size_t segments = 0;
    const uint8_t* body = nullptr;
};

constexpr uint8_t kOggContinued = 1;  // the first segment goes on a packet begun before
constexpr uint8_t kOggFirst = 2;      // a logical stream's first page
constexpr uint8_t kOggLast = 4;       // a logical stream's last page

// The page at `at` of [data, data + size); false when none begins there or
// it is cut short. Its checksum is not checked.
bool readOggPage(const uint8_t* data, size_t size, size_t at, OggPage& page);

// The checksum of a page's bytes, its own checksum field counted as zeros.
uint32_t oggChecksum(const OggPage& page);
// Whether a page's checksum is the one its header carries.
bool oggChecksumMatches(const OggPage& page);

struct OggPacket {
    std::vector<uint8_t> data;
    int64_t granule = -1;  // of the page the packet ends on, for its last packet; else -1
};

// The packets of the first logical stream of the pages in [data, data + size),
// without checking the pages' checksums: for the Windows graph test, which
// has no libavformat, and for the Vorbis fuzz target, whose mutated pages
// must still reach the decoder. A truncated page or anything that is not a
// page ends the stream.
std::vector<OggPacket> readOggPackets(const uint8_t* data, size_t size);

// Vorbis set-up data in Xiph lacing (as Matroska's CodecPrivate holds it)
// from the three header packets.
std::vector<uint8_t> xiphLacedHeaders(const std::vector<OggPacket>& packets);
