// IEC 61937 bursts of AC-3 frames (data type 1): one frame per 1536 stereo
// 16-bit sample periods, so a burst always fills 6144 bytes.
#pragma once

#include <cstdint>

constexpr int32_t kAc3BurstBytes = 6144;
// The preamble words Pa..Pd in front of the payload.
constexpr int32_t kBurstPreambleBytes = 8;

// Writes the preamble and the payload into `burst`, which holds
// kAc3BurstBytes bytes and has been cleared. `frame` is the AC-3 frame
// already in little-endian 16-bit words (sync word read as 0x0B77) and
// `frameSize` its length in bytes, at most kAc3BurstBytes - 8; `bsmod` goes
// into Pc.
void writeAc3Burst(uint8_t* burst, const uint8_t* frame, int32_t frameSize, int bsmod);

// Writes the four preamble words for an AC-3 payload of `payloadBytes` bytes
// (Pc data type 1 with `bsmod`, Pd the length in bits).
void writeAc3BurstPreamble(uint8_t* burst, int bsmod, int32_t payloadBytes);
