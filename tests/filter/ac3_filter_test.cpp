// AC-3 through the whole filter: the decode equals ffmpeg's, the DVD karaoke
// property reaches the decoder through the input pin, the stream information
// tells the layout as coded and as delivered, and each codec API format
// changes a live stream.
#include <gtest/gtest.h>

#include "filter/karaoke_mode.h"
#include "filter/stream_text.h"
#include "platform/codecapi.h"
#include "support/ffmpeg.h"
#include "support/files.h"
#include "support/filter_harness.h"
#include "support/guid_variant.h"
#include "support/media_types.h"
#include "support/pcm.h"

namespace {

CMediaType ac3Type()
{
    return audioType(MEDIASUBTYPE_DOLBY_AC3, 0x2000, 48000, 6, 0);
}

const ToneSignal k51{"FL+FR+FC+LFE+BL+BR", 48000, 0.5, 0.5};

TEST(KaraokeMode, FromDownmixBitsAndSpeakerAssignment)
{
    struct Case {
        DWORD downmix, assignment;
        int mode;
    } cases[] = {
        {0x0004, 4, 1}, {0x0000, 4, 0}, {0x0008, 5, 1},  {0x0004, 5, 0},  {0x0004, 6, 1},
        {0x0804, 6, 3}, {0x0800, 6, 2}, {0x1000, 6, 0},  {0x0008, 7, 1},  {0x1008, 7, 3},
        {0x1000, 7, 2}, {0x0804, 7, 0}, {0xFFFF, 2, -1}, {0xFFFF, 3, -1}, {0xFFFF, 8, -1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(karaokeMode({c.downmix, c.assignment}), c.mode)
            << std::hex << c.downmix << " " << c.assignment;
}

using Ac3Filter = FilterHarness;

// With TvEac3Dec.dll beside the module the decoder is AdecDDPlus, whose float
// output is libavcodec's own float decode; it reaches the sink as 32-bit
// integers, within one 16-bit step of ffmpeg's.
TEST_F(Ac3Filter, DecodesLikeFfmpegAndTakesTheKaraokeModeFromTheInputPin)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string path = folder.file("s.ac3");
    ASSERT_TRUE(encodeTones(path, k51, "-c:a ac3 -b:a 384k -f ac3"));
    build(ac3Type());
    // A DVD navigator asks the input pin, not the filter, for the property.
    IKsPropertySet* properties = nullptr;
    ASSERT_EQ(filter->inputPin()->QueryInterface(IID_IKsPropertySet,
                                                 reinterpret_cast<void**>(&properties)),
              S_OK);
    AM_DvdKaraokeData data{0x1008, 7};
    EXPECT_EQ(properties->Set(AM_KSPROPSETID_DvdKaraoke, AM_PROPERTY_DVDKARAOKE_DATA, nullptr, 0,
                              &data, 4),
              E_INVALIDARG);
    ASSERT_EQ(properties->Set(AM_KSPROPSETID_DvdKaraoke, AM_PROPERTY_DVDKARAOKE_DATA, nullptr, 0,
                              &data, sizeof data),
              S_OK);
    properties->Release();
    pushInPieces(readBytes(path), 1000);
    auto ours = samplesOf(output(), SampleFormat::S32);
    auto reference = samplesOf(referenceDecode(path, "s32le"), SampleFormat::S32);
    ASSERT_EQ(ours.size(), reference.size());
    EXPECT_LE(maxDifference(reference, ours), 1.0 / 32768);
    TvStatus* status = filter->inputStatus();
    ASSERT_NE(status, nullptr);
    ASSERT_EQ(status->formatId(), KindAc3);
    EXPECT_EQ(static_cast<TvStatusAc3*>(status)->karaoke, 3);
    delete status;
}

// Folded to stereo by the decoder: the input snapshot tells the stream as
// coded (3/2 with LFE), the output what is delivered, and each speaker's
// tone is where the routing puts it.
TEST_F(Ac3Filter, DownmixedStreamTellsTheCodedAndTheDeliveredLayout)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string path = folder.file("s.ac3");
    ASSERT_TRUE(
        encodeTones(path, {"FL+FR+FC+SL+SR", 48000, 0.5, 0.5}, "-c:a ac3 -b:a 384k -f ac3"));
    createFilter();
    filter->remixer()->SetOutputConfig(0, 3);
    filter->remixer()->SetDownmixType(0, RemixDecoderDownmix);
    build(ac3Type());
    pushInPieces(readBytes(path), 1000);

    ITavioControl* control = nullptr;
    ASSERT_EQ(filter->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&control)), S_OK);
    // The page text reads the mask and the AC-3 details through the interfaces.
    for (auto get : {&ITavioControl::GetInputStreamInfo, &ITavioControl::GetOutputStreamInfo}) {
        ITavioStreamInfo* info = nullptr;
        ASSERT_EQ((control->*get)(&info), S_OK);
        std::string text = streamText(info);
        bool input = get == &ITavioControl::GetInputStreamInfo;
        EXPECT_NE(text.find(input ? "mask: 0x37\r\n" : "mask: 0x3\r\n"), std::string::npos) << text;
        EXPECT_EQ(text.find("acmod: 7\r\n") != std::string::npos, input) << text;
        info->Release();
    }
    control->Release();

    // Left holds the left tones, right the right ones; the centre is in both.
    auto pcm = samplesOf(this->output(), SampleFormat::S32);
    for (const char* speaker : {"FL", "SL", "FR", "SR"}) {
        double tone = speakerTone(speaker);
        int side = speaker[1] == 'R';
        EXPECT_GT(tonePower(pcm, 2, side, tone, 48000, 4800),
                  100 * tonePower(pcm, 2, 1 - side, tone, 48000, 4800))
            << speaker;
    }
}

// A live 5.1 AC-3 stream switched between formats: bursts, six channels and
// stereo. (That the surround-compatible downmix differs from the plain one is
// checked through tavio's --output-format.)
TEST_F(Ac3Filter, EachCodecApiFormatChangesALiveStream)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string path = folder.file("s.ac3");
    ASSERT_TRUE(encodeTones(path, k51, "-c:a ac3 -b:a 384k -f ac3"));
    const std::vector<uint8_t> stream = readBytes(path);
    struct Case {
        const GUID* format;
        uint16_t formatTag;  // of the delivered type
        int channels;
    } cases[] = {
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM, 0x0092, 2},
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO, 0xFFFE, 6},
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM, 0xFFFE, 2},
    };
    build(ac3Type());
    ICodecAPI* api = nullptr;
    ASSERT_EQ(filter->QueryInterface(IID_ICodecAPI, reinterpret_cast<void**>(&api)), S_OK);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.formatTag);
        VARIANT value = guidVariant(*c.format);
        ASSERT_EQ(api->SetValue(&CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT, &value), S_OK);
        VariantClear(&value);
        sink->ClearRecords();
        pushInPieces(stream, 1000);
        auto samples = sink->Samples();
        ASSERT_FALSE(samples.empty());
        CMediaType delivered = sink->CurrentType();
        for (const auto& s : samples)
            if (s.mediaType)
                delivered = *s.mediaType;
        const auto* format = reinterpret_cast<const WAVEFORMATEX*>(delivered.pbFormat);
        EXPECT_EQ(format->wFormatTag, c.formatTag);
        if (c.formatTag != 0x0092) {
            EXPECT_EQ(format->nChannels, c.channels);
        }
    }
    api->Release();
}

}  // namespace
