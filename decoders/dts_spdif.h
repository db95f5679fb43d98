// IEC 61937 bursts of DTS frames: a burst of 4 bytes per sample of the frame,
// whose data type names the frame's length (IEC 61937-5: type I, II and III
// for 512, 1024 and 2048 samples).
#pragma once

#include <cstddef>
#include <cstdint>

// The burst's data type (Pc) for a frame of `samples` samples: 12 and 13 for
// 1024 and 2048, 11 (type I) for any other length. compatQuirks=1 gives 11
// for every frame, which a receiver reads as the wrong burst period.
int32_t dtsSpdifDataType(int32_t samples);

// Builds the burst for `frame` (`frameSize` bytes, the stream's big-endian
// words) in `burst`, which must hold `burstBytes` >= frameSize + 8 bytes:
// preamble with `dataType` and frame in stream byte order, zeros to the end,
// then the first (frameSize + 8) / 2 words byte-swapped to little-endian. An
// odd frame size leaves its last byte where it stands, unswapped. Pd, the
// frame length in bits, is kept modulo 65536 as the 16-bit word holds it.
void writeDtsBurst(uint8_t* burst,
                   size_t burstBytes,
                   int32_t dataType,
                   const uint8_t* frame,
                   int32_t frameSize);
