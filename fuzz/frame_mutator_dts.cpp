// DTS core frame headers (ETSI TS 102 114, 5.3.1): the core has no checksum
// a decoder must test, but a header with a field out of its range is
// refused. Fields are set back into range rather than to fixed values, so
// the inputs keep their variety. Frames in either 16-bit word order.
#include <algorithm>
#include <cstring>

#include "fuzz/frame_mutator.h"

namespace {

constexpr uint8_t kSync[4] = {0x7F, 0xFE, 0x80, 0x01};
constexpr uint8_t kSyncSwapped[4] = {0xFE, 0x7F, 0x01, 0x80};
// Up to and including the source resolution after a header CRC.
constexpr size_t kHeaderBytes = 16;
constexpr size_t kMinFrameBytes = 96;
constexpr size_t kMaxFrameBytes = 16384;

// Bit fields of a header in stream order, counted from the frame's first bit.
uint32_t getBits(const uint8_t* h, size_t at, int count)
{
    uint32_t value = 0;
    for (int i = 0; i < count; ++i, ++at)
        value = value << 1 | ((h[at / 8] >> (7 - at % 8)) & 1);
    return value;
}

void putBits(uint8_t* h, size_t at, int count, uint32_t value)
{
    for (int i = count - 1; i >= 0; --i, ++at) {
        uint8_t mask = uint8_t(0x80 >> (at % 8));
        h[at / 8] = uint8_t((value >> i & 1) ? h[at / 8] | mask : h[at / 8] & ~mask);
    }
}

void copyWords(uint8_t* dst, const uint8_t* src, size_t bytes, bool swap)
{
    for (size_t i = 0; i < bytes; ++i)
        dst[i] = src[swap ? i ^ 1 : i];
}

// The header fields a core decoder checks, put back in range; `frameBytes`
// is the size the frame should have, 0 to keep a size in range as coded.
void repairHeader(uint8_t* h, size_t frameBytes)
{
    putBits(h, 33, 5, 31);  // deficit sample count: a whole last block
    // Blocks of 32 samples: a multiple of 8, at least 8.
    uint32_t blocks = getBits(h, 39, 7) + 1;
    putBits(h, 39, 7, std::max<uint32_t>(8, blocks & ~7u) - 1);
    uint32_t coded = getBits(h, 46, 14) + 1;
    if (frameBytes == 0 && coded < kMinFrameBytes)
        frameBytes = kMinFrameBytes;
    if (frameBytes != 0)
        putBits(h, 46, 14, uint32_t(frameBytes - 1));
    uint32_t amode = getBits(h, 60, 6);
    if (amode >= 10)
        putBits(h, 60, 6, amode % 10);
    // Sample rate codes: 0, 4, 5, 9 and 10 are not defined.
    static const uint8_t rateInRange[16] = {13, 1, 2, 3, 3, 6, 6, 7, 8, 8, 11, 11, 12, 13, 14, 15};
    putBits(h, 66, 4, rateInRange[getBits(h, 66, 4)]);
    putBits(h, 75, 1, 0);  // reserved
    if (getBits(h, 85, 2) == 3)
        putBits(h, 85, 2, 1);  // LFE: 3 is not a factor
    bool headerCrc = getBits(h, 38, 1);
    size_t pcmr = headerCrc ? 111 : 95;
    uint32_t resolution = getBits(h, pcmr, 3);
    if (resolution == 4 || resolution == 7)
        putBits(h, pcmr, 3, resolution - 1);
}

// Where the next sync word of the same word order starts after `from`, or
// `size` when none does.
size_t nextSync(const uint8_t* data, size_t size, size_t from, const uint8_t* sync)
{
    for (size_t at = from; at + 4 <= size; ++at)
        if (std::memcmp(data + at, sync, 4) == 0)
            return at;
    return size;
}

}  // namespace

void repairDtsFrames(uint8_t* data, size_t size)
{
    size_t at = 0;
    while (at + kHeaderBytes <= size) {
        uint8_t* p = data + at;
        bool swapped = std::memcmp(p, kSyncSwapped, 4) == 0;
        if (!swapped && std::memcmp(p, kSync, 4) != 0) {
            ++at;
            continue;
        }
        const uint8_t* sync = swapped ? kSyncSwapped : kSync;
        uint8_t header[kHeaderBytes];
        copyWords(header, p, kHeaderBytes, swapped);
        // Where the coded size ends the frame, a sync word that has lost one
        // byte is restored; otherwise the frame reaches the next sync word.
        size_t bytes = getBits(header, 46, 14) + 1;
        bool chained = false;
        if (bytes >= kMinFrameBytes && bytes + 4 <= size - at) {
            int same = 0;
            for (int i = 0; i < 4; ++i)
                same += p[bytes + size_t(i)] == sync[i];
            if (same == 3)
                std::memcpy(p + bytes, sync, 4);
            chained = same >= 3;
        }
        if (!chained) {
            size_t next = nextSync(data, size, at + kMinFrameBytes, sync);
            bytes = next - at;
            chained = next < size && bytes <= kMaxFrameBytes;
        }
        repairHeader(header, chained ? bytes : 0);
        copyWords(p, header, kHeaderBytes, swapped);
        at = chained ? at + bytes : at + 1;
    }
}
