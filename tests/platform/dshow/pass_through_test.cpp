// Seeking requests on an output pin go to the pin upstream of the input pin,
// unchanged and without keeping a reference.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <vector>

#include "test_filters.h"

namespace {

// A code no implementation would invent: forwarded answers must come back as is.
constexpr HRESULT kAnswer = 0x00041234;

// An upstream output pin that answers seeking by writing down each call with
// its arguments. (The graph seeks through IMediaSeeking; the pass-through's
// IMediaPosition is checked for having nothing to forward to.)
class SeekingPin : public TestOutputPin, public IMediaSeeking {
public:
    explicit SeekingPin(TestFilter* filter)
        : TestOutputPin(filter, WIDE("Seeking"), PinPair::pcmOnly(), "seeking")
    {
    }
    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (IsEqualGUID(riid, IID_IMediaSeeking))
            return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
        return TestOutputPin::NonDelegatingQueryInterface(riid, ppv);
    }

    template <class... Args>
    static std::string text(const char* method, Args... args)
    {
        std::ostringstream out;
        out << method;
        ((out << ' ' << args), ...);
        return out.str();
    }
    template <class... Args>
    HRESULT note(const char* method, Args... args)
    {
        calls.push_back(text(method, args...));
        return kAnswer;
    }

    STDMETHODIMP GetCapabilities(DWORD* a) override { return note("GetCapabilities", a); }
    STDMETHODIMP CheckCapabilities(DWORD* a) override { return note("CheckCapabilities", a); }
    STDMETHODIMP IsFormatSupported(const GUID* a) override { return note("IsFormatSupported", a); }
    STDMETHODIMP QueryPreferredFormat(GUID* a) override { return note("QueryPreferredFormat", a); }
    STDMETHODIMP GetTimeFormat(GUID* a) override { return note("GetTimeFormat", a); }
    STDMETHODIMP IsUsingTimeFormat(const GUID* a) override { return note("IsUsingTimeFormat", a); }
    STDMETHODIMP SetTimeFormat(const GUID* a) override { return note("SetTimeFormat", a); }
    STDMETHODIMP GetDuration(LONGLONG* a) override { return note("GetDuration", a); }
    STDMETHODIMP GetStopPosition(LONGLONG* a) override { return note("GetStopPosition", a); }
    STDMETHODIMP GetCurrentPosition(LONGLONG* a) override { return note("GetCurrentPosition", a); }
    STDMETHODIMP ConvertTimeFormat(LONGLONG* a, const GUID* b, LONGLONG c, const GUID* d) override
    {
        return note("ConvertTimeFormat", a, b, c, d);
    }
    STDMETHODIMP SetPositions(LONGLONG* a, DWORD b, LONGLONG* c, DWORD d) override
    {
        return note("SetPositions", a, b, c, d);
    }
    STDMETHODIMP GetPositions(LONGLONG* a, LONGLONG* b) override
    {
        return note("GetPositions", a, b);
    }
    STDMETHODIMP GetAvailable(LONGLONG* a, LONGLONG* b) override
    {
        return note("GetAvailable", a, b);
    }
    STDMETHODIMP SetRate(double a) override { return note("SetRate", a); }
    STDMETHODIMP GetRate(double* a) override { return note("GetRate", a); }
    STDMETHODIMP GetPreroll(LONGLONG* a) override { return note("GetPreroll", a); }

    std::vector<std::string> calls;
};

// Arguments the calls below pass: the upstream pin must see these addresses.
struct Slots {
    DWORD caps = AM_SEEKING_CanSeekAbsolute;
    GUID format = TIME_FORMAT_MEDIA_TIME;
    LONGLONG a = 100, b = 200;
    double rate = 0;
} slots;

// One call on the pass-through, and the call the upstream pin must see for it.
struct Forwarded {
    std::string expected;
    std::function<HRESULT(IMediaSeeking*)> call;
};
#define FORWARDED(method, ...)                                                  \
    Forwarded                                                                   \
    {                                                                           \
        SeekingPin::text(#method, __VA_ARGS__),                                 \
            [](IMediaSeeking* seeking) { return seeking->method(__VA_ARGS__); } \
    }

const Forwarded forwarded[] = {
    FORWARDED(GetCapabilities, &slots.caps),
    FORWARDED(CheckCapabilities, &slots.caps),
    FORWARDED(IsFormatSupported, &slots.format),
    FORWARDED(QueryPreferredFormat, &slots.format),
    FORWARDED(GetTimeFormat, &slots.format),
    FORWARDED(IsUsingTimeFormat, &slots.format),
    FORWARDED(SetTimeFormat, &slots.format),
    FORWARDED(GetDuration, &slots.a),
    FORWARDED(GetStopPosition, &slots.a),
    FORWARDED(GetCurrentPosition, &slots.a),
    FORWARDED(ConvertTimeFormat, &slots.a, &TIME_FORMAT_SAMPLE, LONGLONG{12345}, &slots.format),
    FORWARDED(SetPositions,
              &slots.a,
              AM_SEEKING_AbsolutePositioning,
              &slots.b,
              AM_SEEKING_NoPositioning),
    FORWARDED(GetPositions, &slots.a, &slots.b),
    FORWARDED(GetAvailable, &slots.a, &slots.b),
    FORWARDED(SetRate, 1.5),
    FORWARDED(GetRate, &slots.rate),
    FORWARDED(GetPreroll, &slots.a),
};

TEST(PassThrough, EveryCallReachesTheUpstreamPinUnchanged)
{
    // The input pin unconnected, connected to a pin without seeking, then to
    // one with it.
    for (int upstreamKind = 0; upstreamKind < 3; ++upstreamKind) {
        PinPair pins;
        auto* seekingPin = pins.upstream->add(new SeekingPin(pins.upstream));
        CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
        IPin* upstream = upstreamKind == 2 ? seekingPin : pins.output;
        ASSERT_EQ(upstreamKind ? upstream->Connect(pins.input, &pcm) : S_OK, S_OK);
        auto* passThrough = new CPosPassThru("pass", nullptr, nullptr, pins.input);
        passThrough->NonDelegatingAddRef();
        IMediaSeeking* seeking = nullptr;
        IMediaPosition* position = nullptr;
        passThrough->NonDelegatingQueryInterface(IID_IMediaSeeking,
                                                 reinterpret_cast<void**>(&seeking));
        passThrough->NonDelegatingQueryInterface(IID_IMediaPosition,
                                                 reinterpret_cast<void**>(&position));
        for (const Forwarded& call : forwarded) {
            seekingPin->calls.clear();
            EXPECT_EQ(call.call(seeking), upstreamKind == 2 ? kAnswer : E_NOTIMPL) << call.expected;
            EXPECT_EQ(seekingPin->calls,
                      upstreamKind == 2 ? std::vector{call.expected} : std::vector<std::string>{});
        }
        // No upstream pin offers IMediaPosition: each call says so, none crashes.
        double d = 0;
        LONG can = 0;
        for (HRESULT hr :
             {position->put_CurrentPosition(2.5), position->get_Duration(&d),
              position->get_CurrentPosition(&d), position->get_StopTime(&d),
              position->put_StopTime(1), position->get_PrerollTime(&d),
              position->put_PrerollTime(1), position->get_Rate(&d), position->put_Rate(2),
              position->CanSeekForward(&can), position->CanSeekBackward(&can),
              position->GetIDsOfNames(IID_NULL, nullptr, 0, 0, nullptr),
              position->Invoke(0, IID_NULL, 0, 0, nullptr, nullptr, nullptr, nullptr)})
            EXPECT_EQ(hr, E_NOTIMPL);
        // Null out-pointers are refused before anything is forwarded.
        seekingPin->calls.clear();
        for (HRESULT hr : {seeking->GetDuration(nullptr),
                           seeking->ConvertTimeFormat(nullptr, nullptr, 0, nullptr),
                           seeking->GetRate(nullptr), seeking->GetPreroll(nullptr),
                           position->get_Duration(nullptr), position->get_CurrentPosition(nullptr),
                           position->get_StopTime(nullptr), position->get_PrerollTime(nullptr),
                           position->get_Rate(nullptr), position->CanSeekForward(nullptr),
                           position->CanSeekBackward(nullptr), position->GetTypeInfoCount(nullptr)})
            EXPECT_EQ(hr, E_POINTER);
        EXPECT_TRUE(seekingPin->calls.empty());
        seeking->Release();
        position->Release();
        passThrough->NonDelegatingRelease();
    }
}

}  // namespace
