// The filter assembled between a push source and a recording sink: input
// cut anywhere, and the stream events (discontinuity, flush, new segment, end of stream, stop, a
// refused in-band type, a downstream that stops taking samples).
#include <gtest/gtest.h>

#include <random>
#include <utility>

#include "platform/dvdmedia.h"
#include "support/filter_harness.h"
#include "support/media_types.h"

namespace {

CMediaType lpcmType(const GUID& major)
{
    return waveType(major, MEDIASUBTYPE_DVD_LPCM_AUDIO, WAVE_FORMAT_PCM, 48000, 2, 16);
}

using FilterTest = FilterHarness;

TEST_F(FilterTest, InputCutAnywhereGivesTheSameBytes)
{
    build(lpcmType(MEDIATYPE_Audio), 4096);
    std::vector<uint8_t> stream(40000);
    for (size_t i = 0; i < stream.size(); ++i)
        stream[i] = uint8_t(i * 13 + (i >> 8));
    std::mt19937 random(3);
    for (size_t offset = 0; offset < stream.size();) {
        // Whole stereo frames per sample, as a well-behaved source sends them.
        size_t n = std::min<size_t>(4 + random() % 3000 / 4 * 4, stream.size() - offset);
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

TEST_F(FilterTest, DiscontinuityFlushSegmentAndEndOfStream)
{
    build(lpcmType(MEDIATYPE_Audio));
    std::vector<uint8_t> frames(400, 1);
    REFERENCE_TIME start = 1000000;
    ASSERT_EQ(push(frames.data(), frames.size(), &start), S_OK);
    ASSERT_EQ(push(frames.data(), frames.size(), nullptr, true), S_OK);
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_EQ(samples[0].start, 1000000);
    EXPECT_TRUE(samples[1].discontinuity);
    EXPECT_FALSE(samples[1].hasStart);  // no stamp of its own after the flush

    ASSERT_EQ(source->DeliverBeginFlush(), S_OK);
    ASSERT_EQ(source->DeliverEndFlush(), S_OK);
    EXPECT_EQ(sink->BeginFlushCount(), 1);
    EXPECT_EQ(sink->EndFlushCount(), 1);
    ASSERT_EQ(source->DeliverNewSegment(1000, 5000000, 2.0), S_OK);
    EXPECT_EQ(sink->Segments(), (std::vector<SinkFilter::Segment>{{1000, 5000000, 2.0}}));

    // Raw LPCM comes in whole frames: half a frame is asserted and dropped.
    const uint8_t half[3] = {1, 2, 3};
    ASSERT_EQ(push(half, 3), S_OK);
    assertions.expect(1);
    ASSERT_EQ(source->DeliverEndOfStream(), S_OK);
    EXPECT_EQ(sink->SampleCount(), 2u);
    EXPECT_EQ(sink->EndOfStreamCount(), 1);
}

TEST_F(FilterTest, DownstreamAnswersStopTheSampleAndAreReturned)
{
    build(lpcmType(MEDIATYPE_Audio));
    std::vector<uint8_t> frames(400, 1);
    sink->SetReceiveResult(S_FALSE);
    EXPECT_EQ(push(frames.data(), frames.size()), S_OK);
    sink->SetReceiveResult(E_FAIL);
    EXPECT_EQ(push(frames.data(), frames.size()), E_FAIL);
    // A type change the filter refuses stops the sample before any output.
    sink->SetReceiveResult(S_OK);
    sink->ClearRecords();
    CMediaType pcm(&MEDIATYPE_Audio);
    pcm.SetSubtype(&MEDIASUBTYPE_PCM);
    PushSource::Packet packet{frames.data(), frames.size()};
    packet.newType = &pcm;
    EXPECT_EQ(source->Deliver(packet), VFW_E_INVALIDMEDIATYPE);
    EXPECT_EQ(sink->SampleCount(), 0u);
}

TEST_F(FilterTest, StopRefusesInputUntilRunAgain)
{
    build(lpcmType(MEDIATYPE_Audio));
    std::vector<uint8_t> frames(400, 1);
    ASSERT_EQ(push(frames.data(), frames.size()), S_OK);
    ASSERT_EQ(graph.Stop(), S_OK);
    EXPECT_EQ(push(frames.data(), frames.size()), VFW_E_NOT_COMMITTED);
    ASSERT_EQ(graph.Run(), S_OK);
    EXPECT_EQ(push(frames.data(), frames.size()), S_OK);
    EXPECT_EQ(sink->SampleCount(), 2u);
}

// What a DVD navigator and a property frame ask the filter for: the karaoke
// property set (settable, never readable) and the two property pages.
TEST_F(FilterTest, KaraokePropertySetAndPropertyPages)
{
    createFilter();
    IKsPropertySet* properties = nullptr;
    ASSERT_EQ(filter->QueryInterface(IID_IKsPropertySet, reinterpret_cast<void**>(&properties)),
              S_OK);
    DWORD support = 0;
    AM_DvdKaraokeData data{};
    const GUID& karaoke = AM_KSPROPSETID_DvdKaraoke;
    for (auto [hr, expected] :
         {std::pair{properties->QuerySupported(karaoke, 1, &support), S_OK},
          {properties->QuerySupported(karaoke, 2, &support), E_PROP_ID_UNSUPPORTED},
          {properties->QuerySupported(karaoke, 0, nullptr), E_POINTER},
          {properties->QuerySupported(GUID_NULL, 0, &support), E_PROP_SET_UNSUPPORTED},
          {properties->Get(karaoke, 1, nullptr, 0, &data, sizeof data, nullptr),
           E_PROP_ID_UNSUPPORTED},
          {properties->Get(GUID_NULL, 1, nullptr, 0, &data, sizeof data, nullptr),
           E_PROP_SET_UNSUPPORTED},
          {properties->Set(karaoke, 0, nullptr, 0, &data, sizeof data), S_OK},
          {properties->Set(karaoke, 2, nullptr, 0, &data, sizeof data), E_PROP_ID_UNSUPPORTED},
          {properties->Set(karaoke, 1, nullptr, 0, &data, 4), E_INVALIDARG},
          {properties->Set(GUID_NULL, 1, nullptr, 0, &data, sizeof data), E_PROP_SET_UNSUPPORTED}})
        EXPECT_EQ(hr, expected);
    EXPECT_EQ(support, DWORD(KSPROPERTY_SUPPORT_SET));
    properties->Release();

    ISpecifyPropertyPages* pages = nullptr;
    ASSERT_EQ(filter->QueryInterface(IID_ISpecifyPropertyPages, reinterpret_cast<void**>(&pages)),
              S_OK);
    CAUUID got{};
    ASSERT_EQ(pages->GetPages(&got), S_OK);
    ASSERT_EQ(got.cElems, 2u);
    EXPECT_TRUE(IsEqualGUID(got.pElems[0], CLSID_TavioPropertyPage));
    EXPECT_TRUE(IsEqualGUID(got.pElems[1], CLSID_TavioAboutPage));
    CoTaskMemFree(got.pElems);
    EXPECT_EQ(pages->GetPages(nullptr), E_POINTER);
    pages->Release();
}

}  // namespace
