// What hosts and the property page learn about the stream: snapshots through
// the filter's control interface, the page text, the about page.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "filter/filter_parameters.h"
#include "filter/level_display.h"
#include "filter/TvPropPage.h"
#include "filter/stream_text.h"
#include "host/parsers/program_stream.h"
#include "support/ac3_tools.h"
#include "support/filter_harness.h"
#include "support/wave_type.h"

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

// Fills the common fields the way a 44.1 kHz stereo decoder would.
template <typename Record>
Record* record()
{
    auto* status = new Record;
    status->freq = 44100;
    status->chan = 2;
    status->stype = ST16Bit;
    status->samples = 1152;
    status->iFrameSize = 418;
    status->bitRate = 128000;
    return status;
}

DWORD detail(IUnknown* details, REFIID iid)
{
    DWORD value = 0;
    if (IsEqualGUID(iid, IID_ITavioMpegStreamInfo)) {
        auto* mpeg = static_cast<ITavioMpegStreamInfo*>(details);
        DWORD version = 0, layer = 0, mp3pro = 0;
        EXPECT_EQ(mpeg->GetMpeg(&version), S_OK);
        EXPECT_EQ(mpeg->GetLayer(&layer), S_OK);
        EXPECT_EQ(mpeg->GetMp3Pro(&mp3pro), S_OK);
        EXPECT_EQ(mpeg->GetLayer(nullptr), E_POINTER);
        value = version * 100 + layer * 10 + mp3pro;
    } else if (IsEqualGUID(iid, IID_ITavioAACStreamInfo)) {
        auto* aac = static_cast<ITavioAACStreamInfo*>(details);
        DWORD objectType = 0, sbr = 0, ps = 0;
        EXPECT_EQ(aac->GetObjectType(&objectType), S_OK);
        EXPECT_EQ(aac->GetSbr(&sbr), S_OK);
        EXPECT_EQ(aac->GetPs(&ps), S_OK);
        EXPECT_EQ(aac->GetPs(nullptr), E_POINTER);
        value = objectType * 100 + sbr * 10 + ps;
    } else if (IsEqualGUID(iid, IID_ITavioMLPStreamInfo)) {
        auto* mlp = static_cast<ITavioMLPStreamInfo*>(details);
        EXPECT_EQ(mlp->GetMajorSync(&value), S_OK);
        EXPECT_EQ(mlp->GetMajorSync(nullptr), E_POINTER);
    }
    return value;
}

// Each format's details are answered only for a record of that format, and
// the page text carries the lines of the formats that have them.
TEST(StreamInfo, EachFormatAnswersOnlyItsOwnDetails)
{
    struct Case {
        const char* name;
        TvStatus* status;
        const GUID* details;  // the one format interface answered, if any
        DWORD value;          // the details as `detail` sums them up
        const char* lines;    // the text after the common lines
    };
    auto* mpeg1 = record<TvStatusMpeg>();
    mpeg1->mpeg = 1;
    mpeg1->layer = 3;
    auto* mp3pro = record<TvStatusMpeg>();
    mp3pro->mpeg = 4;
    mp3pro->layer = 3;
    mp3pro->mp3pro = 1;
    auto* heAac = record<TvStatusAac>();
    heAac->objectType = 5;
    heAac->sbr = 1;
    heAac->ps = 1;
    auto* trueHd = record<TvStatusMlp>();
    trueHd->majorSync = 1;
    const Case cases[] = {
        {"MPEG-1 layer III", mpeg1, &IID_ITavioMpegStreamInfo, 130, "** MPEG: 1 layer 3\r\n"},
        {"mp3PRO", mp3pro, &IID_ITavioMpegStreamInfo, 431, "** MPEG: 4 layer 3 MP3Pro\r\n"},
        {"HE-AAC v2", heAac, &IID_ITavioAACStreamInfo, 511,
         "** AAC details: \r\nMP4 object type:5\r\nSBR: 1\r\nParametric stereo: 1\r\n"},
        {"TrueHD", trueHd, &IID_ITavioMLPStreamInfo, 1, ""},
        {"DTS", record<TvStatusDts>(), nullptr, 0, "Streamtype: DTS\r\n"},
        {"Vorbis", record<TvStatusVorbis>(), nullptr, 0, "Vorbis stream\r\n"},
        {"AMR", record<TvStatusAmr>(), nullptr, 0, ""},
    };
    const GUID* formatInterfaces[] = {&IID_ITavioMpegStreamInfo, &IID_ITavioAc3StreamInfo,
                                      &IID_ITavioAACStreamInfo, &IID_ITavioMLPStreamInfo};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ITavioStreamInfo* info = new TavioStreamInfo(c.status);
        for (const GUID* iid : formatInterfaces) {
            IUnknown* details = nullptr;
            HRESULT hr = info->QueryInterface(*iid, reinterpret_cast<void**>(&details));
            if (c.details && IsEqualGUID(*iid, *c.details)) {
                ASSERT_EQ(hr, S_OK);
                EXPECT_EQ(detail(details, *iid), c.value);
                details->Release();
            } else {
                EXPECT_EQ(hr, E_NOINTERFACE);
                EXPECT_EQ(details, nullptr);
            }
        }
        EXPECT_EQ(streamText(info), std::string("bitrate: 128\r\nframesize: 418\r\nFrequency:44100\r\n"
                                                "Bits: 16 mask: 0x3\r\nChannels: 2\r\n") +
                                        c.lines);
        EXPECT_EQ(info->Release(), 0u);
    }
}

class StreamInfoFilterTest : public FilterHarness {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(readProgramStreamFile(TAVIO_SAMPLE_STREAM, packets));
        ASSERT_FALSE(packets.empty());
        CMediaType type = waveFormatType(&MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_DVD_LPCM_AUDIO,
                                         WAVEFORMATEX{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0});
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
    EXPECT_EQ(platform::windowText(GetDlgItem(prop->dialog(), kStreamTextItem)), before);
    EXPECT_FALSE(prop->statisticsShown());
    EXPECT_FALSE(IsWindowVisible(GetDlgItem(prop->dialog(), kStatisticsItem)));
    EXPECT_EQ(filter->levelWindow(), nullptr);
    EXPECT_EQ(prop->Deactivate(), S_OK);
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

// With showStat the page shows its statistics box and the filter writes each
// delivered frame's channel peaks there, until the page closes.
TEST_F(StreamInfoFilterTest, StatisticsBoxShowsTheLevelsWhileThePageIsOpen)
{
    PshowStat.value = true;
    CUnknown* page = TvProp::CreateInstance(nullptr, nullptr);
    auto* prop = static_cast<TvProp*>(page);
    prop->NonDelegatingAddRef();
    IUnknown* object = static_cast<IBaseFilter*>(filter);
    ASSERT_EQ(prop->SetObjects(1, &object), S_OK);
    ASSERT_EQ(prop->Activate(nullptr, &kPageRect, FALSE), S_OK);
    HWND statistics = GetDlgItem(prop->dialog(), kStatisticsItem);
    EXPECT_TRUE(IsWindowVisible(statistics));
    EXPECT_EQ(filter->levelWindow(), statistics);

    pushSome(3);
    const std::vector<uint8_t> last = sink->Samples().back().data;
    std::string expected;
    for (size_t channel = 0; channel < 2; ++channel) {
        int peak = 0;
        for (size_t at = channel * 2; at + 1 < last.size(); at += 4)
            peak = std::max(peak, std::abs(int(int16_t(last[at] | last[at + 1] << 8))));
        int exponent = peak == 0 ? 0 : std::ilogb(peak) + 1;
        expected += (exponent < 10 ? " " : "") + std::to_string(exponent) + " ";
    }
    EXPECT_EQ(platform::windowText(statistics), expected);

    EXPECT_EQ(prop->Deactivate(), S_OK);
    EXPECT_EQ(filter->levelWindow(), nullptr);
    pushSome(3);  // no window to write to any more
    prop->SetObjects(0, nullptr);
    prop->NonDelegatingRelease();
}

TEST(LevelDisplay, PeakExponentsPerChannel)
{
    struct Case {
        std::vector<int16_t> samples;
        int chan;
        const char* text;
    } cases[] = {
        {{0, 0, 0, 0}, 2, " 0  0 "},
        {{1, -1, 2, 0}, 2, " 2  1 "},
        {{16383, 16384, -32768}, 3, "14 15 16 "},
        {{32767, 100, -200, 0, 0, 9}, 3, "15  7  8 "},
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> pcm;
        for (int16_t v : c.samples) {
            pcm.push_back(uint8_t(v));
            pcm.push_back(uint8_t(uint16_t(v) >> 8));
        }
        EXPECT_EQ(levelText(pcm.data(), c.samples.size() / size_t(c.chan), c.chan), c.text);
    }
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
    CMediaType type = waveFormatType(&MEDIATYPE_Audio, &MEDIASUBTYPE_DOLBY_AC3,
                                     WAVEFORMATEX{0x2000, 6, 48000, 0, 0, 0, 0});
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
