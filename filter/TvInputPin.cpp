#include "filter/TvInputPin.h"

#include <fstream>

#include "diagnostics/assertions.h"
#include "filter/TvFilter.h"
#include "filter/filter_parameters.h"
#include "filter/media_type_log.h"
#include "platform/error_text.h"

TvInputPin::TvInputPin(TvFilter* filter, CCritSec* filterLock, HRESULT* phr)
    : CBaseInputPin("TvInputPin", filter, filterLock, phr, WIDE("Input")), _filter(filter)
{
}

TvInputPin::~TvInputPin() = default;

// DVD navigators ask the input pin, not the filter, for the karaoke property.
STDMETHODIMP TvInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualGUID(riid, IID_IKsPropertySet))
        return _filter->QueryInterface(riid, ppv);
    return CBaseInputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT TvInputPin::CheckMediaType(const CMediaType* mt)
{
    if (!mt)
        return E_POINTER;
    _filter->log() << "Input: check media Type: ";
    writeMediaTypeToLog(_filter->log(), *mt);
    HRESULT hr = _filter->checkInputType(mt);
    _filter->log() << "Input: check media Type: " << platform::errorName(hr) << std::endl;
    return hr;
}

HRESULT TvInputPin::SetMediaType(const CMediaType* mt)
{
    if (!mt)
        return E_POINTER;
    // The filter's lock before the receive lock, as everywhere: a type
    // carried by a sample arrives here on the streaming thread, and taking
    // the receive lock first would deadlock against a flush or a stop, which
    // hold the filter's lock while they wait for the receive lock.
    CAutoLock filterLock(m_pLock);
    CAutoLock lock(&_receiveLock);
    _filter->log() << "InputPin: SetMediaType: ";
    writeMediaTypeToLog(_filter->log(), *mt);
    HRESULT hr = _filter->setInputType(mt);
    if (SUCCEEDED(hr))
        hr = CBaseInputPin::SetMediaType(mt);
    if (SUCCEEDED(hr))
        _filter->log() << "accepted. " << std::endl;
    else
        _filter->log() << " not accepted: " << platform::errorName(hr) << std::endl;
    return hr;
}

STDMETHODIMP TvInputPin::Connect(IPin* receivePin, const AM_MEDIA_TYPE* mt)
{
    _filter->log() << "TvInputPin::Connect: ";
    writeMediaTypeToLog(_filter->log(), mt);
    return CBaseInputPin::Connect(receivePin, mt);
}

STDMETHODIMP TvInputPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* mt)
{
    _filter->log() << "TvInputPin::ReceiveConnection: ";
    writeMediaTypeToLog(_filter->log(), mt);
    return CBaseInputPin::ReceiveConnection(connector, mt);
}

STDMETHODIMP TvInputPin::Receive(IMediaSample* sample)
{
    if (!sample)
        return E_POINTER;
    if (!PinputLog().empty()) {
        // One raw copy of every input payload, for the whole process: the
        // filters' streaming threads take turns.
        static CCritSec lock;
        CAutoLock guard(&lock);
        static std::ofstream inputLog(PinputLog(),
                                      std::ios::out | std::ios::binary | std::ios::trunc);
        if (!inputLog.is_open())
            reportError("Failed to open input log");
        BYTE* data = nullptr;
        LONG length = sample->GetActualDataLength();
        if (SUCCEEDED(sample->GetPointer(&data)) && data && length > 0)
            inputLog.write(reinterpret_cast<const char*>(data), length);
    }
    HRESULT hr = CBaseInputPin::Receive(sample);

    // The lines of every sample are only made when the log is written.
    std::ostream& log = _filter->log();
    const bool logged = logging(log);
    if (logged) {
        log << "Receive: size: " << sample->GetActualDataLength();
        REFERENCE_TIME start = 0, stop = 0;
        HRESULT timed = sample->GetTime(&start, &stop);
        if (timed == S_OK)
            log << " t1=" << start << " t2=" << stop;
        else if (timed == VFW_S_NO_STOP_TIME)
            log << " Start: " << start;
        else
            log << " No Time";
    }
    if (sample->IsDiscontinuity() == S_OK) {
        if (logged)
            log << " discont";
        _filter->outputPin()->setDiscontinuity();
    }
    if (logged)
        log << std::endl;

    if (hr == S_OK) {
        AM_MEDIA_TYPE* carried = nullptr;
        if (sample->GetMediaType(&carried) == S_OK && carried) {
            CMediaType type(*carried);
            DeleteMediaType(carried);
            hr = SetMediaType(&type);
        }
    }
    if (hr == S_OK) {
        CAutoLock lock(&_receiveLock);
        hr = _filter->receive(sample);
    }
    if (logged)
        log << "Receive finished: " << hr << " " << platform::errorName(hr) << std::endl;
    return hr;
}

// Not under the receive lock: a Receive blocked downstream is released by
// the downstream flush.
STDMETHODIMP TvInputPin::BeginFlush()
{
    _filter->log() << "BeginFlush" << std::endl;
    {
        CAutoLock lock(m_pLock);
        CBaseInputPin::BeginFlush();
        _filter->outputPin()->DeliverBeginFlush();
    }
    _filter->log() << "BeginFlush finished" << std::endl;
    return S_OK;
}

STDMETHODIMP TvInputPin::EndFlush()
{
    _filter->log() << "EndFlush" << std::endl;
    CAutoLock lock(m_pLock);
    CAutoLock receiving(&_receiveLock);
    _filter->flush();
    _filter->outputPin()->DeliverEndFlush();
    CBaseInputPin::EndFlush();
    return S_OK;
}

STDMETHODIMP TvInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    _filter->log() << "NewSegment " << start << " " << stop << " " << rate << std::endl;
    CAutoLock lock(&_receiveLock);
    _filter->outputPin()->DeliverNewSegment(start, stop, rate);
    return S_OK;
}

// An incomplete last frame is dropped, not drained; a whole one the decoder
// could not yet tell was whole goes out first.
STDMETHODIMP TvInputPin::EndOfStream()
{
    _filter->log() << "End Of Stream" << std::endl;
    CAutoLock lock(&_receiveLock);
    if (_eosEvent) {
        _filter->log() << "notified EOS" << std::endl;
        SetEvent(_eosEvent);
        return S_OK;
    }
    HRESULT hr = CheckStreaming();
    if (hr == S_OK) {
        _filter->endOfStream();
        _filter->flush();
    }
    _filter->outputPin()->DeliverEndOfStream();
    if (hr != S_OK)
        _filter->log() << "EOS failed: " << platform::errorName(hr) << std::endl;
    return S_OK;
}
