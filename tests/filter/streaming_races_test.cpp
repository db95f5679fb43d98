// A streaming thread delivering AC-3 (5.1, so that downmixing, S/PDIF and
// the AC-3 stream details all have something to do) while the application
// thread flushes, stops and restarts the graph, switches S/PDIF through both
// of the filter's interfaces, reads the codec API and the stream
// information, changes the remix settings (the decoder then downmixes
// itself), one kind of call per case and then all of them at once, with
// and without media types carried in-band by the samples. Built with
// ThreadSanitizer (scripts/test), any unguarded shared state or inverted lock
// order between the two threads is reported: every path takes the filter's
// lock before the input pin's receive lock, and an in-band type change
// meeting a flush or a stop is where a path taking them the other way round
// would show.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "filter/TvPropPage.h"
#include "filter/filter_parameters.h"
#include "filter/stream_text.h"
#include "host/parsers/program_stream.h"
#include "platform/codecapi.h"
#include "support/ffmpeg.h"
#include "support/files.h"
#include "support/filter_harness.h"
#include "support/guid_variant.h"
#include "support/media_types.h"
#include "support/row_name.h"

namespace {

class StreamingRaces;
using Action = void (StreamingRaces::*)(int round);

struct RaceCase {
    const char* name;
    std::vector<Action> actions;  // taken in turn, one per round
    bool inBandTypeChanges;
    // The filter's log and the process log written to files, as a user who
    // turned logging on has them, by both threads.
    bool logFiles = false;
};

class StreamingRaces : public FilterHarness, public ::testing::WithParamInterface<RaceCase> {
public:
    void flush(int)
    {
        EXPECT_EQ(source->DeliverBeginFlush(), S_OK);
        EXPECT_EQ(source->DeliverEndFlush(), S_OK);
    }
    void stopPauseRun(int round)
    {
        EXPECT_EQ(graph.Stop(), S_OK);
        if (round % 2) {
            EXPECT_EQ(graph.Pause(), S_OK);
        }
        EXPECT_EQ(graph.Run(), S_OK);
    }
    void spdifThroughControl(int round)
    {
        EXPECT_EQ(control->SetSpdif(round % 2 ? TRUE : FALSE), S_OK);
        BOOL on = FALSE;
        EXPECT_EQ(control->GetSpdif(&on), S_OK);
    }
    void spdifThroughCodecApi(int round)
    {
        VARIANT value = guidVariant(round % 2 ? CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM
                                              : CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO);
        EXPECT_EQ(codecApi->SetValue(&CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT, &value), S_OK);
        VariantClear(&value);
    }
    void readCodecApi(int)
    {
        VARIANT value;
        VariantInit(&value);
        EXPECT_EQ(codecApi->GetValue(&CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT, &value), S_OK);
        VariantClear(&value);
    }
    // The decoder's own downmix on and off: the record of each frame changes.
    void mixTypes(int round)
    {
        ITavioRemix* remix = nullptr;
        ASSERT_EQ(filter->QueryInterface(IID_ITavioRemix, reinterpret_cast<void**>(&remix)), S_OK);
        EXPECT_EQ(remix->SetDownmixType(0, round % 2 ? 104 : 101), S_OK);
        remix->Release();
    }
    void readStreamInformation(int)
    {
        for (auto get : {&ITavioControl::GetInputStreamInfo, &ITavioControl::GetOutputStreamInfo}) {
            ITavioStreamInfo* info = nullptr;
            if ((control->*get)(&info) != S_OK || !info)
                continue;
            // The page text reads every field, the AC-3 details included.
            streamText(info);
            info->Release();
        }
    }

    // One 5.1 AC-3 stream for the whole suite.
    static void SetUpTestSuite()
    {
        if (!ffmpegPresent())
            return;
        TempFolder folder;
        std::string path = folder.file("s.ac3");
        if (encodeTones(path, {"FL+FR+FC+LFE+BL+BR", 48000, 0.2, 0.5}, "-c:a ac3 -b:a 384k -f ac3"))
            stream = readBytes(path);
    }
    static inline std::vector<uint8_t> stream;

protected:
    void TearDown() override
    {
        if (control)
            control->Release();
        if (codecApi)
            codecApi->Release();
        FilterHarness::TearDown();
    }

    ITavioControl* control = nullptr;
    ICodecAPI* codecApi = nullptr;
};

// Rounds of application calls; each waits (up to 20 ms) for the streaming
// thread to get a sample through, so that the calls meet real decoding.
constexpr int kRounds = 60;

TEST_P(StreamingRaces, ApplicationCallsMeetTheStreamingThread)
{
    const RaceCase& race = GetParam();
    REQUIRE_FFMPEG();
    ASSERT_FALSE(stream.empty());
    const CMediaType types[2] = {audioType(MEDIASUBTYPE_DOLBY_AC3, 0x2000, 48000, 6, 0),
                                 audioType(MEDIASUBTYPE_AC3_AVI, 0x2000, 48000, 2, 0)};

    build(types[0], 8192);
    quietLogs();
    if (race.logFiles) {
        logStream.clear();
        logStream.open(root.file("process.log"));
        auto& filterLog = dynamic_cast<LogFile&>(filter->log());
        filterLog.clear();
        filterLog.open(root.file("filter.log"));
        ASSERT_TRUE(logStream.good() && filterLog.good());
    }
    ASSERT_EQ(filter->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&control)), S_OK);
    ASSERT_EQ(filter->QueryInterface(IID_ICodecAPI, reinterpret_cast<void**>(&codecApi)), S_OK);
    std::atomic<size_t> delivered{0};
    std::atomic<size_t> bursts{0};
    sink->SetSampleHandler([&](const SampleView& s) {
        ++delivered;
        // An AC-3 S/PDIF burst starts with its two sync words.
        if (s.data.size() >= 4 && s.data[0] == 0x72 && s.data[1] == 0xF8 && s.data[2] == 0x1F &&
            s.data[3] == 0x4E)
            ++bursts;
    });
    std::atomic<size_t> accepted{0};

    std::atomic<bool> done{false};
    std::thread streaming([&] {
        // Pieces that cut frames anywhere; refusals while stopped or
        // flushing are expected, only a hang or a reported race fails.
        constexpr size_t kPiece = 1000;
        for (size_t i = 0; !done; ++i) {
            size_t offset = i * kPiece % stream.size();
            PushSource::Packet packet;
            packet.data = stream.data() + offset;
            packet.size = std::min(kPiece, stream.size() - offset);
            packet.newType = race.inBandTypeChanges && i % 8 == 7 ? &types[i / 8 % 2] : nullptr;
            if (source->Deliver(packet) == S_OK)
                ++accepted;
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        (this->*race.actions[size_t(round) % race.actions.size()])(round);
        size_t before = delivered;
        auto giveUp = std::chrono::steady_clock::now() + std::chrono::milliseconds(20);
        while (delivered == before && std::chrono::steady_clock::now() < giveUp)
            std::this_thread::yield();
    }
    done = true;
    streaming.join();
    std::printf(
        "[races] %s: %zu input samples taken, %zu output samples (%zu S/PDIF bursts) "
        "during %d rounds\n",
        race.name, accepted.load(), delivered.load(), bursts.load(), kRounds);
    EXPECT_GT(delivered.load(), 0u);
}

const RaceCase kRaces[] = {
    {"Flushes", {&StreamingRaces::flush}, false},
    {"StopPauseRun", {&StreamingRaces::stopPauseRun}, false},
    {"SpdifThroughControl", {&StreamingRaces::spdifThroughControl}, false},
    {"SpdifThroughCodecApi", {&StreamingRaces::spdifThroughCodecApi}, false},
    {"CodecApiReads", {&StreamingRaces::readCodecApi}, false},
    {"StreamInformation", {&StreamingRaces::readStreamInformation}, false},
    {"MixTypesWithStreamInformation",
     {&StreamingRaces::mixTypes, &StreamingRaces::readStreamInformation},
     false},
    {"InBandTypeChangesWithStreamInformation", {&StreamingRaces::readStreamInformation}, true},
    {"EverythingWithInBandTypeChanges",
     {&StreamingRaces::flush, &StreamingRaces::spdifThroughControl,
      &StreamingRaces::readStreamInformation, &StreamingRaces::stopPauseRun,
      &StreamingRaces::spdifThroughCodecApi, &StreamingRaces::readCodecApi},
     true},
    {"EverythingWithLogFiles",
     {&StreamingRaces::flush, &StreamingRaces::spdifThroughControl,
      &StreamingRaces::readStreamInformation, &StreamingRaces::stopPauseRun,
      &StreamingRaces::spdifThroughCodecApi, &StreamingRaces::readCodecApi},
     true,
     true},
};

INSTANTIATE_TEST_SUITE_P(Races, StreamingRaces, ::testing::ValuesIn(kRaces), RowName());

// The property page opened and closed while 16-bit PCM streams: the levels
// go to the statistics box while the page is open, and never to a box whose
// dialog the page has destroyed.
class PageRace : public FilterHarness {};

TEST_F(PageRace, LevelsNeverReachAClosedPage)
{
    std::vector<PesPacket> packets;
    ASSERT_TRUE(readProgramStreamFile(TAVIO_SAMPLE_STREAM, packets));
    build(
        waveType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DVD_LPCM_AUDIO, WAVE_FORMAT_PCM, 48000, 2, 16));
    quietLogs();
    PshowStat.value = true;
    auto* page = static_cast<TvProp*>(TvProp::CreateInstance(nullptr, nullptr));
    page->NonDelegatingAddRef();
    IUnknown* object = static_cast<IBaseFilter*>(filter);
    ASSERT_EQ(page->SetObjects(1, &object), S_OK);

    std::atomic<bool> done{false};
    std::thread streaming([&] {
        for (size_t i = 0; !done; ++i)
            push(packets[i % packets.size()].payload);
    });
    const RECT rect{0, 0, 300, 200};
    int shown = 0, round = 0;
    // At least 300 openings; more while no level has reached the page yet,
    // for a streaming thread slow to start (a loaded machine, sanitizers).
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (; round < 300 || (shown == 0 && std::chrono::steady_clock::now() < deadline); ++round) {
        ASSERT_EQ(page->Activate(nullptr, &rect, FALSE), S_OK);
        std::this_thread::yield();
        shown += !platform::windowText(GetDlgItem(page->dialog(), kStatisticsItem)).empty();
        ASSERT_EQ(page->Deactivate(), S_OK);
    }
    done = true;
    streaming.join();
    page->SetObjects(0, nullptr);
    page->NonDelegatingRelease();
    std::printf("[races] levels seen in %d of %d openings of the page\n", shown, round);
    EXPECT_GT(shown, 0);
}

}  // namespace
