// The loop's assertion lines keep the source name and the wording they had
// when the loop was the filter's own.
#define TV_ASSERT_SOURCE "TvFilter"
#include "core/receive_loop.h"

#include "core/receive_parameters.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "platform/error_text.h"
#include "platform/kernel.h"

namespace {

// Windows 9x needs the streaming thread to yield; tested once per process.
bool onWindows9x()
{
    static const bool found = [] {
        OSVERSIONINFOA info{};
        info.dwOSVersionInfoSize = sizeof info;
        bool windows9x = GetVersionExA(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS;
        if (windows9x)
            logStream << "found win98" << std::endl;
        return windows9x;
    }();
    return found;
}

// Copies a frame's record into `kept`, over the kept record when it is of the
// same kind: no allocation per frame. Only the streaming thread writes these
// copies, and other threads read them under the stream lock; the delivery of
// the previous frame, which shares the output copy, has ended by now.
void keepCopy(std::shared_ptr<TvStatus>& kept, const TvStatus& from)
{
    if (!kept || !kept->assignFrom(from))
        kept.reset(from.clone());
}

}  // namespace

HRESULT ReceiveLoop::receive(IMediaSample* in)
{
    TV_PROFILE_SCOPE("TvFilter::receive");
    TvBuffer& buffer = state_.buffer;
    TvAssertWorded(state_.decoder, "_adec");
    if (!state_.decoder || !host_.outputConnected())
        return VFW_E_NOT_CONNECTED;
    if (in->IsDiscontinuity() == S_OK)
        host_.flush();
    if (logging(log_))
        log_ << "receive: buffer= " << buffer.size() << " size= " << in->GetActualDataLength()
             << std::endl;
    if (in->GetActualDataLength() == 0)
        return S_OK;
    {
        CAutoLock streaming(&streamLock_);
        buffer.append(in);
    }
    return decodeHeld();
}

HRESULT ReceiveLoop::endOfStream()
{
    if (!state_.decoder || !host_.outputConnected())
        return S_OK;
    {
        CAutoLock streaming(&streamLock_);
        size_t zeros = state_.buffer.size() > 0 ? state_.decoder->zerosThatEndTheStream() : 0;
        if (zeros == 0)
            return S_OK;
        log_ << "end of stream: " << zeros << " zero bytes after the held input" << std::endl;
        state_.buffer.appendZeros(static_cast<uint32_t>(zeros));
    }
    return decodeHeld();
}

HRESULT ReceiveLoop::decodeHeld()
{
    TvBuffer& buffer = state_.buffer;
    while (buffer.size() > 0) {
        IMediaSample* out = nullptr;
        HRESULT hr = host_.getEmptySample(&out);
        if (FAILED(hr)) {
            if (out)
                out->Release();
            return hr;
        }
        if (onWindows9x())
            Sleep(1);
        if (!process(out)) {
            out->Release();
            break;
        }
        if (out->GetActualDataLength() == 0) {
            out->Release();
            continue;
        }
        hr = host_.deliver(out, frameStatus_.get());
        if (logging(log_))
            log_ << " delivery result: " << platform::errorName(hr) << std::endl;
        if (hr != S_OK) {
            host_.flush();
            out->Release();
            return FAILED(hr) ? hr : S_OK;
        }
        out->Release();
    }
    return S_OK;
}

bool ReceiveLoop::process(IMediaSample* out)
{
    CAutoLock streaming(&streamLock_);
    TvBuffer& buffer = state_.buffer;
    const uint8_t* start = buffer.data();
    const uint8_t* p = start;
    const uint8_t* end = start + buffer.size();
    TvStatus* status1 = state_.decoder->process(&p, end, out);
    LONG osize = out->GetActualDataLength();
    uint32_t consumed = static_cast<uint32_t>(p - start);
    if (consumed == 0) {
        // clang-format off
        TvAssert(status1==0);
        TvAssert(osize == 0);
        // clang-format on
        return false;
    }
    // Unsigned, as the decoder contract has it: a decoder that reports a
    // frame larger than it advanced makes `skipped` wrap, which the buffer's
    // own check reports and refuses. Skip and frame together still take
    // exactly the bytes the decoder advanced over, as the wrapped sum gives:
    // no more (the following input stays intact) and no less (or the loop
    // would decode the same bytes again).
    uint32_t frameSize = status1 ? static_cast<uint32_t>(status1->iFrameSize) : 0;
    uint32_t skipped = consumed - frameSize;
    bool wrapped = frameSize > consumed;
    if (skipped != 0) {
        log_ << "skipped bytes: " << skipped << std::endl;
        if (!wrapped || skipped > buffer.size())
            buffer.consume(skipped);
    }
    if (!status1) {
        // clang-format off
        TvAssert(osize==0);
        // clang-format on
        return true;
    }
    // clang-format off
    TvAssert(osize>0);
    // clang-format on
    REFERENCE_TIME t = buffer.takeTimeStamp();
    buffer.consume(wrapped ? consumed : frameSize);
    TvStatus*& istatus = state_.inputStatus;
    TvStatus*& ostatus = state_.outputStatus;
    istatus = status1;
    TvAssertWorded(istatus->stype != STUninitialized, "_istatus->stype != STUninitialized");
    TvAssertWorded(istatus->chan > 0, "_istatus->chan>0");
    TvAssertWorded(istatus->freq > 0, "_istatus->freq>0");
    TvAssertWorded(istatus->iFrameSize > 0, "_istatus->iFrameSize>0");
    TvAssertWorded(istatus->samples > 0, "_istatus->samples>0");
    TvAssertWorded(istatus->channelMask > 0, "_istatus->channelMask > 0");
    TvStatus* remixed = host_.remix(out, istatus);
    ostatus = remixed ? remixed : istatus;
    TvAssertWorded(ostatus->samples > 0, "_ostatus->samples > 0");
    if (out->GetActualDataLength() > 0) {
        keepCopy(state_.lastInput, *istatus);
        keepCopy(state_.lastOutput, *ostatus);
        frameStatus_ = state_.lastOutput;
    }
    host_.showLevels(out);
    const bool logged = logging(log_);
    if (logged)
        log_ << "delivering: " << out->GetActualDataLength();
    if (t == kNoTime) {
        if (logged)
            log_ << std::endl;
        return true;
    }
    REFERENCE_TIME t1 = t + istatus->timeOffset;
    REFERENCE_TIME duration =
        ostatus->freq > 0 ? int64_t(ostatus->samples) * 10000000 / ostatus->freq : 0;
    REFERENCE_TIME t2 = t1 + duration;
    totalDecodedTime += duration;
    if (PenableTimeStamps())
        out->SetTime(&t1, &t2);
    if (PallTimeStamps())
        buffer.setNextTimeStamp(t2);
    if (logged)
        log_ << " t1=" << t1 << " t2=" << t2 << std::endl;
    return true;
}
