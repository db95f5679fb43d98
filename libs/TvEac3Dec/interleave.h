// Planar float channels into one interleaved, clamped float buffer: the last
// step of a decode when the caller plays float.
#pragma once

#include <cstddef>

// Full scale: above 1 (infinity included) gives 1, below -1 gives -1, and a
// NaN stays NaN.
inline float clampToUnit(float sample)
{
    return sample > 1.0f ? 1.0f : sample < -1.0f ? -1.0f : sample;
}

// out[n * count + c] = clampToUnit(channels[c][n] * gain) for n below
// `samples` and c below `count`. The product is the float product, which is
// the double product of the two floats narrowed, so the result equals
// narrowing a double computation and clamping it. Two and six channels take
// SSE2 where it is there, six also AVX (eight frames at a time) when the
// processor has it; other counts a plain loop.
void interleaveClamped(const float* const* channels,
                       int count,
                       float gain,
                       size_t samples,
                       float* out);
