// Samples, flushes, end of stream and segments crossing a connection, the
// input pin's refusals while it cannot take them, and its allocator.
#include <gtest/gtest.h>

#include <algorithm>

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
    IMediaSample* sample(const CMediaType* typeChange = nullptr)
    {
        IMediaSample* sample = nullptr;
        allocator->GetBuffer(&sample, nullptr, nullptr, 0);
        sample->SetActualDataLength(16);
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

TEST(Streaming, UnacceptableTypeChangeStopsTheStreamUntilAFlushOrAStop)
{
    const CMediaType pcm = audioType(MEDIASUBTYPE_PCM), dts = audioType(MEDIASUBTYPE_DTS);
    for (bool byFlush : {true, false}) {
        PinPair pins;
        SampleSource source;
        FakeGraph graph;
        pins.downstream->JoinFilterGraph(&graph, WIDE("Renderer"));
        ASSERT_EQ(pins.connect(), S_OK);
        ASSERT_EQ(pins.pause(), S_OK);
        // An acceptable change passes and the pin sees it; the refused one
        // ends the batch.
        IMediaSample* samples[3] = {source.sample(&pcm), source.sample(&dts), source.sample()};
        LONG processed = -1;
        EXPECT_EQ(pins.input->ReceiveMultiple(samples, 3, &processed), VFW_E_INVALIDMEDIATYPE);
        EXPECT_EQ(processed, 1);
        for (IMediaSample* sample : samples)
            sample->Release();
        ASSERT_EQ(pins.input->received.size(), 1u);
        EXPECT_TRUE(pins.input->received[0].dwSampleFlags & AM_SAMPLE_TYPECHANGED);
        EXPECT_EQ(source.deliver(pins.output), VFW_E_RUNTIME_ERROR);
        EXPECT_EQ(source.deliver(pins.output, &pcm), VFW_E_RUNTIME_ERROR);
        // The pin ended its stream and the graph heard of the error once.
        EXPECT_EQ(std::count(pins.log.begin(), pins.log.end(), "in.EndOfStream"), 1);
        EXPECT_EQ(
            graph.events,
            (std::vector<std::vector<LONG_PTR>>{{EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0}}));
        if (byFlush) {
            ASSERT_EQ(pins.output->DeliverBeginFlush(), S_OK);
            ASSERT_EQ(pins.output->DeliverEndFlush(), S_OK);
        } else {
            pins.stop();
            ASSERT_EQ(pins.pause(), S_OK);
        }
        EXPECT_EQ(source.deliver(pins.output), S_OK) << byFlush;
        pins.downstream->JoinFilterGraph(nullptr, nullptr);
    }
}

TEST(InputAllocator, IsKeptAcrossHandshakesAndDecommittedOnDisconnect)
{
    PinPair pins;
    IMemAllocator* first = nullptr;
    IMemAllocator* second = nullptr;
    ASSERT_EQ(pins.input->GetAllocator(&first), S_OK);
    ASSERT_EQ(pins.input->GetAllocator(&second), S_OK);
    EXPECT_EQ(first, second);  // created once and kept
    second->Release();
    ASSERT_EQ(pins.input->NotifyAllocator(first, TRUE), S_OK);  // the one it holds
    EXPECT_TRUE(pins.input->IsReadOnly());
    first->Release();

    ASSERT_EQ(pins.connect(), S_OK);
    IMemAllocator* allocator = pins.input->OwnAllocator();
    EXPECT_EQ(allocator, first);
    allocator->AddRef();
    ASSERT_EQ(allocator->Commit(), S_OK);
    ASSERT_EQ(pins.input->Disconnect(), S_OK);
    EXPECT_EQ(pins.input->OwnAllocator(), nullptr);
    IMediaSample* sample = nullptr;
    EXPECT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_NOT_COMMITTED);
    allocator->Release();
}

}  // namespace
