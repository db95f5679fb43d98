// Filters created, connected, run for a few frames and destroyed in a loop,
// one input type after another, so that every decoder library and sibling
// library (AC-3, DD+, MLP, AMR, the remixer's upmix, the in-process DTS and
// MPEG engines, FAAD2, libvorbis) is loaded, used and unloaded again and
// again. Under LeakSanitizer the process must end clean; in every build the
// resident memory after the loop stays near what it was after the first
// round.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "config/config.h"
#include "conversion/AudioConv.h"
#include "decoders/AdecDolby.h"
#include "filter/TvFilter.h"
#include "filter/TvInputPin.h"
#include "filter/decoder_seeds.h"
#include "host/graph.h"
#include "host/push_source.h"
#include "host/sink_filter.h"
#include "support/process_memory.h"

namespace {

// Under AddressSanitizer LeakSanitizer checks at exit, and resident memory
// counts the freed blocks held in the sanitizer's quarantine: fewer rounds,
// growth only printed.
#ifdef TAVIO_TEST_UNDER_ASAN
constexpr int kRounds = 10;
#else
constexpr int kRounds = 20;
#endif
// Growth allowed from the end of the first round to the end of the last:
// allocator slack, not a leak of a filter's worth per round. LeakSanitizer
// finds a leak in one round; twenty let a library's per-load growth show.
constexpr double kResidentGrowthBoundMb = 4.0;

struct Round {
    size_t samplesOut = 0;
    size_t bytesOut = 0;
};

// One filter's whole life: created, connected between a source and a sink,
// the seed's packets decoded, stopped, disconnected and released.
Round decodeWithFreshFilter(const DecoderRow& row, const DecoderSeed& seed, bool upmix)
{
    HRESULT hr = S_OK;
    TvFilter* filter = new TvFilter(nullptr, &hr, TAVIO_MODULE_DIR "/");
    filter->NonDelegatingAddRef();
    EXPECT_EQ(hr, S_OK);
    useRowsDecoder(filter, row);
    if (upmix) {
        // Stereo to five channels through the sibling remix library.
        auto* remixer = static_cast<AudioConv*>(filter->remixer());
        EXPECT_TRUE(remixer->loadRemixLibrary());
        EXPECT_EQ(remixer->SetOutputConfig(0, 0x37), S_OK);
        EXPECT_EQ(remixer->SetUpmixType(0, RemixProLogicUpmix), S_OK);
    }
    PushSource* source = PushSource::Create(seed.type, 65536, 4);
    SinkFilter* sink = SinkFilter::Create();
    Round round;
    sink->SetSampleHandler([&](const SampleView& s) {
        ++round.samplesOut;
        round.bytesOut += s.data.size();
    });
    {
        Graph graph;
        graph.Add(source, WIDE("source"));
        graph.Add(filter, WIDE("Tavio"));
        graph.Add(sink, WIDE("sink"));
        EXPECT_EQ(graph.Connect(source->OutputPin(), filter->inputPin()), S_OK);
        EXPECT_EQ(graph.Connect(filter->outputPin(), sink->InputPin()), S_OK);
        EXPECT_EQ(graph.Run(), S_OK);
        for (const auto& packet : seed.packets)
            EXPECT_EQ(source->Deliver({packet.data(), packet.size()}), S_OK);
        EXPECT_EQ(source->DeliverEndOfStream(), S_OK);
        EXPECT_EQ(graph.Stop(), S_OK);
        graph.Clear();
    }
    source->Release();
    sink->Release();
    filter->Release();
    return round;
}

struct LoopRow {
    DecoderRow decoder;
    bool upmix;
};

std::vector<LoopRow> loopRows()
{
    std::vector<LoopRow> rows;
    for (const DecoderRow& row : kDecoderRows)
        rows.push_back({row, false});
    // The DVD-Video LPCM row again with the remix library upmixing.
    rows.push_back({kDecoderRows[0], true});
    return rows;
}

class LibraryLoop : public ::testing::TestWithParam<LoopRow> {};

TEST_P(LibraryLoop, FiltersComeAndGoWithoutGrowth)
{
    const LoopRow& row = GetParam();
    REQUIRE_SEED_SOURCE(row.decoder);
    DecoderSeed seed;
    std::string why;
    ASSERT_TRUE(makeSeed(row.decoder, seed, why)) << why;
    resetParametersForTesting();
    Round first = decodeWithFreshFilter(row.decoder, seed, row.upmix);
    // Every round really decodes: the library is loaded and used.
    ASSERT_GT(first.samplesOut, 0u);
    if (row.upmix) {
        // 480 stereo frames a packet come out as five channels.
        EXPECT_EQ(first.bytesOut, seed.packets.size() * 480 * 5 * 2);
    }
    double afterFirst = residentMegabytes();
    for (int i = 1; i < kRounds; ++i) {
        Round again = decodeWithFreshFilter(row.decoder, seed, row.upmix);
        ASSERT_EQ(again.bytesOut, first.bytesOut) << "round " << i;
    }
    double afterLast = residentMegabytes();
    std::printf(
        "[leaks] %-16s%s %d filters, %zu samples out each: resident %.2f MB after the first, "
        "%.2f MB after the last (growth %.2f MB)\n",
        row.decoder.name, row.upmix ? " upmixed" : "", kRounds, first.samplesOut, afterFirst,
        afterLast, afterLast - afterFirst);
    if (kResidentGrowthMeaningful) {
        EXPECT_LT(afterLast - afterFirst, kResidentGrowthBoundMb);
    }
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    EXPECT_EQ(TvFilter::activeCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(EveryDecoder,
                         LibraryLoop,
                         ::testing::ValuesIn(loopRows()),
                         [](const ::testing::TestParamInfo<LoopRow>& info) {
                             return std::string(info.param.decoder.name) +
                                    (info.param.upmix ? "Upmixed" : "");
                         });

}  // namespace
