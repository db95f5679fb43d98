// Frame repair for the fuzz targets whose decoders refuse a frame at its sync
// word or checksum. A mutated frame almost never passes those checks, so the
// decoding behind them would go unexplored; the mutator repairs the frames of
// about half the inputs it makes. Each function walks a byte stream, finds
// the frames of its syntax (in either 16-bit word order where the syntax has
// both) and rewrites their check fields in place; bytes between frames stay.
#pragma once

#include <cstddef>
#include <cstdint>

// AC-3 and E-AC-3 syncframes: AC-3 crc1 (the first 5/8 of the frame) and
// crc2, the E-AC-3 crc over the whole frame.
void repairDolbyFrames(uint8_t* data, size_t size);

// MLP and TrueHD access units: the major sync checksum, the check nibble of
// the unit header and substream directory, the checksum of a restart header
// that opens a substream, and each substream's parity and checksum bytes
// where its directory entry says they are present.
void repairMlpUnits(uint8_t* data, size_t size);

// DTS core frames: the header fields a core decoder refuses (deficit count,
// block count, frame size, channel arrangement, sample rate, the reserved
// bit, LFE flag and source resolution), the frame size set to reach the next
// sync word, and a next sync word that has lost one of its bytes.
void repairDtsFrames(uint8_t* data, size_t size);
