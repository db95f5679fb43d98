// Hand-built bit streams: fields written most significant bit first, as
// audio headers are laid out, so a test states a header field by field.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class BitWriter {
public:
    // Appends the low `count` bits of `value`.
    BitWriter& put(uint32_t value, int count)
    {
        for (int i = count - 1; i >= 0; --i) {
            if (bits_ % 8 == 0)
                bytes_.push_back(0);
            bytes_.back() |= uint8_t(((value >> i) & 1) << (7 - bits_ % 8));
            ++bits_;
        }
        return *this;
    }

    // The bytes written, zero-padded or cut to `size`.
    std::vector<uint8_t> bytes(size_t size) const
    {
        std::vector<uint8_t> out = bytes_;
        out.resize(size, 0);
        return out;
    }
    std::vector<uint8_t> bytes() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
    size_t bits_ = 0;
};
