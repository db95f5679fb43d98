// The filter state machine over its pins and their buffers, with a streaming
// thread waiting for one, and the filter's place in a graph.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "test_filters.h"

namespace {

TEST(FilterState, PauseCommitsAndStopReleasesAStreamingThreadWaitingForABuffer)
{
    PinPair pins;
    pins.output->bufferCount = 1;
    IMediaSample* held = nullptr;
    EXPECT_EQ(pins.output->GetDeliveryBuffer(&held, nullptr, nullptr, 0), E_NOINTERFACE);
    ASSERT_EQ(pins.connect(), S_OK);
    EXPECT_EQ(pins.output->GetDeliveryBuffer(&held, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
    // Whichever filter the graph stops first frees the thread: upstream
    // decommits its own allocator, downstream the one it shares. Twice
    // round, as a stopped connection starts again.
    for (bool upstreamFirst : {true, false}) {
        ASSERT_EQ(pins.pause(), S_OK);
        ASSERT_EQ(pins.output->GetDeliveryBuffer(&held, nullptr, nullptr, 0), S_OK);
        EXPECT_EQ(held->GetSize(), 1000);
        std::atomic<HRESULT> result{S_OK};
        std::atomic<bool> started{false};
        std::thread streaming([&] {
            started = true;
            IMediaSample* sample = nullptr;
            result = pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
        });
        while (!started)
            std::this_thread::yield();
        Sleep(20);
        EXPECT_EQ(result.load(), S_OK);  // still waiting
        EXPECT_EQ((upstreamFirst ? pins.upstream : pins.downstream)->Stop(), S_OK);
        streaming.join();
        EXPECT_EQ(result.load(), VFW_E_NOT_COMMITTED) << upstreamFirst;
        held->Release();
        pins.stop();
    }
}

TEST(FilterState, TransitionsReachOnlyConnectedPins)
{
    PinPair pins;
    pins.upstream->add(
        new TestOutputPin(pins.upstream, WIDE("Spare"), PinPair::pcmOnly(), "spare"));
    ASSERT_EQ(pins.connect(), S_OK);
    IBaseFilter* filter = pins.upstream;
    struct Step {
        char call;  // Run, Pause or Stop
        REFERENCE_TIME start;
        FILTER_STATE state;
        CallLog pinCalls;
    } steps[] = {
        {'R', 100, State_Running, {"out.Active", "out.Run 100"}},  // through Pause
        {'R', 200, State_Running, {"out.Run 200"}},  // a new start reaches the pins too
        {'P', 0, State_Paused, {}},
        {'P', 0, State_Paused, {}},
        {'S', 0, State_Stopped, {"out.Inactive"}},
        {'S', 0, State_Stopped, {}},
        {'P', 0, State_Paused, {"out.Active"}},
    };
    for (const Step& step : steps) {
        pins.log.clear();
        HRESULT hr = step.call == 'R'   ? filter->Run(step.start)
                     : step.call == 'P' ? filter->Pause()
                                        : filter->Stop();
        EXPECT_EQ(hr, S_OK);
        FILTER_STATE state = State_Stopped;
        EXPECT_EQ(filter->GetState(0, &state), S_OK);
        EXPECT_EQ(state, step.state) << step.call << step.start;
        EXPECT_EQ(pins.log, step.pinCalls) << step.call << step.start;
    }
}

TEST(FilterState, PinFailures)
{
    // A pin that cannot start keeps the filter stopped, and Run goes no further.
    PinPair pins;
    ASSERT_EQ(pins.connect(), S_OK);
    pins.output->does.activeResult = E_OUTOFMEMORY;
    EXPECT_EQ(pins.upstream->Pause(), E_OUTOFMEMORY);
    EXPECT_EQ(pins.upstream->Run(0), E_OUTOFMEMORY);
    EXPECT_TRUE(pins.upstream->IsStopped());
    EXPECT_EQ(std::count(pins.log.begin(), pins.log.end(), "out.Run 0"), 0);

    // A pin failing to stop is reported, but the filter stops and decommits.
    pins.output->does = PinPair::pcmOnly();
    pins.output->does.inactiveResult = E_UNEXPECTED;
    ASSERT_EQ(pins.upstream->Pause(), S_OK);
    EXPECT_EQ(pins.upstream->Stop(), E_UNEXPECTED);
    EXPECT_TRUE(pins.upstream->IsStopped());
    IMediaSample* sample = nullptr;
    EXPECT_EQ(pins.output->GetDeliveryBuffer(&sample, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
}

// A graph as a filter sees it: IFilterGraph and the event sink. It counts its
// references and keeps the events it is sent (code, param1, param2).
class FakeGraph : public Counted<IFilterGraph>, public IMediaEventSink {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        *ppv = nullptr;
        if (IsEqualGUID(riid, IID_IMediaEventSink))
            *ppv = static_cast<IMediaEventSink*>(this);
        else if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IFilterGraph))
            *ppv = static_cast<IFilterGraph*>(this);
        if (*ppv)
            AddRef();
        return *ppv ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return Counted::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return Counted::Release(); }
    STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
    STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
    STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
    STDMETHODIMP ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP Reconnect(IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP Disconnect(IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP SetDefaultSyncSource() override { return E_NOTIMPL; }
    STDMETHODIMP Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override
    {
        events.push_back({code, param1, param2});
        return S_OK;
    }
    std::vector<std::vector<LONG_PTR>> events;
};

class FakeClock : public Counted<IReferenceClock> {
public:
    STDMETHODIMP GetTime(REFERENCE_TIME*) override { return E_NOTIMPL; }
    STDMETHODIMP AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP Unadvise(DWORD_PTR) override { return E_NOTIMPL; }
};

TEST(GraphMembership, TheClockIsCountedAndTheGraphHeldWeakly)
{
    PinPair pins;
    TestFilter* filter = pins.upstream;
    FakeClock clock;
    ASSERT_EQ(filter->SetSyncSource(&clock), S_OK);
    IReferenceClock* got = nullptr;
    ASSERT_EQ(filter->GetSyncSource(&got), S_OK);
    EXPECT_EQ(got, &clock);
    EXPECT_EQ(clock.refs, 3);
    got->Release();
    ASSERT_EQ(filter->SetSyncSource(nullptr), S_OK);
    EXPECT_EQ(clock.refs, 1);

    FakeGraph graph;
    EXPECT_EQ(filter->NotifyEvent(EC_COMPLETE, S_OK, 0), E_NOTIMPL);  // outside a graph
    // Names longer than the structure holds are cut, not overrun.
    platform::WideString longName(300, WCHAR('x'));
    ASSERT_EQ(filter->JoinFilterGraph(&graph, longName.c_str()), S_OK);
    EXPECT_EQ(graph.refs, 1);  // no cycle between the graph and its filters
    FILTER_INFO info;
    ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
    EXPECT_EQ(platform::toUtf8(info.achName), std::string(MAX_FILTER_NAME - 1, 'x'));
    EXPECT_EQ(info.pGraph, static_cast<IFilterGraph*>(&graph));
    EXPECT_EQ(graph.refs, 2);  // handed out counted
    info.pGraph->Release();

    // Events go to the graph's sink; EC_COMPLETE names the filter that completed.
    ASSERT_EQ(filter->NotifyEvent(EC_ERRORABORT, E_FAIL, 7), S_OK);
    ASSERT_EQ(filter->NotifyEvent(EC_COMPLETE, S_OK, 0), S_OK);
    auto self = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(filter));
    EXPECT_EQ(graph.events, (std::vector<std::vector<LONG_PTR>>{{EC_ERRORABORT, E_FAIL, 7},
                                                                {EC_COMPLETE, S_OK, self}}));

    ASSERT_EQ(filter->JoinFilterGraph(nullptr, nullptr), S_OK);
    ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
    EXPECT_EQ(info.pGraph, nullptr);
    EXPECT_EQ(graph.refs, 1);

    // A pin names its filter, counted, and its name cut to the structure.
    PIN_INFO pin;
    ASSERT_EQ(pins.output->QueryPinInfo(&pin), S_OK);
    EXPECT_EQ(pin.pFilter, static_cast<IBaseFilter*>(filter));
    EXPECT_EQ(pin.dir, PINDIR_OUTPUT);
    EXPECT_EQ(platform::toUtf8(pin.achName), "Out");
    pin.pFilter->Release();
}

}  // namespace
