#include "platform/dshow/input_pin.h"

#include "platform/dshow/allocator.h"

CBaseInputPin::CBaseInputPin(const char* objectName,
                             CBaseFilter* filter,
                             CCritSec* lock,
                             HRESULT* phr,
                             LPCWSTR pinName)
    : CBasePin(objectName, filter, lock, phr, pinName, PINDIR_INPUT)
{
}

CBaseInputPin::~CBaseInputPin()
{
    DeleteMediaType(m_pReceivedType);
    if (m_pAllocator)
        m_pAllocator->Release();
}

STDMETHODIMP CBaseInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (IsEqualGUID(riid, IID_IMemInputPin))
        return GetInterface(static_cast<IMemInputPin*>(this), ppv);
    return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseInputPin::GetAllocator(IMemAllocator** allocator)
{
    if (!allocator)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    if (!m_pAllocator) {
        HRESULT hr = S_OK;
        auto* own = new CMemAllocator("input pin allocator", nullptr, &hr);
        own->NonDelegatingAddRef();
        if (FAILED(hr)) {
            own->NonDelegatingRelease();
            return hr;
        }
        hr = own->NonDelegatingQueryInterface(IID_IMemAllocator,
                                              reinterpret_cast<void**>(&m_pAllocator));
        own->NonDelegatingRelease();
        if (FAILED(hr))
            return hr;
    }
    *allocator = m_pAllocator;
    m_pAllocator->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseInputPin::NotifyAllocator(IMemAllocator* allocator, WINBOOL readOnly)
{
    if (!allocator)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    // AddRef first: the new allocator may be the one already held.
    allocator->AddRef();
    if (m_pAllocator)
        m_pAllocator->Release();
    m_pAllocator = allocator;
    m_bReadOnly = readOnly != FALSE;
    return S_OK;
}

STDMETHODIMP CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*)
{
    return E_NOTIMPL;
}

HRESULT CBaseInputPin::BreakConnect()
{
    if (m_pAllocator) {
        // Upstream may not decommit on disconnect; we always do.
        HRESULT hr = m_pAllocator->Decommit();
        if (FAILED(hr))
            return hr;
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    return S_OK;
}

HRESULT CBaseInputPin::Inactive()
{
    m_bRunTimeError = false;
    if (!m_pAllocator)
        return VFW_E_NO_ALLOCATOR;
    m_bFlushing = false;
    // Wakes an upstream thread waiting in GetBuffer.
    return m_pAllocator->Decommit();
}

HRESULT CBaseInputPin::CheckStreaming()
{
    if (!IsConnected())
        return VFW_E_NOT_CONNECTED;
    if (IsStopped())
        return VFW_E_WRONG_STATE;
    if (m_bFlushing)
        return S_FALSE;
    if (m_bRunTimeError)
        return VFW_E_RUNTIME_ERROR;
    return S_OK;
}

STDMETHODIMP CBaseInputPin::Receive(IMediaSample* sample)
{
    if (!sample)
        return E_POINTER;
    HRESULT hr = CheckStreaming();
    if (hr != S_OK)
        return hr;

    DeleteMediaType(m_pReceivedType);
    m_pReceivedType = nullptr;
    IMediaSample2* sample2 = nullptr;
    if (SUCCEEDED(sample->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&sample2))) &&
        sample2) {
        hr = sample2->GetProperties(sizeof m_SampleProps, reinterpret_cast<BYTE*>(&m_SampleProps));
        sample2->Release();
        if (FAILED(hr))
            return hr;
    } else {
        // Built from the plain IMediaSample getters.
        m_SampleProps = AM_SAMPLE2_PROPERTIES{};
        m_SampleProps.cbData = sizeof m_SampleProps;
        hr = sample->GetTime(&m_SampleProps.tStart, &m_SampleProps.tStop);
        if (SUCCEEDED(hr)) {
            m_SampleProps.dwSampleFlags |= AM_SAMPLE_TIMEVALID;
            if (hr == S_OK)
                m_SampleProps.dwSampleFlags |= AM_SAMPLE_STOPVALID;
            else
                m_SampleProps.tStop = m_SampleProps.tStart + 1;
        }
        if (sample->IsSyncPoint() == S_OK)
            m_SampleProps.dwSampleFlags |= AM_SAMPLE_SPLICEPOINT;
        if (sample->IsPreroll() == S_OK)
            m_SampleProps.dwSampleFlags |= AM_SAMPLE_PREROLL;
        if (sample->IsDiscontinuity() == S_OK)
            m_SampleProps.dwSampleFlags |= AM_SAMPLE_DATADISCONTINUITY;
        if (sample->GetMediaType(&m_pReceivedType) == S_OK && m_pReceivedType) {
            m_SampleProps.dwSampleFlags |= AM_SAMPLE_TYPECHANGED;
            m_SampleProps.pMediaType = m_pReceivedType;
        }
        sample->GetPointer(&m_SampleProps.pbBuffer);
        m_SampleProps.lActual = sample->GetActualDataLength();
        m_SampleProps.cbBuffer = sample->GetSize();
        m_SampleProps.dwStreamId = AM_STREAM_MEDIA;
    }

    if (!(m_SampleProps.dwSampleFlags & AM_SAMPLE_TYPECHANGED) || !m_SampleProps.pMediaType)
        return S_OK;
    CMediaType type(*m_SampleProps.pMediaType);
    if (CheckMediaType(&type) == S_OK)
        return S_OK;
    // An unacceptable in-band type change stops the stream until a flush or stop.
    m_bRunTimeError = true;
    EndOfStream();
    m_pFilter->NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
    return VFW_E_INVALIDMEDIATYPE;
}

STDMETHODIMP CBaseInputPin::ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed)
{
    if (!samples || !processed)
        return E_POINTER;
    *processed = 0;
    HRESULT hr = S_OK;
    for (LONG i = 0; i < count; ++i) {
        hr = Receive(samples[i]);
        if (hr != S_OK)
            break;
        ++*processed;
    }
    return hr;
}

STDMETHODIMP CBaseInputPin::ReceiveCanBlock()
{
    int outputs = 0;
    int nonBlocking = 0;
    for (int i = 0; i < m_pFilter->GetPinCount(); ++i) {
        CBasePin* pin = m_pFilter->GetPin(i);
        PIN_DIRECTION direction;
        if (!pin || FAILED(pin->QueryDirection(&direction)) || direction != PINDIR_OUTPUT)
            continue;
        IPin* peer = pin->GetConnected();
        if (!peer)
            continue;
        ++outputs;
        IMemInputPin* memInput = nullptr;
        if (FAILED(peer->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&memInput))) ||
            !memInput)
            return S_OK;  // unknown transport: assume it blocks
        HRESULT hr = memInput->ReceiveCanBlock();
        memInput->Release();
        if (hr != S_FALSE)
            return S_OK;
        ++nonBlocking;
    }
    return outputs > 0 && nonBlocking == outputs ? S_FALSE : S_OK;
}

STDMETHODIMP CBaseInputPin::BeginFlush()
{
    CAutoLock lock(m_pLock);
    m_bFlushing = true;
    return S_OK;
}

STDMETHODIMP CBaseInputPin::EndFlush()
{
    CAutoLock lock(m_pLock);
    m_bFlushing = false;
    m_bRunTimeError = false;
    return S_OK;
}

STDMETHODIMP CBaseInputPin::Notify(IBaseFilter*, Quality)
{
    return S_OK;
}
