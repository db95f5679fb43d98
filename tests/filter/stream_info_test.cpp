// What hosts and the property page learn about the stream: one table of
// status records and the details and page text each gives, then the
// snapshots of a live stream on the page and the level display.
#include <gtest/gtest.h>

#include <cmath>

#include "filter/TvPropPage.h"
#include "filter/filter_parameters.h"
#include "filter/level_display.h"
#include "filter/stream_text.h"
#include "host/parsers/program_stream.h"
#include "support/filter_harness.h"
#include "support/media_types.h"

namespace {

const RECT kPageRect{0, 0, 300, 200};
const char* const kCommon =
    "bitrate: 128\r\nframesize: 418\r\nFrequency:44100\r\nBits: 16 mask: 0x3\r\nChannels: 2\r\n";

template <typename Record>
Record* record(void (*fill)(Record&) = nullptr)
{
    auto* status = new Record;
    status->freq = 44100;
    status->chan = 2;
    status->stype = ST16Bit;
    status->samples = 1152;
    status->iFrameSize = 418;
    status->bitRate = 128000;
    if (fill)
        fill(*status);
    return status;
}

// The one detail interface a record answers, if any.
const GUID* answered(ITavioStreamInfo* info)
{
    for (const GUID* iid : {&IID_ITavioMpegStreamInfo, &IID_ITavioAACStreamInfo,
                            &IID_ITavioMLPStreamInfo, &IID_ITavioAc3StreamInfo}) {
        IUnknown* unknown = nullptr;
        if (info->QueryInterface(*iid, reinterpret_cast<void**>(&unknown)) == S_OK) {
            unknown->Release();
            return iid;
        }
    }
    return nullptr;
}

TEST(StreamInfo, EachRecordAnswersItsOwnDetailsAndPageText)
{
    struct Case {
        const char* name;
        TvStatus* status;
        const GUID* answers;
        std::string text;
    } cases[] = {
        {"mp3PRO", record<TvStatusMpeg>([](auto& s) { s.mpeg = 4, s.layer = 3, s.mp3pro = 1; }),
         &IID_ITavioMpegStreamInfo, std::string(kCommon) + "** MPEG: 4 layer 3 MP3Pro\r\n"},
        {"HE-AAC v2", record<TvStatusAac>([](auto& s) { s.objectType = 5, s.sbr = 1, s.ps = 1; }),
         &IID_ITavioAACStreamInfo,
         std::string(kCommon) +
             "** AAC details: \r\nMP4 object type:5\r\nSBR: 1\r\nParametric stereo: 1\r\n"},
        {"TrueHD", record<TvStatusMlp>([](auto& s) { s.majorSync = 1; }), &IID_ITavioMLPStreamInfo,
         kCommon},
        {"DTS", record<TvStatusDts>(), nullptr, std::string(kCommon) + "Streamtype: DTS\r\n"},
        {"Vorbis", record<TvStatusVorbis>(), nullptr, std::string(kCommon) + "Vorbis stream\r\n"},
        {"AMR", record<TvStatusAmr>(), nullptr, kCommon},
        // A mask that disagrees with six channels is shown as six's default;
        // without a bit rate it is estimated from the frame (48000 * 1440 * 8 / 80).
        {"LPCM downmixed", record<TvStatusLpcm>([](auto& s) {
             s.freq = 48000, s.chan = 6, s.stype = ST24Bit, s.samples = 80, s.iFrameSize = 1440,
             s.bitRate = 0, s.channelMask = 0x3, s.remixMode = RemixDecoderDownmix;
         }),
         nullptr,
         "bitrate: 6912\r\nframesize: 1440\r\nFrequency:48000\r\nBits: 24 mask: 0x3f\r\n"
         "Channels: 6 decoder downmix\r\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ITavioStreamInfo* info = new TavioStreamInfo(c.status);
        EXPECT_EQ(answered(info), c.answers);
        EXPECT_EQ(streamText(info), c.text);
        EXPECT_EQ(info->Release(), 0u);
    }
}

class StreamInfoFilter : public FilterHarness {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(readProgramStreamFile(TAVIO_SAMPLE_STREAM, packets));
        build(waveType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DVD_LPCM_AUDIO, WAVE_FORMAT_PCM, 48000, 2,
                       16));
        ASSERT_EQ(filter->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&control)),
                  S_OK);
        page = static_cast<TvProp*>(TvProp::CreateInstance(nullptr, nullptr));
        page->NonDelegatingAddRef();
    }
    void TearDown() override
    {
        page->SetObjects(0, nullptr);
        page->NonDelegatingRelease();
        control->Release();
        FilterHarness::TearDown();
    }
    void openPage()
    {
        IUnknown* object = static_cast<IBaseFilter*>(filter);
        ASSERT_EQ(page->SetObjects(1, &object), S_OK);
        ASSERT_EQ(page->Activate(nullptr, &kPageRect, FALSE), S_OK);
    }
    void pushSome(size_t count)
    {
        for (size_t i = 0; i < count && i < packets.size(); ++i)
            push(packets[i].payload);
    }

    std::vector<PesPacket> packets;
    ITavioControl* control = nullptr;
    TvProp* page = nullptr;
};

TEST_F(StreamInfoFilter, SnapshotsDescribeTheDecodedStreamStayFixedAndFillThePage)
{
    ITavioStreamInfo* output = nullptr;
    EXPECT_EQ(control->GetOutputStreamInfo(&output), E_FAIL);  // nothing decoded yet
    pushSome(5);
    ASSERT_EQ(control->GetOutputStreamInfo(&output), S_OK);
    std::string before = streamText(output);
    EXPECT_NE(before.find("Frequency:48000\r\nBits: 16 mask: 0x3\r\nChannels: 2\r\n"),
              std::string::npos)
        << before;
    pushSome(5);
    EXPECT_EQ(streamText(output), before);
    output->Release();

    // A discontinuity re-initialises the decoder: until the next frame both
    // records still tell the last one.
    ITavioStreamInfo* input = nullptr;
    ASSERT_EQ(control->GetInputStreamInfo(&input), S_OK);
    std::string inputBefore = streamText(input);
    input->Release();
    const uint8_t nothing = 0;
    ASSERT_EQ(push(&nothing, 0, nullptr, true), S_OK);
    ASSERT_EQ(control->GetInputStreamInfo(&input), S_OK);
    EXPECT_EQ(streamText(input), inputBefore);
    input->Release();
    ASSERT_EQ(control->GetOutputStreamInfo(&output), S_OK);
    EXPECT_EQ(streamText(output), before);
    output->Release();

    openPage();
    EXPECT_EQ(platform::windowText(GetDlgItem(page->dialog(), kStreamTextItem)), before);
    EXPECT_FALSE(IsWindowVisible(GetDlgItem(page->dialog(), kStatisticsItem)));
    EXPECT_EQ(filter->levelWindow(), nullptr);
}

// With showStat the page shows its statistics box and the filter writes each
// delivered frame's channel peaks there, until the page closes.
TEST_F(StreamInfoFilter, StatisticsBoxShowsTheLevelsWhileThePageIsOpen)
{
    PshowStat.value = true;
    openPage();
    HWND statistics = GetDlgItem(page->dialog(), kStatisticsItem);
    EXPECT_TRUE(IsWindowVisible(statistics));
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
    EXPECT_EQ(page->Deactivate(), S_OK);
    EXPECT_EQ(filter->levelWindow(), nullptr);
    pushSome(3);  // no window to write to any more
}

// The statistics box's levels: each channel's peak exponent from
// little-endian samples, silence as 0 and -32768 as 16.
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
        for (int16_t v : c.samples)
            pcm.insert(pcm.end(), {uint8_t(v), uint8_t(uint16_t(v) >> 8)});
        EXPECT_EQ(levelText(pcm.data(), c.samples.size() / size_t(c.chan), c.chan), c.text);
    }
}

}  // namespace
