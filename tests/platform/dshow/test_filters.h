// Small filters and pins whose behaviour each test sets, and which record the
// protocol calls they receive, for checking the base classes from outside.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/dshow/streams.h"

// A full type (major and format type given) told apart by its subtype.
inline CMediaType audioType(const GUID& subtype)
{
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_None);
    return type;
}

using CallLog = std::vector<std::string>;

inline std::string subtypeName(const CMediaType& type)
{
    if (IsEqualGUID(type.subtype, MEDIASUBTYPE_PCM))
        return "PCM";
    if (IsEqualGUID(type.subtype, MEDIASUBTYPE_IEEE_FLOAT))
        return "FLOAT";
    if (IsEqualGUID(type.subtype, MEDIASUBTYPE_DOLBY_AC3))
        return "AC3";
    if (IsEqualGUID(type.subtype, MEDIASUBTYPE_DTS))
        return "DTS";
    return "other";
}

struct PinBehaviour {
    std::vector<CMediaType> offered;   // GetMediaType list
    std::vector<CMediaType> accepted;  // CheckMediaType accepts these (empty: none)
    bool failCompleteConnect = false;
    HRESULT refusal = S_FALSE;      // what CheckMediaType says to other types
    HRESULT activeResult = S_OK;    // a failure here replaces the base Active
    HRESULT inactiveResult = S_OK;  // reported after the base Inactive ran
};

class TestFilter : public CBaseFilter {
public:
    explicit TestFilter(CallLog* log)
        : CBaseFilter("TestFilter", nullptr, &lock, MEDIATYPE_Video), log(log)
    {
        NonDelegatingAddRef();
    }
    ~TestFilter() override
    {
        for (CBasePin* pin : pins)
            delete pin;
    }
    int GetPinCount() override { return static_cast<int>(pins.size()); }
    CBasePin* GetPin(int n) override
    {
        return n >= 0 && n < GetPinCount() ? pins[static_cast<size_t>(n)] : nullptr;
    }
    void AddPin(CBasePin* pin)
    {
        pins.push_back(pin);
        IncrementPinVersion();
    }

    CCritSec lock;
    CallLog* log;
    std::vector<CBasePin*> pins;
};

template <class Base>
class RecordingPin : public Base {
public:
    RecordingPin(TestFilter* filter, const WCHAR* name, PinBehaviour behaviour, const char* side)
        : Base("RecordingPin", filter, &filter->lock, nullptr, name),
          behaviour(std::move(behaviour)),
          side(side),
          log(filter->log)
    {
    }

    HRESULT CheckMediaType(const CMediaType* mt) override
    {
        record("CheckMediaType " + subtypeName(*mt));
        for (const CMediaType& type : behaviour.accepted)
            if (type == *mt)
                return S_OK;
        return behaviour.refusal;
    }
    HRESULT GetMediaType(int position, CMediaType* mt) override
    {
        if (position < 0)
            return E_INVALIDARG;
        if (static_cast<size_t>(position) >= behaviour.offered.size())
            return VFW_S_NO_MORE_ITEMS;
        *mt = behaviour.offered[static_cast<size_t>(position)];
        return S_OK;
    }
    HRESULT SetMediaType(const CMediaType* mt) override
    {
        record("SetMediaType " + subtypeName(*mt));
        return Base::SetMediaType(mt);
    }
    HRESULT CheckConnect(IPin* pin) override
    {
        record("CheckConnect");
        return Base::CheckConnect(pin);
    }
    HRESULT CompleteConnect(IPin* pin) override
    {
        record("CompleteConnect");
        if (behaviour.failCompleteConnect)
            return E_FAIL;
        return Base::CompleteConnect(pin);
    }
    HRESULT BreakConnect() override
    {
        record("BreakConnect");
        return Base::BreakConnect();
    }
    HRESULT Active() override
    {
        record("Active");
        if (FAILED(behaviour.activeResult))
            return behaviour.activeResult;
        return Base::Active();
    }
    HRESULT Inactive() override
    {
        record("Inactive");
        HRESULT hr = Base::Inactive();
        return FAILED(behaviour.inactiveResult) ? behaviour.inactiveResult : hr;
    }
    HRESULT Run(REFERENCE_TIME start) override
    {
        record("Run " + std::to_string(start));
        return Base::Run(start);
    }

    void record(const std::string& what)
    {
        if (log)
            log->push_back(std::string(side) + "." + what);
    }

    PinBehaviour behaviour;
    const char* side;
    CallLog* log;
};

// The output side chooses buffers of `bufferSize` bytes; it can be told to
// refuse the downstream pin's allocator.
class TestOutputPin : public RecordingPin<CBaseOutputPin> {
public:
    using RecordingPin::RecordingPin;

    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override
    {
        record("DecideBufferSize");
        decideCalls++;
        if (refuseFirstAllocator && decideCalls == 1)
            return E_FAIL;
        lastRequest = *request;
        request->cBuffers = bufferCount;
        request->cbBuffer = bufferSize;
        ALLOCATOR_PROPERTIES actual{};
        HRESULT hr = allocator->SetProperties(request, &actual);
        if (FAILED(hr))
            return hr;
        return actual.cbBuffer >= bufferSize && actual.cBuffers >= 1 ? S_OK : E_FAIL;
    }
    IMemAllocator* Allocator() { return m_pAllocator; }

    LONG bufferSize = 1000;
    LONG bufferCount = 2;
    bool refuseFirstAllocator = false;
    int decideCalls = 0;
    ALLOCATOR_PROPERTIES lastRequest{};
};

class TestInputPin : public RecordingPin<CBaseInputPin> {
public:
    using RecordingPin::RecordingPin;

    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override
    {
        record("GetAllocator");
        return CBaseInputPin::GetAllocator(allocator);
    }
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, WINBOOL readOnly) override
    {
        record("NotifyAllocator");
        notified = allocator;
        return CBaseInputPin::NotifyAllocator(allocator, readOnly);
    }
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props) override
    {
        record("GetAllocatorRequirements");
        if (!requirements.cbAlign)
            return E_NOTIMPL;
        *props = requirements;
        return S_OK;
    }
    IMemAllocator* OwnAllocator() { return m_pAllocator; }

    // The streaming calls, recorded with what the base made of them.
    STDMETHODIMP Receive(IMediaSample* sample) override
    {
        HRESULT hr = CBaseInputPin::Receive(sample);
        record("Receive " + std::to_string(hr));
        if (hr == S_OK)
            received.push_back(*SampleProps());
        return hr;
    }
    STDMETHODIMP EndOfStream() override
    {
        record("EndOfStream");
        return CBaseInputPin::EndOfStream();
    }
    STDMETHODIMP BeginFlush() override
    {
        record("BeginFlush");
        return CBaseInputPin::BeginFlush();
    }
    STDMETHODIMP EndFlush() override
    {
        record("EndFlush");
        return CBaseInputPin::EndFlush();
    }
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override
    {
        record("NewSegment " + std::to_string(start) + " " + std::to_string(stop));
        return CBaseInputPin::NewSegment(start, stop, rate);
    }

    ALLOCATOR_PROPERTIES requirements{};
    IMemAllocator* notified = nullptr;
    std::vector<AM_SAMPLE2_PROPERTIES> received;
};

// A graph as a filter sees it: IFilterGraph (optionally IFilterGraph2) and
// the event sink. It counts its references and records what it is asked.
class FakeGraph : public IFilterGraph2, public IMediaEventSink {
public:
    struct Event {
        LONG code;
        LONG_PTR param1, param2;
    };

    explicit FakeGraph(bool offersGraph2) : offersGraph2(offersGraph2) {}

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IFilterGraph) ||
            (offersGraph2 &&
             (IsEqualGUID(riid, IID_IGraphBuilder) || IsEqualGUID(riid, IID_IFilterGraph2)))) {
            *ppv = static_cast<IFilterGraph2*>(this);
        } else if (IsEqualGUID(riid, IID_IMediaEventSink)) {
            *ppv = static_cast<IMediaEventSink*>(this);
        } else {
            *ppv = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++refs); }
    STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--refs); }

    STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
    STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
    STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
    STDMETHODIMP ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP Reconnect(IPin* pin) override
    {
        calls.push_back("Reconnect");
        reconnected = pin;
        return S_OK;
    }
    STDMETHODIMP Disconnect(IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP SetDefaultSyncSource() override { return E_NOTIMPL; }
    STDMETHODIMP Connect(IPin*, IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP Render(IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP RenderFile(LPCWSTR, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP AddSourceFilter(LPCWSTR, LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
    STDMETHODIMP SetLogFile(DWORD_PTR) override { return E_NOTIMPL; }
    STDMETHODIMP Abort() override { return E_NOTIMPL; }
    STDMETHODIMP ShouldOperationContinue() override { return E_NOTIMPL; }
    STDMETHODIMP AddSourceFilterForMoniker(IMoniker*, IBindCtx*, LPCWSTR, IBaseFilter**) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP ReconnectEx(IPin* pin, const AM_MEDIA_TYPE* type) override
    {
        calls.push_back("ReconnectEx " + (type ? subtypeName(CMediaType(*type)) : "none"));
        reconnected = pin;
        return S_OK;
    }
    STDMETHODIMP RenderEx(IPin*, DWORD, DWORD*) override { return E_NOTIMPL; }

    STDMETHODIMP Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override
    {
        events.push_back({code, param1, param2});
        return S_OK;
    }

    bool offersGraph2;
    LONG refs = 1;
    std::vector<Event> events;
    std::vector<std::string> calls;
    IPin* reconnected = nullptr;
};

// A reference clock standing still at `now`.
class FakeClock : public IReferenceClock {
public:
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override
    {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++refs); }
    STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--refs); }
    STDMETHODIMP GetTime(REFERENCE_TIME* time) override
    {
        *time = now;
        return S_OK;
    }
    STDMETHODIMP AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP Unadvise(DWORD_PTR) override { return E_NOTIMPL; }

    LONG refs = 1;
    REFERENCE_TIME now = 0;
};

// An upstream filter with one output pin and a downstream filter with one
// input pin, connected (or not) by the test.
class PinPair {
public:
    explicit PinPair(PinBehaviour out = defaultBehaviour(), PinBehaviour in = defaultBehaviour())
        : upstream(new TestFilter(&log)), downstream(new TestFilter(&log))
    {
        output = new TestOutputPin(upstream, WIDE("Out"), std::move(out), "out");
        input = new TestInputPin(downstream, WIDE("In"), std::move(in), "in");
        upstream->AddPin(output);
        downstream->AddPin(input);
    }
    ~PinPair()
    {
        upstream->Stop();
        downstream->Stop();
        output->Disconnect();
        input->Disconnect();
        upstream->Release();
        downstream->Release();
        // Everything the pair made is gone again: the module could unload.
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }
    PinPair(const PinPair&) = delete;
    PinPair& operator=(const PinPair&) = delete;

    static PinBehaviour defaultBehaviour()
    {
        CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
        return {{pcm}, {pcm}};
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
