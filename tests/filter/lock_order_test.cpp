// Media types carried in-band by samples, on the streaming thread, racing
// flushes and stops on the application thread. Every path takes the filter's
// lock before the input pin's receive lock; a path that took them the other
// way round would deadlock here now and then, and ThreadSanitizer (this test
// is built with it in its own folder, see scripts/test) reports the inverted
// order as soon as both orders have been seen, race or not.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/filter_harness.h"
#include "support/wave_type.h"

namespace {

CMediaType lpcmType(WORD channels)
{
    return waveFormatType(&MEDIATYPE_Audio, &MEDIASUBTYPE_DVD_LPCM_AUDIO,
                          WAVEFORMATEX{WAVE_FORMAT_PCM, channels, 48000, 48000u * 2 * channels,
                                       WORD(2 * channels), 16, 0});
}

using LockOrder = FilterHarness;

TEST_F(LockOrder, InBandTypeChangesRaceFlushesAndStops)
{
    build(lpcmType(2), 4096);
    // Both threads log, and the logs are written without a lock of their
    // own: with no log file configured they are closed, as here, and cost
    // nothing.
    quietLogs();
    std::atomic<size_t> delivered{0};
    sink->SetSampleHandler([&](const ReceivedSample&) { ++delivered; });
    const CMediaType types[2] = {lpcmType(1), lpcmType(2)};
    std::vector<uint8_t> payload(960, 0x11);
    std::atomic<bool> done{false};
    std::atomic<int> changesTaken{0};

    std::thread streaming([&] {
        for (int i = 0; !done; ++i) {
            PushSource::Packet packet;
            packet.data = payload.data();
            packet.size = payload.size();
            packet.newType = i % 2 ? &types[i / 2 % 2] : nullptr;
            // Refusals while stopped or flushing are expected; only a hang
            // or a reported race fails the test.
            if (source->Deliver(packet) == S_OK && packet.newType)
                ++changesTaken;
        }
    });
    for (int round = 0; round < 100; ++round) {
        ASSERT_EQ(source->DeliverBeginFlush(), S_OK);
        ASSERT_EQ(source->DeliverEndFlush(), S_OK);
        if (round % 4 == 3) {
            ASSERT_EQ(graph.Stop(), S_OK);
            ASSERT_EQ(graph.Run(), S_OK);
        }
        // Let some samples through between the interruptions.
        for (int wait = 0; wait < 100 && changesTaken < round / 2; ++wait)
            std::this_thread::yield();
    }
    done = true;
    streaming.join();
    EXPECT_GT(changesTaken.load(), 0);
    EXPECT_GT(delivered.load(), 0u);
}

}  // namespace
