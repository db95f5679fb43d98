// Samples, flushes, end of stream and segments crossing a connection, the
// input pin's refusals while it cannot take them, and its allocator. (A
// refused type change mid-stream is checked through the host's graph.)
#include <gtest/gtest.h>

#include "test_filters.h"

namespace {

// Samples from an allocator of its own, whatever state the pins are in.
class SampleSource {
public:
    SampleSource()
    {
        CMemAllocator::CreateInstance(nullptr, nullptr)
            ->NonDelegatingQueryInterface(IID_IMemAllocator, reinterpret_cast<void**>(&allocator));
        ALLOCATOR_PROPERTIES request{4, 64, 1, 0}, actual;
        allocator->SetProperties(&request, &actual);
        allocator->Commit();
    }
    ~SampleSource()
    {
        allocator->Decommit();
        allocator->Release();
    }
    IMediaSample* sample()
    {
        IMediaSample* sample = nullptr;
        allocator->GetBuffer(&sample, nullptr, nullptr, 0);
        sample->SetActualDataLength(16);
        return sample;
    }
    // Delivers one sample through `pin` and gives back the answer.
    HRESULT deliver(TestOutputPin* pin)
    {
        IMediaSample* s = sample();
        HRESULT hr = pin->Deliver(s);
        s->Release();
        return hr;
    }
    IMemAllocator* allocator = nullptr;
};

TEST(Streaming, ReceiveIsRefusedWhileThePinCannotTakeSamples)
{
    struct Case {
        const char* what;
        bool connect, pause, flush;
        HRESULT expected;
    } cases[] = {
        {"not connected", false, false, false, VFW_E_NOT_CONNECTED},
        {"stopped", true, false, false, VFW_E_WRONG_STATE},
        {"flushing", true, true, true, S_FALSE},
        {"paused", true, true, false, S_OK},
    };
    for (const Case& c : cases) {
        PinPair pins;
        SampleSource source;
        ASSERT_EQ(c.connect ? pins.connect() : S_OK, S_OK) << c.what;
        ASSERT_EQ(c.pause ? pins.pause() : S_OK, S_OK) << c.what;
        ASSERT_EQ(c.flush ? pins.input->BeginFlush() : S_OK, S_OK) << c.what;
        IMediaSample* sample = source.sample();
        // Deliver hands back the downstream answer as it is.
        EXPECT_EQ(c.connect ? pins.output->Deliver(sample) : pins.input->Receive(sample),
                  c.expected)
            << c.what;
        sample->Release();
        EXPECT_EQ(pins.input->received.size(), c.expected == S_OK ? 1u : 0u) << c.what;
    }
}

TEST(Streaming, FlushEndOfStreamAndSegmentReachTheInputPin)
{
    PinPair pins;
    SampleSource source;
    EXPECT_EQ(pins.output->DeliverEndOfStream(), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pins.output->DeliverBeginFlush(), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pins.output->DeliverEndFlush(), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pins.output->DeliverNewSegment(0, 1, 1.0), VFW_E_NOT_CONNECTED);
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.pause(), S_OK);
    pins.log.clear();
    EXPECT_EQ(pins.output->DeliverBeginFlush(), S_OK);
    EXPECT_EQ(source.deliver(pins.output), S_FALSE);  // dropped while flushing
    EXPECT_EQ(pins.output->DeliverEndFlush(), S_OK);
    EXPECT_EQ(pins.output->DeliverNewSegment(1000, 9000, 1.0), S_OK);
    EXPECT_EQ(source.deliver(pins.output), S_OK);
    EXPECT_EQ(pins.output->DeliverEndOfStream(), S_OK);
    const CallLog expected = {"in.BeginFlush",           "in.Receive 1", "in.EndFlush",
                              "in.NewSegment 1000 9000", "in.Receive 0", "in.EndOfStream"};
    EXPECT_EQ(pins.log, expected);
}

// Disconnecting decommits the input pin's allocator and lets go of it.
TEST(InputAllocator, IsDecommittedAndDroppedOnDisconnect)
{
    PinPair pins;
    ASSERT_EQ(pins.connect(), S_OK);
    IMemAllocator* allocator = pins.input->OwnAllocator();
    ASSERT_NE(allocator, nullptr);
    allocator->AddRef();
    ASSERT_EQ(allocator->Commit(), S_OK);
    ASSERT_EQ(pins.input->Disconnect(), S_OK);
    EXPECT_EQ(pins.input->OwnAllocator(), nullptr);
    IMediaSample* sample = nullptr;
    EXPECT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_NOT_COMMITTED);
    allocator->Release();
}

// A sample that only speaks IMediaSample, as some upstream filters hand out:
// the input pin builds the properties from its getters and owns the type.
class PlainSample : public Counted<IMediaSample> {
public:
    STDMETHODIMP GetPointer(BYTE** buffer) override
    {
        *buffer = data;
        return S_OK;
    }
    STDMETHODIMP_(LONG) GetSize() override { return sizeof data; }
    STDMETHODIMP GetTime(REFERENCE_TIME* start, REFERENCE_TIME*) override
    {
        *start = 500;
        return VFW_S_NO_STOP_TIME;
    }
    STDMETHODIMP SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_NOTIMPL; }
    STDMETHODIMP IsSyncPoint() override { return S_OK; }
    STDMETHODIMP SetSyncPoint(WINBOOL) override { return E_NOTIMPL; }
    STDMETHODIMP IsPreroll() override { return S_OK; }
    STDMETHODIMP SetPreroll(WINBOOL) override { return E_NOTIMPL; }
    STDMETHODIMP_(LONG) GetActualDataLength() override { return 12; }
    STDMETHODIMP SetActualDataLength(LONG) override { return E_NOTIMPL; }
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** type) override
    {
        *type = CreateMediaType(&pcm);
        return S_OK;
    }
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP IsDiscontinuity() override { return S_OK; }
    STDMETHODIMP SetDiscontinuity(WINBOOL) override { return E_NOTIMPL; }
    STDMETHODIMP GetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    STDMETHODIMP SetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    BYTE data[32] = {};
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
};

TEST(Streaming, PropertiesOfAPlainSampleAreBuiltFromItsGetters)
{
    PinPair pins;
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.pause(), S_OK);
    PlainSample sample;
    IMediaSample* twice[] = {&sample, &sample};  // the first type is freed for the second
    LONG processed = 0;
    ASSERT_EQ(pins.input->ReceiveMultiple(twice, 2, &processed), S_OK);
    EXPECT_EQ(processed, 2);
    const AM_SAMPLE2_PROPERTIES& props = pins.input->received.back();
    EXPECT_EQ(props.dwSampleFlags,
              DWORD(AM_SAMPLE_TIMEVALID | AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_PREROLL |
                    AM_SAMPLE_DATADISCONTINUITY | AM_SAMPLE_TYPECHANGED));
    EXPECT_EQ(props.tStop, 501);
    EXPECT_EQ(props.lActual, 12);
    EXPECT_EQ(props.cbBuffer, 32);
    EXPECT_EQ(props.pbBuffer, sample.data);
    ASSERT_NE(props.pMediaType, nullptr);
    EXPECT_EQ(subtypeName(*props.pMediaType), "PCM");
    EXPECT_EQ(sample.refs, 1);
}

// An input pin whose Receive never blocks.
class NonBlockingInputPin : public TestInputPin {
public:
    using TestInputPin::TestInputPin;
    STDMETHODIMP ReceiveCanBlock() override { return S_FALSE; }
};

// A filter in the middle blocks only when something after it may.
TEST(Streaming, ReceiveCanBlockAsksTheConnectedOutputsPeers)
{
    PinPair pins;
    auto* renderer = new TestFilter(nullptr);
    auto* rendererIn = renderer->add(
        new NonBlockingInputPin(renderer, WIDE("In"), PinPair::pcmOnly(), "renderer.in"));
    auto* middleOut = pins.downstream->add(
        new TestOutputPin(pins.downstream, WIDE("Out"), PinPair::pcmOnly(), "middle.out"));
    EXPECT_EQ(pins.input->ReceiveCanBlock(), S_OK);
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    ASSERT_EQ(middleOut->Connect(rendererIn, &pcm), S_OK);
    EXPECT_EQ(pins.input->ReceiveCanBlock(), S_FALSE);
    rendererIn->Disconnect();
    renderer->Release();
}

}  // namespace
