// Uses every name the system takes from the platform API, so that a name or
// signature missing from the Windows SDK headers fails the cross-build.
#include "platform/windows_api.h"

namespace {

const GUID* const mediaGuids[] = {
    &MEDIATYPE_Audio,
    &MEDIATYPE_MPEG2_PES,
    &MEDIATYPE_DVD_ENCRYPTED_PACK,
    &MEDIATYPE_Video,
    &MEDIATYPE_AnalogAudio,
    &MEDIATYPE_AnalogVideo,
    &MEDIATYPE_AUXLine21Data,
    &MEDIATYPE_File,
    &MEDIATYPE_Interleaved,
    &MEDIATYPE_LMRT,
    &MEDIATYPE_Midi,
    &MEDIATYPE_ScriptCommand,
    &MEDIATYPE_Stream,
    &MEDIATYPE_Text,
    &MEDIATYPE_Timecode,
    &MEDIATYPE_URL_STREAM,
    &MEDIASUBTYPE_PCM,
    &MEDIASUBTYPE_IEEE_FLOAT,
    &MEDIASUBTYPE_DRM_Audio,
    &MEDIASUBTYPE_MPEG1AudioPayload,
    &MEDIASUBTYPE_DOLBY_AC3_SPDIF,
    &MEDIASUBTYPE_RAW_SPORT,
    &MEDIASUBTYPE_SPDIF_TAG_241h,
    &MEDIASUBTYPE_MPEG1Packet,
    &MEDIASUBTYPE_MPEG1Payload,
    &MEDIASUBTYPE_MPEG1System,
    &MEDIASUBTYPE_MPEG1VideoCD,
    &MEDIASUBTYPE_MPEG1Video,
    &MEDIASUBTYPE_MPEG1Audio,
    &MEDIASUBTYPE_Avi,
    &MEDIASUBTYPE_WAVE,
    &MEDIASUBTYPE_AU,
    &MEDIASUBTYPE_AIFF,
    &MEDIASUBTYPE_Asf,
    &MEDIASUBTYPE_DssVideo,
    &MEDIASUBTYPE_DssAudio,
    &MEDIASUBTYPE_MPEG2_VIDEO,
    &MEDIASUBTYPE_MPEG2_AUDIO,
    &MEDIASUBTYPE_DOLBY_AC3,
    &MEDIASUBTYPE_DVD_SUBPICTURE,
    &MEDIASUBTYPE_DVD_LPCM_AUDIO,
    &MEDIASUBTYPE_DTS,
    &MEDIASUBTYPE_SDDS,
    &MEDIASUBTYPE_MPEG3,
    &MEDIASUBTYPE_AC3_AVI,
    &MEDIASUBTYPE_HDDVD_LPCM,
    &MEDIASUBTYPE_HDDVD_AUDIO_AC3,
    &MEDIASUBTYPE_HDDVD_AUDIO_MLP,
    &MEDIASUBTYPE_DVDA_AUDIO_LPCM,
    &MEDIASUBTYPE_DVDA_AUDIO_MLP,
    &MEDIASUBTYPE_BDMV_LPCM_AUDIO,
    &MEDIASUBTYPE_Vorbis2,
    &FORMAT_WaveFormatEx,
    &FORMAT_None,
    &FORMAT_VorbisFormat2,
    &KSDATAFORMAT_SUBTYPE_PCM,
    &KSDATAFORMAT_SUBTYPE_IEEE_FLOAT,
    &AM_KSPROPSETID_DvdKaraoke,
    &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO,
    &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM,
};

const IID* const interfaceIds[] = {
    &IID_IUnknown,
    &IID_IClassFactory,
    &IID_IPersist,
    &IID_IPersistStream,
    &IID_IPin,
    &IID_IEnumPins,
    &IID_IBaseFilter,
    &IID_IMediaFilter,
    &IID_IMediaSample,
    &IID_IMediaSample2,
    &IID_IMemAllocator,
    &IID_IMemInputPin,
    &IID_IEnumMediaTypes,
    &IID_IMediaSeeking,
    &IID_IMediaPosition,
    &IID_IKsPropertySet,
    &IID_ISpecifyPropertyPages,
    &IID_IPropertyPage,
    &IID_ICodecAPI,
    &IID_IFilterMapper2,
    &IID_IReferenceClock,
    &IID_IMediaEventSink,
    &IID_IQualityControl,
    &CLSID_MemoryAllocator,
    &CLSID_FilterMapper2,
    &CLSID_LegacyAmFilterCategory,
    &TIME_FORMAT_MEDIA_TIME,
};

}  // namespace

// Linking this program proves every GUID and function resolves in the SDK libraries.
int main()
{
    size_t count =
        sizeof mediaGuids / sizeof mediaGuids[0] + sizeof interfaceIds / sizeof interfaceIds[0];
    IMediaSample2* sample = nullptr;
    ICodecAPI* codecApi = nullptr;
    IKsPropertySet* properties = nullptr;
    WAVEFORMATEXTENSIBLE wave{};
    AM_MEDIA_TYPE type{};
    ALLOCATOR_PROPERTIES allocator{};
    CRITICAL_SECTION lock;
    InitializeCriticalSection(&lock);
    DeleteCriticalSection(&lock);
    volatile LONG counter = 0;
    InterlockedIncrement(&counter);
    VARIANT value;
    VariantInit(&value);
    VariantChangeType(&value, &value, 0, VT_BSTR);
    VariantClear(&value);
    (void)sample;
    (void)codecApi;
    (void)properties;
    size_t checksum = 0;
    for (const GUID* guid : mediaGuids)
        checksum += guid->Data1;
    for (const IID* iid : interfaceIds)
        checksum += iid->Data1;
    return static_cast<int>((count + checksum + sizeof wave + sizeof type + sizeof allocator +
                             platform::driveRoot().size()) &
                            1);
}
