// IEC 61937 bursts of DTS frames: every frame goes out as data type 11 (DTS
// type I) in a burst of 4 bytes per sample of the frame, whatever its
// sample count.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int32_t kDtsSpdifDataType = 11;

// Builds the burst for `frame` (`frameSize` bytes, the stream's big-endian
// words) in `burst`, which must hold `burstBytes` >= frameSize + 8 bytes:
// preamble and frame in stream byte order, zeros to the end, then the first
// (frameSize + 8) / 2 words byte-swapped to little-endian. An odd frame size
// leaves its last byte where it stands, unswapped. Pd, the frame length in
// bits, is kept modulo 65536 as the 16-bit word holds it.
void writeDtsBurst(uint8_t* burst, size_t burstBytes, const uint8_t* frame, int32_t frameSize);
