#include "core/bit_reader.h"

uint32_t BitReader::get(int count)
{
    uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        size_t byte = position_ >> 3;
        uint32_t bit = 0;
        if (byte < size_)
            bit = (data_[byte] >> (7 - (position_ & 7))) & 1;
        else
            overrun_ = true;
        value = (value << 1) | bit;
        ++position_;
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
