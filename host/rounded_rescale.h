// Time stamps rescaled as libavutil rescales them, so that the host's own
// readers give the times libavformat would.
#pragma once

#include <cstdint>

// n * scale / divisor rounded to the nearest, halves away from zero.
inline int64_t rescaleRounded(int64_t n, int64_t scale, int64_t divisor)
{
    __int128 product = __int128(n) * scale;
    __int128 half = divisor / 2;
    return int64_t(product >= 0 ? (product + half) / divisor : -((-product + half) / divisor));
}
