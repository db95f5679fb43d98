// The filter's ICodecAPI as one table: a property and a value in, the
// result, and what the filter then does (S/PDIF switch, remixer target,
// AC-3 and other downmixes, the value read back). What the formats do to a
// live AC-3 stream is in the AC-3 filter tests.
#include <gtest/gtest.h>

#include <string>

#include "platform/codecapi.h"
#include "support/filter_harness.h"
#include "support/guid_text.h"
#include "support/guid_variant.h"

namespace {

std::string textOf(const VARIANT& value)
{
    if (value.vt != VT_BSTR || !value.bstrVal)
        return "";
    return platform::toUtf8(reinterpret_cast<const WCHAR*>(value.bstrVal));
}

const GUID& kProperty = CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT;

class CodecApi : public FilterHarness {
protected:
    void open(const std::string& parameters = "")
    {
        createFilter(parameters);
        ASSERT_EQ(filter->QueryInterface(IID_ICodecAPI, reinterpret_cast<void**>(&api)), S_OK);
    }
    void TearDown() override
    {
        if (api)
            api->Release();
        FilterHarness::TearDown();
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
    ICodecAPI* api = nullptr;
};

struct SetCase {
    const GUID* property;
    // The value: a GUID's text, a number (VT_I4) when null, or no VARIANT.
    const GUID* format;
    bool noVariant;
    HRESULT result;
    // Then: the switch, the remixer's target mask, the downmix of every
    // kind but AC-3 and of AC-3.
    bool spdif;
    unsigned mask;
    int downmix, downmixAc3;
};

// Applied in turn to one filter: a refused value leaves everything as the
// row before set it.
const SetCase kSetCases[] = {
    {&kProperty, &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED, false, S_OK, false, 3, 104,
     105},
    {&kProperty, &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM, false, S_OK, true, 3, 104, 105},
    {&kProperty, &MEDIASUBTYPE_PCM, false, E_FAIL, true, 3, 104, 105},
    {&kProperty, &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO, false, S_OK, false, 0, 101, 101},
    {&kProperty, &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM, false, S_OK, false, 3, 104, 104},
    {&kProperty, nullptr, false, CO_E_CLASSSTRING, false, 3, 104, 104},
    {&kProperty, nullptr, true, E_POINTER, false, 3, 104, 104},
    {&MEDIASUBTYPE_PCM, &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM, false, E_NOTIMPL, false, 3,
     104, 104},
};

// Starts as plain stereo PCM whatever the parameter file switched on.
TEST_F(CodecApi, EachValueSetsSpdifAndTheRemixer)
{
    open("spdif=1\n");
    EXPECT_TRUE(filter->spdif());
    std::string expected = guidText(CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO);
    EXPECT_EQ(current(), expected);
    for (const SetCase& c : kSetCases) {
        SCOPED_TRACE(c.format ? guidText(*c.format) : c.noVariant ? "no value" : "a number");
        VARIANT value;
        VariantInit(&value);
        if (c.format) {
            value = guidVariant(*c.format);
        } else {
            value.vt = VT_I4;
            value.lVal = 7;
        }
        EXPECT_EQ(api->SetValue(c.property, c.noVariant ? nullptr : &value), c.result);
        VariantClear(&value);
        if (c.result == S_OK)
            expected = guidText(*c.format);
        EXPECT_EQ(current(), expected);
        EXPECT_EQ(filter->spdif(), c.spdif);
        int mode = 0, downmix = 0, downmixAc3 = 0;
        unsigned mask = 0;
        filter->remixer()->GetOutputConfig(&mode, &mask);
        filter->remixer()->GetDownmixType(KindMpeg, &downmix);
        filter->remixer()->GetDownmixType(KindAc3, &downmixAc3);
        EXPECT_EQ(mask, c.mask);
        EXPECT_EQ(downmix, c.downmix);
        EXPECT_EQ(downmixAc3, c.downmixAc3);
    }
}

// A caller lists the choices before it sets one: four formats, each as its
// braced text, in a task-allocated array the caller frees.
TEST_F(CodecApi, TheOutputFormatIsTheOnePropertyAndListsFourChoices)
{
    open();
    EXPECT_EQ(api->IsSupported(&kProperty), S_OK);
    EXPECT_EQ(api->IsSupported(&MEDIASUBTYPE_PCM), E_NOTIMPL);
    VARIANT* values = nullptr;
    ULONG count = 0;
    EXPECT_EQ(api->GetParameterValues(&MEDIASUBTYPE_PCM, &values, &count), E_NOTIMPL);
    ASSERT_EQ(api->GetParameterValues(&kProperty, &values, &count), S_OK);
    const GUID* choices[] = {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM,
                             &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED,
                             &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO,
                             &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM};
    ASSERT_EQ(count, 4u);
    for (ULONG i = 0; i < count; ++i) {
        EXPECT_EQ(textOf(values[i]), guidText(*choices[i]));
        VariantClear(&values[i]);
    }
    CoTaskMemFree(values);
}

}  // namespace
