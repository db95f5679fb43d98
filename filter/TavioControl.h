// The filter's private control interface and the stream-information
// snapshots it hands out: what is being decoded (input) and delivered
// (output), as applications and the property page read it.
#pragma once

#include <memory>
#include <string>

#include "core/TvStatus.h"
#include "platform/com.h"

// clang-format off
TV_DEFINE_GUID(IID_ITavioControl, 0x6A0D3E51, 0x92B7, 0x4C1F, 0x8E, 0x64, 0x3B, 0xD9, 0x07, 0x5A, 0xC1, 0x28);
TV_DEFINE_GUID(IID_ITavioStreamInfo, 0x1E7C49A3, 0x5D06, 0x4B82, 0xA9, 0x3F, 0x64, 0xE2, 0x18, 0x7B, 0x0D, 0x95);
// clang-format on

struct ITavioStreamInfo : public IUnknown {
    STDMETHOD(GetSpdif)(DWORD* spdif) PURE;
    STDMETHOD(GetStreamType)(DWORD* type) PURE;
    STDMETHOD(GetBitRate)(DWORD* kbps) PURE;
    STDMETHOD(GetFrameSize)(DWORD* bytes) PURE;
    STDMETHOD(GetSampleRate)(DWORD* hz) PURE;
    STDMETHOD(GetBitsPerSample)(WORD* bits) PURE;
    STDMETHOD(GetSamplesPerFrame)(DWORD* samples) PURE;
    STDMETHOD(GetChannelMask)(DWORD* mask) PURE;
    STDMETHOD(GetRemixMode)(DWORD* mode) PURE;
    STDMETHOD(GetChannels)(WORD* channels) PURE;
};

struct ITavioControl : public IUnknown {
    STDMETHOD(GetOutputStreamInfo)(ITavioStreamInfo** info) PURE;
    STDMETHOD(GetInputStreamInfo)(ITavioStreamInfo** info) PURE;
    STDMETHOD(SetSpdif)(BOOL on) PURE;
    STDMETHOD(GetSpdif)(BOOL* on) PURE;
};

// A snapshot of one status record; it never changes after creation.
class TavioStreamInfo : public ITavioStreamInfo {
public:
    // Takes ownership of `status` (a clone).
    explicit TavioStreamInfo(TvStatus* status) : _status(status) {}
    virtual ~TavioStreamInfo() = default;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP GetSpdif(DWORD* spdif) override;
    STDMETHODIMP GetStreamType(DWORD* type) override;
    STDMETHODIMP GetBitRate(DWORD* kbps) override;
    STDMETHODIMP GetFrameSize(DWORD* bytes) override;
    STDMETHODIMP GetSampleRate(DWORD* hz) override;
    STDMETHODIMP GetBitsPerSample(WORD* bits) override;
    STDMETHODIMP GetSamplesPerFrame(DWORD* samples) override;
    STDMETHODIMP GetChannelMask(DWORD* mask) override;
    STDMETHODIMP GetRemixMode(DWORD* mode) override;
    STDMETHODIMP GetChannels(WORD* channels) override;

private:
    volatile LONG _references = 1;
    std::unique_ptr<TvStatus> _status;
};
