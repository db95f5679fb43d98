// A source filter with one output pin that offers one media type and pushes
// whatever the host gives it downstream: payloads with times, discontinuity
// flags and in-band media-type changes, end of stream, flushes and segments.
// The tavio host feeds the decoder with it; the tests drive graphs with it.
#pragma once

#include <cstdint>
#include <vector>

#include "host/source_seeking.h"
#include "platform/dshow/streams.h"

class PushSource;

class PushSourcePin : public CBaseOutputPin {
public:
    PushSourcePin(PushSource* filter, CCritSec* lock, HRESULT* phr);

    HRESULT CheckMediaType(const CMediaType* mt) override;
    HRESULT GetMediaType(int position, CMediaType* mt) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    // IMediaSeeking, as a player's seek bar reaches it through the decoder.
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    SourceSeeking& Seeking() { return m_seeking; }

private:
    PushSource* m_pSource;
    SourceSeeking m_seeking;
};

class PushSource : public CBaseFilter {
public:
    // A source offering `type`, with `bufferCount` buffers of `bufferSize` bytes.
    static PushSource* Create(const CMediaType& type,
                              LONG bufferSize = 65536,
                              LONG bufferCount = 4);
    ~PushSource() override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override;
    PushSourcePin* OutputPin() { return &m_pin; }
    SourceSeeking& Seeking() { return m_pin.Seeking(); }

    struct Packet {
        const uint8_t* data = nullptr;
        size_t size = 0;
        const REFERENCE_TIME* start = nullptr;  // no time when null
        const REFERENCE_TIME* stop = nullptr;   // start only when null
        bool discontinuity = false;
        bool syncPoint = true;
        const AM_MEDIA_TYPE* newType = nullptr;  // attached to this sample
    };
    // Copies the payload into one delivery buffer and delivers it; a payload
    // larger than a buffer is refused with E_INVALIDARG. Returns the
    // downstream result (or the allocator's, e.g. VFW_E_NOT_COMMITTED).
    HRESULT Deliver(const Packet& packet);
    // Splits a payload over as many buffers as needed; the time and flags go
    // with the first.
    HRESULT DeliverSplit(const Packet& packet);
    HRESULT DeliverEndOfStream() { return m_pin.DeliverEndOfStream(); }
    HRESULT DeliverBeginFlush() { return m_pin.DeliverBeginFlush(); }
    HRESULT DeliverEndFlush() { return m_pin.DeliverEndFlush(); }
    HRESULT DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
    {
        return m_pin.DeliverNewSegment(start, stop, rate);
    }

    const CMediaType& OfferedType() const { return m_type; }
    LONG BufferSize() const { return m_bufferSize; }
    LONG BufferCount() const { return m_bufferCount; }

private:
    PushSource(const CMediaType& type, LONG bufferSize, LONG bufferCount, HRESULT* phr);

    CCritSec m_lock;
    CMediaType m_type;
    LONG m_bufferSize;
    LONG m_bufferCount;
    PushSourcePin m_pin;
};
