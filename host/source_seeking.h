// Seeking at the host's source pin, reached the way a player's seek bar
// reaches it: IMediaSeeking on the decoder's output pin passes the call up
// to here. Requests in media time are recorded from any thread; the thread
// that pushes packets carries them out between two packets (SeekingFeed).
#pragma once

#include <optional>

#include "host/input_source.h"
#include "platform/dshow/streams.h"

class PushSource;

// Seeks as a player does: IMediaSeeking::SetPositions on the pin that feeds
// the renderer's input pin, to `start` (unset: stays where it is) with the
// stop at `stop` (unset: the end).
HRESULT seekThroughGraph(IPin* rendererInput,
                         std::optional<REFERENCE_TIME> start,
                         std::optional<REFERENCE_TIME> stop);

class SourceSeeking : public IMediaSeeking {
public:
    // `owner` counts the references (the pin, which counts on its filter).
    explicit SourceSeeking(IUnknown* owner) : m_owner(owner) {}

    struct Request {
        REFERENCE_TIME start = 0;
        std::optional<REFERENCE_TIME> stop;
    };
    // The latest request not yet carried out, taken once.
    std::optional<Request> TakeRequest();
    void SetDuration(std::optional<REFERENCE_TIME> duration);

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        return m_owner->QueryInterface(riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return m_owner->AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return m_owner->Release(); }

    STDMETHODIMP GetCapabilities(DWORD* capabilities) override;
    STDMETHODIMP CheckCapabilities(DWORD* capabilities) override;
    STDMETHODIMP IsFormatSupported(const GUID* format) override;
    STDMETHODIMP QueryPreferredFormat(GUID* format) override;
    STDMETHODIMP GetTimeFormat(GUID* format) override;
    STDMETHODIMP IsUsingTimeFormat(const GUID* format) override;
    STDMETHODIMP SetTimeFormat(const GUID* format) override;
    STDMETHODIMP GetDuration(LONGLONG* duration) override;
    STDMETHODIMP GetStopPosition(LONGLONG* stop) override;
    STDMETHODIMP GetCurrentPosition(LONGLONG* current) override;
    STDMETHODIMP ConvertTimeFormat(LONGLONG* target,
                                   const GUID* targetFormat,
                                   LONGLONG source,
                                   const GUID* sourceFormat) override;
    STDMETHODIMP SetPositions(LONGLONG* current,
                              DWORD currentFlags,
                              LONGLONG* stop,
                              DWORD stopFlags) override;
    STDMETHODIMP GetPositions(LONGLONG* current, LONGLONG* stop) override;
    STDMETHODIMP GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    STDMETHODIMP SetRate(double rate) override;
    STDMETHODIMP GetRate(double* rate) override;
    STDMETHODIMP GetPreroll(LONGLONG* preroll) override;

private:
    IUnknown* m_owner;
    CCritSec m_lock;
    REFERENCE_TIME m_start = 0;  // of the latest request
    std::optional<REFERENCE_TIME> m_stop;
    std::optional<REFERENCE_TIME> m_duration;
    bool m_pending = false;
};

// The pushing thread's side of seeking. Packets of a segment go downstream
// stamped relative to its start, as after any NewSegment.
class SeekingFeed {
public:
    SeekingFeed(PushSource& source, InputSource& input);

    enum class Step { Nothing, Seeked, PastEnd };
    // Carries out a pending request: flushes downstream, moves the input
    // and announces the new segment; PastEnd when the input has nothing
    // there (the caller ends the stream).
    Step applyPendingSeek();
    // Makes the packet's time segment-relative; the first packet after a
    // seek is marked discontinuous.
    void prepare(HostPacket& packet, bool& discontinuity);

private:
    PushSource& m_source;
    InputSource& m_input;
    REFERENCE_TIME m_segmentStart = 0;
    bool m_discontinuity = false;
};
