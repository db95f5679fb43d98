#include "host/source_seeking.h"

#include <limits>

#include "host/push_source.h"

namespace {

constexpr DWORD kCapabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards |
                                AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanGetStopPos |
                                AM_SEEKING_CanGetDuration;

bool isMediaTime(const GUID* format)
{
    return IsEqualGUID(*format, TIME_FORMAT_MEDIA_TIME) != 0;
}

// The position a SetPositions argument names, or false when it is unusable.
bool positionOf(const LONGLONG* value,
                DWORD flags,
                REFERENCE_TIME relativeTo,
                std::optional<REFERENCE_TIME>& out)
{
    switch (flags & AM_SEEKING_PositioningBitsMask) {
        case AM_SEEKING_NoPositioning:
            out.reset();
            return true;
        case AM_SEEKING_AbsolutePositioning:
            out = *value;
            break;
        case AM_SEEKING_RelativePositioning:
        case AM_SEEKING_IncrementalPositioning:
            out = relativeTo + *value;
            break;
        default:
            return false;
    }
    return *out >= 0;
}

}  // namespace

std::optional<SourceSeeking::Request> SourceSeeking::TakeRequest()
{
    CAutoLock guard(&m_lock);
    if (!m_pending)
        return std::nullopt;
    m_pending = false;
    return Request{m_start, m_stop};
}

void SourceSeeking::SetDuration(std::optional<REFERENCE_TIME> duration)
{
    CAutoLock guard(&m_lock);
    m_duration = duration;
}

STDMETHODIMP SourceSeeking::GetCapabilities(DWORD* capabilities)
{
    if (!capabilities)
        return E_POINTER;
    *capabilities = kCapabilities;
    return S_OK;
}

STDMETHODIMP SourceSeeking::CheckCapabilities(DWORD* capabilities)
{
    if (!capabilities)
        return E_POINTER;
    DWORD asked = *capabilities;
    *capabilities &= kCapabilities;
    return *capabilities == asked ? S_OK : *capabilities ? S_FALSE : E_FAIL;
}

STDMETHODIMP SourceSeeking::IsFormatSupported(const GUID* format)
{
    if (!format)
        return E_POINTER;
    return isMediaTime(format) ? S_OK : S_FALSE;
}

STDMETHODIMP SourceSeeking::QueryPreferredFormat(GUID* format)
{
    return GetTimeFormat(format);
}

STDMETHODIMP SourceSeeking::GetTimeFormat(GUID* format)
{
    if (!format)
        return E_POINTER;
    *format = TIME_FORMAT_MEDIA_TIME;
    return S_OK;
}

STDMETHODIMP SourceSeeking::IsUsingTimeFormat(const GUID* format)
{
    return IsFormatSupported(format);
}

STDMETHODIMP SourceSeeking::SetTimeFormat(const GUID* format)
{
    if (!format)
        return E_POINTER;
    return isMediaTime(format) || IsEqualGUID(*format, GUID_NULL) ? S_OK : E_INVALIDARG;
}

STDMETHODIMP SourceSeeking::GetDuration(LONGLONG* duration)
{
    if (!duration)
        return E_POINTER;
    CAutoLock guard(&m_lock);
    if (!m_duration)
        return E_NOTIMPL;
    *duration = *m_duration;
    return S_OK;
}

STDMETHODIMP SourceSeeking::GetStopPosition(LONGLONG* stop)
{
    if (!stop)
        return E_POINTER;
    CAutoLock guard(&m_lock);
    if (!m_stop && !m_duration)
        return E_NOTIMPL;
    *stop = m_stop ? *m_stop : *m_duration;
    return S_OK;
}

STDMETHODIMP SourceSeeking::GetCurrentPosition(LONGLONG* current)
{
    // Where playback is, only the decoder downstream knows.
    return current ? E_NOTIMPL : E_POINTER;
}

STDMETHODIMP SourceSeeking::ConvertTimeFormat(LONGLONG* target,
                                              const GUID* targetFormat,
                                              LONGLONG source,
                                              const GUID* sourceFormat)
{
    if (!target)
        return E_POINTER;
    if ((targetFormat && !isMediaTime(targetFormat) && !IsEqualGUID(*targetFormat, GUID_NULL)) ||
        (sourceFormat && !isMediaTime(sourceFormat) && !IsEqualGUID(*sourceFormat, GUID_NULL)))
        return E_INVALIDARG;
    *target = source;
    return S_OK;
}

STDMETHODIMP SourceSeeking::SetPositions(LONGLONG* current,
                                         DWORD currentFlags,
                                         LONGLONG* stop,
                                         DWORD stopFlags)
{
    bool moves = (currentFlags & AM_SEEKING_PositioningBitsMask) != AM_SEEKING_NoPositioning;
    bool stops = (stopFlags & AM_SEEKING_PositioningBitsMask) != AM_SEEKING_NoPositioning;
    if ((moves && !current) || (stops && !stop))
        return E_POINTER;
    CAutoLock guard(&m_lock);
    std::optional<REFERENCE_TIME> start, end;
    if (!positionOf(current, currentFlags, m_start, start) ||
        !positionOf(stop, stopFlags, m_stop.value_or(m_start), end))
        return E_INVALIDARG;
    if (start) {
        m_start = *start;
        m_pending = true;
    }
    if (end)
        m_stop = end;
    if (moves && (currentFlags & AM_SEEKING_ReturnTime))
        *current = m_start;
    if (stops && (stopFlags & AM_SEEKING_ReturnTime))
        *stop = *m_stop;
    return S_OK;
}

STDMETHODIMP SourceSeeking::GetPositions(LONGLONG* current, LONGLONG* stop)
{
    CAutoLock guard(&m_lock);
    if (current)
        *current = m_start;
    if (stop)
        *stop = m_stop.value_or(m_duration.value_or(std::numeric_limits<LONGLONG>::max()));
    return S_OK;
}

STDMETHODIMP SourceSeeking::GetAvailable(LONGLONG* earliest, LONGLONG* latest)
{
    CAutoLock guard(&m_lock);
    if (earliest)
        *earliest = 0;
    if (latest)
        *latest = m_duration.value_or(std::numeric_limits<LONGLONG>::max());
    return S_OK;
}

STDMETHODIMP SourceSeeking::SetRate(double rate)
{
    return rate == 1.0 ? S_OK : E_NOTIMPL;
}

STDMETHODIMP SourceSeeking::GetRate(double* rate)
{
    if (!rate)
        return E_POINTER;
    *rate = 1.0;
    return S_OK;
}

STDMETHODIMP SourceSeeking::GetPreroll(LONGLONG* preroll)
{
    if (!preroll)
        return E_POINTER;
    *preroll = 0;
    return S_OK;
}

HRESULT seekThroughGraph(IPin* rendererInput,
                         std::optional<REFERENCE_TIME> start,
                         std::optional<REFERENCE_TIME> stop)
{
    IPin* feeding = nullptr;
    HRESULT hr = rendererInput->ConnectedTo(&feeding);
    if (FAILED(hr))
        return hr;
    IMediaSeeking* seeking = nullptr;
    hr = feeding->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking));
    feeding->Release();
    if (FAILED(hr))
        return hr;
    LONGLONG current = start.value_or(0), end = stop.value_or(0);
    hr = seeking->SetPositions(
        &current, start ? AM_SEEKING_AbsolutePositioning : AM_SEEKING_NoPositioning, &end,
        stop ? AM_SEEKING_AbsolutePositioning : AM_SEEKING_NoPositioning);
    seeking->Release();
    return hr;
}

SeekingFeed::SeekingFeed(PushSource& source, InputSource& input) : m_source(source), m_input(input)
{
    m_source.Seeking().SetDuration(m_input.duration());
}

SeekingFeed::Step SeekingFeed::applyPendingSeek()
{
    std::optional<SourceSeeking::Request> request = m_source.Seeking().TakeRequest();
    if (!request)
        return Step::Nothing;
    m_source.DeliverBeginFlush();
    m_source.DeliverEndFlush();
    if (!m_input.seek(request->start))
        return Step::PastEnd;
    m_segmentStart = request->start;
    m_discontinuity = true;
    m_source.DeliverNewSegment(
        request->start, request->stop.value_or(std::numeric_limits<REFERENCE_TIME>::max()), 1.0);
    return Step::Seeked;
}

void SeekingFeed::prepare(HostPacket& packet, bool& discontinuity)
{
    packet.start -= m_segmentStart;
    discontinuity = m_discontinuity;
    m_discontinuity = false;
}
