#include "platform/dshow/base_pin.h"

#include <cstring>

#include "platform/dshow/enumerators.h"

namespace {

// Failures that say nothing beyond "this type was not taken"; a more telling
// code from another candidate is reported instead.
bool isBoringFailure(HRESULT hr)
{
    return hr == E_FAIL || hr == E_INVALIDARG || hr == VFW_E_TYPE_NOT_ACCEPTED;
}

}  // namespace

CBasePin::CBasePin(const char* objectName,
                   CBaseFilter* filter,
                   CCritSec* lock,
                   HRESULT*,
                   LPCWSTR pinName,
                   PIN_DIRECTION direction)
    : CUnknown(objectName, nullptr),
      m_name(pinName ? platform::WideString(pinName) : platform::WideString()),
      m_dir(direction),
      m_pLock(lock),
      m_pFilter(filter)
{
}

CBasePin::~CBasePin()
{
    if (m_Connected)
        m_Connected->Release();
}

STDMETHODIMP CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (IsEqualGUID(riid, IID_IPin))
        return GetInterface(static_cast<IPin*>(this), ppv);
    if (IsEqualGUID(riid, IID_IQualityControl))
        return GetInterface(static_cast<IQualityControl*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

// The filter owns its pins: their references are the filter's.
STDMETHODIMP_(ULONG) CBasePin::NonDelegatingAddRef()
{
    return m_pFilter->AddRef();
}
STDMETHODIMP_(ULONG) CBasePin::NonDelegatingRelease()
{
    return m_pFilter->Release();
}

STDMETHODIMP CBasePin::Connect(IPin* receivePin, const AM_MEDIA_TYPE* mt)
{
    if (!receivePin)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    if (m_Connected)
        return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped())
        return VFW_E_NOT_STOPPED;
    CMediaType type;
    const CMediaType* wanted = nullptr;
    if (mt) {
        type = *mt;
        wanted = &type;
    }
    return AgreeMediaType(receivePin, wanted);
}

HRESULT CBasePin::AgreeMediaType(IPin* receivePin, const CMediaType* mt)
{
    if (mt && !mt->IsPartiallySpecified())
        return AttemptConnection(receivePin, mt);

    HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
    for (int pass = 0; pass < 2; ++pass) {
        // The receiving pin's preferences are tried first, then ours.
        bool ours = pass == 1;
        IEnumMediaTypes* types = nullptr;
        HRESULT hr = ours ? EnumMediaTypes(&types) : receivePin->EnumMediaTypes(&types);
        if (FAILED(hr) || !types)
            continue;
        hr = TryMediaTypes(receivePin, mt, types);
        types->Release();
        if (SUCCEEDED(hr))
            return S_OK;
        if (!isBoringFailure(hr))
            failure = hr;
    }
    return failure;
}

HRESULT CBasePin::TryMediaTypes(IPin* receivePin, const CMediaType* partial, IEnumMediaTypes* types)
{
    HRESULT hr = types->Reset();
    if (FAILED(hr))
        return hr;
    HRESULT failure = S_OK;
    for (;;) {
        AM_MEDIA_TYPE* candidate = nullptr;
        ULONG fetched = 0;
        if (types->Next(1, &candidate, &fetched) != S_OK || fetched != 1 || !candidate)
            break;
        CMediaType type(*candidate);
        DeleteMediaType(candidate);
        if (partial && !type.MatchesPartial(partial))
            continue;
        hr = AttemptConnection(receivePin, &type);
        if (SUCCEEDED(hr))
            return S_OK;
        if (failure == S_OK || (isBoringFailure(failure) && !isBoringFailure(hr)))
            failure = hr;
    }
    return failure == S_OK || isBoringFailure(failure) ? VFW_E_NO_ACCEPTABLE_TYPES : failure;
}

HRESULT CBasePin::AttemptConnection(IPin* receivePin, const CMediaType* mt)
{
    HRESULT hr = CheckConnect(receivePin);
    if (FAILED(hr)) {
        BreakConnect();
        return hr;
    }
    hr = CheckMediaType(mt);
    if (hr != S_OK) {
        BreakConnect();
        return SUCCEEDED(hr) || hr == E_FAIL || hr == E_INVALIDARG ? VFW_E_TYPE_NOT_ACCEPTED : hr;
    }
    m_Connected = receivePin;
    m_Connected->AddRef();
    hr = SetMediaType(mt);
    if (SUCCEEDED(hr)) {
        hr = receivePin->ReceiveConnection(this, mt);
        if (SUCCEEDED(hr)) {
            hr = CompleteConnect(receivePin);
            if (SUCCEEDED(hr))
                return S_OK;
            // Undo the receiving pin's half of the connection.
            receivePin->Disconnect();
        }
    }
    m_Connected->Release();
    m_Connected = nullptr;
    BreakConnect();
    return hr;
}

STDMETHODIMP CBasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* mt)
{
    if (!connector || !mt)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    if (m_Connected)
        return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped())
        return VFW_E_NOT_STOPPED;
    HRESULT hr = CheckConnect(connector);
    if (FAILED(hr)) {
        BreakConnect();
        return hr;
    }
    CMediaType type(*mt);
    hr = CheckMediaType(&type);
    if (hr != S_OK) {
        BreakConnect();
        return SUCCEEDED(hr) || hr == E_FAIL || hr == E_INVALIDARG ? VFW_E_TYPE_NOT_ACCEPTED : hr;
    }
    m_Connected = connector;
    m_Connected->AddRef();
    hr = SetMediaType(&type);
    if (SUCCEEDED(hr))
        hr = CompleteConnect(connector);
    if (FAILED(hr)) {
        m_Connected->Release();
        m_Connected = nullptr;
        BreakConnect();
        return hr;
    }
    return S_OK;
}

STDMETHODIMP CBasePin::Disconnect()
{
    CAutoLock lock(m_pLock);
    if (!IsStopped())
        return VFW_E_NOT_STOPPED;
    return DisconnectInternal();
}

HRESULT CBasePin::DisconnectInternal()
{
    if (!m_Connected)
        return S_FALSE;
    HRESULT hr = BreakConnect();
    if (FAILED(hr))
        return hr;
    m_Connected->Release();
    m_Connected = nullptr;
    m_mt.ResetFormatBuffer();
    m_mt.InitMediaType();
    return S_OK;
}

STDMETHODIMP CBasePin::ConnectedTo(IPin** pin)
{
    if (!pin)
        return E_POINTER;
    *pin = m_Connected;
    if (!m_Connected)
        return VFW_E_NOT_CONNECTED;
    m_Connected->AddRef();
    return S_OK;
}

STDMETHODIMP CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* mt)
{
    if (!mt)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    if (!m_Connected) {
        std::memset(mt, 0, sizeof *mt);
        return VFW_E_NOT_CONNECTED;
    }
    return CopyMediaType(mt, &m_mt);
}

STDMETHODIMP CBasePin::QueryPinInfo(PIN_INFO* info)
{
    if (!info)
        return E_POINTER;
    info->pFilter = m_pFilter;
    if (m_pFilter)
        m_pFilter->AddRef();
    platform::copyWide(info->achName, MAX_PIN_NAME, m_name.c_str());
    info->dir = m_dir;
    return S_OK;
}

STDMETHODIMP CBasePin::QueryDirection(PIN_DIRECTION* direction)
{
    if (!direction)
        return E_POINTER;
    *direction = m_dir;
    return S_OK;
}

STDMETHODIMP CBasePin::QueryId(LPWSTR* id)
{
    if (!id)
        return E_POINTER;
    size_t bytes = (m_name.size() + 1) * sizeof(WCHAR);
    *id = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
    if (!*id)
        return E_OUTOFMEMORY;
    std::memcpy(*id, m_name.c_str(), bytes);
    return S_OK;
}

STDMETHODIMP CBasePin::QueryAccept(const AM_MEDIA_TYPE* mt)
{
    if (!mt)
        return E_POINTER;
    CMediaType type(*mt);
    HRESULT hr = CheckMediaType(&type);
    return FAILED(hr) ? S_FALSE : hr;
}

STDMETHODIMP CBasePin::EnumMediaTypes(IEnumMediaTypes** ppEnum)
{
    if (!ppEnum)
        return E_POINTER;
    *ppEnum = new CEnumMediaTypes(this, nullptr);
    return S_OK;
}

// Every input feeds every output.
STDMETHODIMP CBasePin::QueryInternalConnections(IPin**, ULONG*)
{
    return E_NOTIMPL;
}

STDMETHODIMP CBasePin::EndOfStream()
{
    return S_OK;
}

STDMETHODIMP CBasePin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    m_tStart = start;
    m_tStop = stop;
    m_dRate = rate;
    return S_OK;
}

STDMETHODIMP CBasePin::Notify(IBaseFilter*, Quality)
{
    return E_NOTIMPL;
}

STDMETHODIMP CBasePin::SetSink(IQualityControl* sink)
{
    CAutoLock lock(m_pLock);
    m_pQSink = sink;
    return S_OK;
}

HRESULT CBasePin::GetMediaType(int position, CMediaType*)
{
    if (position < 0)
        return E_INVALIDARG;
    return E_UNEXPECTED;
}

HRESULT CBasePin::SetMediaType(const CMediaType* mt)
{
    m_mt = *mt;
    return m_mt.IsValid() || IsEqualGUID(mt->majortype, GUID_NULL) ? S_OK : E_OUTOFMEMORY;
}

HRESULT CBasePin::CheckConnect(IPin* pin)
{
    PIN_DIRECTION direction;
    HRESULT hr = pin->QueryDirection(&direction);
    if (FAILED(hr))
        return hr;
    return direction == m_dir ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::CompleteConnect(IPin*)
{
    return S_OK;
}
HRESULT CBasePin::BreakConnect()
{
    return S_OK;
}
HRESULT CBasePin::Active()
{
    return S_OK;
}
HRESULT CBasePin::Inactive()
{
    m_bRunTimeError = false;
    return S_OK;
}
HRESULT CBasePin::Run(REFERENCE_TIME)
{
    return S_OK;
}
