// A media sample over plain memory, for driving decoders without a graph.
// Guard bytes after the buffer it declares show a write past its end.
#pragma once

#include <algorithm>
#include <vector>

#include "platform/dshow/media_sample.h"

class MemorySample final : public CMediaSample {
public:
    explicit MemorySample(size_t size, BYTE fill = 0xCD)
        : CMediaSample("memory", nullptr, nullptr, nullptr, 0),
          buffer_(size + kGuard, fill),
          size_(size),
          fill_(fill)
    {
        SetPointer(buffer_.data(), LONG(size));
        m_lActual = 0;
    }

    std::vector<BYTE> data() const { return {buffer_.begin(), buffer_.begin() + m_lActual}; }
    // The whole declared buffer, written or not.
    std::vector<BYTE> buffer() const { return {buffer_.begin(), buffer_.begin() + long(size_)}; }
    // Fills the sample with `bytes` as an input sample.
    void assign(const BYTE* bytes, size_t count)
    {
        buffer_.assign(bytes, bytes + count);
        buffer_.resize(count + kGuard, fill_);
        size_ = count;
        SetPointer(buffer_.data(), LONG(count));
    }
    bool guardIntact() const
    {
        return std::all_of(buffer_.begin() + long(size_), buffer_.end(),
                           [this](BYTE b) { return b == fill_; });
    }

    // Lives on the stack of the test, not in an allocator: counting is not needed.
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }

private:
    static constexpr size_t kGuard = 64;
    std::vector<BYTE> buffer_;
    size_t size_;
    BYTE fill_;
};
