// What hosts and the property page learn about the stream: snapshots through
// the filter's control interface, the page text, the about page.
#include <gtest/gtest.h>

#include <memory>

#include "filter/TvPropPage.h"
#include "filter/stream_text.h"
#include "host/program_stream.h"
#include "support/ac3_tools.h"
#include "support/filter_harness.h"

namespace {

const RECT kPageRect{0, 0, 300, 200};

// A stand-in snapshot whose mask disagrees with its channel count.
struct LpcmSnapshot {
    static ITavioStreamInfo* make(int chan, uint32_t mask, TvRemixMode remix = RemixNone)
    {
        auto* status = new TvStatusLpcm;
        status->freq = 48000;
        status->chan = chan;
        status->stype = ST24Bit;
        status->samples = 80;
        status->iFrameSize = 1440;
        status->channelMask = mask;
        status->remixMode = remix;
        return new TavioStreamInfo(status);
    }
};

TEST(StreamInfo, SnapshotGettersAndTheirText)
{
    ITavioStreamInfo* info = LpcmSnapshot::make(6, 0x3, RemixDecoderDownmix);
    DWORD mask = 0, type = 0, kbps = 0;
    WORD bits = 0, channels = 0;
    EXPECT_EQ(info->GetChannelMask(&mask), S_OK);
    EXPECT_EQ(mask, 0x3Fu);  // the mask disagrees with six channels: the default for six
    EXPECT_EQ(info->GetStreamType(&type), S_OK);
    EXPECT_EQ(type, DWORD(KindLpcm));
    EXPECT_EQ(info->GetBitRate(&kbps), S_OK);
    EXPECT_EQ(kbps, 6912u);  // estimated: 48000 * 1440 * 8 / 80
    EXPECT_EQ(info->GetBitsPerSample(&bits), S_OK);
    EXPECT_EQ(bits, 24);
    EXPECT_EQ(info->GetChannels(&channels), S_OK);
    EXPECT_EQ(channels, 6);
    for (HRESULT hr : {info->GetFrameSize(nullptr), info->GetSampleRate(nullptr), info->GetChannels(nullptr),
                       info->GetBitsPerSample(nullptr), info->GetRemixMode(nullptr)})
        EXPECT_EQ(hr, E_POINTER);
    IUnknown* unknown = nullptr;
    EXPECT_EQ(info->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), S_OK);
    unknown->Release();
    EXPECT_EQ(streamText(info), "bitrate: 6912\r\nframesize: 1440\r\nFrequency:48000\r\n"
                                "Bits: 24 mask: 0x3f\r\nChannels: 6 decoder downmix\r\n");
    EXPECT_EQ(info->Release(), 0u);
    EXPECT_EQ(streamText(nullptr), "no info available");
}

class StreamInfoFilterTest : public FilterHarness {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(readProgramStreamFile(TAVIO_SAMPLE_STREAM, packets));
        ASSERT_FALSE(packets.empty());
        CMediaType type(&MEDIATYPE_MPEG2_PES);
        type.SetSubtype(&MEDIASUBTYPE_DVD_LPCM_AUDIO);
        type.SetFormatType(&FORMAT_WaveFormatEx);
        WAVEFORMATEX wave{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
        type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
        build(type);
        ASSERT_EQ(filter->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&control)), S_OK);
    }
    void TearDown() override
    {
        if (control)
            control->Release();
        FilterHarness::TearDown();
    }
    void pushSome(size_t count)
    {
        for (size_t i = 0; i < count && i < packets.size(); ++i)
            push(packets[i].payload);
    }

    std::vector<PesPacket> packets;
    ITavioControl* control = nullptr;
};

TEST_F(StreamInfoFilterTest, NothingDecodedYetMeansNoSnapshotAndNoInfo)
{
    ITavioStreamInfo* info = reinterpret_cast<ITavioStreamInfo*>(1);
    EXPECT_EQ(control->GetOutputStreamInfo(nullptr), E_POINTER);
    EXPECT_EQ(control->GetOutputStreamInfo(&info), E_FAIL);
    CUnknown* page = TvProp::CreateInstance(nullptr, nullptr);
    auto* prop = static_cast<TvProp*>(page);
    prop->NonDelegatingAddRef();
    IUnknown* object = static_cast<IBaseFilter*>(filter);
    ASSERT_EQ(prop->SetObjects(1, &object), S_OK);
    ASSERT_EQ(prop->Activate(nullptr, &kPageRect, FALSE), S_OK);
    EXPECT_EQ(prop->text(), "no info available");
    EXPECT_EQ(prop->SetObjects(0, nullptr), S_OK);
    prop->NonDelegatingRelease();
}

TEST_F(StreamInfoFilterTest, SnapshotsDescribeTheDecodedStreamAndStayFixed)
{
    pushSome(5);
    ITavioStreamInfo* input = nullptr;
    ITavioStreamInfo* output = nullptr;
    ASSERT_EQ(control->GetInputStreamInfo(&input), S_OK);
    ASSERT_EQ(control->GetOutputStreamInfo(&output), S_OK);
    DWORD rate = 0, mask = 0, spdif = 7;
    EXPECT_EQ(output->GetSampleRate(&rate), S_OK);
    EXPECT_EQ(rate, 48000u);
    EXPECT_EQ(input->GetChannelMask(&mask), S_OK);
    EXPECT_EQ(mask, 0x3u);
    EXPECT_EQ(output->GetSpdif(&spdif), S_OK);
    EXPECT_EQ(spdif, 0u);
    std::string before = streamText(output);
    pushSome(5);
    EXPECT_EQ(streamText(output), before);  // a snapshot never changes
    EXPECT_NE(before.find("Frequency:48000\r\nBits: 16 mask: 0x3\r\nChannels: 2\r\n"), std::string::npos) << before;

    CUnknown* page = TvProp::CreateInstance(nullptr, nullptr);
    auto* prop = static_cast<TvProp*>(page);
    prop->NonDelegatingAddRef();
    IUnknown* object = static_cast<IBaseFilter*>(filter);
    ASSERT_EQ(prop->SetObjects(1, &object), S_OK);
    ASSERT_EQ(prop->Activate(nullptr, &kPageRect, FALSE), S_OK);
    EXPECT_EQ(prop->text(), before);
    EXPECT_FALSE(prop->statisticsShown());
    prop->SetObjects(0, nullptr);
    prop->NonDelegatingRelease();
    input->Release();
    output->Release();

    BOOL on = TRUE;
    EXPECT_EQ(control->GetSpdif(&on), S_OK);
    EXPECT_EQ(on, FALSE);
    EXPECT_EQ(control->SetSpdif(TRUE), S_OK);  // LPCM has no pass-through; the choice is kept
    EXPECT_EQ(control->GetSpdif(&on), S_OK);
    EXPECT_EQ(on, TRUE);
}

// A 5.1 AC-3 stream the decoder folds to stereo: the input snapshot tells the
// stream as coded, the output what is delivered; the AC-3 details answer
// only for AC-3 records, and the page shows them.
TEST_F(FilterHarness, Ac3SnapshotsTellTheCodedAndTheDeliveredLayout)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("s.ac3");
    ASSERT_TRUE(makeAc3Stream(path, encodableLayouts().back(), 48000, 384, 0.2));
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&MEDIASUBTYPE_DOLBY_AC3);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEX wave{0x2000, 6, 48000, 0, 0, 0, 0};
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    build(type);
    filter->remixer()->SetOutputConfig(0, 3);
    filter->remixer()->SetDownmixType(0, RemixDecoderDownmix);
    pushInPieces(readBytes(path), 1000);

    ITavioControl* control = nullptr;
    ASSERT_EQ(filter->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&control)), S_OK);
    ITavioStreamInfo* input = nullptr;
    ITavioStreamInfo* output = nullptr;
    ASSERT_EQ(control->GetInputStreamInfo(&input), S_OK);
    ASSERT_EQ(control->GetOutputStreamInfo(&output), S_OK);
    control->Release();
    DWORD mask = 0, acmod = 0, lfe = 0, karaoke = 99;
    WORD channels = 0;
    input->GetChannelMask(&mask);
    input->GetChannels(&channels);
    EXPECT_EQ(mask, 0x3Fu);
    EXPECT_EQ(channels, 6);
    output->GetChannelMask(&mask);
    output->GetChannels(&channels);
    EXPECT_EQ(mask, 0x3u);
    EXPECT_EQ(channels, 2);

    ITavioAc3StreamInfo* details = nullptr;
    ASSERT_EQ(input->QueryInterface(IID_ITavioAc3StreamInfo, reinterpret_cast<void**>(&details)), S_OK);
    EXPECT_EQ(details->GetAcmod(&acmod), S_OK);
    EXPECT_EQ(acmod, 7u);  // 3/2, as coded
    EXPECT_EQ(details->GetLfeon(&lfe), S_OK);
    EXPECT_EQ(lfe, 1u);
    EXPECT_EQ(details->GetKaraokeMode(&karaoke), S_FALSE);  // not a karaoke stream
    EXPECT_EQ(karaoke, 99u);
    EXPECT_EQ(details->GetAcmod(nullptr), E_POINTER);
    details->Release();
    EXPECT_NE(streamText(input).find("** AC3 details: \r\nacmod: 7\r\nbsmod: 0\r\nsurmod: 0\r\nlf: 1\r\n"),
              std::string::npos)
        << streamText(input);
    input->Release();
    output->Release();

    ITavioStreamInfo* lpcm = LpcmSnapshot::make(2, 0x3);
    EXPECT_EQ(lpcm->QueryInterface(IID_ITavioAc3StreamInfo, reinterpret_cast<void**>(&details)), E_NOINTERFACE);
    lpcm->Release();
}

TEST(AboutPage, HasFixedText)
{
    CUnknown* page = TvAbout::CreateInstance(nullptr, nullptr);
    ASSERT_NE(page, nullptr);
    page->NonDelegatingAddRef();
    EXPECT_NE(std::string(TvAbout::text()).find("Tavio Audio Decoder 2"), std::string::npos);
    page->NonDelegatingRelease();
}

}  // namespace
