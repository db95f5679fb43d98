// Seeking requests on an output pin go to the filter upstream of the input pin.
#include <gtest/gtest.h>

#include "test_filters.h"

namespace {

// An upstream output pin that also answers IMediaSeeking, recording calls.
class SeekableOutputPin : public TestOutputPin, public IMediaSeeking {
public:
    using TestOutputPin::TestOutputPin;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override { return TestOutputPin::QueryInterface(riid, ppv); }
    STDMETHODIMP_(ULONG) AddRef() override { return TestOutputPin::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return TestOutputPin::Release(); }
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (IsEqualGUID(riid, IID_IMediaSeeking))
            return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
        return TestOutputPin::NonDelegatingQueryInterface(riid, ppv);
    }

    STDMETHODIMP GetCapabilities(DWORD* c) override { *c = AM_SEEKING_CanSeekAbsolute; return S_OK; }
    STDMETHODIMP CheckCapabilities(DWORD*) override { return S_OK; }
    STDMETHODIMP IsFormatSupported(const GUID*) override { return S_OK; }
    STDMETHODIMP QueryPreferredFormat(GUID* f) override { *f = TIME_FORMAT_MEDIA_TIME; return S_OK; }
    STDMETHODIMP GetTimeFormat(GUID* f) override { *f = TIME_FORMAT_MEDIA_TIME; return S_OK; }
    STDMETHODIMP IsUsingTimeFormat(const GUID*) override { return S_OK; }
    STDMETHODIMP SetTimeFormat(const GUID*) override { return S_OK; }
    STDMETHODIMP GetDuration(LONGLONG* d) override { *d = 123456789; return S_OK; }
    STDMETHODIMP GetStopPosition(LONGLONG* s) override { *s = 7; return S_OK; }
    STDMETHODIMP GetCurrentPosition(LONGLONG* c) override { *c = 42; return S_OK; }
    STDMETHODIMP ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG, const GUID*) override { return E_NOTIMPL; }
    STDMETHODIMP SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) override
    {
        lastCurrent = current ? *current : -1;
        lastCurrentFlags = currentFlags;
        lastStop = stop ? *stop : -1;
        lastStopFlags = stopFlags;
        return S_OK;
    }
    STDMETHODIMP GetPositions(LONGLONG*, LONGLONG*) override { return S_OK; }
    STDMETHODIMP GetAvailable(LONGLONG*, LONGLONG*) override { return S_OK; }
    STDMETHODIMP SetRate(double rate) override { lastRate = rate; return S_OK; }
    STDMETHODIMP GetRate(double* r) override { *r = lastRate; return S_OK; }
    STDMETHODIMP GetPreroll(LONGLONG* p) override { *p = 0; return S_OK; }

    LONGLONG lastCurrent = 0, lastStop = 0;
    DWORD lastCurrentFlags = 0, lastStopFlags = 0;
    double lastRate = 1.0;
};

TEST(PassThrough, ForwardsToTheUpstreamPinOnlyWhileConnected)
{
    auto* upstream = new TestFilter(nullptr);
    auto* ours = new TestFilter(nullptr);
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    auto* source = new SeekableOutputPin(upstream, WIDE("Out"), {{pcm}, {pcm}}, "up");
    auto* input = new TestInputPin(ours, WIDE("In"), {{}, {pcm}}, "in");
    upstream->AddPin(source);
    ours->AddPin(input);

    HRESULT hr = S_OK;
    auto* passThrough = new CPosPassThru("pass", nullptr, &hr, input);
    passThrough->NonDelegatingAddRef();
    IMediaSeeking* seeking = nullptr;
    ASSERT_EQ(passThrough->NonDelegatingQueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking)), S_OK);
    LONGLONG duration = 0;
    EXPECT_EQ(seeking->GetDuration(&duration), E_NOTIMPL);  // input not connected
    EXPECT_EQ(seeking->GetDuration(nullptr), E_POINTER);

    ASSERT_EQ(source->Connect(input, &pcm), S_OK);
    EXPECT_EQ(seeking->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, 123456789);
    LONGLONG current = 5000, stop = 9000;
    EXPECT_EQ(seeking->SetPositions(&current, AM_SEEKING_AbsolutePositioning, &stop,
                                    AM_SEEKING_NoPositioning), S_OK);
    EXPECT_EQ(source->lastCurrent, 5000);
    EXPECT_EQ(source->lastStop, 9000);
    EXPECT_EQ(source->lastCurrentFlags, DWORD(AM_SEEKING_AbsolutePositioning));
    EXPECT_EQ(seeking->SetRate(2.0), S_OK);
    double rate = 0;
    EXPECT_EQ(seeking->GetRate(&rate), S_OK);
    EXPECT_EQ(rate, 2.0);
    EXPECT_EQ(seeking->GetCurrentPosition(&current), S_OK);
    EXPECT_EQ(current, 42);

    // The upstream pin has no IMediaPosition: not implemented, not a crash.
    IMediaPosition* position = nullptr;
    ASSERT_EQ(passThrough->NonDelegatingQueryInterface(IID_IMediaPosition, reinterpret_cast<void**>(&position)), S_OK);
    REFTIME length = 0;
    EXPECT_EQ(position->get_Duration(&length), E_NOTIMPL);
    position->Release();

    seeking->Release();
    passThrough->NonDelegatingRelease();
    source->Disconnect();
    input->Disconnect();
    upstream->Release();
    ours->Release();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

}  // namespace
