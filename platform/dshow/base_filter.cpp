#include "platform/dshow/base_filter.h"

#include "platform/dshow/base_pin.h"
#include "platform/dshow/enumerators.h"

CBaseFilter::CBaseFilter(const char* name,
                         IUnknown* outer,
                         CCritSec* lock,
                         REFCLSID clsid,
                         HRESULT* phr)
    : CUnknown(name, outer, phr), m_clsid(clsid), m_pLock(lock)
{
}

CBaseFilter::~CBaseFilter()
{
    if (m_pClock)
        m_pClock->Release();
}

STDMETHODIMP CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (IsEqualGUID(riid, IID_IBaseFilter))
        return GetInterface(static_cast<IBaseFilter*>(this), ppv);
    if (IsEqualGUID(riid, IID_IMediaFilter))
        return GetInterface(static_cast<IMediaFilter*>(this), ppv);
    if (IsEqualGUID(riid, IID_IPersist))
        return GetInterface(static_cast<IPersist*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseFilter::GetClassID(CLSID* clsid)
{
    if (!clsid)
        return E_POINTER;
    *clsid = m_clsid;
    return S_OK;
}

STDMETHODIMP CBaseFilter::Stop()
{
    CAutoLock lock(m_pLock);
    HRESULT result = S_OK;
    if (m_State != State_Stopped) {
        for (int i = 0; i < GetPinCount(); ++i) {
            CBasePin* pin = GetPin(i);
            if (pin && pin->IsConnected()) {
                HRESULT hr = pin->Inactive();
                if (FAILED(hr) && SUCCEEDED(result))
                    result = hr;
            }
        }
    }
    m_State = State_Stopped;
    return result;
}

STDMETHODIMP CBaseFilter::Pause()
{
    CAutoLock lock(m_pLock);
    if (m_State == State_Stopped) {
        for (int i = 0; i < GetPinCount(); ++i) {
            CBasePin* pin = GetPin(i);
            if (pin && pin->IsConnected()) {
                HRESULT hr = pin->Active();
                if (FAILED(hr))
                    return hr;
            }
        }
    }
    m_State = State_Paused;
    return S_OK;
}

STDMETHODIMP CBaseFilter::Run(REFERENCE_TIME start)
{
    CAutoLock lock(m_pLock);
    if (m_State == State_Stopped) {
        HRESULT hr = Pause();
        if (FAILED(hr))
            return hr;
    }
    // Every Run carries a new stream-time origin, so the pins hear of it even
    // when the filter is already running.
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* pin = GetPin(i);
        if (pin && pin->IsConnected()) {
            HRESULT hr = pin->Run(start);
            if (FAILED(hr))
                return hr;
        }
    }
    m_State = State_Running;
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetState(DWORD, FILTER_STATE* state)
{
    if (!state)
        return E_POINTER;
    *state = m_State;
    return S_OK;
}

STDMETHODIMP CBaseFilter::SetSyncSource(IReferenceClock* clock)
{
    CAutoLock lock(m_pLock);
    if (clock)
        clock->AddRef();
    if (m_pClock)
        m_pClock->Release();
    m_pClock = clock;
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** clock)
{
    if (!clock)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    *clock = m_pClock;
    if (m_pClock)
        m_pClock->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseFilter::EnumPins(IEnumPins** ppEnum)
{
    if (!ppEnum)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    *ppEnum = new CEnumPins(this, nullptr);
    return S_OK;
}

STDMETHODIMP CBaseFilter::FindPin(LPCWSTR id, IPin** ppPin)
{
    if (!ppPin)
        return E_POINTER;
    *ppPin = nullptr;
    if (!id)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* pin = GetPin(i);
        if (pin && pin->Name() == platform::WideString(id)) {
            *ppPin = pin;
            pin->AddRef();
            return S_OK;
        }
    }
    return VFW_E_NOT_FOUND;
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* info)
{
    if (!info)
        return E_POINTER;
    platform::copyWide(info->achName, MAX_FILTER_NAME, m_name.c_str());
    info->pGraph = m_pGraph;
    if (m_pGraph)
        m_pGraph->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name)
{
    CAutoLock lock(m_pLock);
    m_pGraph = graph;
    m_pSink = nullptr;
    if (graph) {
        IMediaEventSink* sink = nullptr;
        if (SUCCEEDED(
                graph->QueryInterface(IID_IMediaEventSink, reinterpret_cast<void**>(&sink))) &&
            sink) {
            m_pSink = sink;
            sink->Release();  // kept weak: the graph outlives its filters' membership
        }
    }
    m_name = name ? platform::WideString(name) : platform::WideString();
    return S_OK;
}

STDMETHODIMP CBaseFilter::QueryVendorInfo(LPWSTR*)
{
    return E_NOTIMPL;
}

bool CBaseFilter::IsStopped()
{
    return m_State == State_Stopped;
}

HRESULT CBaseFilter::NotifyEvent(LONG code, LONG_PTR param1, LONG_PTR param2)
{
    IMediaEventSink* sink = m_pSink;
    if (!sink)
        return E_NOTIMPL;
    if (code == EC_COMPLETE)
        param2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
    return sink->Notify(code, param1, param2);
}
