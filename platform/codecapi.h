// ICodecAPI and the audio output-format properties of the codec-settings API.
#pragma once

#include "platform/com.h"

#ifdef _WIN32
#include <codecapi.h>
#include <strmif.h>
#else
// clang-format off
DEFINE_GUID(IID_ICodecAPI, 0x901DB4C7, 0x31CE, 0x41A2, 0x85, 0xDC, 0x8F, 0xA0, 0xBF, 0x41, 0xB8, 0xDA);
// clang-format on

struct ICodecAPI : public IUnknown {
    STDMETHOD(IsSupported)(const GUID* Api) PURE;
    STDMETHOD(IsModifiable)(const GUID* Api) PURE;
    STDMETHOD(GetParameterRange)
    (const GUID* Api, VARIANT* ValueMin, VARIANT* ValueMax, VARIANT* SteppingDelta) PURE;
    STDMETHOD(GetParameterValues)(const GUID* Api, VARIANT** Values, ULONG* ValuesCount) PURE;
    STDMETHOD(GetDefaultValue)(const GUID* Api, VARIANT* Value) PURE;
    STDMETHOD(GetValue)(const GUID* Api, VARIANT* Value) PURE;
    STDMETHOD(SetValue)(const GUID* Api, VARIANT* Value) PURE;
    STDMETHOD(RegisterForEvent)(const GUID* Api, LONG_PTR userData) PURE;
    STDMETHOD(UnregisterForEvent)(const GUID* Api) PURE;
    STDMETHOD(SetAllDefaults)() PURE;
    STDMETHOD(SetValueWithNotify)
    (const GUID* Api, VARIANT* Value, GUID** ChangedParam, ULONG* ChangedParamCount) PURE;
    STDMETHOD(SetAllDefaultsWithNotify)(GUID** ChangedParam, ULONG* ChangedParamCount) PURE;
    STDMETHOD(GetAllSettings)(IStream* a) PURE;
    STDMETHOD(SetAllSettings)(IStream* a) PURE;
    STDMETHOD(SetAllSettingsWithNotify)
    (IStream* a, GUID** ChangedParam, ULONG* ChangedParamCount) PURE;
};
#endif  // _WIN32

// The current-output-format property of audio decoders (published as
// AVDecCommonOutputFormat) and its four audio values (the
// AVDecAudioOutputFormat GUIDs), under the names the system uses for them.
// clang-format off
TV_DEFINE_GUID(CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT, 0x3C790028, 0xC0CE, 0x4256, 0xB1, 0xA2, 0x1B, 0x0F, 0xC8, 0xB1, 0xDC, 0xDC);
TV_DEFINE_GUID(CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED, 0x696E1D30, 0x548F, 0x4036, 0x82, 0x5F, 0x70, 0x26, 0xC6, 0x00, 0x11, 0xBD);
TV_DEFINE_GUID(CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO, 0x696E1D31, 0x548F, 0x4036, 0x82, 0x5F, 0x70, 0x26, 0xC6, 0x00, 0x11, 0xBD);
TV_DEFINE_GUID(CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM, 0x696E1D32, 0x548F, 0x4036, 0x82, 0x5F, 0x70, 0x26, 0xC6, 0x00, 0x11, 0xBD);
TV_DEFINE_GUID(CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM, 0x696E1D33, 0x548F, 0x4036, 0x82, 0x5F, 0x70, 0x26, 0xC6, 0x00, 0x11, 0xBD);
// clang-format on
