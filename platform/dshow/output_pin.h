// The output pin base: the allocator negotiation with the downstream input
// pin, committing buffers while active, and the delivery helpers.
#pragma once

#include "platform/dshow/base_pin.h"

class CBaseOutputPin : public CBasePin {
public:
    CBaseOutputPin(const char* objectName,
                   CBaseFilter* filter,
                   CCritSec* lock,
                   HRESULT* phr,
                   LPCWSTR pinName);
    ~CBaseOutputPin() override;

    HRESULT CheckConnect(IPin* pin) override;
    HRESULT CompleteConnect(IPin* receivePin) override;
    HRESULT BreakConnect() override;
    HRESULT Active() override;
    HRESULT Inactive() override;

    // Chooses the allocator: the downstream pin's if it will do, else our own.
    virtual HRESULT DecideAllocator(IMemInputPin* pin, IMemAllocator** allocator);
    // Sets the buffer count and size on the chosen allocator and checks what it gave.
    virtual HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) = 0;
    virtual HRESULT InitAllocator(IMemAllocator** allocator);

    virtual HRESULT GetDeliveryBuffer(IMediaSample** sample,
                                      REFERENCE_TIME* start,
                                      REFERENCE_TIME* stop,
                                      DWORD flags);
    virtual HRESULT Deliver(IMediaSample* sample);
    virtual HRESULT DeliverEndOfStream();
    virtual HRESULT DeliverBeginFlush();
    virtual HRESULT DeliverEndFlush();
    virtual HRESULT DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

    // Only input pins take these.
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

protected:
    IMemAllocator* m_pAllocator = nullptr;
    IMemInputPin* m_pInputPin = nullptr;
};
