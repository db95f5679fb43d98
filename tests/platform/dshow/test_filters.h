// Small filters and pins whose behaviour each test sets and which record the
// protocol calls they receive, for checking the base classes from outside.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/dshow/streams.h"
#include "support/media_types.h"

inline std::string subtypeName(const AM_MEDIA_TYPE& type)
{
    for (auto [guid, name] : {std::pair{&MEDIASUBTYPE_PCM, "PCM"},
                              {&MEDIASUBTYPE_IEEE_FLOAT, "FLOAT"},
                              {&MEDIASUBTYPE_DOLBY_AC3, "AC3"},
                              {&MEDIASUBTYPE_DTS, "DTS"}})
        if (IsEqualGUID(type.subtype, *guid))
            return name;
    return "other";
}

// The IUnknown of a stand-in that lives on the test's stack: it counts its
// references, so leaks and extra releases show, and offers no other interface.
template <class Interface>
class Counted : public Interface {
public:
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override
    {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++refs); }
    STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--refs); }
    LONG refs = 1;
};

using CallLog = std::vector<std::string>;

struct PinBehaviour {
    std::vector<CMediaType> offered;   // GetMediaType list
    std::vector<CMediaType> accepted;  // CheckMediaType accepts these
    HRESULT refusal = S_FALSE;         // what CheckMediaType says to other types
    bool failCompleteConnect = false;
    HRESULT activeResult = S_OK;    // a failure here replaces the base Active
    HRESULT inactiveResult = S_OK;  // reported after the base Inactive ran
};

class TestFilter : public CBaseFilter {
public:
    explicit TestFilter(CallLog* log)
        : CBaseFilter("TestFilter", nullptr, &lock, GUID_NULL), log(log)
    {
        NonDelegatingAddRef();
    }
    ~TestFilter() override
    {
        for (CBasePin* pin : pins)
            delete pin;
    }
    int GetPinCount() override { return static_cast<int>(pins.size()); }
    CBasePin* GetPin(int n) override { return size_t(n) < pins.size() ? pins[size_t(n)] : nullptr; }
    template <class Pin>
    Pin* add(Pin* pin)
    {
        pins.push_back(pin);
        IncrementPinVersion();
        return pin;
    }

    CCritSec lock;
    CallLog* log;
    std::vector<CBasePin*> pins;
};

// Each protocol call is logged as "side.Call" when it returns.
template <class Base>
class RecordingPin : public Base {
public:
    RecordingPin(TestFilter* filter, const WCHAR* name, PinBehaviour behaviour, const char* side)
        : Base("RecordingPin", filter, &filter->lock, nullptr, name),
          does(std::move(behaviour)),
          side(side),
          log(filter->log)
    {
    }

    HRESULT GetMediaType(int i, CMediaType* mt) override
    {
        if (size_t(i) >= does.offered.size())
            return VFW_S_NO_MORE_ITEMS;
        *mt = does.offered[size_t(i)];
        return S_OK;
    }
    HRESULT CheckMediaType(const CMediaType* mt) override
    {
        bool accepted =
            std::find(does.accepted.begin(), does.accepted.end(), *mt) != does.accepted.end();
        return note("CheckMediaType " + subtypeName(*mt), accepted ? S_OK : does.refusal);
    }
    HRESULT SetMediaType(const CMediaType* mt) override
    {
        return note("SetMediaType " + subtypeName(*mt), Base::SetMediaType(mt));
    }
    HRESULT CheckConnect(IPin* p) override { return note("CheckConnect", Base::CheckConnect(p)); }
    HRESULT CompleteConnect(IPin* p) override
    {
        return note("CompleteConnect",
                    does.failCompleteConnect ? E_FAIL : Base::CompleteConnect(p));
    }
    HRESULT BreakConnect() override { return note("BreakConnect", Base::BreakConnect()); }
    HRESULT Active() override
    {
        return note("Active", FAILED(does.activeResult) ? does.activeResult : Base::Active());
    }
    HRESULT Inactive() override
    {
        HRESULT hr = Base::Inactive();
        return note("Inactive", FAILED(does.inactiveResult) ? does.inactiveResult : hr);
    }
    HRESULT Run(REFERENCE_TIME t) override
    {
        return note("Run " + std::to_string(t), Base::Run(t));
    }

    HRESULT note(const std::string& what, HRESULT hr)
    {
        if (log)
            log->push_back(std::string(side) + "." + what);
        return hr;
    }

    PinBehaviour does;
    const char* side;
    CallLog* log;
};

// The output side asks for `bufferCount` buffers of 1000 bytes; it can be told
// to refuse the first allocator it is offered.
class TestOutputPin : public RecordingPin<CBaseOutputPin> {
public:
    using RecordingPin::RecordingPin;

    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override
    {
        lastRequest = *request;
        if (std::exchange(refuseFirstAllocator, false))
            return note("DecideBufferSize", E_FAIL);
        ALLOCATOR_PROPERTIES actual{};
        request->cBuffers = bufferCount;
        request->cbBuffer = 1000;
        HRESULT hr = allocator->SetProperties(request, &actual);
        return note("DecideBufferSize", FAILED(hr) || actual.cBuffers < 1 ? E_FAIL : S_OK);
    }
    IMemAllocator* Allocator() { return m_pAllocator; }

    LONG bufferCount = 2;
    bool refuseFirstAllocator = false;
    ALLOCATOR_PROPERTIES lastRequest{};
};

class TestInputPin : public RecordingPin<CBaseInputPin> {
public:
    using RecordingPin::RecordingPin;
    using Base = CBaseInputPin;

    // Without the transport interface the pin is only an IPin.
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (!offersTransport && IsEqualGUID(riid, IID_IMemInputPin)) {
            *ppv = nullptr;
            return E_NOINTERFACE;
        }
        return Base::NonDelegatingQueryInterface(riid, ppv);
    }
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props) override
    {
        *props = requirements;
        return note("GetAllocatorRequirements", requirements.cbAlign ? S_OK : E_NOTIMPL);
    }
    STDMETHODIMP GetAllocator(IMemAllocator** a) override
    {
        return note("GetAllocator", offersAllocator ? Base::GetAllocator(a) : VFW_E_NO_ALLOCATOR);
    }
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, WINBOOL readOnly) override
    {
        notified = allocator;
        return note("NotifyAllocator", Base::NotifyAllocator(allocator, readOnly));
    }
    IMemAllocator* OwnAllocator() { return m_pAllocator; }

    // The streaming calls, logged with what the base made of a sample.
    STDMETHODIMP Receive(IMediaSample* sample) override
    {
        HRESULT hr = Base::Receive(sample);
        if (hr == S_OK)
            received.push_back(*SampleProps());
        return note("Receive " + std::to_string(hr), hr);
    }
    STDMETHODIMP EndOfStream() override { return note("EndOfStream", Base::EndOfStream()); }
    STDMETHODIMP BeginFlush() override { return note("BeginFlush", Base::BeginFlush()); }
    STDMETHODIMP EndFlush() override { return note("EndFlush", Base::EndFlush()); }
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override
    {
        return note("NewSegment " + std::to_string(start) + " " + std::to_string(stop),
                    Base::NewSegment(start, stop, rate));
    }

    bool offersTransport = true, offersAllocator = true;
    ALLOCATOR_PROPERTIES requirements{};
    IMemAllocator* notified = nullptr;
    std::vector<AM_SAMPLE2_PROPERTIES> received;
};

// An upstream filter with one output pin and a downstream filter with one
// input pin, connected (or not) by the test. Both are gone at the end.
class PinPair {
public:
    explicit PinPair(PinBehaviour out = pcmOnly(), PinBehaviour in = pcmOnly())
        : upstream(new TestFilter(&log)),
          downstream(new TestFilter(&log)),
          output(upstream->add(new TestOutputPin(upstream, WIDE("Out"), std::move(out), "out"))),
          input(downstream->add(new TestInputPin(downstream, WIDE("In"), std::move(in), "in")))
    {
    }
    ~PinPair()
    {
        stop();
        for (TestFilter* filter : {upstream, downstream}) {
            for (CBasePin* pin : filter->pins)
                pin->Disconnect();
            filter->Release();
        }
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }
    PinPair(const PinPair&) = delete;
    PinPair& operator=(const PinPair&) = delete;

    static PinBehaviour pcmOnly()
    {
        return {{audioType(MEDIASUBTYPE_PCM)}, {audioType(MEDIASUBTYPE_PCM)}};
    }
    HRESULT connect()
    {
        CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
        return output->Connect(input, &pcm);
    }
    // Both filters to the same state, downstream first as the graph does.
    HRESULT pause()
    {
        HRESULT hr = downstream->Pause();
        return FAILED(hr) ? hr : upstream->Pause();
    }
    void stop()
    {
        downstream->Stop();
        upstream->Stop();
    }

    CallLog log;
    TestFilter* upstream;
    TestFilter* downstream;
    TestOutputPin* output;
    TestInputPin* input;
};
