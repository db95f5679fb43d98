// A media sample over plain memory, for driving decoders without a graph.
#pragma once

#include <vector>

#include "platform/windows_api.h"

class MemorySample : public IMediaSample {
public:
    explicit MemorySample(size_t size, BYTE fill = 0xCD) : buffer_(size, fill) {}

    const std::vector<BYTE>& buffer() const { return buffer_; }
    std::vector<BYTE> data() const { return {buffer_.begin(), buffer_.begin() + actual_}; }

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
    STDMETHODIMP_(LONG) GetSize() override { return static_cast<LONG>(buffer_.size()); }
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
        if (length < 0 || static_cast<size_t>(length) > buffer_.size())
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
    STDMETHODIMP IsDiscontinuity() override { return S_FALSE; }
    STDMETHODIMP SetDiscontinuity(WINBOOL) override { return S_OK; }
    STDMETHODIMP GetMediaTime(LONGLONG*, LONGLONG*) override { return VFW_E_MEDIA_TIME_NOT_SET; }
    STDMETHODIMP SetMediaTime(LONGLONG*, LONGLONG*) override { return S_OK; }

private:
    std::vector<BYTE> buffer_;
    LONG actual_ = 0;
    bool hasTime_ = false;
    REFERENCE_TIME start_ = 0;
    REFERENCE_TIME stop_ = 0;
};
