#include "core/bit_reader.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

uint32_t BitReader::get(int count)
{
    // The bits left in each byte at a time, most significant first.
    uint32_t value = 0;
    while (count > 0) {
        size_t byte = position_ >> 3;
        int used = static_cast<int>(position_ & 7);
        int take = 8 - used < count ? 8 - used : count;
        uint32_t bits = 0;
        if (byte < size_)
            bits = (uint32_t(data_[byte]) >> (8 - used - take)) & ((1u << take) - 1);
        else
            overrun_ = true;
        value = (value << take) | bits;
        position_ += static_cast<size_t>(take);
        count -= take;
    }
    return value;
}

void BitReader::skip(int count)
{
    position_ += static_cast<size_t>(count);
    if ((position_ + 7) / 8 > size_)
        overrun_ = true;
}

namespace {

#if defined(__x86_64__) && defined(__GNUC__)
// Sixteen words a time with one byte shuffle; returns the words done.
__attribute__((target("avx2"))) size_t swapWithAvx2(uint8_t* dst, const uint8_t* src, size_t words)
{
    const __m256i order = _mm256_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14, 1,
                                           0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
    size_t i = 0;
    for (; i + 16 <= words; i += 16) {
        __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * i), _mm256_shuffle_epi8(v, order));
    }
    return i;
}

bool hasAvx2()
{
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return has;
}
#endif

}  // namespace

void swapBytes16(uint8_t* dst, const uint8_t* src, size_t words)
{
    size_t i = 0;
#if defined(__x86_64__) && defined(__GNUC__)
    // Whole frames are swapped on the streaming path of the Dolby formats.
    if (words >= 16 && hasAvx2())
        i = swapWithAvx2(dst, src, words);
#endif
    for (; i < words; ++i) {
        uint8_t high = src[2 * i];
        uint8_t low = src[2 * i + 1];
        dst[2 * i] = low;
        dst[2 * i + 1] = high;
    }
}
