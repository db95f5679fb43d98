// The 24-bit packing of DVD LPCM, shared by the DVD-Video/HD-DVD and the
// DVD-Audio decoders.
#pragma once

#include <cstdint>

// A block of `count` channels over a pair of sample frames: the upper 16 bits
// of its 2 x count samples as big-endian words, then their low bytes, 6 x
// count bytes in all. `place(i)` says where sample i (the first frame's
// channels, then the second's) goes, as three little-endian bytes. Returns
// the byte after the block.
template <typename Place>
inline const uint8_t* unpack24BitBlock(const uint8_t* in, int count, Place place)
{
    const uint8_t* lows = in + 4 * count;
    for (int i = 0; i < 2 * count; ++i) {
        uint8_t* o = place(i);
        o[0] = lows[i];
        o[1] = in[2 * i + 1];
        o[2] = in[2 * i];
    }
    return in + 6 * count;
}
