// Seeking requests on an output pin go to the filter upstream of the input pin.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "test_filters.h"

namespace {

using ::testing::Return;
using ::testing::StrictMock;

// An IPin whose methods are all unimplemented, for the two pins below.
class NullPin : public IPin {
public:
    STDMETHODIMP Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP Disconnect() override { return E_NOTIMPL; }
    STDMETHODIMP ConnectedTo(IPin**) override { return E_NOTIMPL; }
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryPinInfo(PIN_INFO*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryDirection(PIN_DIRECTION*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryId(LPWSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes**) override { return E_NOTIMPL; }
    STDMETHODIMP QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP EndOfStream() override { return E_NOTIMPL; }
    STDMETHODIMP BeginFlush() override { return E_NOTIMPL; }
    STDMETHODIMP EndFlush() override { return E_NOTIMPL; }
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return E_NOTIMPL; }
};

// The upstream output pin: answers both seeking interfaces through mocks and
// counts its references so leaks in the forwarding show.
class MockUpstreamPin : public NullPin, public IMediaSeeking, public IMediaPosition {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IPin))
            *ppv = static_cast<IPin*>(this);
        else if (IsEqualGUID(riid, IID_IMediaSeeking) && seeking)
            *ppv = static_cast<IMediaSeeking*>(this);
        else if (IsEqualGUID(riid, IID_IMediaPosition) && position)
            *ppv = static_cast<IMediaPosition*>(this);
        else {
            *ppv = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++refs); }
    STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--refs); }

    MOCK_METHOD(HRESULT, GetCapabilities, (DWORD*), (override));
    MOCK_METHOD(HRESULT, CheckCapabilities, (DWORD*), (override));
    MOCK_METHOD(HRESULT, IsFormatSupported, (const GUID*), (override));
    MOCK_METHOD(HRESULT, QueryPreferredFormat, (GUID*), (override));
    MOCK_METHOD(HRESULT, GetTimeFormat, (GUID*), (override));
    MOCK_METHOD(HRESULT, IsUsingTimeFormat, (const GUID*), (override));
    MOCK_METHOD(HRESULT, SetTimeFormat, (const GUID*), (override));
    MOCK_METHOD(HRESULT, GetDuration, (LONGLONG*), (override));
    MOCK_METHOD(HRESULT, GetStopPosition, (LONGLONG*), (override));
    MOCK_METHOD(HRESULT, GetCurrentPosition, (LONGLONG*), (override));
    MOCK_METHOD(HRESULT,
                ConvertTimeFormat,
                (LONGLONG*, const GUID*, LONGLONG, const GUID*),
                (override));
    MOCK_METHOD(HRESULT, SetPositions, (LONGLONG*, DWORD, LONGLONG*, DWORD), (override));
    MOCK_METHOD(HRESULT, GetPositions, (LONGLONG*, LONGLONG*), (override));
    MOCK_METHOD(HRESULT, GetAvailable, (LONGLONG*, LONGLONG*), (override));
    MOCK_METHOD(HRESULT, SetRate, (double), (override));
    MOCK_METHOD(HRESULT, GetRate, (double*), (override));
    MOCK_METHOD(HRESULT, GetPreroll, (LONGLONG*), (override));

    STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*)
        override
    {
        return E_NOTIMPL;
    }
    MOCK_METHOD(HRESULT, get_Duration, (REFTIME*), (override));
    MOCK_METHOD(HRESULT, put_CurrentPosition, (REFTIME), (override));
    MOCK_METHOD(HRESULT, get_CurrentPosition, (REFTIME*), (override));
    MOCK_METHOD(HRESULT, get_StopTime, (REFTIME*), (override));
    MOCK_METHOD(HRESULT, put_StopTime, (REFTIME), (override));
    MOCK_METHOD(HRESULT, get_PrerollTime, (REFTIME*), (override));
    MOCK_METHOD(HRESULT, put_PrerollTime, (REFTIME), (override));
    MOCK_METHOD(HRESULT, put_Rate, (double), (override));
    MOCK_METHOD(HRESULT, get_Rate, (double*), (override));
    MOCK_METHOD(HRESULT, CanSeekForward, (LONG*), (override));
    MOCK_METHOD(HRESULT, CanSeekBackward, (LONG*), (override));

    bool seeking = true;
    bool position = true;
    LONG refs = 1;
};

// Our input pin as the pass-through sees it: connected to `peer` or not.
class StubInputPin : public NullPin {
public:
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override
    {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP ConnectedTo(IPin** pin) override
    {
        *pin = peer;
        if (!peer)
            return VFW_E_NOT_CONNECTED;
        peer->AddRef();
        return S_OK;
    }
    IPin* peer = nullptr;
};

// One forwarded call: what the upstream mock must see (and answers with a
// distinctive code), and the call made on the pass-through.
struct Forwarded {
    const char* name;
    std::function<void(MockUpstreamPin&, HRESULT)> expect;
    std::function<HRESULT(IMediaSeeking*, IMediaPosition*)> call;
};

// Out-parameters the calls below pass; the mocks must see these addresses.
struct Slots {
    DWORD caps = AM_SEEKING_CanSeekAbsolute;
    GUID format = TIME_FORMAT_MEDIA_TIME;
    LONGLONG a = 100, b = 200;
    double rate = 0;
    REFTIME seconds = 0;
    LONG flag = 0;
} slots;

// The same arguments on both sides of the pass-through.
#define EXPECT_FORWARDED(method, ...) \
    [](MockUpstreamPin& m, HRESULT r) { EXPECT_CALL(m, method(__VA_ARGS__)).WillOnce(Return(r)); }
#define SEEKING_CALL(method, ...)                                                                 \
    Forwarded                                                                                     \
    {                                                                                             \
#method, EXPECT_FORWARDED(method, __VA_ARGS__),                                           \
            [](IMediaSeeking * seeking, IMediaPosition*) { return seeking->method(__VA_ARGS__); } \
    }
#define POSITION_CALL(method, ...)                                                        \
    Forwarded                                                                             \
    {                                                                                     \
#method, EXPECT_FORWARDED(method, __VA_ARGS__),                                   \
            [](IMediaSeeking*, IMediaPosition * pos) { return pos->method(__VA_ARGS__); } \
    }

std::vector<Forwarded> forwardedCalls()
{
    return {
        SEEKING_CALL(GetCapabilities, &slots.caps),
        SEEKING_CALL(CheckCapabilities, &slots.caps),
        SEEKING_CALL(IsFormatSupported, &slots.format),
        SEEKING_CALL(QueryPreferredFormat, &slots.format),
        SEEKING_CALL(GetTimeFormat, &slots.format),
        SEEKING_CALL(IsUsingTimeFormat, &slots.format),
        SEEKING_CALL(SetTimeFormat, &slots.format),
        SEEKING_CALL(GetDuration, &slots.a),
        SEEKING_CALL(GetStopPosition, &slots.a),
        SEEKING_CALL(GetCurrentPosition, &slots.a),
        SEEKING_CALL(ConvertTimeFormat, &slots.a, &TIME_FORMAT_SAMPLE, 12345, &slots.format),
        SEEKING_CALL(SetPositions, &slots.a, DWORD(AM_SEEKING_AbsolutePositioning), &slots.b,
                     DWORD(AM_SEEKING_NoPositioning)),
        SEEKING_CALL(GetPositions, &slots.a, &slots.b),
        SEEKING_CALL(GetAvailable, &slots.a, &slots.b),
        SEEKING_CALL(SetRate, 1.5),
        SEEKING_CALL(GetRate, &slots.rate),
        SEEKING_CALL(GetPreroll, &slots.a),
        POSITION_CALL(get_Duration, &slots.seconds),
        POSITION_CALL(put_CurrentPosition, 2.5),
        POSITION_CALL(get_CurrentPosition, &slots.seconds),
        POSITION_CALL(get_StopTime, &slots.seconds),
        POSITION_CALL(put_StopTime, 7.0),
        POSITION_CALL(get_PrerollTime, &slots.seconds),
        POSITION_CALL(put_PrerollTime, 0.25),
        POSITION_CALL(put_Rate, -1.0),
        POSITION_CALL(get_Rate, &slots.rate),
        POSITION_CALL(CanSeekForward, &slots.flag),
        POSITION_CALL(CanSeekBackward, &slots.flag),
    };
}

class PassThroughForwarding : public ::testing::Test {
protected:
    void SetUp() override
    {
        HRESULT hr = S_OK;
        passThrough = new CPosPassThru("pass", nullptr, &hr, &input);
        ASSERT_EQ(hr, S_OK);
        passThrough->NonDelegatingAddRef();
        passThrough->NonDelegatingQueryInterface(IID_IMediaSeeking,
                                                 reinterpret_cast<void**>(&seeking));
        passThrough->NonDelegatingQueryInterface(IID_IMediaPosition,
                                                 reinterpret_cast<void**>(&position));
    }
    void TearDown() override
    {
        seeking->Release();
        position->Release();
        passThrough->NonDelegatingRelease();
        EXPECT_EQ(upstream.refs, 1);  // every peer reference taken was given back
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }

    StubInputPin input;
    StrictMock<MockUpstreamPin> upstream;
    CPosPassThru* passThrough = nullptr;
    IMediaSeeking* seeking = nullptr;
    IMediaPosition* position = nullptr;
};

TEST_F(PassThroughForwarding, EveryCallReachesTheUpstreamPinUnchanged)
{
    input.peer = &upstream;
    // A code no implementation would invent: the answer must come back as is.
    const HRESULT distinctive = static_cast<HRESULT>(0x00041234);
    for (const Forwarded& call : forwardedCalls()) {
        call.expect(upstream, distinctive);
        EXPECT_EQ(call.call(seeking, position), distinctive) << call.name;
        ::testing::Mock::VerifyAndClearExpectations(&upstream);
    }
}

TEST_F(PassThroughForwarding, NothingToForwardToIsNotImplemented)
{
    struct Case {
        const char* what;
        bool connected, seeking, position;
    } cases[] = {
        {"input not connected", false, true, true},
        {"upstream without the interfaces", true, false, false},
    };
    for (const Case& c : cases) {
        input.peer = c.connected ? &upstream : nullptr;
        upstream.seeking = c.seeking;
        upstream.position = c.position;
        // StrictMock: any call reaching the upstream pin fails the test.
        for (const Forwarded& call : forwardedCalls())
            EXPECT_EQ(call.call(seeking, position), E_NOTIMPL) << c.what << ": " << call.name;
    }
}

TEST_F(PassThroughForwarding, NullOutPointersAreRefusedBeforeForwarding)
{
    input.peer = &upstream;
    EXPECT_EQ(seeking->GetCapabilities(nullptr), E_POINTER);
    EXPECT_EQ(seeking->GetDuration(nullptr), E_POINTER);
    EXPECT_EQ(seeking->GetCurrentPosition(nullptr), E_POINTER);
    EXPECT_EQ(seeking->GetRate(nullptr), E_POINTER);
    EXPECT_EQ(seeking->ConvertTimeFormat(nullptr, nullptr, 0, nullptr), E_POINTER);
    EXPECT_EQ(position->get_Duration(nullptr), E_POINTER);
    EXPECT_EQ(position->CanSeekForward(nullptr), E_POINTER);
}

// A filter that knows where it is answers the current position itself.
class KnowsItsPosition : public CPosPassThru {
public:
    using CPosPassThru::CPosPassThru;

protected:
    HRESULT GetMediaTime(LONGLONG* start, LONGLONG* end) override
    {
        *start = 777;
        *end = 778;
        return S_OK;
    }
};

TEST(PassThrough, TheFiltersOwnPositionComesFirst)
{
    StubInputPin input;
    StrictMock<MockUpstreamPin> upstream;
    input.peer = &upstream;
    HRESULT hr = S_OK;
    auto* passThrough = new KnowsItsPosition("pass", nullptr, &hr, &input);
    passThrough->NonDelegatingAddRef();
    IMediaSeeking* seeking = nullptr;
    passThrough->NonDelegatingQueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking));
    LONGLONG current = 0;
    EXPECT_EQ(seeking->GetCurrentPosition(&current), S_OK);  // no upstream call
    EXPECT_EQ(current, 777);
    seeking->Release();
    passThrough->NonDelegatingRelease();
}

TEST(PassThrough, AggregatedIntoItsOwnerAndNeedsAnInputPin)
{
    // Without an input pin there is nothing to pass through to.
    HRESULT hr = S_OK;
    auto* orphan = new CPosPassThru("pass", nullptr, &hr, nullptr);
    EXPECT_EQ(hr, E_POINTER);
    delete orphan;

    // Aggregated: the owner's identity and reference count, IDispatch
    // through IMediaPosition.
    PinPair pins;
    IUnknown* owner = pins.upstream->GetOwner();
    hr = S_OK;
    auto* passThrough = new CPosPassThru("pass", owner, &hr, pins.input);
    passThrough->NonDelegatingAddRef();
    IMediaSeeking* seeking = nullptr;
    ASSERT_EQ(passThrough->NonDelegatingQueryInterface(IID_IMediaSeeking,
                                                       reinterpret_cast<void**>(&seeking)),
              S_OK);
    IUnknown* identity = nullptr;
    ASSERT_EQ(seeking->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    EXPECT_EQ(identity, owner);
    identity->Release();
    IBaseFilter* filter = nullptr;
    EXPECT_EQ(seeking->QueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(&filter)), S_OK);
    filter->Release();
    void* dispatch = nullptr;
    ASSERT_EQ(passThrough->NonDelegatingQueryInterface(IID_IDispatch, &dispatch), S_OK);
    UINT count = 9;
    EXPECT_EQ(static_cast<IDispatch*>(dispatch)->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 0u);
    static_cast<IDispatch*>(dispatch)->Release();
    seeking->Release();
    passThrough->NonDelegatingRelease();
}

}  // namespace
