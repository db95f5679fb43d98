#include "filter/ICodecApiImpl.h"

#include <string>

#include "conversion/ITavioRemix.h"
#include "core/TvStatus.h"
#include "filter/TvFilter.h"
#include "filter/guid_names.h"

namespace {

// A failure of the variant or allocation calls, raised inside a method and
// turned into its result at the interface boundary.
struct ComError {
    HRESULT hr;
};

void check(HRESULT hr)
{
    if (FAILED(hr))
        throw ComError{hr};
}

bool isOutputFormatProperty(const GUID* api)
{
    return api && IsEqualGUID(*api, CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT);
}

std::string nameOf(const GUID* api)
{
    return api ? guidName(*api) : std::string("(null)");
}

// The braced text of `guid` as a string variant.
void setGuidText(VARIANT* value, const GUID& guid)
{
    OLECHAR text[40];
    StringFromGUID2(guid, text, 40);
    value->vt = VT_BSTR;
    value->bstrVal = SysAllocString(text);
    if (!value->bstrVal) {
        value->vt = VT_EMPTY;
        throw ComError{E_OUTOFMEMORY};
    }
}

// Any variant as a GUID: converted to a string variant first if it is none.
GUID guidOf(VARIANT* value)
{
    if (!value)
        throw ComError{E_POINTER};
    VARIANT text;
    VariantInit(&text);
    check(VariantCopy(&text, value));
    HRESULT hr = text.vt == VT_BSTR ? S_OK : VariantChangeType(&text, &text, 0, VT_BSTR);
    GUID guid{};
    if (SUCCEEDED(hr))
        hr = CLSIDFromString(text.bstrVal, &guid);
    VariantClear(&text);
    check(hr);
    return guid;
}

}  // namespace

ICodecApiImpl::ICodecApiImpl(TvFilter* filter, ITavioRemix* remix, std::ostream& log)
    : _filter(filter),
      _remix(remix),
      currentFormat(CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO),
      _log(log)
{
}

STDMETHODIMP ICodecApiImpl::QueryInterface(REFIID riid, void** ppv)
{
    return _filter->GetOwner()->QueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) ICodecApiImpl::AddRef()
{
    return _filter->GetOwner()->AddRef();
}

STDMETHODIMP_(ULONG) ICodecApiImpl::Release()
{
    return _filter->GetOwner()->Release();
}

STDMETHODIMP ICodecApiImpl::IsSupported(const GUID* Api)
{
    _log << "ICodecApi::IsSupported " << nameOf(Api) << std::endl;
    return isOutputFormatProperty(Api) ? S_OK : E_NOTIMPL;
}

STDMETHODIMP ICodecApiImpl::IsModifiable(const GUID* Api)
{
    _log << "ICodecApi::IsModifiable " << nameOf(Api) << std::endl;
    return isOutputFormatProperty(Api) ? S_OK : E_NOTIMPL;
}

STDMETHODIMP ICodecApiImpl::GetParameterValues(const GUID* Api,
                                               VARIANT** Values,
                                               ULONG* ValuesCount)
{
    if (!isOutputFormatProperty(Api))
        return E_NOTIMPL;
    if (!Values || !ValuesCount)
        return E_POINTER;
    static const GUID* const formats[4] = {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM,
                                           &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED,
                                           &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO,
                                           &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM};
    auto* list = static_cast<VARIANT*>(CoTaskMemAlloc(4 * sizeof(VARIANT)));
    if (!list)
        return E_OUTOFMEMORY;
    for (int i = 0; i < 4; ++i)
        VariantInit(&list[i]);
    try {
        for (int i = 0; i < 4; ++i)
            setGuidText(&list[i], *formats[i]);
    } catch (const ComError& error) {
        for (int i = 0; i < 4; ++i)
            VariantClear(&list[i]);
        CoTaskMemFree(list);
        return error.hr;
    }
    *Values = list;
    *ValuesCount = 4;
    _log << "ICodecApi::GetParameterValues " << nameOf(Api) << std::endl;
    return S_OK;
}

STDMETHODIMP ICodecApiImpl::GetValue(const GUID* Api, VARIANT* Value)
{
    _log << "ICodecApi::GetValue " << nameOf(Api) << std::endl;
    if (!isOutputFormatProperty(Api))
        return E_NOTIMPL;
    if (!Value)
        return E_POINTER;
    try {
        setGuidText(Value, currentFormat);
    } catch (const ComError& error) {
        return error.hr;
    }
    return S_OK;
}

STDMETHODIMP ICodecApiImpl::SetValue(const GUID* Api, VARIANT* Value)
{
    if (!isOutputFormatProperty(Api))
        return E_NOTIMPL;
    GUID format;
    try {
        format = guidOf(Value);
    } catch (const ComError& error) {
        return error.hr;
    }
    _log << "ICodecApi::SetValue " << guidName(format) << std::endl;
    return applyFormat(format);
}

HRESULT ICodecApiImpl::applyFormat(const GUID& format)
{
    if (IsEqualGUID(format, CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM)) {
        _filter->setSpdif(true);
    } else if (IsEqualGUID(format, CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED)) {
        _filter->setSpdif(false);
        _remix->SetOutputConfig(0, 3);
        _remix->SetDownmixType(0, RemixDecoderDownmix);
        _remix->SetDownmixType(KindAc3, RemixDecoderSurroundDownmix);
    } else if (IsEqualGUID(format, CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO)) {
        _filter->setSpdif(false);
        _remix->ResetRemix();
    } else if (IsEqualGUID(format, CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM)) {
        _filter->setSpdif(false);
        _remix->SetOutputConfig(0, 3);
        _remix->SetDownmixType(0, RemixDecoderDownmix);
    } else {
        return E_FAIL;
    }
    currentFormat = format;
    return S_OK;
}
