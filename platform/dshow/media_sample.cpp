#include "platform/dshow/media_sample.h"

#include <cstddef>
#include <cstring>

#include "platform/dshow/allocator.h"
#include "platform/dshow/media_type.h"

namespace {
constexpr DWORD kKnownFlags =
    AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_PREROLL | AM_SAMPLE_DATADISCONTINUITY |
    AM_SAMPLE_TYPECHANGED | AM_SAMPLE_TIMEVALID | AM_SAMPLE_TIMEDISCONTINUITY |
    AM_SAMPLE_FLUSH_ON_PAUSE | AM_SAMPLE_STOPVALID | AM_SAMPLE_ENDOFSTREAM;
}  // namespace

CMediaSample::CMediaSample(const char*,
                           CBaseAllocator* allocator,
                           HRESULT* phr,
                           BYTE* buffer,
                           LONG length)
    : m_pBuffer(buffer), m_cbBuffer(length), m_pAllocator(allocator)
{
    if (length < 0 && phr)
        *phr = VFW_E_BUFFER_OVERFLOW;
}

CMediaSample::~CMediaSample()
{
    DeleteMediaType(m_pMediaType);
}

STDMETHODIMP CMediaSample::QueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IMediaSample) ||
        IsEqualGUID(riid, IID_IMediaSample2)) {
        *ppv = static_cast<IMediaSample2*>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CMediaSample::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CMediaSample::Release()
{
    LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0) {
        // Not deleted: the sample goes back to its allocator, clean.
        ResetProperties();
        m_pAllocator->ReleaseBuffer(this);
    }
    return static_cast<ULONG>(count);
}

void CMediaSample::ResetProperties()
{
    DeleteMediaType(m_pMediaType);
    m_pMediaType = nullptr;
    m_dwFlags = 0;
    m_dwTypeSpecificFlags = 0;
    m_dwStreamId = AM_STREAM_MEDIA;
}

HRESULT CMediaSample::SetPointer(BYTE* buffer, LONG length)
{
    if (length < 0)
        return VFW_E_BUFFER_OVERFLOW;
    m_pBuffer = buffer;
    m_cbBuffer = length;
    m_lActual = length;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetPointer(BYTE** ppBuffer)
{
    if (!ppBuffer)
        return E_POINTER;
    *ppBuffer = m_pBuffer;
    return S_OK;
}

STDMETHODIMP_(LONG) CMediaSample::GetSize()
{
    return m_cbBuffer;
}

STDMETHODIMP CMediaSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end)
{
    if (!(m_dwFlags & AM_SAMPLE_TIMEVALID))
        return VFW_E_SAMPLE_TIME_NOT_SET;
    if (!start || !end)
        return E_POINTER;
    *start = m_Start;
    if (!(m_dwFlags & AM_SAMPLE_STOPVALID)) {
        *end = m_Start + 1;
        return VFW_S_NO_STOP_TIME;
    }
    *end = m_End;
    return S_OK;
}

STDMETHODIMP CMediaSample::SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end)
{
    m_dwFlags &= ~(AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID);
    if (start) {
        m_Start = *start;
        m_dwFlags |= AM_SAMPLE_TIMEVALID;
        if (end) {
            m_End = *end;
            m_dwFlags |= AM_SAMPLE_STOPVALID;
        }
    }
    return S_OK;
}

STDMETHODIMP CMediaSample::IsSyncPoint()
{
    return (m_dwFlags & AM_SAMPLE_SPLICEPOINT) ? S_OK : S_FALSE;
}
STDMETHODIMP CMediaSample::SetSyncPoint(WINBOOL syncPoint)
{
    m_dwFlags =
        syncPoint ? (m_dwFlags | AM_SAMPLE_SPLICEPOINT) : (m_dwFlags & ~AM_SAMPLE_SPLICEPOINT);
    return S_OK;
}
STDMETHODIMP CMediaSample::IsPreroll()
{
    return (m_dwFlags & AM_SAMPLE_PREROLL) ? S_OK : S_FALSE;
}
STDMETHODIMP CMediaSample::SetPreroll(WINBOOL preroll)
{
    m_dwFlags = preroll ? (m_dwFlags | AM_SAMPLE_PREROLL) : (m_dwFlags & ~AM_SAMPLE_PREROLL);
    return S_OK;
}
STDMETHODIMP CMediaSample::IsDiscontinuity()
{
    return (m_dwFlags & AM_SAMPLE_DATADISCONTINUITY) ? S_OK : S_FALSE;
}
STDMETHODIMP CMediaSample::SetDiscontinuity(WINBOOL discontinuity)
{
    m_dwFlags = discontinuity ? (m_dwFlags | AM_SAMPLE_DATADISCONTINUITY)
                              : (m_dwFlags & ~AM_SAMPLE_DATADISCONTINUITY);
    return S_OK;
}

STDMETHODIMP_(LONG) CMediaSample::GetActualDataLength()
{
    return m_lActual;
}

STDMETHODIMP CMediaSample::SetActualDataLength(LONG length)
{
    if (length < 0 || length > m_cbBuffer)
        return VFW_E_BUFFER_OVERFLOW;
    m_lActual = length;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetMediaType(AM_MEDIA_TYPE** type)
{
    if (!type)
        return E_POINTER;
    *type = nullptr;
    if (!(m_dwFlags & AM_SAMPLE_TYPECHANGED) || !m_pMediaType)
        return S_FALSE;
    *type = CreateMediaType(m_pMediaType);
    return *type ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CMediaSample::SetMediaType(AM_MEDIA_TYPE* type)
{
    DeleteMediaType(m_pMediaType);
    m_pMediaType = nullptr;
    m_dwFlags &= ~AM_SAMPLE_TYPECHANGED;
    if (!type)
        return S_OK;
    m_pMediaType = CreateMediaType(type);
    if (!m_pMediaType)
        return E_OUTOFMEMORY;
    m_dwFlags |= AM_SAMPLE_TYPECHANGED;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetMediaTime(LONGLONG* start, LONGLONG* end)
{
    if (!(m_dwFlags & kMediaTimeValid))
        return VFW_E_MEDIA_TIME_NOT_SET;
    if (!start || !end)
        return E_POINTER;
    *start = m_MediaStart;
    *end = m_MediaStart + m_MediaEnd;
    return S_OK;
}

STDMETHODIMP CMediaSample::SetMediaTime(LONGLONG* start, LONGLONG* end)
{
    if (!start && !end) {
        m_dwFlags &= ~kMediaTimeValid;
        return S_OK;
    }
    if (!start || !end)
        return E_POINTER;
    m_MediaStart = *start;
    m_MediaEnd = *end - *start;
    m_dwFlags |= kMediaTimeValid;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetProperties(DWORD size, BYTE* properties)
{
    if (size == 0)
        return S_OK;
    if (!properties)
        return E_POINTER;
    AM_SAMPLE2_PROPERTIES props{};
    props.cbData = size < sizeof props ? size : static_cast<DWORD>(sizeof props);
    props.dwTypeSpecificFlags = m_dwTypeSpecificFlags;
    props.dwSampleFlags = m_dwFlags & ~kMediaTimeValid;
    props.lActual = m_lActual;
    props.tStart = m_Start;
    props.tStop = m_End;
    props.dwStreamId = m_dwStreamId;
    props.pMediaType = (m_dwFlags & AM_SAMPLE_TYPECHANGED) ? m_pMediaType : nullptr;
    props.pbBuffer = m_pBuffer;
    props.cbBuffer = m_cbBuffer;
    std::memcpy(properties, &props, props.cbData);
    return S_OK;
}

STDMETHODIMP CMediaSample::SetProperties(DWORD size, const BYTE* properties)
{
    if (size == 0)
        return S_OK;
    if (!properties)
        return E_POINTER;
    if (size > sizeof(AM_SAMPLE2_PROPERTIES))
        return E_INVALIDARG;
    AM_SAMPLE2_PROPERTIES props{};
    std::memcpy(&props, properties, size);
    if (props.cbData != 0 && props.cbData < size)
        size = props.cbData;

    auto covers = [size](size_t fieldEnd) { return size >= fieldEnd; };
    // Validate everything first, then assign.
    if (covers(offsetof(AM_SAMPLE2_PROPERTIES, dwSampleFlags) + sizeof(DWORD))) {
        if (props.dwSampleFlags & ~kKnownFlags)
            return E_INVALIDARG;
        if ((props.dwSampleFlags & AM_SAMPLE_TIMEVALID) &&
            !covers(offsetof(AM_SAMPLE2_PROPERTIES, tStop) + sizeof(REFERENCE_TIME)))
            return E_INVALIDARG;
        // A type change needs the type itself, so the size must reach it.
        if ((props.dwSampleFlags & AM_SAMPLE_TYPECHANGED) &&
            (!covers(offsetof(AM_SAMPLE2_PROPERTIES, pMediaType) + sizeof(void*)) ||
             !props.pMediaType))
            return E_POINTER;
    }
    if (covers(offsetof(AM_SAMPLE2_PROPERTIES, pbBuffer) + sizeof(BYTE*)) && props.pbBuffer &&
        props.pbBuffer != m_pBuffer)
        return E_INVALIDARG;
    if (covers(offsetof(AM_SAMPLE2_PROPERTIES, cbBuffer) + sizeof(LONG)) && props.cbBuffer &&
        props.cbBuffer != m_cbBuffer)
        return E_INVALIDARG;
    if (covers(offsetof(AM_SAMPLE2_PROPERTIES, lActual) + sizeof(LONG)) &&
        (props.lActual < 0 || props.lActual > m_cbBuffer))
        return E_INVALIDARG;

    AM_MEDIA_TYPE* newType = nullptr;
    bool typeGiven = covers(offsetof(AM_SAMPLE2_PROPERTIES, pMediaType) + sizeof(void*)) &&
                     (props.dwSampleFlags & AM_SAMPLE_TYPECHANGED);
    if (typeGiven) {
        newType = CreateMediaType(props.pMediaType);
        if (!newType)
            return E_OUTOFMEMORY;
    }
    if (covers(offsetof(AM_SAMPLE2_PROPERTIES, dwTypeSpecificFlags) + sizeof(DWORD)))
        m_dwTypeSpecificFlags = props.dwTypeSpecificFlags;
    if (covers(offsetof(AM_SAMPLE2_PROPERTIES, dwSampleFlags) + sizeof(DWORD)))
        m_dwFlags = props.dwSampleFlags | (m_dwFlags & kMediaTimeValid);
    if (covers(offsetof(AM_SAMPLE2_PROPERTIES, lActual) + sizeof(LONG)))
        m_lActual = props.lActual;
    if (covers(offsetof(AM_SAMPLE2_PROPERTIES, tStop) + sizeof(REFERENCE_TIME))) {
        m_Start = props.tStart;
        m_End = props.tStop;
    }
    if (covers(offsetof(AM_SAMPLE2_PROPERTIES, dwStreamId) + sizeof(DWORD)))
        m_dwStreamId = props.dwStreamId;
    if (typeGiven) {
        DeleteMediaType(m_pMediaType);
        m_pMediaType = newType;
    }
    return S_OK;
}
