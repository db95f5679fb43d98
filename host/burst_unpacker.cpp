#include "host/burst_unpacker.h"

#include <algorithm>
#include <cstring>

namespace {

// The burst preamble in the little-endian words S/PDIF carries: sync words
// Pa and Pb, then Pc (data type in its low five bits) and Pd (payload bits).
constexpr uint8_t kSync[4] = {0x72, 0xF8, 0x1F, 0x4E};
constexpr size_t kPreambleBytes = 8;
constexpr unsigned kAc3DataType = 1;
// Room for the largest AC-3 syncframe: 1920 words (640 kbit/s at 32 kHz).
constexpr LONG kFrameBufferBytes = 4096;

// The decoder connects with the PCM type of the stream it was given and
// switches to its S/PDIF type in-band with the first burst, so any audio type
// is taken: the bursts are found in the bytes.
bool isBurstInput(const CMediaType& type)
{
    return IsEqualGUID(type.majortype, MEDIATYPE_Audio) != 0;
}

}  // namespace

void BurstReader::add(const uint8_t* data,
                      size_t size,
                      std::optional<REFERENCE_TIME> start,
                      bool discontinuity)
{
    if (consumed_ > 0) {
        pending_.erase(pending_.begin(), pending_.begin() + long(consumed_));
        for (Mark& mark : marks_)
            mark.offset -= std::min(mark.offset, consumed_);
        consumed_ = 0;
    }
    if (start || discontinuity)
        marks_.push_back({pending_.size(), start, discontinuity});
    pending_.insert(pending_.end(), data, data + size);
}

void BurstReader::take(const std::function<void(const Frame&)>& take)
{
    size_t at = consumed_;
    while (at + kPreambleBytes <= pending_.size()) {
        if (std::memcmp(&pending_[at], kSync, sizeof kSync) != 0) {
            at += 2;  // bursts start on a word
            continue;
        }
        unsigned type = pending_[at + 4] & 0x1F;
        size_t payload = (pending_[at + 6] | size_t(pending_[at + 7]) << 8) / 8;
        if (type != kAc3DataType) {  // pause and null bursts carry no audio
            at += kPreambleBytes;
            continue;
        }
        if (at + kPreambleBytes + payload > pending_.size())
            break;
        // A burst takes the time and flags of the sample it starts in, once.
        frame_.start.reset();
        frame_.discontinuity = false;
        while (!marks_.empty() && marks_.front().offset <= at) {
            frame_.start = marks_.front().start;
            frame_.discontinuity |= marks_.front().discontinuity;
            marks_.erase(marks_.begin());
        }
        const uint8_t* words = &pending_[at + kPreambleBytes];
        frame_.bytes.resize(payload);
        for (size_t i = 0; i + 1 < payload; i += 2) {
            frame_.bytes[i] = words[i + 1];
            frame_.bytes[i + 1] = words[i];
        }
        if (payload % 2)
            frame_.bytes[payload - 1] = 0;  // never in AC-3, whose frames are whole words
        take(frame_);
        at += kPreambleBytes + payload;
    }
    consumed_ = std::min(at, pending_.size());
}

void BurstReader::clear()
{
    pending_.clear();
    marks_.clear();
    consumed_ = 0;
}

// {3B8E5D21-9C47-4F0A-B6E2-71D4A8C95F36}: only for GetClassID; never registered.
TV_DEFINE_GUID(CLSID_TavioBurstUnpacker,
               0x3B8E5D21,
               0x9C47,
               0x4F0A,
               0xB6,
               0xE2,
               0x71,
               0xD4,
               0xA8,
               0xC9,
               0x5F,
               0x36);

BurstUnpackerInput::BurstUnpackerInput(BurstUnpacker* filter, CCritSec* lock, HRESULT* phr)
    : CBaseInputPin("BurstUnpackerInput", filter, lock, phr, WIDE("In")), m_pUnpacker(filter)
{
}

HRESULT BurstUnpackerInput::CheckMediaType(const CMediaType* mt)
{
    return isBurstInput(*mt) ? S_OK : S_FALSE;
}

HRESULT BurstUnpackerInput::GetMediaType(int position, CMediaType*)
{
    return position < 0 ? E_INVALIDARG : VFW_S_NO_MORE_ITEMS;
}

STDMETHODIMP BurstUnpackerInput::Receive(IMediaSample* sample)
{
    HRESULT hr = CBaseInputPin::Receive(sample);
    if (hr != S_OK)
        return hr;
    AM_SAMPLE2_PROPERTIES* props = SampleProps();
    std::optional<REFERENCE_TIME> start;
    if (props->dwSampleFlags & AM_SAMPLE_TIMEVALID)
        start = props->tStart;
    if (props->pbBuffer && props->lActual > 0)
        m_pUnpacker->m_reader.add(props->pbBuffer, size_t(props->lActual), start,
                                  props->dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY);
    return m_pUnpacker->deliverFrames();
}

STDMETHODIMP BurstUnpackerInput::EndOfStream()
{
    return m_pUnpacker->m_output.DeliverEndOfStream();
}

STDMETHODIMP BurstUnpackerInput::BeginFlush()
{
    HRESULT hr = CBaseInputPin::BeginFlush();
    m_pUnpacker->m_output.DeliverBeginFlush();
    return hr;
}

STDMETHODIMP BurstUnpackerInput::EndFlush()
{
    m_pUnpacker->m_reader.clear();
    m_pUnpacker->m_output.DeliverEndFlush();
    return CBaseInputPin::EndFlush();
}

STDMETHODIMP BurstUnpackerInput::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    CBasePin::NewSegment(start, stop, rate);
    return m_pUnpacker->m_output.DeliverNewSegment(start, stop, rate);
}

BurstUnpackerOutput::BurstUnpackerOutput(BurstUnpacker* filter, CCritSec* lock, HRESULT* phr)
    : CBaseOutputPin("BurstUnpackerOutput", filter, lock, phr, WIDE("Out")), m_pUnpacker(filter)
{
}

BurstUnpackerOutput::~BurstUnpackerOutput()
{
    if (m_pPosition)
        m_pPosition->NonDelegatingRelease();
}

// Seeking goes upstream, as through any transform filter. The host sets the
// graph up on one thread before streaming, so creating it here needs no lock.
STDMETHODIMP BurstUnpackerOutput::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualGUID(riid, IID_IMediaPosition) || IsEqualGUID(riid, IID_IMediaSeeking)) {
        if (!m_pPosition) {
            HRESULT hr = S_OK;
            auto* passThru = new CPosPassThru("BurstUnpacker position", GetOwner(), &hr,
                                              m_pUnpacker->InputPin());
            passThru->NonDelegatingAddRef();
            if (FAILED(hr)) {
                passThru->NonDelegatingRelease();
                return hr;
            }
            m_pPosition = passThru;
        }
        return m_pPosition->NonDelegatingQueryInterface(riid, ppv);
    }
    return CBaseOutputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT BurstUnpackerOutput::CheckMediaType(const CMediaType* mt)
{
    return *mt == m_pUnpacker->Ac3Type() ? S_OK : S_FALSE;
}

HRESULT BurstUnpackerOutput::GetMediaType(int position, CMediaType* mt)
{
    if (position < 0)
        return E_INVALIDARG;
    if (position > 0)
        return VFW_S_NO_MORE_ITEMS;
    *mt = m_pUnpacker->Ac3Type();
    return S_OK;
}

HRESULT BurstUnpackerOutput::DecideBufferSize(IMemAllocator* allocator,
                                              ALLOCATOR_PROPERTIES* request)
{
    request->cBuffers = std::max<LONG>(request->cBuffers, 4);
    request->cbBuffer = std::max(request->cbBuffer, kFrameBufferBytes);
    ALLOCATOR_PROPERTIES actual{};
    HRESULT hr = allocator->SetProperties(request, &actual);
    if (FAILED(hr))
        return hr;
    return actual.cbBuffer < kFrameBufferBytes || actual.cBuffers < 1 ? E_FAIL : S_OK;
}

BurstUnpacker::BurstUnpacker(const CMediaType& ac3Type, REFERENCE_TIME delay, HRESULT* phr)
    : CBaseFilter("BurstUnpacker", nullptr, &m_lock, CLSID_TavioBurstUnpacker, phr),
      m_ac3Type(ac3Type),
      m_delay(delay),
      m_input(this, &m_lock, phr),
      m_output(this, &m_lock, phr)
{
}

BurstUnpacker::~BurstUnpacker() = default;

BurstUnpacker* BurstUnpacker::Create(const CMediaType& ac3Type, REFERENCE_TIME delay)
{
    HRESULT hr = S_OK;
    auto* unpacker = new BurstUnpacker(ac3Type, delay, &hr);
    unpacker->NonDelegatingAddRef();
    return unpacker;
}

CBasePin* BurstUnpacker::GetPin(int n)
{
    return n == 0 ? static_cast<CBasePin*>(&m_input) : n == 1 ? &m_output : nullptr;
}

HRESULT BurstUnpacker::deliverFrames()
{
    HRESULT result = S_OK;
    m_reader.take([&](const BurstReader::Frame& frame) {
        if (result != S_OK || frame.bytes.size() > size_t(kFrameBufferBytes))
            return;
        IMediaSample* sample = nullptr;
        result = m_output.GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
        if (FAILED(result))
            return;
        BYTE* buffer = nullptr;
        sample->GetPointer(&buffer);
        std::memcpy(buffer, frame.bytes.data(), frame.bytes.size());
        sample->SetActualDataLength(LONG(frame.bytes.size()));
        REFERENCE_TIME start = frame.start.value_or(0) - m_delay;
        sample->SetTime(frame.start ? &start : nullptr, nullptr);
        sample->SetDiscontinuity(frame.discontinuity);
        sample->SetSyncPoint(TRUE);
        result = m_output.Deliver(sample);
        sample->Release();
    });
    return result;
}
