#include "libs/TvEac3Dec/interleave.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__SSE2__) && defined(__GNUC__)
#define TAVIO_INTERLEAVE_AVX 1
#include <immintrin.h>
#endif

namespace {

#if defined(__SSE2__)
// minps and maxps hand back their second operand when either is NaN: with
// the sample second, a NaN passes both untouched.
template <bool kScaled>
inline __m128 clampedQuad(const float* p, __m128 gain)
{
    __m128 x = _mm_loadu_ps(p);
    if (kScaled)
        x = _mm_mul_ps(x, gain);
    return _mm_max_ps(_mm_set1_ps(-1.0f), _mm_min_ps(_mm_set1_ps(1.0f), x));
}

// Four frames at a time; returns the frames done.
template <bool kScaled>
size_t interleaveTwo(const float* const* ch, __m128 gain, size_t samples, float* out)
{
    const float *ch0 = ch[0], *ch1 = ch[1];
    size_t n = 0;
    for (; n + 4 <= samples; n += 4, out += 8) {
        __m128 a = clampedQuad<kScaled>(ch0 + n, gain);
        __m128 b = clampedQuad<kScaled>(ch1 + n, gain);
        _mm_storeu_ps(out, _mm_unpacklo_ps(a, b));
        _mm_storeu_ps(out + 4, _mm_unpackhi_ps(a, b));
    }
    return n;
}

// Channels a..f of frames 0-3 transposed into a0 b0 c0 d0 | e0 f0 a1 b1 |
// c1 d1 e1 f1 | a2 b2 c2 d2 | e2 f2 a3 b3 | c3 d3 e3 f3: a 4x4 transpose of
// a..d, with the e, f pairs slotted between its rows.
template <bool kScaled>
size_t interleaveSix(const float* const* ch, __m128 gain, size_t samples, float* out)
{
    // Held in registers: the stores below could otherwise be taken to
    // change the pointers.
    const float *ch0 = ch[0], *ch1 = ch[1], *ch2 = ch[2], *ch3 = ch[3], *ch4 = ch[4], *ch5 = ch[5];
    size_t n = 0;
    for (; n + 4 <= samples; n += 4, out += 24) {
        __m128 a = clampedQuad<kScaled>(ch0 + n, gain);
        __m128 b = clampedQuad<kScaled>(ch1 + n, gain);
        __m128 c = clampedQuad<kScaled>(ch2 + n, gain);
        __m128 d = clampedQuad<kScaled>(ch3 + n, gain);
        __m128 e = clampedQuad<kScaled>(ch4 + n, gain);
        __m128 f = clampedQuad<kScaled>(ch5 + n, gain);
        __m128 ab01 = _mm_unpacklo_ps(a, b), ab23 = _mm_unpackhi_ps(a, b);
        __m128 cd01 = _mm_unpacklo_ps(c, d), cd23 = _mm_unpackhi_ps(c, d);
        __m128 ef01 = _mm_unpacklo_ps(e, f), ef23 = _mm_unpackhi_ps(e, f);
        __m128 row1 = _mm_movehl_ps(cd01, ab01);  // a1 b1 c1 d1
        __m128 row3 = _mm_movehl_ps(cd23, ab23);  // a3 b3 c3 d3
        _mm_storeu_ps(out, _mm_movelh_ps(ab01, cd01));
        _mm_storeu_ps(out + 4, _mm_shuffle_ps(ef01, row1, _MM_SHUFFLE(1, 0, 1, 0)));
        _mm_storeu_ps(out + 8, _mm_shuffle_ps(row1, ef01, _MM_SHUFFLE(3, 2, 3, 2)));
        _mm_storeu_ps(out + 12, _mm_movelh_ps(ab23, cd23));
        _mm_storeu_ps(out + 16, _mm_shuffle_ps(ef23, row3, _MM_SHUFFLE(1, 0, 1, 0)));
        _mm_storeu_ps(out + 20, _mm_shuffle_ps(row3, ef23, _MM_SHUFFLE(3, 2, 3, 2)));
    }
    return n;
}

#if defined(TAVIO_INTERLEAVE_AVX)
bool hasAvx()
{
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx") != 0;
    }();
    return has;
}

template <bool kScaled>
__attribute__((target("avx"), always_inline)) inline __m256 clampedOctet(const float* p,
                                                                         __m256 gain)
{
    __m256 x = _mm256_loadu_ps(p);
    if (kScaled)
        x = _mm256_mul_ps(x, gain);
    return _mm256_max_ps(_mm256_set1_ps(-1.0f), _mm256_min_ps(_mm256_set1_ps(1.0f), x));
}

// The four-frame transpose above in each 128-bit half (frames 0-3 below,
// 4-7 above), then the halves regrouped so that each store writes 8
// consecutive samples. Eight frames at a time; returns the frames done.
template <bool kScaled>
__attribute__((target("avx"))) size_t interleaveSixAvx(const float* const* ch,
                                                       float gain,
                                                       size_t samples,
                                                       float* out)
{
    const float *ch0 = ch[0], *ch1 = ch[1], *ch2 = ch[2], *ch3 = ch[3], *ch4 = ch[4], *ch5 = ch[5];
    const __m256 g = _mm256_set1_ps(gain);
    size_t n = 0;
    for (; n + 8 <= samples; n += 8, out += 48) {
        __m256 a = clampedOctet<kScaled>(ch0 + n, g);
        __m256 b = clampedOctet<kScaled>(ch1 + n, g);
        __m256 c = clampedOctet<kScaled>(ch2 + n, g);
        __m256 d = clampedOctet<kScaled>(ch3 + n, g);
        __m256 e = clampedOctet<kScaled>(ch4 + n, g);
        __m256 f = clampedOctet<kScaled>(ch5 + n, g);
        __m256 ab01 = _mm256_unpacklo_ps(a, b), ab23 = _mm256_unpackhi_ps(a, b);
        __m256 cd01 = _mm256_unpacklo_ps(c, d), cd23 = _mm256_unpackhi_ps(c, d);
        __m256 ef01 = _mm256_unpacklo_ps(e, f), ef23 = _mm256_unpackhi_ps(e, f);
        __m256 row0 = _mm256_shuffle_ps(ab01, cd01, _MM_SHUFFLE(1, 0, 1, 0));  // a0 b0 c0 d0
        __m256 row1 = _mm256_shuffle_ps(ab01, cd01, _MM_SHUFFLE(3, 2, 3, 2));  // a1 b1 c1 d1
        __m256 row2 = _mm256_shuffle_ps(ab23, cd23, _MM_SHUFFLE(1, 0, 1, 0));
        __m256 row3 = _mm256_shuffle_ps(ab23, cd23, _MM_SHUFFLE(3, 2, 3, 2));
        __m256 v1 = _mm256_shuffle_ps(ef01, row1, _MM_SHUFFLE(1, 0, 1, 0));  // e0 f0 a1 b1
        __m256 v2 = _mm256_shuffle_ps(row1, ef01, _MM_SHUFFLE(3, 2, 3, 2));  // c1 d1 e1 f1
        __m256 v4 = _mm256_shuffle_ps(ef23, row3, _MM_SHUFFLE(1, 0, 1, 0));
        __m256 v5 = _mm256_shuffle_ps(row3, ef23, _MM_SHUFFLE(3, 2, 3, 2));
        _mm256_storeu_ps(out, _mm256_permute2f128_ps(row0, v1, 0x20));
        _mm256_storeu_ps(out + 8, _mm256_permute2f128_ps(v2, row2, 0x20));
        _mm256_storeu_ps(out + 16, _mm256_permute2f128_ps(v4, v5, 0x20));
        _mm256_storeu_ps(out + 24, _mm256_permute2f128_ps(row0, v1, 0x31));
        _mm256_storeu_ps(out + 32, _mm256_permute2f128_ps(v2, row2, 0x31));
        _mm256_storeu_ps(out + 40, _mm256_permute2f128_ps(v4, v5, 0x31));
    }
    return n;
}
#endif

template <bool kScaled>
size_t interleaveVector(const float* const* ch, int count, float gain, size_t samples, float* out)
{
    __m128 g = _mm_set1_ps(gain);
    if (count == 2)
        return interleaveTwo<kScaled>(ch, g, samples, out);
    if (count != 6)
        return 0;
    size_t done = 0;
#if defined(TAVIO_INTERLEAVE_AVX)
    if (hasAvx())
        done = interleaveSixAvx<kScaled>(ch, gain, samples, out);
#endif
    // Four frames left over from the eights, or all without AVX.
    const float* rest[6] = {ch[0] + done, ch[1] + done, ch[2] + done,
                            ch[3] + done, ch[4] + done, ch[5] + done};
    return done + interleaveSix<kScaled>(rest, g, samples - done, out + 6 * done);
}
#endif

}  // namespace

void interleaveClamped(const float* const* channels,
                       int count,
                       float gain,
                       size_t samples,
                       float* out)
{
    size_t done = 0;
#if defined(__SSE2__)
    // A gain of 1 changes no sample (NaN included), so it costs no multiply.
    done = gain == 1.0f ? interleaveVector<false>(channels, count, gain, samples, out)
                        : interleaveVector<true>(channels, count, gain, samples, out);
#endif
    auto stride = static_cast<size_t>(count);
    for (int c = 0; c < count; ++c)
        for (size_t n = done; n < samples; ++n)
            out[n * stride + size_t(c)] = clampToUnit(channels[c][n] * gain);
}
