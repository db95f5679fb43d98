// Samples, flushes, end of stream and segments crossing a connection, and the
// input pin's refusals while it cannot take them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "test_filters.h"

namespace {

using ::testing::_;
using ::testing::DoAll;
using ::testing::NiceMock;
using ::testing::Return;
using ::testing::SetArgPointee;

// Samples from an allocator of its own, so a test can have them whatever
// state the pins are in.
class SampleSource {
public:
    SampleSource()
    {
        HRESULT hr = S_OK;
        CMemAllocator::CreateInstance(nullptr, &hr)
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
    SampleSource(const SampleSource&) = delete;
    SampleSource& operator=(const SampleSource&) = delete;

    IMediaSample* sample(const CMediaType* typeChange = nullptr)
    {
        IMediaSample* sample = nullptr;
        allocator->GetBuffer(&sample, nullptr, nullptr, 0);
        sample->SetActualDataLength(16);
        if (typeChange)
            sample->SetMediaType(const_cast<CMediaType*>(typeChange));
        return sample;
    }
    // Delivers one sample through `pin` and gives back the answer.
    HRESULT deliver(TestOutputPin* pin, const CMediaType* typeChange = nullptr)
    {
        IMediaSample* s = sample(typeChange);
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
        bool connect;
        bool pause;
        bool flush;
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
    PinPair pins;
    EXPECT_EQ(pins.input->Receive(nullptr), E_POINTER);
    EXPECT_EQ(pins.output->Deliver(nullptr), VFW_E_NOT_CONNECTED);
}

TEST(Streaming, FlushingDropsSamplesUntilEndFlush)
{
    PinPair pins;
    SampleSource source;
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.pause(), S_OK);
    pins.log.clear();

    EXPECT_EQ(pins.output->DeliverBeginFlush(), S_OK);
    EXPECT_TRUE(pins.input->IsFlushing());
    EXPECT_EQ(source.deliver(pins.output), S_FALSE);
    EXPECT_EQ(pins.output->DeliverEndFlush(), S_OK);
    EXPECT_FALSE(pins.input->IsFlushing());
    EXPECT_EQ(pins.output->DeliverNewSegment(1000, 9000, 1.0), S_OK);
    EXPECT_EQ(source.deliver(pins.output), S_OK);
    EXPECT_EQ(pins.output->DeliverEndOfStream(), S_OK);

    const CallLog expected = {"in.BeginFlush",           "in.Receive 1", "in.EndFlush",
                              "in.NewSegment 1000 9000", "in.Receive 0", "in.EndOfStream"};
    EXPECT_EQ(pins.log, expected);
    EXPECT_EQ(pins.input->CurrentStartTime(), 1000);
    EXPECT_EQ(pins.input->CurrentStopTime(), 9000);
    EXPECT_EQ(pins.input->CurrentRate(), 1.0);
}

TEST(Streaming, DownstreamCallsNeedAConnection)
{
    PinPair pins;
    EXPECT_EQ(pins.output->DeliverEndOfStream(), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pins.output->DeliverBeginFlush(), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pins.output->DeliverEndFlush(), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pins.output->DeliverNewSegment(0, 1, 1.0), VFW_E_NOT_CONNECTED);
    EXPECT_TRUE(pins.log.empty());
}

TEST(Streaming, UnacceptableTypeChangeStopsTheStreamUntilAFlush)
{
    PinPair pins;
    SampleSource source;
    FakeGraph graph(false);
    pins.downstream->JoinFilterGraph(&graph, WIDE("Renderer"));
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.pause(), S_OK);

    // An acceptable change passes, and the pin sees the new type.
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM), dts = audioType(MEDIASUBTYPE_DTS);
    ASSERT_EQ(source.deliver(pins.output, &pcm), S_OK);
    ASSERT_EQ(pins.input->received.size(), 1u);
    EXPECT_TRUE(pins.input->received[0].dwSampleFlags & AM_SAMPLE_TYPECHANGED);
    pins.log.clear();

    EXPECT_EQ(source.deliver(pins.output, &dts), VFW_E_INVALIDMEDIATYPE);
    EXPECT_EQ(source.deliver(pins.output), VFW_E_RUNTIME_ERROR);
    EXPECT_EQ(source.deliver(pins.output, &pcm), VFW_E_RUNTIME_ERROR);
    // The pin ended its stream and the graph heard of the error once.
    EXPECT_EQ(std::count(pins.log.begin(), pins.log.end(), "in.EndOfStream"), 1);
    ASSERT_EQ(graph.events.size(), 1u);
    EXPECT_EQ(graph.events[0].code, EC_ERRORABORT);
    EXPECT_EQ(graph.events[0].param1, VFW_E_TYPE_NOT_ACCEPTED);

    ASSERT_EQ(pins.output->DeliverBeginFlush(), S_OK);
    ASSERT_EQ(pins.output->DeliverEndFlush(), S_OK);
    EXPECT_EQ(source.deliver(pins.output), S_OK);
    pins.downstream->JoinFilterGraph(nullptr, nullptr);
}

TEST(Streaming, StoppingClearsARunTimeError)
{
    PinPair pins;
    SampleSource source;
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.pause(), S_OK);
    CMediaType dts = audioType(MEDIASUBTYPE_DTS);
    ASSERT_EQ(source.deliver(pins.output, &dts), VFW_E_INVALIDMEDIATYPE);
    pins.stop();
    ASSERT_EQ(pins.pause(), S_OK);
    EXPECT_EQ(source.deliver(pins.output), S_OK);
}

TEST(Streaming, ReceiveMultipleStopsAtTheFirstRefusal)
{
    PinPair pins;
    SampleSource source;
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.pause(), S_OK);
    CMediaType dts = audioType(MEDIASUBTYPE_DTS);
    IMediaSample* samples[3] = {source.sample(), source.sample(&dts), source.sample()};
    LONG processed = -1;
    EXPECT_EQ(pins.input->ReceiveMultiple(samples, 3, &processed), VFW_E_INVALIDMEDIATYPE);
    EXPECT_EQ(processed, 1);
    EXPECT_EQ(pins.input->ReceiveMultiple(nullptr, 3, &processed), E_POINTER);
    EXPECT_EQ(pins.input->ReceiveMultiple(samples, 3, nullptr), E_POINTER);
    for (IMediaSample* sample : samples)
        sample->Release();
}

// A sample that only speaks IMediaSample: the input pin must build the
// properties from the getters.
class MockSample : public IMediaSample {
public:
    MOCK_METHOD(HRESULT, QueryInterface, (REFIID, void**), (override));
    MOCK_METHOD(ULONG, AddRef, (), (override));
    MOCK_METHOD(ULONG, Release, (), (override));
    MOCK_METHOD(HRESULT, GetPointer, (BYTE**), (override));
    MOCK_METHOD(LONG, GetSize, (), (override));
    MOCK_METHOD(HRESULT, GetTime, (REFERENCE_TIME*, REFERENCE_TIME*), (override));
    MOCK_METHOD(HRESULT, SetTime, (REFERENCE_TIME*, REFERENCE_TIME*), (override));
    MOCK_METHOD(HRESULT, IsSyncPoint, (), (override));
    MOCK_METHOD(HRESULT, SetSyncPoint, (WINBOOL), (override));
    MOCK_METHOD(HRESULT, IsPreroll, (), (override));
    MOCK_METHOD(HRESULT, SetPreroll, (WINBOOL), (override));
    MOCK_METHOD(LONG, GetActualDataLength, (), (override));
    MOCK_METHOD(HRESULT, SetActualDataLength, (LONG), (override));
    MOCK_METHOD(HRESULT, GetMediaType, (AM_MEDIA_TYPE**), (override));
    MOCK_METHOD(HRESULT, SetMediaType, (AM_MEDIA_TYPE*), (override));
    MOCK_METHOD(HRESULT, IsDiscontinuity, (), (override));
    MOCK_METHOD(HRESULT, SetDiscontinuity, (WINBOOL), (override));
    MOCK_METHOD(HRESULT, GetMediaTime, (LONGLONG*, LONGLONG*), (override));
    MOCK_METHOD(HRESULT, SetMediaTime, (LONGLONG*, LONGLONG*), (override));
};

TEST(Streaming, PropertiesOfAPlainSampleAreBuiltFromItsGetters)
{
    PinPair pins;
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.pause(), S_OK);

    BYTE buffer[32];
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    NiceMock<MockSample> sample;
    ON_CALL(sample, QueryInterface(_, _))
        .WillByDefault(DoAll(SetArgPointee<1>(nullptr), Return(E_NOINTERFACE)));
    EXPECT_CALL(sample, GetTime(_, _))
        .WillOnce(DoAll(SetArgPointee<0>(REFERENCE_TIME{500}), Return(VFW_S_NO_STOP_TIME)));
    EXPECT_CALL(sample, IsSyncPoint()).WillOnce(Return(S_OK));
    EXPECT_CALL(sample, IsPreroll()).WillOnce(Return(S_FALSE));
    EXPECT_CALL(sample, IsDiscontinuity()).WillOnce(Return(S_OK));
    // The pin owns the type it is given and must free it (ASan checks).
    EXPECT_CALL(sample, GetMediaType(_))
        .WillOnce(DoAll(SetArgPointee<0>(CreateMediaType(&pcm)), Return(S_OK)));
    EXPECT_CALL(sample, GetPointer(_)).WillOnce(DoAll(SetArgPointee<0>(buffer), Return(S_OK)));
    EXPECT_CALL(sample, GetActualDataLength()).WillOnce(Return(12));
    EXPECT_CALL(sample, GetSize()).WillOnce(Return(32));

    ASSERT_EQ(pins.input->Receive(&sample), S_OK);
    ASSERT_EQ(pins.input->received.size(), 1u);
    const AM_SAMPLE2_PROPERTIES& props = pins.input->received[0];
    EXPECT_EQ(props.dwSampleFlags, DWORD(AM_SAMPLE_TIMEVALID | AM_SAMPLE_SPLICEPOINT |
                                         AM_SAMPLE_DATADISCONTINUITY | AM_SAMPLE_TYPECHANGED));
    EXPECT_EQ(props.tStart, 500);
    EXPECT_EQ(props.tStop, 501);
    EXPECT_EQ(props.lActual, 12);
    EXPECT_EQ(props.cbBuffer, 32);
    EXPECT_EQ(props.pbBuffer, buffer);
    EXPECT_EQ(props.dwStreamId, DWORD(AM_STREAM_MEDIA));
    ASSERT_NE(props.pMediaType, nullptr);
    EXPECT_TRUE(IsEqualGUID(props.pMediaType->subtype, MEDIASUBTYPE_PCM));
}

TEST(InputAllocator, TheInputPinsAllocatorAndItsHandshake)
{
    PinPair pins;
    IMemAllocator* first = nullptr;
    IMemAllocator* second = nullptr;
    ASSERT_EQ(pins.input->GetAllocator(&first), S_OK);
    ASSERT_EQ(pins.input->GetAllocator(&second), S_OK);
    EXPECT_EQ(first, second);  // created once and kept
    second->Release();
    EXPECT_EQ(pins.input->GetAllocator(nullptr), E_POINTER);

    // Told about the allocator it already holds: it must survive the swap.
    ASSERT_EQ(pins.input->NotifyAllocator(first, TRUE), S_OK);
    EXPECT_TRUE(pins.input->IsReadOnly());
    first->Release();
    ALLOCATOR_PROPERTIES props;
    EXPECT_EQ(pins.input->OwnAllocator()->GetProperties(&props), S_OK);
    EXPECT_EQ(pins.input->NotifyAllocator(nullptr, FALSE), E_POINTER);
    EXPECT_EQ(pins.input->GetAllocatorRequirements(&props), E_NOTIMPL);
}

TEST(InputAllocator, StoppingDownstreamDecommitsTheSharedAllocator)
{
    PinPair pins;
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.pause(), S_OK);
    IMediaSample* sample = nullptr;
    ASSERT_EQ(pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0), S_OK);
    sample->Release();
    // The graph stops the downstream filter first; upstream is still paused
    // but can no longer get buffers, which is what frees its streaming thread.
    ASSERT_EQ(pins.downstream->Stop(), S_OK);
    EXPECT_EQ(pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
}

TEST(InputAllocator, DisconnectingTheInputDecommitsItsAllocator)
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

// An input pin whose Receive never blocks.
class NonBlockingInputPin : public TestInputPin {
public:
    using TestInputPin::TestInputPin;
    STDMETHODIMP ReceiveCanBlock() override { return S_FALSE; }
};

TEST(Streaming, ReceiveCanBlockAsksTheConnectedOutputsPeers)
{
    CallLog log;
    auto* middle = new TestFilter(&log);
    auto* renderer = new TestFilter(&log);
    PinBehaviour pcmOnly = PinPair::defaultBehaviour();
    auto* middleIn = new TestInputPin(middle, WIDE("In"), pcmOnly, "middle.in");
    auto* middleOut = new TestOutputPin(middle, WIDE("Out"), pcmOnly, "middle.out");
    auto* rendererIn = new NonBlockingInputPin(renderer, WIDE("In"), pcmOnly, "renderer.in");
    middle->AddPin(middleIn);
    middle->AddPin(middleOut);
    renderer->AddPin(rendererIn);

    // Nothing downstream: assume it may block.
    EXPECT_EQ(middleIn->ReceiveCanBlock(), S_OK);
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    ASSERT_EQ(middleOut->Connect(rendererIn, &pcm), S_OK);
    EXPECT_EQ(middleIn->ReceiveCanBlock(), S_FALSE);

    middleOut->Disconnect();
    rendererIn->Disconnect();
    middle->Release();
    renderer->Release();
}

// A quality sink that remembers the last message.
class QualitySink : public IQualityControl {
public:
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override
    {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP Notify(IBaseFilter* from, Quality q) override
    {
        sender = from;
        last = q;
        return S_OK;
    }
    STDMETHODIMP SetSink(IQualityControl*) override { return S_OK; }
    IBaseFilter* sender = nullptr;
    Quality last{};
};

TEST(Streaming, QualityMessagesGoToTheSinkOrUpstream)
{
    PinPair pins;
    Quality q{Famine, 800, 10000, 5};
    EXPECT_EQ(pins.input->PassNotify(q), VFW_E_NOT_FOUND);
    EXPECT_EQ(pins.input->Notify(pins.upstream, q), S_OK);

    ASSERT_EQ(pins.connect(), S_OK);
    // Upstream is our test output pin, whose base Notify is not implemented:
    // the message reached it.
    EXPECT_EQ(pins.input->PassNotify(q), E_NOTIMPL);

    QualitySink sink;
    ASSERT_EQ(pins.input->SetSink(&sink), S_OK);
    EXPECT_EQ(pins.input->PassNotify(q), S_OK);
    EXPECT_EQ(sink.sender, static_cast<IBaseFilter*>(pins.downstream));
    EXPECT_EQ(sink.last.Late, 10000);
    pins.input->SetSink(nullptr);
}

}  // namespace
