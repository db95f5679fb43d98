#include "platform/dshow/output_pin.h"

#include "platform/dshow/allocator.h"

CBaseOutputPin::CBaseOutputPin(const char* objectName,
                               CBaseFilter* filter,
                               CCritSec* lock,
                               HRESULT* phr,
                               LPCWSTR pinName)
    : CBasePin(objectName, filter, lock, phr, pinName, PINDIR_OUTPUT)
{
}

CBaseOutputPin::~CBaseOutputPin()
{
    if (m_pAllocator)
        m_pAllocator->Release();
    if (m_pInputPin)
        m_pInputPin->Release();
}

HRESULT CBaseOutputPin::CheckConnect(IPin* pin)
{
    HRESULT hr = CBasePin::CheckConnect(pin);
    if (FAILED(hr))
        return hr;
    if (m_pInputPin) {
        m_pInputPin->Release();
        m_pInputPin = nullptr;
    }
    if (FAILED(pin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&m_pInputPin))) ||
        !m_pInputPin) {
        m_pInputPin = nullptr;
        return VFW_E_NO_TRANSPORT;
    }
    return S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*)
{
    return DecideAllocator(m_pInputPin, &m_pAllocator);
}

HRESULT CBaseOutputPin::BreakConnect()
{
    if (m_pAllocator) {
        HRESULT hr = m_pAllocator->Decommit();
        if (FAILED(hr))
            return hr;
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    if (m_pInputPin) {
        m_pInputPin->Release();
        m_pInputPin = nullptr;
    }
    return S_OK;
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** allocator)
{
    HRESULT hr = S_OK;
    auto* own = new CMemAllocator("output pin allocator", nullptr, &hr);
    own->NonDelegatingAddRef();
    if (SUCCEEDED(hr))
        hr = own->NonDelegatingQueryInterface(IID_IMemAllocator,
                                              reinterpret_cast<void**>(allocator));
    own->NonDelegatingRelease();
    return hr;
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pin, IMemAllocator** allocator)
{
    if (!pin || !allocator)
        return E_POINTER;
    *allocator = nullptr;
    ALLOCATOR_PROPERTIES request{};
    pin->GetAllocatorRequirements(&request);  // E_NOTIMPL is the usual answer
    if (request.cbAlign == 0)
        request.cbAlign = 1;

    // Sizes the allocator the candidate step produced and tells the input pin;
    // a refused candidate is released.
    auto tryAllocator = [&](HRESULT obtained) {
        HRESULT hr = obtained;
        if (SUCCEEDED(hr))
            hr = DecideBufferSize(*allocator, &request);
        if (SUCCEEDED(hr))
            hr = pin->NotifyAllocator(*allocator, FALSE);
        if (FAILED(hr) && *allocator) {
            (*allocator)->Release();
            *allocator = nullptr;
        }
        return hr;
    };
    // The input pin's own allocator first, then ours.
    if (SUCCEEDED(tryAllocator(pin->GetAllocator(allocator))))
        return S_OK;
    return tryAllocator(InitAllocator(allocator));
}

HRESULT CBaseOutputPin::Active()
{
    if (!m_pAllocator)
        return VFW_E_NO_ALLOCATOR;
    return m_pAllocator->Commit();
}

HRESULT CBaseOutputPin::Inactive()
{
    m_bRunTimeError = false;
    if (!m_pAllocator)
        return VFW_E_NO_ALLOCATOR;
    // Wakes our own streaming thread if it waits for a buffer.
    return m_pAllocator->Decommit();
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** sample,
                                          REFERENCE_TIME* start,
                                          REFERENCE_TIME* stop,
                                          DWORD flags)
{
    if (!m_pAllocator)
        return E_NOINTERFACE;
    return m_pAllocator->GetBuffer(sample, start, stop, flags);
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* sample)
{
    if (!m_pInputPin)
        return VFW_E_NOT_CONNECTED;
    return m_pInputPin->Receive(sample);
}

HRESULT CBaseOutputPin::DeliverEndOfStream()
{
    if (!m_Connected)
        return VFW_E_NOT_CONNECTED;
    return m_Connected->EndOfStream();
}

HRESULT CBaseOutputPin::DeliverBeginFlush()
{
    if (!m_Connected)
        return VFW_E_NOT_CONNECTED;
    return m_Connected->BeginFlush();
}

HRESULT CBaseOutputPin::DeliverEndFlush()
{
    if (!m_Connected)
        return VFW_E_NOT_CONNECTED;
    return m_Connected->EndFlush();
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    if (!m_Connected)
        return VFW_E_NOT_CONNECTED;
    return m_Connected->NewSegment(start, stop, rate);
}

STDMETHODIMP CBaseOutputPin::EndOfStream()
{
    return E_UNEXPECTED;
}
STDMETHODIMP CBaseOutputPin::BeginFlush()
{
    return E_UNEXPECTED;
}
STDMETHODIMP CBaseOutputPin::EndFlush()
{
    return E_UNEXPECTED;
}
