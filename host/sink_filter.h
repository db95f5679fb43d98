// A sink filter with one input pin that records everything it is given:
// each sample's bytes, times, flags and attached media type, end of stream,
// flushes and new segments. It can be told which types to accept and how to
// answer Receive (S_OK, S_FALSE, a failure, or block until released). The
// tavio host collects the decoder's output with it; tests inspect it.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "platform/dshow/streams.h"

struct SampleProperties {
    bool hasStart = false;
    bool hasStop = false;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    bool discontinuity = false;
    bool syncPoint = false;
    bool preroll = false;
    std::optional<CMediaType> mediaType;  // the type attached to the sample
};

// A sample kept by the sink: its own copy of the bytes.
struct ReceivedSample : SampleProperties {
    std::vector<BYTE> data;
};

// A sample as a handler sees it: the bytes stay in the decoder's buffer and
// are valid only during the call, so passing them on copies nothing.
struct SampleView : SampleProperties {
    std::span<const BYTE> data;
};

class SinkFilter;

class SinkInputPin : public CBaseInputPin {
public:
    SinkInputPin(SinkFilter* filter, CCritSec* lock, HRESULT* phr);

    HRESULT CheckMediaType(const CMediaType* mt) override;
    HRESULT GetMediaType(int position, CMediaType* mt) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props) override;

private:
    SinkFilter* m_pSink;
};

class SinkFilter : public CBaseFilter {
public:
    static SinkFilter* Create();
    ~SinkFilter() override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override;
    SinkInputPin* InputPin() { return &m_pin; }

    // Which connection types are accepted (default: any).
    void SetAcceptType(std::function<bool(const CMediaType&)> accept);
    // What Receive answers after recording the sample (default S_OK).
    void SetReceiveResult(HRESULT result);
    // While blocking, Receive waits (after recording) until unblocked or flushed.
    void SetBlocking(bool block);
    // Hands each sample to `handler` (on the streaming thread) instead of
    // keeping it, so a long stream does not pile up in memory.
    void SetSampleHandler(std::function<void(const SampleView&)> handler);

    // Snapshots, safe to take from any thread.
    std::vector<ReceivedSample> Samples();
    size_t SampleCount();
    int EndOfStreamCount();
    int BeginFlushCount();
    int EndFlushCount();
    // Each new segment as it arrived: start, stop and rate.
    struct Segment {
        REFERENCE_TIME start;
        REFERENCE_TIME stop;
        double rate;
        bool operator==(const Segment&) const = default;
    };
    std::vector<Segment> Segments();
    void ClearRecords();
    // Waits until `count` samples have arrived or the timeout passes.
    bool WaitForSamples(size_t count, int timeoutMs);
    // The media type of the connection, or of the latest in-band change.
    CMediaType CurrentType();

private:
    friend class SinkInputPin;
    SinkFilter(HRESULT* phr);

    CCritSec m_lock;
    SinkInputPin m_pin;

    std::mutex m_recordLock;
    std::condition_variable m_changed;
    std::vector<ReceivedSample> m_samples;
    int m_endOfStream = 0;
    int m_beginFlush = 0;
    int m_endFlush = 0;
    bool m_flushing = false;
    std::vector<Segment> m_segments;
    std::function<bool(const CMediaType&)> m_accept;
    HRESULT m_receiveResult = S_OK;
    bool m_blocking = false;
    std::optional<CMediaType> m_latestType;
    std::function<void(const SampleView&)> m_handler;
};
