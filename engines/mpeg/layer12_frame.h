// A layer I or II frame as its header measures it with the standards' own
// tables (ISO/IEC 11172-3, ISO/IEC 13818-3), whatever framing a caller uses.
// Pure: header bytes in, the frame's true length out.
#pragma once

#include <cstddef>
#include <cstdint>

struct Layer12Frame {
    size_t size = 0;  // bytes, padding included; 0 when no frame starts here
    bool layer1 = false;
    // Version, layer, sample rate and single channel or not: what must stay
    // the same for frames whose PCM shares one format.
    uint32_t format = 0;
    // Bit-rate index 0: the header names no length, so `size` is 0 while
    // `layer1` and `format` are set.
    bool freeFormat = false;
};

// The layer I or II frame at `p` (`available` bytes readable); size 0 for
// anything else, layer III and free format included.
Layer12Frame measureLayer12Frame(const uint8_t* p, size_t available);
