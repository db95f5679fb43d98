// The filter's output pin: the media types it offers and accepts, kept in
// step with the decoder's status; the output buffers with their guard word;
// and delivery, which renegotiates the type when the stream changes and
// converts samples to what the downstream pin accepted.
#pragma once

#include <ostream>

#include "core/TvStatus.h"
#include "platform/dshow/streams.h"

class TvOutputPin : public CBaseOutputPin {
public:
    // `inputPin` is the filter's input pin, for the position pass-through.
    TvOutputPin(CBaseFilter* filter,
                CCritSec* filterLock,
                HRESULT* phr,
                std::ostream& log,
                IPin* inputPin);
    ~TvOutputPin() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    HRESULT CheckMediaType(const CMediaType* mt) override;
    HRESULT GetMediaType(int position, CMediaType* mt) override;
    HRESULT SetMediaType(const CMediaType* mt) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT CompleteConnect(IPin* receivePin) override;
    STDMETHODIMP Connect(IPin* receivePin, const AM_MEDIA_TYPE* mt) override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* mt) override;

    // Before connection: the preferred type follows the decoder's status.
    void setPreferredType(const TvStatus* status);
    // An empty output buffer with the guard word behind its usable bytes.
    HRESULT getEmptySample(IMediaSample** samp);
    // Delivers a filled buffer described by `status` (see the source).
    HRESULT deliver(IMediaSample* sample, const TvStatus* status);
    // The next delivered sample carries the discontinuity flag.
    void setDiscontinuity();

    TvSampleType outType() const { return _outType; }

private:
    std::ostream& _log;
    IPin* _inputPin;
    // Made on the first request for seeking; two threads may ask at once.
    CCritSec _passThruLock;
    INonDelegatingUnknown* _positionPassThru = nullptr;
    CCritSec _pinLock;
    CMediaType _preferred;  // major type GUID_NULL until first set
    TvSampleType _outType = STUninitialized;
    bool _typeChanged = false;
    bool _discontinuity = false;
};
