// The filter's ICodecAPI: the one output-format property, its log lines and
// results, and what each of the four formats does to a live AC-3 stream.
#include <gtest/gtest.h>

#include <string>

#include "platform/codecapi.h"
#include "support/ac3_tools.h"
#include "support/filter_harness.h"
#include "support/guid_variant.h"
#include "support/wave_type.h"

namespace {

std::string guidText(const GUID& guid)
{
    OLECHAR wide[40];
    StringFromGUID2(guid, wide, 40);
    std::string text;
    for (int i = 0; wide[i]; ++i)
        text += char(wide[i]);
    return text;
}

std::string textOf(const VARIANT& value)
{
    std::string text;
    if (value.vt == VT_BSTR && value.bstrVal)
        for (UINT i = 0; i < SysStringLen(value.bstrVal); ++i)
            text += char(value.bstrVal[i]);
    return text;
}


const GUID& kProperty = CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT;

class CodecApi : public FilterHarness {
protected:
    void open(const std::string& parameters = "")
    {
        createFilter(parameters);
        ASSERT_EQ(filter->QueryInterface(IID_ICodecAPI, reinterpret_cast<void**>(&api)), S_OK);
        EXPECT_NE(filterLogText().find(" Query ICodecApi "), std::string::npos);
    }
    void TearDown() override
    {
        if (api)
            api->Release();
        FilterHarness::TearDown();
    }
    HRESULT set(const GUID& format)
    {
        VARIANT value = guidVariant(format);
        HRESULT hr = api->SetValue(&kProperty, &value);
        VariantClear(&value);
        return hr;
    }
    std::string current()
    {
        VARIANT value;
        VariantInit(&value);
        EXPECT_EQ(api->GetValue(&kProperty, &value), S_OK);
        std::string text = textOf(value);
        VariantClear(&value);
        return text;
    }
    struct RemixState {
        unsigned mask;
        int downmixAll, downmixAc3;
    };
    RemixState remix()
    {
        RemixState state{};
        int mode = 0;
        filter->remixer()->GetOutputConfig(&mode, &state.mask);
        filter->remixer()->GetDownmixType(KindMpeg, &state.downmixAll);
        filter->remixer()->GetDownmixType(KindAc3, &state.downmixAc3);
        return state;
    }
    ICodecAPI* api = nullptr;
};

// Starts as plain stereo PCM whatever the parameter file switched on.
TEST_F(CodecApi, StartsAsStereoPcmEvenWithSpdifFromTheParameterFile)
{
    open("spdif=1\n");
    EXPECT_TRUE(filter->spdif());
    EXPECT_EQ(current(), guidText(CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO));
    EXPECT_NE(filterLogText().find("ICodecApi::GetValue CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT"), std::string::npos);
}

TEST_F(CodecApi, AnswersOnlyTheOutputFormatProperty)
{
    open();
    const GUID other = MEDIASUBTYPE_PCM;
    EXPECT_EQ(api->IsSupported(&kProperty), S_OK);
    EXPECT_EQ(api->IsModifiable(&kProperty), S_OK);
    EXPECT_EQ(api->IsSupported(&other), E_NOTIMPL);
    EXPECT_EQ(api->IsModifiable(&other), E_NOTIMPL);
    EXPECT_NE(filterLogText().find("ICodecApi::IsSupported MEDIASUBTYPE_PCM"), std::string::npos);
    VARIANT value;
    VariantInit(&value);
    EXPECT_EQ(api->GetValue(&other, &value), E_NOTIMPL);
    EXPECT_EQ(api->SetValue(&other, &value), E_NOTIMPL);
    VARIANT* values = nullptr;
    ULONG count = 0;
    EXPECT_EQ(api->GetParameterValues(&other, &values, &count), E_NOTIMPL);
    EXPECT_EQ(filterLogText().find("ICodecApi::GetParameterValues"), std::string::npos);
    EXPECT_EQ(api->GetDefaultValue(&kProperty, &value), E_NOTIMPL);
    EXPECT_EQ(api->SetAllDefaults(), E_NOTIMPL);

    ASSERT_EQ(api->GetParameterValues(&kProperty, &values, &count), S_OK);
    ASSERT_EQ(count, 4u);
    const GUID* order[4] = {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM,
                            &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED,
                            &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO, &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM};
    for (ULONG i = 0; i < count; ++i) {
        EXPECT_EQ(textOf(values[i]), guidText(*order[i])) << i;
        VariantClear(&values[i]);
    }
    CoTaskMemFree(values);
    EXPECT_NE(filterLogText().find("ICodecApi::GetParameterValues CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT"),
              std::string::npos);
}

// What each value does to the S/PDIF switch and the remixer; values that are
// no format leave everything as it was.
TEST_F(CodecApi, EachFormatSetsSpdifAndTheRemixer)
{
    open();
    struct Case {
        const GUID* format;
        HRESULT result;
        bool spdif;
        RemixState remix;
    } cases[] = {
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED, S_OK, false, {3, 104, 105}},
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM, S_OK, true, {3, 104, 105}},
        {&MEDIASUBTYPE_PCM, E_FAIL, true, {3, 104, 105}},
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO, S_OK, false, {0, 101, 101}},
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM, S_OK, false, {3, 104, 104}},
    };
    std::string expected = current();
    for (const Case& c : cases) {
        EXPECT_EQ(set(*c.format), c.result) << guidText(*c.format);
        if (c.result == S_OK)
            expected = guidText(*c.format);
        EXPECT_EQ(current(), expected);
        EXPECT_EQ(filter->spdif(), c.spdif) << guidText(*c.format);
        RemixState state = remix();
        EXPECT_EQ(state.mask, c.remix.mask) << guidText(*c.format);
        EXPECT_EQ(state.downmixAll, c.remix.downmixAll) << guidText(*c.format);
        EXPECT_EQ(state.downmixAc3, c.remix.downmixAc3) << guidText(*c.format);
    }
    EXPECT_NE(filterLogText().find("ICodecApi::SetValue CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM"), std::string::npos);

    // A value that is no GUID text, and a number that converts to none.
    EXPECT_EQ(api->SetValue(&kProperty, nullptr), E_POINTER);
    VARIANT number;
    VariantInit(&number);
    number.vt = VT_I4;
    number.lVal = 7;
    EXPECT_EQ(api->SetValue(&kProperty, &number), CO_E_CLASSSTRING);
    EXPECT_EQ(current(), expected);
}

// A live 5.1 AC-3 stream under each format: bursts, six channels, and two
// kinds of stereo (the surround-compatible downmix differs from the plain one).
TEST_F(CodecApi, EachFormatChangesALiveAc3Stream)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string path = folder.file("s.ac3");
    ASSERT_TRUE(makeAc3Stream(path, encodableLayouts().back(), 48000, 384, 0.3));
    const std::vector<uint8_t> stream = readBytes(path);
    struct Case {
        const GUID* format;
        uint16_t formatTag;  // of the delivered type
        int channels;
    } cases[] = {
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM, 0x0092, 2},
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO, 0xFFFE, 6},
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED, 0xFFFE, 2},
        {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM, 0xFFFE, 2},
    };
    open();
    CMediaType type = waveFormatType(&MEDIATYPE_Audio, &MEDIASUBTYPE_DOLBY_AC3,
                                     WAVEFORMATEX{0x2000, 6, 48000, 0, 0, 0, 0});
    build(type);
    std::vector<std::vector<uint8_t>> outputs;
    for (const Case& c : cases) {
        ASSERT_EQ(set(*c.format), S_OK);
        sink->ClearRecords();
        pushInPieces(stream, 1000);
        auto samples = sink->Samples();
        ASSERT_FALSE(samples.empty()) << guidText(*c.format);
        CMediaType delivered = sink->CurrentType();
        for (const auto& s : samples)
            if (s.mediaType)
                delivered = *s.mediaType;
        const auto* format = reinterpret_cast<const WAVEFORMATEX*>(delivered.pbFormat);
        EXPECT_EQ(format->wFormatTag, c.formatTag) << guidText(*c.format);
        if (c.formatTag != 0x0092) {
            EXPECT_EQ(format->nChannels, c.channels) << guidText(*c.format);
        }
        outputs.push_back(output());
    }
    EXPECT_FALSE(outputs[2] == outputs[3]) << "matrix-encoded and plain stereo downmixes are alike";
}

}  // namespace
