#include "host/graph.h"

Graph::~Graph()
{
    Clear();
}

STDMETHODIMP Graph::QueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IFilterGraph)) {
        *ppv = static_cast<IFilterGraph*>(this);
        return S_OK;
    }
    if (IsEqualGUID(riid, IID_IMediaEventSink)) {
        *ppv = static_cast<IMediaEventSink*>(this);
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

HRESULT Graph::Add(IBaseFilter* filter, LPCWSTR name)
{
    if (!filter)
        return E_POINTER;
    HRESULT hr = filter->JoinFilterGraph(this, name);
    if (FAILED(hr))
        return hr;
    filter->AddRef();
    m_filters.push_back(filter);
    return S_OK;
}

namespace {

// Connected pins hold each other's filters: a filter leaving the graph is
// disconnected on both sides first, as the graph manager does.
void disconnectPins(IBaseFilter* filter)
{
    IEnumPins* pins = nullptr;
    if (FAILED(filter->EnumPins(&pins)) || !pins)
        return;
    IPin* pin = nullptr;
    ULONG fetched = 0;
    while (pins->Next(1, &pin, &fetched) == S_OK && fetched == 1) {
        IPin* peer = nullptr;
        if (SUCCEEDED(pin->ConnectedTo(&peer)) && peer) {
            peer->Disconnect();
            peer->Release();
        }
        pin->Disconnect();
        pin->Release();
    }
    pins->Release();
}

}  // namespace

STDMETHODIMP Graph::RemoveFilter(IBaseFilter* filter)
{
    for (auto it = m_filters.begin(); it != m_filters.end(); ++it) {
        if (*it != filter)
            continue;
        filter->Stop();
        disconnectPins(filter);
        filter->JoinFilterGraph(nullptr, nullptr);
        filter->Release();
        m_filters.erase(it);
        return S_OK;
    }
    return VFW_E_NOT_FOUND;
}

HRESULT Graph::Connect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type)
{
    if (!output || !input)
        return E_POINTER;
    return output->Connect(input, type);
}

STDMETHODIMP Graph::Disconnect(IPin* pin)
{
    return pin ? pin->Disconnect() : E_POINTER;
}

STDMETHODIMP Graph::Reconnect(IPin*)
{
    return E_NOTIMPL;
}

STDMETHODIMP Graph::EnumFilters(IEnumFilters** ppEnum)
{
    if (ppEnum)
        *ppEnum = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP Graph::FindFilterByName(LPCWSTR name, IBaseFilter** filter)
{
    if (!filter || !name)
        return E_POINTER;
    *filter = nullptr;
    for (IBaseFilter* candidate : m_filters) {
        FILTER_INFO info;
        if (FAILED(candidate->QueryFilterInfo(&info)))
            continue;
        if (info.pGraph)
            info.pGraph->Release();
        if (platform::WideString(info.achName) == platform::WideString(name)) {
            candidate->AddRef();
            *filter = candidate;
            return S_OK;
        }
    }
    return VFW_E_NOT_FOUND;
}

// Downstream filters change state first, so nothing is pushed into a filter
// that is not yet ready for it.
HRESULT Graph::Pause()
{
    HRESULT result = S_OK;
    for (auto it = m_filters.rbegin(); it != m_filters.rend(); ++it) {
        HRESULT hr = (*it)->Pause();
        if (FAILED(hr) && SUCCEEDED(result))
            result = hr;
    }
    return result;
}

HRESULT Graph::Run(REFERENCE_TIME start)
{
    HRESULT result = S_OK;
    for (auto it = m_filters.rbegin(); it != m_filters.rend(); ++it) {
        HRESULT hr = (*it)->Run(start);
        if (FAILED(hr) && SUCCEEDED(result))
            result = hr;
    }
    return result;
}

HRESULT Graph::Stop()
{
    HRESULT result = S_OK;
    for (auto it = m_filters.rbegin(); it != m_filters.rend(); ++it) {
        HRESULT hr = (*it)->Stop();
        if (FAILED(hr) && SUCCEEDED(result))
            result = hr;
    }
    return result;
}

void Graph::Clear()
{
    Stop();
    for (IBaseFilter* filter : m_filters)
        disconnectPins(filter);
    for (IBaseFilter* filter : m_filters) {
        filter->JoinFilterGraph(nullptr, nullptr);
        filter->Release();
    }
    m_filters.clear();
}

STDMETHODIMP Graph::Notify(LONG code, LONG_PTR param1, LONG_PTR)
{
    std::lock_guard<std::mutex> guard(m_eventLock);
    m_events.emplace_back(code, param1);
    return S_OK;
}

std::vector<std::pair<LONG, LONG_PTR>> Graph::Events()
{
    std::lock_guard<std::mutex> guard(m_eventLock);
    return m_events;
}
