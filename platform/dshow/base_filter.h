// The filter base: identity, the Stopped/Paused/Running state machine over
// the pins, graph membership and event notification. Derived filters supply
// their pins.
#pragma once

#include <atomic>

#include "platform/dshow/crit_sec.h"
#include "platform/dshow/unknown.h"
#include "platform/strings.h"
#include "platform/strmif.h"

class CBasePin;

class CBaseFilter : public CUnknown, public IBaseFilter {
public:
    CBaseFilter(const char* name,
                IUnknown* outer,
                CCritSec* lock,
                REFCLSID clsid,
                HRESULT* phr = nullptr);
    ~CBaseFilter() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IPersist
    STDMETHODIMP GetClassID(CLSID* clsid) override;
    // IMediaFilter
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    STDMETHODIMP GetState(DWORD timeout, FILTER_STATE* state) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) override;
    STDMETHODIMP GetSyncSource(IReferenceClock** clock) override;
    // IBaseFilter
    STDMETHODIMP EnumPins(IEnumPins** ppEnum) override;
    STDMETHODIMP FindPin(LPCWSTR id, IPin** ppPin) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    STDMETHODIMP QueryVendorInfo(LPWSTR* vendorInfo) override;

    // The pins, not counted; null past the end.
    virtual int GetPinCount() = 0;
    virtual CBasePin* GetPin(int n) = 0;

    bool IsStopped();
    FILTER_STATE State() const { return m_State; }
    // Posts a graph event; EC_COMPLETE carries this filter. E_NOTIMPL outside a graph.
    HRESULT NotifyEvent(LONG code, LONG_PTR param1, LONG_PTR param2);
    LONG GetPinVersion() const { return m_PinVersion; }
    void IncrementPinVersion() { InterlockedIncrement(&m_PinVersion); }
    IFilterGraph* GetFilterGraph() const { return m_pGraph; }

protected:
    // Changed under the filter lock, read without it by streaming checks.
    std::atomic<FILTER_STATE> m_State{State_Stopped};
    IReferenceClock* m_pClock = nullptr;
    CLSID m_clsid;
    CCritSec* m_pLock;
    platform::WideString m_name;
    IFilterGraph* m_pGraph = nullptr;    // not counted: the graph owns us
    IMediaEventSink* m_pSink = nullptr;  // not counted, for the same reason
    volatile LONG m_PinVersion = 1;
};
