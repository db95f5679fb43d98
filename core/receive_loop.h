// The receive-decode-deliver loop: each input sample is appended to the input
// buffer, then decoded frame by frame under the stream lock, each frame
// remixed, stamped and delivered; a discontinuity or a refused delivery
// re-initialises decoding.
#pragma once

#include <memory>
#include <ostream>

#include "core/Adec.h"
#include "core/TvBuffer.h"
#include "core/TvStatus.h"
#include "platform/dshow/crit_sec.h"

// What the loop needs from the filter around it.
class ReceiveLoopHost {
public:
    // Whether there is a downstream to deliver to.
    virtual bool outputConnected() = 0;
    // An empty output sample; on failure `*out` may still hold one to release.
    virtual HRESULT getEmptySample(IMediaSample** out) = 0;
    // The remix step for a decoded frame: the remixed frame's status, or null
    // when the frame goes out as it was decoded.
    virtual TvStatus* remix(IMediaSample* out, TvStatus* decoded) = 0;
    // A frame ready for delivery, before it is stamped (the level display).
    virtual void showLevels(IMediaSample* out) = 0;
    // Hands the frame downstream with the status it goes out with.
    virtual HRESULT deliver(IMediaSample* out, const TvStatus* status) = 0;
    // Re-initialises decoding and drops the held input.
    virtual void flush() = 0;

protected:
    ~ReceiveLoopHost() = default;
};

// The decoding state the loop works on; its owner reads and changes it under
// the same stream lock.
struct DecodingState {
    TvBuffer buffer;
    Adec* decoder = nullptr;
    // The frame being made: the decoder's and the remixer's own records,
    // which they rewrite between frames.
    TvStatus* inputStatus = nullptr;
    TvStatus* outputStatus = nullptr;
    // Copies of the same, made when the last frame with output was
    // decoded: what the stream information tells, up to a new input type.
    std::shared_ptr<TvStatus> lastInput;
    std::shared_ptr<TvStatus> lastOutput;
};

class ReceiveLoop {
public:
    ReceiveLoop(ReceiveLoopHost& host,
                DecodingState& state,
                CCritSec& streamLock,
                std::ostream& log)
        : host_(host), state_(state), streamLock_(streamLock), log_(log)
    {
    }

    // Takes one input sample and delivers every whole frame it completes.
    HRESULT receive(IMediaSample* in);
    // The input has ended: delivers a last frame that the decoder could only
    // tell was whole from what follows it (Adec::zerosThatEndTheStream).
    HRESULT endOfStream();
    // Decodes at most one frame into `out`; false when no whole frame is left.
    bool process(IMediaSample* out);

private:
    // Delivers every whole frame the input buffer holds.
    HRESULT decodeHeld();

    ReceiveLoopHost& host_;
    DecodingState& state_;
    CCritSec& streamLock_;
    std::ostream& log_;
    // The status the frame `process` made goes out with: its own copy, so
    // that a decoder rewriting its record meanwhile (an S/PDIF switch, a mix
    // type from the application thread) cannot change it during delivery.
    std::shared_ptr<const TvStatus> frameStatus_;
};
