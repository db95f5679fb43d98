#include "filter/registered_types.h"

#include "core/media_subtypes.h"
#include "platform/media_guids.h"

namespace {

const GUID* const inputSubtypes[kRegisteredSubtypeCount] = {
    &MEDIASUBTYPE_MPEG1AudioPayload,
    &MEDIASUBTYPE_MPEG1Payload,
    &MEDIASUBTYPE_MPEG2_AUDIO,
    &MEDIASUBTYPE_MPEG1Packet,
    &MEDIASUBTYPE_MPEG3,
    &MEDIASUBTYPE_MPEG4_AUDIO,
    &MEDIASUBTYPE_MP4_AUDIO,
    &MEDIASUBTYPE_DOLBY_AC3,
    &MEDIASUBTYPE_AC3_AVI,
    &MEDIASUBTYPE_DVD_LPCM_AUDIO,
    &MEDIASUBTYPE_DVDA_AUDIO_LPCM,
    &MEDIASUBTYPE_BDMV_LPCM_AUDIO,
    &MEDIASUBTYPE_DTS,
    &MEDIASUBTYPE_SAWB_AUDIO,
    &MEDIASUBTYPE_SAMR_AUDIO,
    &MEDIASUBTYPE_AMR_WB_AUDIO,
    &MEDIASUBTYPE_Vorbis2,
    &MEDIASUBTYPE_DVDA_AUDIO_MLP,
};
const GUID* const inputMajorTypes[3] = {&MEDIATYPE_Audio, &MEDIATYPE_MPEG2_PES,
                                        &MEDIATYPE_DVD_ENCRYPTED_PACK};

}  // namespace

RegisteredInputTypes::RegisteredInputTypes()
{
    for (int s = 0; s < kRegisteredSubtypeCount; ++s)
        for (int m = 0; m < 3; ++m)
            types[s * 3 + m] = {inputMajorTypes[m], inputSubtypes[s]};
}

const RegisteredInputTypes registeredInputTypes;
