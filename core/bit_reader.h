// Reading big-endian bit fields and byte-swapping the big-endian samples of
// disc formats. Reads past the end give zero bits and mark the reader overrun,
// so header parsers never touch memory outside their buffer.
#pragma once

#include <cstddef>
#include <cstdint>

class BitReader {
public:
    BitReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    // The next `count` bits (at most 32), most significant first.
    uint32_t get(int count);
    void skip(int count);
    bool overrun() const { return overrun_; }
    size_t bitPosition() const { return position_; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t position_ = 0;  // in bits
    bool overrun_ = false;
};

inline uint16_t readBigEndian16(const uint8_t* p)
{
    return uint16_t((p[0] << 8) | p[1]);
}
inline uint32_t readBigEndian24(const uint8_t* p)
{
    return (uint32_t(p[0]) << 16) | (uint32_t(p[1]) << 8) | p[2];
}
inline uint32_t readBigEndian32(const uint8_t* p)
{
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

// Copies `words` 16-bit words from `src` to `dst` swapping the two bytes of
// each; `dst` may equal `src`.
void swapBytes16(uint8_t* dst, const uint8_t* src, size_t words);
