// The check words of AC-3 and E-AC-3 syncframes (A/52 5.4.1.2, 5.4.1.4 and
// Annex E): CRC-16 with generator x^16 + x^15 + x^2 + 1, most significant
// bit first, from a zero register, over the stream's bytes. A region that ends
// with its check word has a CRC of zero when intact.
#pragma once

#include <cstddef>
#include <cstdint>

// The CRC of the stream bytes held in `words` 16-bit words at `p`: in stream
// byte order, or with `littleEndianWords` as little-endian words (the two
// bytes of every word swapped), so that no swapped copy is needed. Folds 16
// bytes at a time with carry-less multiplication where the processor has it
// (x86 PCLMULQDQ and SSSE3), else takes a byte at a time.
uint16_t dolbyCrc16(const uint8_t* p, size_t words, bool littleEndianWords);

// The same a byte at a time, whatever the processor.
uint16_t dolbyCrc16Bytewise(const uint8_t* p, size_t words, bool littleEndianWords);
