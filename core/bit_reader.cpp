#include "core/bit_reader.h"

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

void swapBytes16(uint8_t* dst, const uint8_t* src, size_t words)
{
    for (size_t i = 0; i < words; ++i) {
        uint8_t high = src[2 * i];
        uint8_t low = src[2 * i + 1];
        dst[2 * i] = low;
        dst[2 * i + 1] = high;
    }
}
