// MLP and TrueHD access units: a 4-byte header (check nibble, length in
// 16-bit words, timing), a major sync in some units (sync word 0xF8726FBB for
// MLP, 0xF8726FBA for TrueHD), a directory of one or two words per
// substream, then the substreams. The walk starts at a major sync, which
// gives the substream count, and follows the units' lengths; where the chain
// breaks it looks for the next major sync.
#include <cstring>

#include "fuzz/frame_mutator.h"

namespace {

constexpr size_t kUnitHeaderBytes = 4;
constexpr size_t kMajorSyncBytes = 28;
constexpr int kMaxSubstreams = 4;

uint16_t big16(const uint8_t* p)
{
    return uint16_t(p[0] << 8 | p[1]);
}

bool isMajorSyncWord(const uint8_t* p)
{
    return p[0] == 0xF8 && p[1] == 0x72 && p[2] == 0x6F && (p[3] == 0xBB || p[3] == 0xBA);
}

// Bytes of the major sync at `sync`: TrueHD may extend it by 2 + 2n bytes.
size_t majorSyncBytes(const uint8_t* sync)
{
    if (sync[3] == 0xBA && (sync[25] & 1))
        return kMajorSyncBytes + 2 + 2 * size_t(sync[26] >> 4);
    return kMajorSyncBytes;
}

// CRC-16, polynomial 0x2D, most significant bit first, from 0.
uint16_t crc16(const uint8_t* p, size_t size)
{
    uint16_t crc = 0;
    for (size_t i = 0; i < size; ++i) {
        crc ^= uint16_t(p[i] << 8);
        for (int bit = 0; bit < 8; ++bit)
            crc = uint16_t((crc & 0x8000) ? (crc << 1) ^ 0x2D : crc << 1);
    }
    return crc;
}

// CRC-8, polynomial 0x63, most significant bit first, from `crc`.
uint8_t crc8(uint8_t crc, const uint8_t* p, size_t size)
{
    for (size_t i = 0; i < size; ++i) {
        crc ^= p[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = uint8_t((crc & 0x80) ? (crc << 1) ^ 0x63 : crc << 1);
    }
    return crc;
}

uint8_t xorOfBytes(const uint8_t* p, size_t size)
{
    uint8_t x = 0;
    for (size_t i = 0; i < size; ++i)
        x ^= p[i];
    return x;
}

// The last two bytes of the major sync: the CRC of all but its last four
// bytes, XORed with the two before the checksum, low byte last.
void repairMajorSync(uint8_t* sync, size_t bytes)
{
    uint16_t crc = crc16(sync, bytes - 4) ^ big16(sync + bytes - 4);
    sync[bytes - 2] = uint8_t(crc >> 8);
    sync[bytes - 1] = uint8_t(crc);
}

uint32_t getBits(const uint8_t* p, size_t at, int count)
{
    uint32_t value = 0;
    for (int i = 0; i < count; ++i, ++at)
        value = value << 1 | ((p[at / 8] >> (7 - at % 8)) & 1);
    return value;
}

// A substream whose first block starts with a restart header: two flag bits
// (parameters and restart header present), then the header from its sync
// word (14 bits, 0x31EA or 0x31EB) through the channel assignments, six bits
// for each matrix channel, and an 8-bit checksum: the remainder of the
// header's bits, read as a polynomial, divided by x^8 + x^4 + x^3 + x^2 + 1.
void repairRestartHeader(uint8_t* s, size_t bytes)
{
    constexpr size_t kStart = 2, kFixedBits = 113;
    if (bytes * 8 < kStart + kFixedBits || getBits(s, 0, 2) != 3 ||
        (getBits(s, kStart, 14) | 1) != 0x31EB)
        return;
    size_t matrixChannels = getBits(s, kStart + 38, 4) + 1;
    size_t bits = kFixedBits + 6 * matrixChannels;
    if (kStart + bits + 8 > bytes * 8)
        return;
    uint32_t remainder = 0;
    for (size_t i = 0; i < bits; ++i) {
        remainder = remainder << 1 | getBits(s, kStart + i, 1);
        if (remainder & 0x100)
            remainder ^= 0x11D;
    }
    for (int i = 0; i < 8; ++i) {
        size_t at = kStart + bits + size_t(i);
        uint8_t mask = uint8_t(0x80 >> (at % 8));
        s[at / 8] = uint8_t((remainder >> (7 - i) & 1) ? s[at / 8] | mask : s[at / 8] & ~mask);
    }
}

// A substream's last two bytes when its entry has the check flag: the XOR of
// its other bytes with 0xA9, then the CRC-8 from 0x3C of all but the last of
// those bytes, XORed with that last byte.
void repairSubstream(uint8_t* s, size_t bytes)
{
    if (bytes < 3)
        return;
    size_t body = bytes - 2;
    s[body] = uint8_t(xorOfBytes(s, body) ^ 0xA9);
    s[body + 1] = uint8_t(crc8(0x3C, s, body - 1) ^ s[body - 1]);
}

// Repairs the unit at `u` (`length` bytes, all readable) with `substreams`
// substreams; false when its directory does not fit it.
bool repairUnit(uint8_t* u, size_t length, size_t syncBytes, int substreams)
{
    size_t header = kUnitHeaderBytes + syncBytes;
    size_t directory = 0;
    for (int s = 0; s < substreams; ++s) {
        if (header + directory + 2 > length)
            return false;
        directory += (u[header + directory] & 0x80) ? 4 : 2;
    }
    if (header + directory > length)
        return false;
    // Substream data, each ending where its entry's pointer (in words, from
    // the end of the directory) says.
    uint8_t* data = u + header + directory;
    size_t dataBytes = length - header - directory, start = 0;
    for (size_t entry = header; entry < header + directory;) {
        const uint8_t* e = u + entry;
        size_t end = size_t(big16(e) & 0xFFF) * 2;
        if (end < start || end > dataBytes)
            break;
        repairRestartHeader(data + start, end - start);
        if (e[0] & 0x20)
            repairSubstream(data + start, end - start);
        start = end;
        entry += (e[0] & 0x80) ? 4 : 2;
    }
    // The check nibble makes the XOR of all nibbles of the unit header and
    // the directory 0xF.
    u[0] &= 0x0F;
    uint8_t x = xorOfBytes(u, kUnitHeaderBytes) ^ xorOfBytes(u + header, directory);
    u[0] = uint8_t(u[0] | (((x >> 4 ^ x) & 0xF) ^ 0xF) << 4);
    return true;
}

}  // namespace

void repairMlpUnits(uint8_t* data, size_t size)
{
    size_t at = 0;
    while (at + kUnitHeaderBytes + kMajorSyncBytes <= size) {
        if (!isMajorSyncWord(data + at + kUnitHeaderBytes)) {
            ++at;
            continue;
        }
        // Units from this major sync on, as long as their lengths chain.
        int substreams = 0;
        for (;;) {
            uint8_t* u = data + at;
            size_t left = size - at;
            if (left < kUnitHeaderBytes)
                break;
            size_t length = size_t(big16(u) & 0xFFF) * 2;
            if (length < kUnitHeaderBytes + 2 || length > left)
                break;
            size_t syncBytes = 0;
            if (length >= kUnitHeaderBytes + kMajorSyncBytes &&
                isMajorSyncWord(u + kUnitHeaderBytes)) {
                syncBytes = majorSyncBytes(u + kUnitHeaderBytes);
                if (kUnitHeaderBytes + syncBytes > length)
                    break;
                repairMajorSync(u + kUnitHeaderBytes, syncBytes);
                substreams = u[kUnitHeaderBytes + 16] >> 4;
            }
            if (substreams == 0 || substreams > kMaxSubstreams ||
                !repairUnit(u, length, syncBytes, substreams))
                break;
            at += length;
        }
        ++at;
    }
}
