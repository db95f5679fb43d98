#include "decoders/AdecAMR.h"

#include <algorithm>

#include "conversion/output_parameters.h"
#include "core/media_subtypes.h"
#include "core/sibling_library.h"
#include "diagnostics/profiling.h"
#include "libs/TvAmrDec/tv_amr_dec.h"

namespace {

const char kLibraryName[] = "TvAmrDec.dll";

bool isWideband(const GUID& subtype)
{
    return IsEqualGUID(subtype, MEDIASUBTYPE_SAWB_AUDIO) ||
           IsEqualGUID(subtype, MEDIASUBTYPE_AMR_WB_AUDIO);
}

}  // namespace

AdecAMR::AdecAMR(std::ostream& log, const LibraryFolder& libraryFolder)
    : Adec(log), _libraryFolder(libraryFolder)
{
}

AdecAMR::~AdecAMR()
{
    if (_decoder)
        _decoder->Destroy(1);
    if (_module)
        FreeLibrary(_module);
}

bool AdecAMR::accepts(const CMediaType& mediaType)
{
    return IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_SAMR_AUDIO) || isWideband(mediaType.subtype);
}

TvStatus* AdecAMR::init(const CMediaType& mediaType)
{
    _mediaType = mediaType;
    if (!_decoder) {
        void* engine = nullptr;
        if (!OpenDll(_libraryFolder, kLibraryName, &_module, &engine))
            return nullptr;
        _decoder = static_cast<TvAmrDecoder*>(engine);
    }
    // Setting the band also starts the library's decoder afresh.
    _status.wideband = isWideband(mediaType.subtype) ? 1 : 0;
    _decoder->SetParam(kAmrWideband, &_status.wideband);
    readWaveFormat(mediaType, _status);
    _status.freq = _status.wideband ? 16000 : 8000;
    _status.chan = 1;
    _status.channelMask = 4;
    return &_status;
}

TvStatus* AdecAMR::process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out)
{
    TV_PROFILE_SCOPE("AdecAMR::process");
    int32_t size = static_cast<int32_t>(end - *readPtr);
    BYTE* pcm = nullptr;
    if (!_decoder || FAILED(out->GetPointer(&pcm)) || !pcm) {
        *readPtr = end;
        return nullptr;
    }
    _decoder->SetParam(kAmrInputSize, &size);
    // The library writes no further than the usable part of the sample: the
    // guard word behind it is checked at delivery.
    int32_t room = std::max(0, std::min<int32_t>(out->GetSize(), PoutputBufferSize()));
    _decoder->SetParam(kAmrOutputRoom, &room);
    int result = _decoder->Decode(*readPtr, reinterpret_cast<int16_t*>(pcm));
    *readPtr = end;
    if (result != 0)
        return nullptr;
    int32_t n = 0;
    _decoder->GetParam(kAmrOutputSize, &n);
    out->SetActualDataLength(n);
    _status.samples = n / _status.chan / 2;
    _status.iFrameSize = size;
    return &_status;
}
