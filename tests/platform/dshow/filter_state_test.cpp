// The filter state machine over its pins, the clock, and graph membership, as
// the graph manager drives them.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "test_filters.h"

namespace {

std::vector<std::string> entriesStartingWith(const CallLog& log, const std::string& prefix)
{
    std::vector<std::string> out;
    for (const auto& entry : log)
        if (entry.rfind(prefix, 0) == 0)
            out.push_back(entry);
    return out;
}

TEST(FilterState, PauseCommitsAndStopDecommitsTheOutputBuffers)
{
    PinPair pins;
    IMediaSample* sample = nullptr;
    // Not connected: no allocator at all.
    EXPECT_EQ(pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0), E_NOINTERFACE);
    ASSERT_EQ(pins.connect(), S_OK);
    EXPECT_EQ(pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);

    ASSERT_EQ(pins.pause(), S_OK);
    ASSERT_EQ(pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0), S_OK);
    EXPECT_EQ(sample->GetSize(), 1000);
    sample->Release();

    pins.stop();
    EXPECT_EQ(pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
    EXPECT_EQ(sample, nullptr);
    // Stopped and paused again: the same connection works again.
    ASSERT_EQ(pins.pause(), S_OK);
    ASSERT_EQ(pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0), S_OK);
    sample->Release();
}

TEST(FilterState, StopReleasesAThreadWaitingForABuffer)
{
    PinPair pins;
    pins.output->bufferCount = 1;
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.pause(), S_OK);
    IMediaSample* held = nullptr;
    ASSERT_EQ(pins.output->GetDeliveryBuffer(&held, nullptr, nullptr, 0), S_OK);

    std::atomic<HRESULT> result{S_OK};
    std::atomic<bool> started{false};
    std::thread streaming([&] {
        started = true;
        IMediaSample* sample = nullptr;
        result = pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
        if (sample)
            sample->Release();
    });
    while (!started)
        std::this_thread::yield();
    Sleep(20);
    EXPECT_EQ(result.load(), S_OK);  // still waiting
    // The application thread stops the filter while the buffer is still out.
    EXPECT_EQ(pins.upstream->Stop(), S_OK);
    streaming.join();
    EXPECT_EQ(result.load(), VFW_E_NOT_COMMITTED);
    held->Release();
}

TEST(FilterState, OnlyConnectedPinsTakePartInStateChanges)
{
    PinPair pins;
    auto* spare =
        new TestOutputPin(pins.upstream, WIDE("Spare"), PinPair::defaultBehaviour(), "spare");
    pins.upstream->AddPin(spare);
    ASSERT_EQ(pins.connect(), S_OK);
    pins.log.clear();

    ASSERT_EQ(pins.upstream->Run(5000), S_OK);
    ASSERT_EQ(pins.upstream->Stop(), S_OK);
    // Run from Stopped passes through Pause; the unconnected pin is left alone.
    EXPECT_EQ(pins.log, (CallLog{"out.Active", "out.Run 5000", "out.Inactive"}));
}

TEST(FilterState, TransitionsBetweenStates)
{
    PinPair pins;
    ASSERT_EQ(pins.connect(), S_OK);
    IBaseFilter* filter = pins.upstream;
    FILTER_STATE state = State_Running;
    ASSERT_EQ(filter->GetState(0, &state), S_OK);
    EXPECT_EQ(state, State_Stopped);
    EXPECT_EQ(filter->GetState(0, nullptr), E_POINTER);

    struct Step {
        const char* what;
        HRESULT (*apply)(IBaseFilter*);
        FILTER_STATE state;
        std::vector<std::string> pinCalls;
    } steps[] = {
        {"pause", [](IBaseFilter* f) { return f->Pause(); }, State_Paused, {"out.Active"}},
        {"run", [](IBaseFilter* f) { return f->Run(100); }, State_Running, {"out.Run 100"}},
        // A new Run start while running reaches the pins too.
        {"run again", [](IBaseFilter* f) { return f->Run(200); }, State_Running, {"out.Run 200"}},
        {"pause from running", [](IBaseFilter* f) { return f->Pause(); }, State_Paused, {}},
        {"stop", [](IBaseFilter* f) { return f->Stop(); }, State_Stopped, {"out.Inactive"}},
        {"stop again", [](IBaseFilter* f) { return f->Stop(); }, State_Stopped, {}},
    };
    for (const Step& step : steps) {
        pins.log.clear();
        EXPECT_EQ(step.apply(filter), S_OK) << step.what;
        filter->GetState(0, &state);
        EXPECT_EQ(state, step.state) << step.what;
        EXPECT_EQ(pins.log, step.pinCalls) << step.what;
        EXPECT_EQ(pins.upstream->IsActive(), step.state != State_Stopped) << step.what;
    }
}

TEST(FilterState, AFailedPauseLeavesTheFilterStopped)
{
    PinBehaviour failing = PinPair::defaultBehaviour();
    failing.activeResult = E_OUTOFMEMORY;
    PinPair pins(failing);
    ASSERT_EQ(pins.connect(), S_OK);
    EXPECT_EQ(pins.upstream->Pause(), E_OUTOFMEMORY);
    EXPECT_TRUE(pins.upstream->IsStopped());
    EXPECT_EQ(pins.upstream->Run(0), E_OUTOFMEMORY);
    EXPECT_TRUE(pins.upstream->IsStopped());
    EXPECT_TRUE(entriesStartingWith(pins.log, "out.Run").empty());
}

TEST(FilterState, StopReportsAFailingPinButStillStops)
{
    PinBehaviour failing = PinPair::defaultBehaviour();
    failing.inactiveResult = E_UNEXPECTED;
    PinPair pins(failing);
    ASSERT_EQ(pins.connect(), S_OK);
    ASSERT_EQ(pins.upstream->Pause(), S_OK);
    EXPECT_EQ(pins.upstream->Stop(), E_UNEXPECTED);
    EXPECT_TRUE(pins.upstream->IsStopped());
    // The allocator was decommitted all the same.
    IMediaSample* sample = nullptr;
    EXPECT_EQ(pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
}

TEST(FilterState, ClockAndStreamTime)
{
    PinPair pins;
    TestFilter* filter = pins.upstream;
    REFERENCE_TIME now = 0;
    EXPECT_EQ(filter->StreamTime(now), VFW_E_NO_CLOCK);

    FakeClock clock;
    clock.now = 9000;
    ASSERT_EQ(filter->SetSyncSource(&clock), S_OK);
    EXPECT_EQ(clock.refs, 2);
    IReferenceClock* got = nullptr;
    ASSERT_EQ(filter->GetSyncSource(&got), S_OK);
    EXPECT_EQ(got, &clock);
    EXPECT_EQ(clock.refs, 3);
    got->Release();
    EXPECT_EQ(filter->GetSyncSource(nullptr), E_POINTER);

    ASSERT_EQ(filter->Run(2500), S_OK);
    ASSERT_EQ(filter->StreamTime(now), S_OK);
    EXPECT_EQ(now, 6500);
    filter->Stop();

    ASSERT_EQ(filter->SetSyncSource(nullptr), S_OK);
    EXPECT_EQ(clock.refs, 1);
    ASSERT_EQ(filter->GetSyncSource(&got), S_OK);
    EXPECT_EQ(got, nullptr);
}

TEST(GraphMembership, TheGraphIsHeldWeaklyButHandedOutCounted)
{
    PinPair pins;
    TestFilter* filter = pins.upstream;
    FakeGraph graph(false);
    ASSERT_EQ(filter->JoinFilterGraph(&graph, WIDE("Decoder")), S_OK);
    EXPECT_EQ(graph.refs, 1);  // no cycle between the graph and its filters

    FILTER_INFO info;
    ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
    EXPECT_EQ(platform::toUtf8(info.achName), "Decoder");
    EXPECT_EQ(info.pGraph, static_cast<IFilterGraph*>(&graph));
    EXPECT_EQ(graph.refs, 2);
    info.pGraph->Release();

    // Names longer than the structure holds are cut, not overrun.
    platform::WideString wideName(300, WCHAR('x'));
    ASSERT_EQ(filter->JoinFilterGraph(&graph, wideName.c_str()), S_OK);
    ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
    EXPECT_EQ(platform::wideLength(info.achName), size_t(MAX_FILTER_NAME - 1));
    info.pGraph->Release();

    ASSERT_EQ(filter->JoinFilterGraph(nullptr, nullptr), S_OK);
    ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
    EXPECT_EQ(info.pGraph, nullptr);
    EXPECT_EQ(info.achName[0], 0);
    EXPECT_EQ(filter->QueryFilterInfo(nullptr), E_POINTER);
    EXPECT_EQ(graph.refs, 1);
}

TEST(GraphMembership, EventsGoToTheGraphsSink)
{
    PinPair pins;
    TestFilter* filter = pins.upstream;
    EXPECT_EQ(filter->NotifyEvent(EC_COMPLETE, S_OK, 0), E_NOTIMPL);  // outside a graph

    FakeGraph graph(false);
    filter->JoinFilterGraph(&graph, WIDE("Decoder"));
    ASSERT_EQ(filter->NotifyEvent(EC_ERRORABORT, E_FAIL, 7), S_OK);
    ASSERT_EQ(filter->NotifyEvent(EC_COMPLETE, S_OK, 0), S_OK);
    ASSERT_EQ(graph.events.size(), 2u);
    EXPECT_EQ(graph.events[0].code, EC_ERRORABORT);
    EXPECT_EQ(graph.events[0].param1, E_FAIL);
    EXPECT_EQ(graph.events[0].param2, 7);
    // EC_COMPLETE names the filter that completed.
    EXPECT_EQ(graph.events[1].param2,
              reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(filter)));
    filter->JoinFilterGraph(nullptr, nullptr);
    EXPECT_EQ(graph.refs, 1);
}

TEST(GraphMembership, ReconnectionPrefersTheGraphThatTakesAType)
{
    CMediaType flt = audioType(MEDIASUBTYPE_IEEE_FLOAT);
    PinPair pins;
    EXPECT_EQ(pins.upstream->ReconnectPin(pins.output, &flt), E_NOINTERFACE);

    struct Case {
        bool graph2;
        const char* expected;
    } cases[] = {{true, "ReconnectEx FLOAT"}, {false, "Reconnect"}};
    for (const Case& c : cases) {
        FakeGraph graph(c.graph2);
        pins.upstream->JoinFilterGraph(&graph, WIDE("Decoder"));
        EXPECT_EQ(pins.upstream->ReconnectPin(pins.output, &flt), S_OK);
        EXPECT_EQ(graph.calls, std::vector<std::string>{c.expected});
        EXPECT_EQ(graph.reconnected, static_cast<IPin*>(pins.output));
        pins.upstream->JoinFilterGraph(nullptr, nullptr);
        EXPECT_EQ(graph.refs, 1);
    }
}

TEST(FilterIdentity, InterfacesAndClassId)
{
    PinPair pins;
    TestFilter* filter = pins.upstream;
    const IID* iids[] = {&IID_IBaseFilter, &IID_IMediaFilter, &IID_IPersist, &IID_IUnknown};
    IUnknown* identity = nullptr;
    ASSERT_EQ(filter->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    for (const IID* iid : iids) {
        IUnknown* itf = nullptr;
        ASSERT_EQ(filter->QueryInterface(*iid, reinterpret_cast<void**>(&itf)), S_OK);
        IUnknown* back = nullptr;
        ASSERT_EQ(itf->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&back)), S_OK);
        EXPECT_EQ(back, identity);  // one identity whichever interface is asked
        back->Release();
        itf->Release();
    }
    identity->Release();
    CLSID clsid;
    ASSERT_EQ(filter->GetClassID(&clsid), S_OK);
    EXPECT_TRUE(IsEqualGUID(clsid, MEDIATYPE_Video));  // what TestFilter passes
    EXPECT_EQ(filter->GetClassID(nullptr), E_POINTER);
    LPWSTR vendor = nullptr;
    EXPECT_EQ(filter->QueryVendorInfo(&vendor), E_NOTIMPL);
}

}  // namespace
