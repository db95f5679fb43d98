// Names of well-known GUIDs for the logs: major types first, then subtypes,
// then interfaces and codec-API properties; the first match wins.
#include "filter/guid_names.h"

#include <cstring>

#include "core/media_subtypes.h"
#include "filter/private_iids.h"
#include "platform/codecapi.h"
#include "platform/mmreg.h"
#include "platform/strings.h"

namespace {

struct NamedGuid {
    const GUID* guid;
    const char* name;
};

#define NAMED(g) \
    {            \
        &g, #g   \
    }

const NamedGuid knownGuids[] = {
    NAMED(MEDIATYPE_AnalogAudio),
    NAMED(MEDIATYPE_AnalogVideo),
    NAMED(MEDIATYPE_Audio),
    NAMED(MEDIATYPE_AUXLine21Data),
    NAMED(MEDIATYPE_File),
    NAMED(MEDIATYPE_Interleaved),
    NAMED(MEDIATYPE_LMRT),
    NAMED(MEDIATYPE_Midi),
    NAMED(MEDIATYPE_MPEG2_PES),
    NAMED(MEDIATYPE_DVD_ENCRYPTED_PACK),
    NAMED(MEDIATYPE_ScriptCommand),
    NAMED(MEDIATYPE_Stream),
    NAMED(MEDIATYPE_Text),
    NAMED(MEDIATYPE_Timecode),
    NAMED(MEDIATYPE_URL_STREAM),
    NAMED(MEDIATYPE_Video),
    NAMED(MEDIASUBTYPE_DRM_Audio),
    NAMED(MEDIASUBTYPE_IEEE_FLOAT),
    NAMED(MEDIASUBTYPE_DOLBY_AC3_SPDIF),
    NAMED(MEDIASUBTYPE_RAW_SPORT),
    NAMED(MEDIASUBTYPE_SPDIF_TAG_241h),
    NAMED(MEDIASUBTYPE_MPEG2_VIDEO),
    NAMED(MEDIASUBTYPE_DVD_SUBPICTURE),
    NAMED(MEDIASUBTYPE_AIFF),
    NAMED(MEDIASUBTYPE_Asf),
    NAMED(MEDIASUBTYPE_Avi),
    NAMED(MEDIASUBTYPE_AU),
    NAMED(MEDIASUBTYPE_DssAudio),
    NAMED(MEDIASUBTYPE_DssVideo),
    NAMED(MEDIASUBTYPE_MPEG1System),
    NAMED(MEDIASUBTYPE_MPEG1VideoCD),
    NAMED(MEDIASUBTYPE_WAVE),
    NAMED(MEDIASUBTYPE_AC3_AVI),
    NAMED(MEDIASUBTYPE_BDMV_LPCM_AUDIO),
    NAMED(MEDIASUBTYPE_DOLBY_AC3),
    NAMED(MEDIASUBTYPE_DTS),
    NAMED(MEDIASUBTYPE_DVDA_AUDIO_LPCM),
    NAMED(MEDIASUBTYPE_DVDA_AUDIO_MLP),
    NAMED(MEDIASUBTYPE_DVD_LPCM_AUDIO),
    NAMED(MEDIASUBTYPE_MP4_AUDIO),
    NAMED(MEDIASUBTYPE_MPEG1AudioPayload),
    NAMED(MEDIASUBTYPE_MPEG1Packet),
    NAMED(MEDIASUBTYPE_MPEG1Video),
    NAMED(MEDIASUBTYPE_MPEG1Audio),
    NAMED(MEDIASUBTYPE_MPEG1Payload),
    NAMED(MEDIASUBTYPE_MPEG2_AUDIO),
    NAMED(MEDIASUBTYPE_MPEG3),
    NAMED(MEDIASUBTYPE_MPEG4_AUDIO),
    NAMED(MEDIASUBTYPE_PCM),
    NAMED(MEDIASUBTYPE_SAMR_AUDIO),
    NAMED(MEDIASUBTYPE_SAWB_AUDIO),
    NAMED(MEDIASUBTYPE_SDDS),
    NAMED(KSDATAFORMAT_SUBTYPE_PCM),
    NAMED(IID_IKsPropertySet),
    NAMED(IID_ISpecifyPropertyPages),
    NAMED(IID_IPersistStream),
    NAMED(IID_ITavioDolbyConfig),
    NAMED(IID_ITavioOutputConfig),
    NAMED(IID_ITavioInfo),
    NAMED(CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED),
    NAMED(CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO),
    NAMED(CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM),
    NAMED(CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM),
    NAMED(CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT),
    NAMED(MEDIASUBTYPE_HDDVD_AUDIO_MLP),
    NAMED(MEDIASUBTYPE_HDDVD_AUDIO_MPEG),
    NAMED(MEDIASUBTYPE_HDDVD_AUDIO_AC3),
    NAMED(MEDIASUBTYPE_HDDVD_LPCM),
};

}  // namespace

std::string guidName(REFGUID guid)
{
    for (const NamedGuid& known : knownGuids)
        if (IsEqualGUID(*known.guid, guid))
            return known.name;
    OLECHAR* wide = nullptr;
    if (FAILED(StringFromCLSID(guid, &wide)) || !wide)
        return "";
    // Narrowed by keeping the low byte of each character: the text is ASCII.
    std::string text;
    for (const OLECHAR* p = wide; *p; ++p)
        text.push_back(static_cast<char>(*p & 0xFF));
    CoTaskMemFree(wide);
    return text;
}
