// Turns IEC 61937 AC-3 bursts back into AC-3 frames: the piece a player puts
// between a decoder in S/PDIF pass-through and a second decoder, so that a
// stream the first decoder only passes through (E-AC-3, converted to AC-3)
// still becomes sound without a receiver.
//
// `BurstReader` finds the bursts in the byte stream, whatever the sample
// boundaries, and keeps each sample's time with the first burst that starts
// in it. `BurstUnpacker` is the filter around it: S/PDIF in, AC-3 out, flushes,
// segments, end of stream and seeking passed along.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "platform/dshow/streams.h"

class BurstReader {
public:
    struct Frame {
        std::vector<uint8_t> bytes;  // the AC-3 syncframe in stream byte order
        std::optional<REFERENCE_TIME> start;
        bool discontinuity = false;
    };

    // Appends one sample's bytes; `start` is its time, if it has one.
    void add(const uint8_t* data,
             size_t size,
             std::optional<REFERENCE_TIME> start,
             bool discontinuity);
    // Hands every complete AC-3 burst to `take`, in order.
    void take(const std::function<void(const Frame&)>& take);
    void clear();

private:
    struct Mark {
        size_t offset;  // where the sample began in `pending_`
        std::optional<REFERENCE_TIME> start;
        bool discontinuity;
    };
    std::vector<uint8_t> pending_;
    size_t consumed_ = 0;  // bytes of `pending_` already read
    std::vector<Mark> marks_;
    Frame frame_;
};

class BurstUnpacker;

class BurstUnpackerInput : public CBaseInputPin {
public:
    BurstUnpackerInput(BurstUnpacker* filter, CCritSec* lock, HRESULT* phr);
    HRESULT CheckMediaType(const CMediaType* mt) override;
    HRESULT GetMediaType(int position, CMediaType* mt) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

private:
    BurstUnpacker* m_pUnpacker;
};

class BurstUnpackerOutput : public CBaseOutputPin {
public:
    BurstUnpackerOutput(BurstUnpacker* filter, CCritSec* lock, HRESULT* phr);
    ~BurstUnpackerOutput() override;
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    HRESULT CheckMediaType(const CMediaType* mt) override;
    HRESULT GetMediaType(int position, CMediaType* mt) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

private:
    BurstUnpacker* m_pUnpacker;
    CPosPassThru* m_pPosition = nullptr;
};

class BurstUnpacker : public CBaseFilter {
public:
    // `ac3Type` is the type the output pin offers: AC-3 at the bursts' rate.
    // The frames' times are moved back by `delay`: what the encoder that made
    // the frames delayed the sound by, so that decoded audio carries the
    // times of the sound it holds.
    static BurstUnpacker* Create(const CMediaType& ac3Type, REFERENCE_TIME delay);
    ~BurstUnpacker() override;

    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int n) override;
    BurstUnpackerInput* InputPin() { return &m_input; }
    BurstUnpackerOutput* OutputPin() { return &m_output; }
    const CMediaType& Ac3Type() const { return m_ac3Type; }

private:
    friend class BurstUnpackerInput;
    BurstUnpacker(const CMediaType& ac3Type, REFERENCE_TIME delay, HRESULT* phr);
    HRESULT deliverFrames();

    CCritSec m_lock;
    CMediaType m_ac3Type;
    REFERENCE_TIME m_delay;
    BurstReader m_reader;
    BurstUnpackerInput m_input;
    BurstUnpackerOutput m_output;
};
