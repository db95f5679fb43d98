// Seeking back and forth in one run, as a player's seek bar does: each seek
// reaches the source through the decoder's output pin, flushes the graph and
// starts a new segment; every sample after the flush must carry the audio
// of the time it is stamped with (against ffmpeg's decode of the file), so
// nothing decoded before the flush comes out after it.
#include <gtest/gtest.h>

#include <cmath>

#include "filter/TvFilter.h"
#include "host/graph.h"
#include "host/input_source.h"
#include "host/push_source.h"
#include "host/sink_filter.h"
#include "host/source_seeking.h"
#include "support/ffmpeg.h"
#include "support/files.h"
#include "support/pcm.h"

namespace {

constexpr int kRate = 48000, kChannels = 2, kFrame = 1536;

std::vector<double> floatsOf(const std::vector<BYTE>& bytes)
{
    return samplesOf(std::vector<uint8_t>(bytes.begin(), bytes.end()), SampleFormat::F32);
}

TEST(SeekFlush, EverySampleAfterASeekIsTheAudioOfItsStamp)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string file = folder.file("in.mkv");
    ASSERT_TRUE(
        runCommand("ffmpeg -v error -nostdin -f lavfi -i 'aevalsrc=0.5*sin(2*PI*(100+400*t)*t)|"
                   "0.5*sin(2*PI*(150+300*t)*t):s=48000:d=4' -c:a ac3 -y " +
                   file));
    std::vector<double> reference = samplesOf(referenceDecode(file, "f32le"), SampleFormat::F32);
    std::string error;
    auto input = openInputSource(file, error);
    ASSERT_TRUE(input) << error;
    input->select(0);
    {
        HRESULT hr = S_OK;
        auto* decoder = new TvFilter(nullptr, &hr, TAVIO_MODULE_DIR "/");
        decoder->NonDelegatingAddRef();
        PushSource* source = PushSource::Create(*input->streams()[0].mediaType, 256 * 1024);
        SinkFilter* sink = SinkFilter::Create();
        sink->SetAcceptType(
            [](const CMediaType& t) { return IsEqualGUID(t.subtype, MEDIASUBTYPE_IEEE_FLOAT); });
        Graph graph;
        graph.Add(source, WIDE("source"));
        graph.Add(decoder, WIDE("Tavio2"));
        graph.Add(sink, WIDE("sink"));
        IPin *in = nullptr, *out = nullptr;
        decoder->FindPin(WIDE("Input"), &in);
        decoder->FindPin(WIDE("Output"), &out);
        ASSERT_EQ(graph.Connect(source->OutputPin(), in), S_OK);
        ASSERT_EQ(graph.Connect(out, sink->InputPin()), S_OK);
        in->Release();
        out->Release();
        ASSERT_EQ(graph.Run(), S_OK);

        SeekingFeed feed(*source, *input);
        for (double seconds : {2.0, 0.5, 3.1, 0.0, 1.25}) {
            auto target = REFERENCE_TIME(seconds * 1e7);
            sink->ClearRecords();
            REFERENCE_TIME stop = target + 30000000;
            ASSERT_EQ(seekThroughGraph(sink->InputPin(), target, stop), S_OK);
            ASSERT_EQ(feed.applyPendingSeek(), SeekingFeed::Step::Seeked);
            // Half a second past the target, pre-roll included.
            HostPacket packet;
            while (input->next(packet)) {
                PushSource::Packet p{packet.data.data(), packet.data.size()};
                feed.prepare(packet, p.discontinuity);
                p.start = packet.hasTime ? &packet.start : nullptr;
                source->Deliver(p);
                auto samples = sink->Samples();
                if (!samples.empty() && samples.back().hasStart &&
                    samples.back().start > REFERENCE_TIME(5000000))
                    break;
            }
            EXPECT_EQ(sink->BeginFlushCount(), 1);
            EXPECT_EQ(sink->EndFlushCount(), 1);
            EXPECT_EQ(sink->Segments(), (std::vector<SinkFilter::Segment>{{target, stop, 1.0}}));
            auto samples = sink->Samples();
            ASSERT_FALSE(samples.empty()) << seconds;
            // Decoding starts at most a pre-roll and a frame before the target.
            EXPECT_LE(samples.front().start, 0) << seconds;
            EXPECT_GE(samples.front().start, -2000000 - kFrame * 10000000LL / kRate) << seconds;
            EXPECT_TRUE(samples.front().discontinuity) << seconds;
            for (size_t i = 0; i < samples.size(); ++i) {
                ASSERT_TRUE(samples[i].hasStart);
                std::vector<double> ours = floatsOf(samples[i].data);
                long frame = std::lround(double(target + samples[i].start) * kRate / 1e7);
                ASSERT_GE(frame, 0);
                auto from = reference.begin() + frame * kChannels;
                std::vector<double> expected(from, from + long(ours.size()));
                // The first frame after a flush decodes without its overlap.
                double snr = snrDb(expected, ours);
                EXPECT_GE(snr, i == 0 ? 5 : 70) << seconds << " s, sample " << i;
            }
        }
        graph.Clear();
        source->Release();
        sink->Release();
        decoder->Release();
    }
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

}  // namespace
