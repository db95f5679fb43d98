// The filter assembled: a push source feeding it, a recording sink behind it.
#include <gtest/gtest.h>

#include <cstring>
#include <atomic>
#include <memory>
#include <random>
#include <thread>

#include "filter/TvFilter.h"
#include "filter/TvInputPin.h"
#include "host/graph.h"
#include "host/parsers/program_stream.h"
#include "host/push_source.h"
#include "host/sink_filter.h"
#include "support/filter_harness.h"
#include "support/reference_tools.h"

namespace {

CMediaType lpcmType(const GUID& major, WORD channels, WORD bits, DWORD rate = 48000)
{
    CMediaType type(&major);
    type.SetSubtype(&MEDIASUBTYPE_DVD_LPCM_AUDIO);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEX wave{WAVE_FORMAT_PCM, channels, rate, 0, 0, bits, 0};
    wave.nBlockAlign = WORD(channels * bits / 8);
    wave.nAvgBytesPerSec = rate * wave.nBlockAlign;
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    return type;
}

TvFilter* newFilter()
{
    HRESULT hr = S_OK;
    auto* filter = new TvFilter(nullptr, &hr, TAVIO_MODULE_DIR "/");
    filter->NonDelegatingAddRef();
    return filter;
}

using FilterTest = FilterHarness;

TEST(Filter, StopBeforeATypeAndInstanceNumbers)
{
    TvFilter* first = newFilter();
    TvFilter* second = newFilter();
    EXPECT_EQ(second->instanceNumber(), first->instanceNumber() + 1);
    EXPECT_EQ(TvFilter::activeCount(), 2);
    EXPECT_EQ(first->Stop(), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(first->GetPinCount(), 2);
    EXPECT_EQ(first->GetPin(2), nullptr);
    CAUUID pages{};
    ASSERT_EQ(first->GetPages(&pages), S_OK);
    EXPECT_EQ(pages.cElems, 2u);
    CoTaskMemFree(pages.pElems);
    ITavioRemix* remix = nullptr;
    ASSERT_EQ(first->QueryInterface(IID_ITavioRemix, reinterpret_cast<void**>(&remix)), S_OK);
    int type = 0;
    EXPECT_EQ(remix->GetDownmixType(9, &type), S_OK);
    EXPECT_EQ(type, 101);
    remix->Release();
    first->Release();
    second->Release();
    EXPECT_EQ(TvFilter::activeCount(), 0);
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST_F(FilterTest, DvdPacketsDecodeLikeTheReferenceDecoderWithStamps)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string vob = folder.file("in.vob");
    ASSERT_EQ(std::system(("ffmpeg -v error " + sineSource(2, 48000, 1.0) +
                           " -c:a pcm_dvd -sample_fmt s16 -f vob -y " + vob).c_str()),
              0);
    bool ok = false;
    auto reference = commandOutput("ffmpeg -v error -i " + vob + " -f s16le -", &ok);
    ASSERT_TRUE(ok);
    std::vector<PesPacket> packets;
    ASSERT_TRUE(readProgramStreamFile(vob, packets));

    build(lpcmType(MEDIATYPE_MPEG2_PES, 2, 16));
    // The packets cut the audio anywhere; each carries the PTS of the first
    // access unit that starts in it.
    REFERENCE_TIME firstPts = kNoTime;
    for (const PesPacket& packet : packets) {
        if (packet.substreamId != 0xA0)
            continue;
        REFERENCE_TIME start = packet.ptsReferenceTime;
        if (firstPts == kNoTime && packet.hasPts)
            firstPts = start;
        ASSERT_EQ(push(packet.payload.data(), packet.payload.size(), packet.hasPts ? &start : nullptr), S_OK);
    }
    ASSERT_EQ(source->DeliverEndOfStream(), S_OK);
    EXPECT_EQ(output(), reference);
    auto samples = sink->Samples();
    ASSERT_GT(samples.size(), 10u);
    for (size_t i = 0; i < samples.size(); ++i) {
        ASSERT_TRUE(samples[i].hasStart) << i;
        EXPECT_EQ(samples[i].stop - samples[i].start,
                  REFERENCE_TIME(samples[i].data.size() / 4) * 10000000 / 48000);
        if (i) {
            EXPECT_GE(samples[i].start, samples[i - 1].start);
        }
    }
    // Each packet comes out as one sample stamped with its PTS moved back by
    // the audio from its first access unit to its end (the DVD LPCM rule:
    // size - pointer + 4 bytes, whole frames, 100 ns units).
    size_t index = 0;
    for (const PesPacket& packet : packets) {
        if (packet.substreamId != 0xA0)
            continue;
        ASSERT_LT(index, samples.size());
        if (packet.hasPts) {
            int pointer = (packet.payload[2] << 8) | packet.payload[3];
            int64_t bytes = int64_t(packet.payload.size()) - pointer + 4;
            REFERENCE_TIME expected = packet.ptsReferenceTime - (bytes / 4) * 10000000 / 48000;
            EXPECT_EQ(samples[index].start, expected) << index;
        }
        ++index;
    }
    EXPECT_EQ(index, samples.size());
    EXPECT_LE(samples[0].start, firstPts);
    EXPECT_EQ(sink->EndOfStreamCount(), 1);
}

TEST_F(FilterTest, RefusedTypeChangeStopsTheSample)
{
    build(lpcmType(MEDIATYPE_Audio, 2, 16));
    std::vector<uint8_t> frames(400, 1);
    CMediaType pcm(&MEDIATYPE_Audio);
    pcm.SetSubtype(&MEDIASUBTYPE_PCM);
    PushSource::Packet packet;
    packet.data = frames.data();
    packet.size = frames.size();
    packet.newType = &pcm;
    EXPECT_EQ(source->Deliver(packet), VFW_E_INVALIDMEDIATYPE);
    EXPECT_EQ(sink->SampleCount(), 0u);
}

TEST_F(FilterTest, StatusQueriesFromAnotherThreadWhileStreaming)
{
    build(lpcmType(MEDIATYPE_Audio, 2, 16), 4096);
    std::atomic<bool> done{false};
    std::atomic<int> seen{0};
    std::thread reader([&] {
        while (!done) {
            std::unique_ptr<TvStatus> in(filter->inputStatus());
            std::unique_ptr<TvStatus> out(filter->outputStatus());
            if (in && out && in->chan == 2 && out->freq == 48000)
                ++seen;
        }
    });
    std::vector<uint8_t> frames(4000, 7);
    for (int i = 0; i < 500; ++i)
        ASSERT_EQ(push(frames.data(), frames.size()), S_OK);
    // The reader may not have been scheduled during the stream; the statuses
    // stay until the next flush, so it sees them now at the latest.
    for (int wait = 0; wait < 500 && seen == 0; ++wait)
        Sleep(10);
    done = true;
    reader.join();
    EXPECT_GT(seen.load(), 0);
}

TEST_F(FilterTest, SplitInputGivesTheSameBytes)
{
    build(lpcmType(MEDIATYPE_Audio, 2, 16), 4096);
    std::vector<uint8_t> stream(40000);
    for (size_t i = 0; i < stream.size(); ++i)
        stream[i] = uint8_t(i * 13 + (i >> 8));
    std::mt19937 random(3);
    for (size_t offset = 0; offset < stream.size();) {
        size_t n = std::min<size_t>(1 + random() % 3000, stream.size() - offset);
        n &= ~size_t(3);  // whole stereo frames per sample, as a well-behaved source
        if (n == 0)
            n = 4;
        ASSERT_EQ(push(stream.data() + offset, n), S_OK);
        offset += n;
    }
    auto out = output();
    ASSERT_EQ(out.size(), stream.size());
    for (size_t i = 0; i < stream.size(); i += 2) {
        ASSERT_EQ(out[i], stream[i + 1]) << i;
        ASSERT_EQ(out[i + 1], stream[i]) << i;
    }
}

TEST_F(FilterTest, DiscontinuityEndOfStreamAndFlushes)
{
    build(lpcmType(MEDIATYPE_Audio, 2, 16));
    std::vector<uint8_t> frames(400, 1);
    REFERENCE_TIME start = 1000000;
    ASSERT_EQ(push(frames.data(), frames.size(), &start), S_OK);
    ASSERT_EQ(push(frames.data(), frames.size(), nullptr, true), S_OK);
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_TRUE(samples[1].discontinuity);
    EXPECT_EQ(samples[0].start, 1000000);
    EXPECT_FALSE(samples[1].hasStart);  // no stamp of its own after the flush

    ASSERT_EQ(source->DeliverBeginFlush(), S_OK);
    ASSERT_EQ(source->DeliverEndFlush(), S_OK);
    EXPECT_EQ(sink->BeginFlushCount(), 1);
    EXPECT_EQ(sink->EndFlushCount(), 1);
    ASSERT_EQ(source->DeliverNewSegment(0, 5000000, 1.0), S_OK);
    EXPECT_EQ(sink->SegmentStarts(), std::vector<REFERENCE_TIME>{0});

    // Half a frame at the end is dropped at end of stream.
    const uint8_t half[3] = {1, 2, 3};
    ASSERT_EQ(push(half, 3), S_OK);
    size_t before = sink->SampleCount();
    ASSERT_EQ(source->DeliverEndOfStream(), S_OK);
    EXPECT_EQ(sink->SampleCount(), before);
    EXPECT_EQ(sink->EndOfStreamCount(), 1);
}

TEST_F(FilterTest, ADownstreamSFalseDropsTheBufferedInput)
{
    build(lpcmType(MEDIATYPE_Audio, 2, 16));
    sink->SetReceiveResult(S_FALSE);
    std::vector<uint8_t> frames(400, 1);
    EXPECT_EQ(push(frames.data(), frames.size()), S_OK);
    sink->SetReceiveResult(E_FAIL);
    EXPECT_EQ(push(frames.data(), frames.size()), E_FAIL);
}

TEST_F(FilterTest, StopWhileStreamingAndRestart)
{
    build(lpcmType(MEDIATYPE_Audio, 2, 16));
    std::vector<uint8_t> frames(400, 1);
    ASSERT_EQ(push(frames.data(), frames.size()), S_OK);
    ASSERT_EQ(graph.Stop(), S_OK);
    EXPECT_EQ(push(frames.data(), frames.size()), VFW_E_NOT_COMMITTED);
    ASSERT_EQ(graph.Run(), S_OK);
    EXPECT_EQ(push(frames.data(), frames.size()), S_OK);
    EXPECT_EQ(sink->SampleCount(), 2u);
}

}  // namespace
