// The host-side graph pieces over our base classes: a push source feeding a
// recording sink through the negotiated allocator, with the rules the
// whole-filter tests do not reach (a refused in-band type, a source blocked
// at Stop, payloads split over buffers).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/graph.h"
#include "host/push_source.h"
#include "host/sink_filter.h"
#include "support/media_types.h"

namespace {

CMediaType pcmType(WORD channels)
{
    return audioType(MEDIASUBTYPE_PCM, WAVE_FORMAT_PCM, 48000, channels);
}

class GraphTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        source = PushSource::Create(pcmType(2), 4096, 3);
        sink = SinkFilter::Create();
        graph.Add(source, WIDE("source"));
        graph.Add(sink, WIDE("sink"));
    }
    void TearDown() override
    {
        graph.Clear();
        source->Release();
        sink->Release();
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }
    HRESULT connect() { return graph.Connect(source->OutputPin(), sink->InputPin()); }
    HRESULT push(const std::vector<BYTE>& bytes,
                 REFERENCE_TIME start,
                 const AM_MEDIA_TYPE* newType = nullptr)
    {
        REFERENCE_TIME stop = start + 100;
        PushSource::Packet packet{bytes.data(), bytes.size(), &start, &stop};
        packet.newType = newType;
        return source->Deliver(packet);
    }

    Graph graph;
    PushSource* source = nullptr;
    SinkFilter* sink = nullptr;
};

TEST_F(GraphTest, RefusedInBandTypeChangeStopsTheStreamUntilAFlush)
{
    CMediaType stereo = pcmType(2);
    sink->SetAcceptType([stereo](const CMediaType& type) { return type == stereo; });
    ASSERT_EQ(connect(), S_OK);
    ASSERT_EQ(graph.Run(), S_OK);
    std::vector<BYTE> payload(8);
    CMediaType mono = pcmType(1);
    EXPECT_EQ(push(payload, 0, &mono), VFW_E_INVALIDMEDIATYPE);
    EXPECT_EQ(push(payload, 1), VFW_E_RUNTIME_ERROR);
    auto events = graph.Events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].first, EC_ERRORABORT);
    EXPECT_EQ(events[0].second, static_cast<LONG_PTR>(VFW_E_TYPE_NOT_ACCEPTED));
    EXPECT_EQ(sink->EndOfStreamCount(), 1);

    source->DeliverBeginFlush();
    source->DeliverEndFlush();
    EXPECT_EQ(push(payload, 2), S_OK);
    EXPECT_EQ(sink->SampleCount(), 1u);
}

TEST_F(GraphTest, StopReleasesASourceWaitingForABuffer)
{
    ASSERT_EQ(connect(), S_OK);
    ASSERT_EQ(graph.Run(), S_OK);
    sink->SetBlocking(true);
    std::atomic<int> results{0};
    std::atomic<HRESULT> lastResult{S_OK};
    // One thread blocks in the sink's Receive holding a buffer; a second waits
    // for a buffer. Stop must release both without a deadlock.
    std::thread streaming([&] {
        std::vector<BYTE> payload(8);
        for (int i = 0; i < 5; ++i) {
            HRESULT hr = push(payload, i);
            lastResult = hr;
            ++results;
            if (hr != S_OK)
                break;
        }
    });
    ASSERT_TRUE(sink->WaitForSamples(1, 2000));
    // Flushing the sink unblocks its Receive; stopping the source decommits
    // its allocator so GetBuffer gives up.
    sink->InputPin()->BeginFlush();
    source->Stop();
    streaming.join();
    EXPECT_NE(lastResult.load(), S_OK);
    sink->SetBlocking(false);
    sink->InputPin()->EndFlush();
}

TEST_F(GraphTest, LargePayloadsAreSplitOverBuffers)
{
    ASSERT_EQ(connect(), S_OK);
    ASSERT_EQ(graph.Run(), S_OK);
    std::vector<BYTE> big(10000);
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<BYTE>(i * 7);
    REFERENCE_TIME start = 5;
    PushSource::Packet packet{big.data(), big.size(), &start};
    EXPECT_EQ(source->Deliver(packet), E_INVALIDARG);
    ASSERT_EQ(source->DeliverSplit(packet), S_OK);
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), 3u);
    std::vector<BYTE> joined;
    for (const auto& s : samples)
        joined.insert(joined.end(), s.data.begin(), s.data.end());
    EXPECT_EQ(joined, big);
    EXPECT_TRUE(samples[0].hasStart);
    EXPECT_FALSE(samples[0].hasStop);  // start only
    EXPECT_FALSE(samples[1].hasStart);
}

// What a filter may ask of the graph it joined: find a filter by name, leave
// the graph disconnected on both sides, disconnect one pin.
TEST_F(GraphTest, FiltersAreFoundByNameAndLeaveDisconnected)
{
    ASSERT_EQ(connect(), S_OK);
    IFilterGraph* manager = nullptr;
    ASSERT_EQ(graph.QueryInterface(IID_IFilterGraph, reinterpret_cast<void**>(&manager)), S_OK);
    IBaseFilter* found = nullptr;
    ASSERT_EQ(manager->FindFilterByName(WIDE("sink"), &found), S_OK);
    EXPECT_EQ(found, static_cast<IBaseFilter*>(sink));
    found->Release();
    EXPECT_EQ(manager->FindFilterByName(WIDE("decoder"), &found), VFW_E_NOT_FOUND);

    ASSERT_EQ(manager->RemoveFilter(sink), S_OK);
    IPin* peer = nullptr;
    EXPECT_EQ(source->OutputPin()->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(manager->RemoveFilter(sink), VFW_E_NOT_FOUND);
    EXPECT_EQ(manager->Disconnect(source->OutputPin()), S_FALSE);
}

}  // namespace
