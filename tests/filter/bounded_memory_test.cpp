// Hostile input through the whole filter, for every decoder: megabytes of
// random bytes, of garbage after one valid frame, and of sync words followed
// by broken headers. A decoder that waits forever for a frame that never
// completes, keeps what it cannot decode or searches the same bytes again and
// again shows here as a growing input buffer, growing process memory or a
// slow Receive call.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "filter/decoder_seeds.h"
#include "support/filter_harness.h"
#include "support/process_memory.h"
#include "support/row_name.h"

namespace {

// Bytes of hostile input per decoder, shared equally by the three kinds; the
// sanitizer build is some ten times slower and checks memory itself. A
// buffer that keeps what it cannot decode grows with the input and passes
// the 256 KiB bound within the first fifth of a kind's 5 MB.
// Under AddressSanitizer freed blocks wait in its quarantine (up to 256 MB)
// before reuse, so resident memory counts what was freed long ago; there
// the sanitizer itself watches the heap and the growth is only printed.
#ifdef TAVIO_TEST_UNDER_ASAN
constexpr size_t kVolumePerDecoder = size_t(4) << 20;
#else
constexpr size_t kVolumePerDecoder = size_t(16) << 20;
#endif
constexpr size_t kVolume = kVolumePerDecoder / 3;
// The largest input buffer allowed: a few samples plus the largest frame any
// of the formats can declare (DTS: 16 KiB; MLP access units are smaller).
constexpr uint32_t kInputBufferBound = 256 * 1024;
// Growth of the resident memory from the end of the warm-up to the end.
constexpr double kResidentGrowthBoundMb = 16.0;
// No single Receive call may take longer.
constexpr double kSlowestCallBoundMs = 1000.0;

enum class Hostility { RandomBytes, ValidPacketThenGarbage, AlmostSyncs };
const char* const kHostilityNames[] = {"RandomBytes", "ValidPacketThenGarbage", "AlmostSyncs"};

// Eight bytes a step, fast enough not to be what is measured.
using Random = std::mt19937_64;

// One hostile sample, random bytes throughout. Almost-syncs start every 16
// to 527 bytes, so that most declared frames overlap the next sync.
void makeHostileSample(Hostility kind,
                       const DecoderSeed& seed,
                       size_t syncLength,
                       Random& rng,
                       std::vector<uint8_t>& sample)
{
    for (size_t i = 0; i < sample.size(); i += 8) {
        uint64_t v = rng();
        std::memcpy(sample.data() + i, &v, std::min<size_t>(8, sample.size() - i));
    }
    if (kind != Hostility::AlmostSyncs)
        return;
    size_t prefix = std::min(syncLength, seed.packets[0].size());
    for (size_t at = 0; at < sample.size(); at += 16 + rng() % 512)
        std::copy_n(seed.packets[0].begin(), std::min(prefix, sample.size() - at),
                    sample.begin() + long(at));
}

// One test per decoder, the three kinds in turn through one filter with a
// flush between them: the stream is encoded once.
class BoundedMemory : public FilterHarness, public ::testing::WithParamInterface<DecoderRow> {
protected:
    void pushHostile(const DecoderRow& row, const DecoderSeed& seed, Hostility kind)
    {
        Random rng;
        size_t pushed = 0, samples = 0;
        if (kind == Hostility::ValidPacketThenGarbage) {
            ASSERT_EQ(push(seed.packets[0]), S_OK);
            pushed += seed.packets[0].size();
            ++samples;
        }
        // The decoder and its library settle (buffers, tables) in the first
        // sixteenth; growth is counted after it.
        const size_t warmUp = kVolume / 16;
        double baseline = 0, peak = 0, slowestMs = 0;
        uint32_t largestBuffer = 0;
        std::vector<uint8_t> sample;
        while (pushed < kVolume) {
            sample.resize(row.sampleSize / 2 + rng() % (row.sampleSize / 2 + 1));
            makeHostileSample(kind, seed, row.syncLength, rng, sample);
            auto start = std::chrono::steady_clock::now();
            HRESULT hr = push(sample);
            std::chrono::duration<double, std::milli> took =
                std::chrono::steady_clock::now() - start;
            ASSERT_TRUE(SUCCEEDED(hr)) << "sample " << samples << ": " << std::hex << hr;
            slowestMs = std::max(slowestMs, took.count());
            largestBuffer = std::max(largestBuffer, filter->inputBuffer().size());
            bool warm = pushed >= warmUp;
            pushed += sample.size();
            ++samples;
            if (!warm && pushed >= warmUp)
                baseline = peak = residentMegabytes();
            else if (warm && samples % 64 == 0)
                peak = std::max(peak, residentMegabytes());
        }
        peak = std::max(peak, residentMegabytes());
        // The storage grows to the largest need and never shrinks: its
        // capacity is the most the buffer ever held, inside Receive calls too.
        uint32_t capacity = filter->inputBuffer().capacity();
        // Hostile input may trip any of the decoders' checks; here only
        // growth and time fail.
        unsigned long fired = assertions.fired();
        assertions.expect(fired);
        assertions.check();
        std::printf(
            "[bounded] %-16s %-22s %6.1f MB in %7zu samples: input buffer held <= %6u bytes "
            "(storage %6u), resident growth %5.2f MB, slowest Receive %6.2f ms, %zu samples "
            "out, %lu assertions\n",
            row.name, kHostilityNames[int(kind)], double(pushed) / (1024.0 * 1024.0), samples,
            largestBuffer, capacity, peak - baseline, slowestMs, outputSamples, fired);
        EXPECT_LE(capacity, kInputBufferBound);
        if (kResidentGrowthMeaningful) {
            EXPECT_LT(peak - baseline, kResidentGrowthBoundMb);
        }
        EXPECT_LT(slowestMs, kSlowestCallBoundMs);
    }

    size_t outputSamples = 0;
};

TEST_P(BoundedMemory, InputBufferMemoryAndCallTimeStayBounded)
{
    const DecoderRow& row = GetParam();
    REQUIRE_SEED_SOURCE(row);
    DecoderSeed seed;
    std::string why;
    ASSERT_TRUE(makeSeed(row, seed, why)) << why;
    createFilter();
    useRowsDecoder(filter, row);
    build(seed.type);
    // Millions of log lines would only measure the logs.
    quietLogs();
    sink->SetSampleHandler([&](const SampleView&) { ++outputSamples; });
    for (Hostility kind :
         {Hostility::RandomBytes, Hostility::ValidPacketThenGarbage, Hostility::AlmostSyncs}) {
        ASSERT_EQ(source->DeliverBeginFlush(), S_OK);
        ASSERT_EQ(source->DeliverEndFlush(), S_OK);
        pushHostile(row, seed, kind);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryDecoder, BoundedMemory, ::testing::ValuesIn(kDecoderRows), RowName());

}  // namespace
