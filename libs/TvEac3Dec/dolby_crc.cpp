#include "libs/TvEac3Dec/dolby_crc.h"

#include <array>

#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)
#define TAVIO_CRC_CLMUL 1
#include <immintrin.h>
#endif

namespace {

constexpr uint32_t kGenerator = 0x18005;

// x^n modulo the generator.
constexpr uint64_t powerOfX(int n)
{
    uint32_t r = 1;
    for (int i = 0; i < n; ++i) {
        r <<= 1;
        if (r & 0x10000)
            r ^= kGenerator;
    }
    return r;
}

// The register after one byte x from zero.
constexpr std::array<uint16_t, 256> makeTable()
{
    std::array<uint16_t, 256> table{};
    for (uint32_t x = 0; x < 256; ++x) {
        uint32_t r = x << 8;
        for (int bit = 0; bit < 8; ++bit)
            r = (r & 0x8000) ? (r << 1) ^ kGenerator : r << 1;
        table[x] = static_cast<uint16_t>(r);
    }
    return table;
}

constexpr std::array<uint16_t, 256> kTable = makeTable();

// Runs the register over `bytes` stream bytes at `p`, whose byte j is at
// p[j ^ swap] (swap 1 for little-endian words).
uint16_t update(uint16_t r, const uint8_t* p, size_t bytes, size_t swap)
{
    for (size_t j = 0; j < bytes; ++j)
        r = static_cast<uint16_t>((r << 8) ^ kTable[(r >> 8) ^ p[j ^ swap]]);
    return r;
}

#if defined(TAVIO_CRC_CLMUL)
bool hasCarrylessMultiply()
{
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3");
    }();
    return has;
}

// Each 16 bytes, read as one 128-bit polynomial (the first stream byte the
// highest), fold into the next: A * x^128 + B keeps its remainder when A's
// halves are first multiplied down by x^192 and x^128 modulo the generator,
// which leaves at most 79 bits. The last fold's 16 bytes then stand for all
// before them, and the bytes left over follow them through the table.
__attribute__((target("pclmul,ssse3"))) uint16_t fold(const uint8_t* p,
                                                      size_t bytes,
                                                      bool littleEndianWords)
{
    const __m128i reversed = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m128i order = littleEndianWords
                              ? _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1)
                              : reversed;
    const __m128i factors = _mm_set_epi64x(static_cast<long long>(powerOfX(192)),
                                           static_cast<long long>(powerOfX(128)));
    size_t chunks = bytes / 16;
    __m128i folded = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), order);
    for (size_t i = 1; i < chunks; ++i) {
        __m128i next =
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * i)), order);
        __m128i low = _mm_clmulepi64_si128(folded, factors, 0x00);
        __m128i high = _mm_clmulepi64_si128(folded, factors, 0x11);
        folded = _mm_xor_si128(_mm_xor_si128(low, high), next);
    }
    alignas(16) uint8_t head[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(head), _mm_shuffle_epi8(folded, reversed));
    uint16_t r = update(0, head, 16, 0);
    return update(r, p + 16 * chunks, bytes - 16 * chunks, littleEndianWords ? 1 : 0);
}
#endif

}  // namespace

uint16_t dolbyCrc16Bytewise(const uint8_t* p, size_t words, bool littleEndianWords)
{
    return update(0, p, words * 2, littleEndianWords ? 1 : 0);
}

uint16_t dolbyCrc16(const uint8_t* p, size_t words, bool littleEndianWords)
{
#if defined(TAVIO_CRC_CLMUL)
    if (words >= 16 && hasCarrylessMultiply())
        return fold(p, words * 2, littleEndianWords);
#endif
    return dolbyCrc16Bytewise(p, words, littleEndianWords);
}
