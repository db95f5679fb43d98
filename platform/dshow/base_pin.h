// The pin base: connection (type negotiation from either side), pin
// information and the quality-control plumbing. A pin's reference count is its
// filter's: holding a pin keeps the filter alive.
#pragma once

#include <atomic>

#include "platform/dshow/base_filter.h"
#include "platform/dshow/media_type.h"

class CBasePin : public CUnknown, public IPin, public IQualityControl {
public:
    CBasePin(const char* objectName,
             CBaseFilter* filter,
             CCritSec* lock,
             HRESULT* phr,
             LPCWSTR pinName,
             PIN_DIRECTION direction);
    ~CBasePin() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

    // IPin
    STDMETHODIMP Connect(IPin* receivePin, const AM_MEDIA_TYPE* mt) override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* mt) override;
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** pin) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* mt) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* direction) override;
    STDMETHODIMP QueryId(LPWSTR* id) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* mt) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
    STDMETHODIMP QueryInternalConnections(IPin** pins, ULONG* count) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
    // IQualityControl
    STDMETHODIMP Notify(IBaseFilter* self, Quality q) override;
    STDMETHODIMP SetSink(IQualityControl* sink) override;

    // Hooks for derived pins.
    virtual HRESULT CheckMediaType(const CMediaType* mt) = 0;
    // Preferred types: VFW_S_NO_MORE_ITEMS past the end.
    virtual HRESULT GetMediaType(int position, CMediaType* mt);
    virtual HRESULT SetMediaType(const CMediaType* mt);
    virtual HRESULT CheckConnect(IPin* pin);
    virtual HRESULT CompleteConnect(IPin* receivePin);
    virtual HRESULT BreakConnect();
    virtual HRESULT Active();
    virtual HRESULT Inactive();
    virtual HRESULT Run(REFERENCE_TIME start);

    bool IsConnected() const { return m_Connected != nullptr; }
    IPin* GetConnected() const { return m_Connected; }
    bool IsStopped() { return m_pFilter->IsStopped(); }
    const platform::WideString& Name() const { return m_name; }
    CMediaType& CurrentMediaType() { return m_mt; }
    LONG GetMediaTypeVersion() const { return m_TypeVersion; }
    void IncrementTypeVersion() { InterlockedIncrement(&m_TypeVersion); }
    REFERENCE_TIME CurrentStartTime() const { return m_tStart; }
    REFERENCE_TIME CurrentStopTime() const { return m_tStop; }
    double CurrentRate() const { return m_dRate; }

protected:
    HRESULT AgreeMediaType(IPin* receivePin, const CMediaType* mt);
    HRESULT TryMediaTypes(IPin* receivePin, const CMediaType* partial, IEnumMediaTypes* types);
    HRESULT AttemptConnection(IPin* receivePin, const CMediaType* mt);
    HRESULT DisconnectInternal();

    platform::WideString m_name;
    IPin* m_Connected = nullptr;
    PIN_DIRECTION m_dir;
    CCritSec* m_pLock;
    CBaseFilter* m_pFilter;
    IQualityControl* m_pQSink = nullptr;  // not counted
    volatile LONG m_TypeVersion = 1;
    CMediaType m_mt;
    REFERENCE_TIME m_tStart = 0;
    REFERENCE_TIME m_tStop = 0x7FFFFFFFFFFFFFFFLL;
    double m_dRate = 1.0;
    // Set by a refused in-band type on the streaming thread, cleared by
    // flushes and stops on the application thread.
    std::atomic<bool> m_bRunTimeError{false};
};
