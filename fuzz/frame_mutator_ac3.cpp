// AC-3 and E-AC-3 check words (ATSC A/52 7.10.1 and Annex E): CRC-16 with
// the polynomial x^16 + x^15 + x^2 + 1, most significant bit first, from 0.
// A frame is intact when the CRC from after the sync word to a check word,
// that word included, is 0: crc2 ends the frame, so it is the CRC of what
// comes before it; AC-3's crc1 starts the first 5/8 of the frame, so it is
// found by running the CRC of what follows it backwards over the 16 bits it
// and the zero bytes after it shift by.
#include <algorithm>
#include <array>
#include <vector>

#include "core/bit_reader.h"
#include "decoders/eac3_header.h"
#include "fuzz/frame_mutator.h"

namespace {

constexpr uint16_t kPolynomial = 0x8005;
// The multiplicative order of x modulo the polynomial, which is
// (x + 1)(x^15 + x + 1) with the second factor primitive: x^32767 = 1.
constexpr uint32_t kOrderOfX = 32767;

const std::array<uint16_t, 256>& crcTable()
{
    static const std::array<uint16_t, 256> table = [] {
        std::array<uint16_t, 256> t{};
        for (uint32_t i = 0; i < 256; ++i) {
            uint16_t crc = uint16_t(i << 8);
            for (int bit = 0; bit < 8; ++bit)
                crc = uint16_t((crc & 0x8000) ? (crc << 1) ^ kPolynomial : crc << 1);
            t[i] = crc;
        }
        return t;
    }();
    return table;
}

uint16_t crc16(const uint8_t* p, size_t size)
{
    const std::array<uint16_t, 256>& table = crcTable();
    uint16_t crc = 0;
    for (size_t i = 0; i < size; ++i)
        crc = uint16_t(crc << 8 ^ table[(crc >> 8) ^ p[i]]);
    return crc;
}

// The remainder times x^bits: the CRC register run over `bits` zero bits,
// whole zero bytes through the table (up to 4 KB of them a frame, which bit
// by bit took most of a run's time).
uint16_t shiftZeros(uint16_t crc, uint32_t bits)
{
    const std::array<uint16_t, 256>& table = crcTable();
    for (uint32_t i = 0; i < bits / 8; ++i)
        crc = uint16_t(crc << 8 ^ table[crc >> 8]);
    for (uint32_t i = 0; i < bits % 8; ++i)
        crc = uint16_t((crc & 0x8000) ? (crc << 1) ^ kPolynomial : crc << 1);
    return crc;
}

void putBig16(uint8_t* p, uint16_t value)
{
    p[0] = uint8_t(value >> 8);
    p[1] = uint8_t(value);
}

// Repairs one frame in stream byte order (the sync word 0x0B77 first).
void repairFrame(uint8_t* f, const DolbySyncFrame& frame)
{
    size_t size = size_t(frame.frameSize);
    size_t firstPart = 2;
    if (!frame.eac3) {
        size_t words = size / 2;
        firstPart = ((words >> 1) + (words >> 3)) * 2;
        // The check word w at bytes 2..3 followed by n bytes gives the CRC
        // w * x^(16 + 8n) + CRC(rest), which must be 0.
        uint16_t rest = crc16(f + 4, firstPart - 4);
        uint32_t shift = uint32_t(16 + 8 * (firstPart - 4)) % kOrderOfX;
        putBig16(f + 2, shiftZeros(rest, (kOrderOfX - shift) % kOrderOfX));
    }
    putBig16(f + size - 2, crc16(f + firstPart, size - firstPart - 2));
}

}  // namespace

void repairDolbyFrames(uint8_t* data, size_t size)
{
    std::vector<uint8_t> swapped;
    size_t at = 0;
    while (at + kDolbySyncHeaderBytes <= size) {
        uint8_t* p = data + at;
        bool reversed = p[0] == 0x77 && p[1] == 0x0B;
        if (!reversed && !(p[0] == 0x0B && p[1] == 0x77)) {
            ++at;
            continue;
        }
        uint8_t header[kDolbySyncHeaderBytes];
        if (reversed)
            swapBytes16(header, p, kDolbySyncHeaderBytes / 2);
        else
            std::copy(p, p + kDolbySyncHeaderBytes, header);
        DolbySyncFrame frame;
        if (!parseDolbySyncFrame(header, sizeof header, frame) ||
            size_t(frame.frameSize) < kDolbySyncHeaderBytes ||
            size_t(frame.frameSize) > size - at) {
            ++at;
            continue;
        }
        size_t bytes = size_t(frame.frameSize);
        if (reversed) {
            swapped.resize(bytes);
            swapBytes16(swapped.data(), p, bytes / 2);
            repairFrame(swapped.data(), frame);
            swapBytes16(p, swapped.data(), bytes / 2);
        } else {
            repairFrame(p, frame);
        }
        at += bytes;
    }
}
