#include "platform/dshow/enumerators.h"

#include "platform/dshow/base_pin.h"

CEnumPins::CEnumPins(CBaseFilter* filter, const CEnumPins* toCopy) : m_pFilter(filter)
{
    m_pFilter->AddRef();
    if (toCopy) {
        m_Position = toCopy->m_Position;
        m_PinCount = toCopy->m_PinCount;
        m_Version = toCopy->m_Version;
    } else {
        m_PinCount = filter->GetPinCount();
        m_Version = filter->GetPinVersion();
    }
}

CEnumPins::~CEnumPins()
{
    m_pFilter->Release();
}

bool CEnumPins::OutOfSync() const
{
    return m_Version != m_pFilter->GetPinVersion();
}

STDMETHODIMP CEnumPins::Next(ULONG count, IPin** pins, ULONG* fetched)
{
    if (!pins)
        return E_POINTER;
    if (!fetched && count > 1)
        return E_INVALIDARG;
    if (fetched)
        *fetched = 0;
    if (OutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    ULONG produced = 0;
    while (produced < count && m_Position < m_PinCount) {
        CBasePin* pin = m_pFilter->GetPin(m_Position++);
        if (!pin)
            continue;
        pin->AddRef();
        pins[produced++] = pin;
    }
    if (fetched)
        *fetched = produced;
    return produced == count ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumPins::Skip(ULONG count)
{
    if (OutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    if (static_cast<ULONG>(m_PinCount - m_Position) < count)
        return S_FALSE;
    m_Position += static_cast<int>(count);
    return S_OK;
}

STDMETHODIMP CEnumPins::Reset()
{
    m_Version = m_pFilter->GetPinVersion();
    m_PinCount = m_pFilter->GetPinCount();
    m_Position = 0;
    return S_OK;
}

STDMETHODIMP CEnumPins::Clone(IEnumPins** ppEnum)
{
    if (!ppEnum)
        return E_POINTER;
    *ppEnum = nullptr;
    if (OutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    *ppEnum = new CEnumPins(m_pFilter, this);
    return S_OK;
}

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pin, const CEnumMediaTypes* toCopy) : m_pPin(pin)
{
    m_pPin->AddRef();
    if (toCopy) {
        m_Position = toCopy->m_Position;
        m_Version = toCopy->m_Version;
    } else {
        m_Version = pin->GetMediaTypeVersion();
    }
}

CEnumMediaTypes::~CEnumMediaTypes()
{
    m_pPin->Release();
}

bool CEnumMediaTypes::OutOfSync() const
{
    return m_Version != m_pPin->GetMediaTypeVersion();
}

STDMETHODIMP CEnumMediaTypes::Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched)
{
    if (!types)
        return E_POINTER;
    if (!fetched && count > 1)
        return E_INVALIDARG;
    if (fetched)
        *fetched = 0;
    if (OutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    ULONG produced = 0;
    while (produced < count) {
        CMediaType type;
        if (m_pPin->GetMediaType(m_Position, &type) != S_OK)
            break;
        AM_MEDIA_TYPE* copy = CreateMediaType(&type);
        if (!copy)
            break;
        types[produced++] = copy;
        ++m_Position;
    }
    if (fetched)
        *fetched = produced;
    return produced == count ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Skip(ULONG count)
{
    if (count == 0)
        return S_OK;
    if (OutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    m_Position += static_cast<int>(count);
    CMediaType type;
    return m_pPin->GetMediaType(m_Position - 1, &type) == S_OK ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Reset()
{
    m_Version = m_pPin->GetMediaTypeVersion();
    m_Position = 0;
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Clone(IEnumMediaTypes** ppEnum)
{
    if (!ppEnum)
        return E_POINTER;
    *ppEnum = nullptr;
    if (OutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    *ppEnum = new CEnumMediaTypes(m_pPin, this);
    return S_OK;
}
