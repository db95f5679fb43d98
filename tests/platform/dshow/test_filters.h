// Small filters and pins whose behaviour each test sets, and which record the
// protocol calls they receive, for checking the base classes from outside.
#pragma once

#include <memory>
#include <string>
#include <vector>

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
        return S_FALSE;
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
        return actual.cbBuffer >= bufferSize ? S_OK : E_FAIL;
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

    ALLOCATOR_PROPERTIES requirements{};
    IMemAllocator* notified = nullptr;
};
