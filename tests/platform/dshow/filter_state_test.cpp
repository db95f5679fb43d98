// The filter state machine over its pins and their buffers, with a streaming
// thread waiting for one.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

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

}  // namespace
