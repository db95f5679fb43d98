// The input pin base: IMemInputPin (allocator handshake and Receive checks),
// flushing state and run-time errors.
#pragma once

#include <atomic>

#include "platform/dshow/base_pin.h"

class CBaseInputPin : public CBasePin, public IMemInputPin {
public:
    CBaseInputPin(const char* objectName,
                  CBaseFilter* filter,
                  CCritSec* lock,
                  HRESULT* phr,
                  LPCWSTR pinName);
    ~CBaseInputPin() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IMemInputPin
    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, WINBOOL readOnly) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props) override;
    // The base checks; derived pins call this first and go on only on S_OK.
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) override;
    STDMETHODIMP ReceiveCanBlock() override;

    // IPin
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP Notify(IBaseFilter* self, Quality q) override;

    HRESULT BreakConnect() override;
    HRESULT Inactive() override;

    // S_OK when a sample may be received now; S_FALSE while flushing.
    virtual HRESULT CheckStreaming();
    bool IsFlushing() const { return m_bFlushing; }
    bool IsReadOnly() const { return m_bReadOnly; }
    AM_SAMPLE2_PROPERTIES* SampleProps() { return &m_SampleProps; }

protected:
    IMemAllocator* m_pAllocator = nullptr;
    bool m_bReadOnly = false;
    // Set under the filter lock, read without it by Receive.
    std::atomic<bool> m_bFlushing{false};
    AM_SAMPLE2_PROPERTIES m_SampleProps{};
    AM_MEDIA_TYPE* m_pReceivedType = nullptr;  // freed at the next Receive
};
