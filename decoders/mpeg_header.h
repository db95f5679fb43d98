// MPEG-1/2/2.5 audio frame headers (ISO/IEC 11172-3 2.4.2.3, ISO/IEC
// 13818-3): the fields the MPEG audio decoder frames and reports with. Pure:
// four bytes in, a header record or "no frame here" out.
#pragma once

#include <cstddef>
#include <cstdint>

struct MpegHeader {
    uint8_t version = 0;      // header version bits: 0 MPEG-2.5, 2 MPEG-2, 3 MPEG-1
    uint8_t layer = 0;        // 1..3
    uint16_t channels = 0;    // 1 for single channel mode, else 2
    uint32_t sampleRate = 0;  // Hz
    uint16_t bitrate = 0;     // kbit/s
    uint16_t frameSize = 0;   // bytes, padding included
    uint32_t samples = 0;     // samples per frame over all channels
    bool freeFormat = false;  // bit-rate index 0: the length was measured, the rate derived
};

// The longest free-format frame looked for, before padding: layer III at 320
// kbit/s, the most a decoder must take in free format (ISO/IEC 11172-3
// 2.4.2.3), at 8 kHz, the lowest rate; layer II's (384 kbit/s at 32 kHz, 1728
// bytes) is shorter.
constexpr uint32_t kMaxFreeFormatBytes = 2880;

// Parses the four header bytes at `p` (`available` bytes readable). False
// when no frame starts here: no sync, reserved version, layer or sample rate,
// free format of unknown length, a bit-rate index outside the table, or an MPEG-2.5 layer III
// bit rate above 64 kbit/s, for which the size table has no entry.
//
// A layer I frame is a whole number of 4-byte slots, its padding one slot.
// `legacyLayer1` measures it as the decoder once did, 48 x bit rate / sample
// rate bytes unrounded and one byte of padding: at 44.1 kHz and its halves
// that is one to three bytes off, and the frame after each is missed.
//
// Free format (bit-rate index 0) names no length: a layer II or III frame in
// free format is taken when `freeFormatBytes`, its length before padding as
// measureFreeFormatFrame gives it, is known; the bit rate is then derived
// from it (kbit/s, rounded down).
bool parseMpegHeader(const uint8_t* p,
                     size_t available,
                     MpegHeader& header,
                     bool legacyLayer1 = false,
                     uint32_t freeFormatBytes = 0);

// Whether a free-format layer II or III header starts at `p`.
bool isFreeFormatHeader(const uint8_t* p, size_t available);

// Whether the four bytes at `q` head another frame of the free-format stream
// whose header is at `p`: version, layer, rate and bit-rate index alike; CRC,
// padding and stereo mode may change, mono may not.
bool sameFreeFormatStream(const uint8_t* p, const uint8_t* q);

// The length before padding of the free-format layer II or III frame at `p`: the
// distance to the next header of the same stream, confirmed by the header
// after that one where `available` reaches it. 0 when no such header lies
// within kMaxFreeFormatBytes (or `available`).
uint32_t measureFreeFormatFrame(const uint8_t* p, size_t available);
