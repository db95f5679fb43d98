// A media sample over plain memory, for driving decoders without a graph.
// Guard bytes after the buffer it declares show a write past its end.
#pragma once

#include <vector>

#include "platform/windows_api.h"

class MemorySample final : public IMediaSample {
public:
    explicit MemorySample(size_t size, BYTE fill = 0xCD)
        : buffer_(size + kGuard, fill), size_(size), fill_(fill)
    {
    }

    std::vector<BYTE> data() const { return {buffer_.begin(), buffer_.begin() + actual_}; }
    // The whole declared buffer, written or not.
    std::vector<BYTE> buffer() const { return {buffer_.begin(), buffer_.begin() + long(size_)}; }
    // Fills the sample with `bytes` as an input sample.
    void assign(const BYTE* bytes, size_t count)
    {
        buffer_.assign(bytes, bytes + count);
        buffer_.resize(count + kGuard, fill_);
        size_ = count;
        actual_ = LONG(count);
    }
    bool guardIntact() const
    {
        for (size_t i = size_; i < buffer_.size(); ++i)
            if (buffer_[i] != fill_)
                return false;
        return true;
    }

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        if (!ppv)
            return E_POINTER;
        if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IMediaSample)) {
            *ppv = static_cast<IMediaSample*>(this);
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    // Lives on the stack of the test: counting is not needed.
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }

    STDMETHODIMP GetPointer(BYTE** ppBuffer) override
    {
        if (!ppBuffer)
            return E_POINTER;
        *ppBuffer = buffer_.data();
        return S_OK;
    }
    STDMETHODIMP_(LONG) GetSize() override { return static_cast<LONG>(size_); }
    STDMETHODIMP GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override
    {
        if (!hasTime_)
            return VFW_E_SAMPLE_TIME_NOT_SET;
        *start = start_;
        *stop = stop_;
        return S_OK;
    }
    STDMETHODIMP SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override
    {
        hasTime_ = start != nullptr;
        if (start)
            start_ = *start;
        stop_ = stop ? *stop : start_ + 1;
        return S_OK;
    }
    STDMETHODIMP IsSyncPoint() override { return S_OK; }
    STDMETHODIMP SetSyncPoint(WINBOOL) override { return S_OK; }
    STDMETHODIMP IsPreroll() override { return S_FALSE; }
    STDMETHODIMP SetPreroll(WINBOOL) override { return S_OK; }
    STDMETHODIMP_(LONG) GetActualDataLength() override { return actual_; }
    STDMETHODIMP SetActualDataLength(LONG length) override
    {
        if (length < 0 || static_cast<size_t>(length) > size_)
            return VFW_E_BUFFER_OVERFLOW;
        actual_ = length;
        return S_OK;
    }
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** type) override
    {
        *type = nullptr;
        return S_FALSE;
    }
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP IsDiscontinuity() override { return discontinuity_ ? S_OK : S_FALSE; }
    STDMETHODIMP SetDiscontinuity(WINBOOL on) override
    {
        discontinuity_ = on;
        return S_OK;
    }
    STDMETHODIMP GetMediaTime(LONGLONG*, LONGLONG*) override { return VFW_E_MEDIA_TIME_NOT_SET; }
    STDMETHODIMP SetMediaTime(LONGLONG*, LONGLONG*) override { return S_OK; }

private:
    static constexpr size_t kGuard = 64;
    std::vector<BYTE> buffer_;
    size_t size_;
    BYTE fill_;
    bool discontinuity_ = false;
    LONG actual_ = 0;
    bool hasTime_ = false;
    REFERENCE_TIME start_ = 0;
    REFERENCE_TIME stop_ = 0;
};
