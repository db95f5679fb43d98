#include "host/sink_filter.h"

#include <chrono>

// {0F4E2B1D-7A63-4C58-8E0B-2D9F6A41C3E7}: only for GetClassID; never registered.
TV_DEFINE_GUID(CLSID_TavioSink,
               0x0F4E2B1D,
               0x7A63,
               0x4C58,
               0x8E,
               0x0B,
               0x2D,
               0x9F,
               0x6A,
               0x41,
               0xC3,
               0xE7);

SinkInputPin::SinkInputPin(SinkFilter* filter, CCritSec* lock, HRESULT* phr)
    : CBaseInputPin("SinkInputPin", filter, lock, phr, WIDE("In")), m_pSink(filter)
{
}

HRESULT SinkInputPin::CheckMediaType(const CMediaType* mt)
{
    std::lock_guard<std::mutex> guard(m_pSink->m_recordLock);
    if (!m_pSink->m_accept)
        return S_OK;
    return m_pSink->m_accept(*mt) ? S_OK : S_FALSE;
}

HRESULT SinkInputPin::GetMediaType(int position, CMediaType*)
{
    if (position < 0)
        return E_INVALIDARG;
    return VFW_S_NO_MORE_ITEMS;  // the renderer takes what the decoder offers
}

STDMETHODIMP SinkInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props)
{
    if (!props)
        return E_POINTER;
    return E_NOTIMPL;  // no requirements: the decoder's allocator sizes stand
}

STDMETHODIMP SinkInputPin::Receive(IMediaSample* sample)
{
    HRESULT hr = CBaseInputPin::Receive(sample);
    if (hr != S_OK)
        return hr;
    AM_SAMPLE2_PROPERTIES* props = SampleProps();
    SampleView view;
    if (props->pbBuffer && props->lActual > 0)
        view.data = {props->pbBuffer, size_t(props->lActual)};
    view.hasStart = props->dwSampleFlags & AM_SAMPLE_TIMEVALID;
    view.hasStop = props->dwSampleFlags & AM_SAMPLE_STOPVALID;
    view.start = props->tStart;
    view.stop = props->tStop;
    view.discontinuity = props->dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY;
    view.syncPoint = props->dwSampleFlags & AM_SAMPLE_SPLICEPOINT;
    view.preroll = props->dwSampleFlags & AM_SAMPLE_PREROLL;
    if ((props->dwSampleFlags & AM_SAMPLE_TYPECHANGED) && props->pMediaType)
        view.mediaType = CMediaType(*props->pMediaType);

    std::unique_lock<std::mutex> guard(m_pSink->m_recordLock);
    if (view.mediaType)
        m_pSink->m_latestType = *view.mediaType;
    if (m_pSink->m_handler) {
        m_pSink->m_handler(view);
    } else {
        ReceivedSample record;
        static_cast<SampleProperties&>(record) = view;
        record.data.assign(view.data.begin(), view.data.end());
        m_pSink->m_samples.push_back(std::move(record));
    }
    m_pSink->m_changed.notify_all();
    // A blocking sink holds the streaming thread, as a full renderer would,
    // until it is unblocked or flushed.
    m_pSink->m_changed.wait(guard, [this] { return !m_pSink->m_blocking || m_pSink->m_flushing; });
    return m_pSink->m_flushing ? S_FALSE : m_pSink->m_receiveResult;
}

STDMETHODIMP SinkInputPin::EndOfStream()
{
    // A run-time error still ends the stream (the base pin reports one that
    // way), so only the connection, state and flushing are checked.
    if (!IsConnected())
        return VFW_E_NOT_CONNECTED;
    if (IsStopped())
        return VFW_E_WRONG_STATE;
    if (IsFlushing())
        return S_FALSE;
    std::lock_guard<std::mutex> guard(m_pSink->m_recordLock);
    ++m_pSink->m_endOfStream;
    m_pSink->m_changed.notify_all();
    return S_OK;
}

STDMETHODIMP SinkInputPin::BeginFlush()
{
    {
        std::lock_guard<std::mutex> guard(m_pSink->m_recordLock);
        ++m_pSink->m_beginFlush;
        m_pSink->m_flushing = true;
        m_pSink->m_changed.notify_all();
    }
    return CBaseInputPin::BeginFlush();
}

STDMETHODIMP SinkInputPin::EndFlush()
{
    {
        std::lock_guard<std::mutex> guard(m_pSink->m_recordLock);
        ++m_pSink->m_endFlush;
        m_pSink->m_flushing = false;
        m_pSink->m_changed.notify_all();
    }
    return CBaseInputPin::EndFlush();
}

STDMETHODIMP SinkInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    {
        std::lock_guard<std::mutex> guard(m_pSink->m_recordLock);
        m_pSink->m_segments.push_back({start, stop, rate});
    }
    return CBaseInputPin::NewSegment(start, stop, rate);
}

SinkFilter::SinkFilter(HRESULT* phr)
    : CBaseFilter("SinkFilter", nullptr, &m_lock, CLSID_TavioSink, phr), m_pin(this, &m_lock, phr)
{
}

SinkFilter::~SinkFilter() = default;

SinkFilter* SinkFilter::Create()
{
    HRESULT hr = S_OK;
    auto* sink = new SinkFilter(&hr);
    sink->NonDelegatingAddRef();
    return sink;
}

CBasePin* SinkFilter::GetPin(int n)
{
    return n == 0 ? &m_pin : nullptr;
}

void SinkFilter::SetAcceptType(std::function<bool(const CMediaType&)> accept)
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    m_accept = std::move(accept);
}

void SinkFilter::SetReceiveResult(HRESULT result)
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    m_receiveResult = result;
}

void SinkFilter::SetBlocking(bool block)
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    m_blocking = block;
    m_changed.notify_all();
}

void SinkFilter::SetSampleHandler(std::function<void(const SampleView&)> handler)
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    m_handler = std::move(handler);
}

std::vector<ReceivedSample> SinkFilter::Samples()
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    return m_samples;
}

size_t SinkFilter::SampleCount()
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    return m_samples.size();
}

int SinkFilter::EndOfStreamCount()
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    return m_endOfStream;
}

int SinkFilter::BeginFlushCount()
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    return m_beginFlush;
}

int SinkFilter::EndFlushCount()
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    return m_endFlush;
}

std::vector<SinkFilter::Segment> SinkFilter::Segments()
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    return m_segments;
}

void SinkFilter::ClearRecords()
{
    std::lock_guard<std::mutex> guard(m_recordLock);
    m_samples.clear();
    m_endOfStream = m_beginFlush = m_endFlush = 0;
    m_segments.clear();
}

bool SinkFilter::WaitForSamples(size_t count, int timeoutMs)
{
    std::unique_lock<std::mutex> guard(m_recordLock);
    return m_changed.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                              [&] { return m_samples.size() >= count; });
}

CMediaType SinkFilter::CurrentType()
{
    {
        std::lock_guard<std::mutex> guard(m_recordLock);
        if (m_latestType)
            return *m_latestType;
    }
    CAutoLock lock(&m_lock);
    return m_pin.CurrentMediaType();
}
