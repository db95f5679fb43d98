// The filter's input pin: it logs every call, lets the filter judge media
// types, orders streaming calls with its receive lock and hands each sample to
// the filter's receive loop.
#pragma once

#include <ostream>

#include "platform/dshow/streams.h"

class TvFilter;

class TvInputPin : public CBaseInputPin {
public:
    TvInputPin(TvFilter* filter, CCritSec* filterLock, HRESULT* phr);
    ~TvInputPin() override;

    // IKsPropertySet is the filter's (the DVD karaoke property).
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    HRESULT CheckMediaType(const CMediaType* mt) override;
    HRESULT SetMediaType(const CMediaType* mt) override;
    STDMETHODIMP Connect(IPin* receivePin, const AM_MEDIA_TYPE* mt) override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* mt) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
    STDMETHODIMP EndOfStream() override;

    // An embedding host may take end of stream itself: the event is signalled
    // and nothing is sent downstream.
    void setEndOfStreamEvent(HANDLE event) { _eosEvent = event; }
    CCritSec* receiveLock() { return &_receiveLock; }

private:
    TvFilter* _filter;
    CCritSec _receiveLock;
    HANDLE _eosEvent = nullptr;
};
