// AMR through the filter's decoder: AdecAMR with TvAmrDec.dll. The first
// byte picks the subtype and the output sample size, the second the size of
// the inputs the rest arrives in, each handed over whole.
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "core/media_subtypes.h"
#include "decoders/AdecAMR.h"
#include "tests/support/media_types.h"
#include "tests/support/memory_sample.h"

namespace {

CMediaType amrType(const GUID& subtype)
{
    return waveType(MEDIATYPE_Audio, subtype, 0, 8000, 1, 16);
}

// Kept loaded so that each input's init finds the library in memory.
const HMODULE keepLoaded = LoadLibraryA(TAVIO_MODULE_DIR "/TvAmrDec.dll");

constexpr size_t kMaxInput = 16384;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // A few seconds of speech are ample; longer inputs only repeat the work.
    size = size < kMaxInput ? size : kMaxInput;
    if (size < 2 || !keepLoaded)
        return 0;
    static const GUID* const subtypes[3] = {&MEDIASUBTYPE_SAMR_AUDIO, &MEDIASUBTYPE_SAWB_AUDIO,
                                            &MEDIASUBTYPE_AMR_WB_AUDIO};
    std::ostringstream log;
    AdecAMR decoder(log, TAVIO_MODULE_DIR "/");
    if (!decoder.init(amrType(*subtypes[(data[0] & 3) % 3])))
        return 0;
    size_t sampleSize = (data[0] & 4) ? 1000 : 65536 + 4;
    size_t piece = 1 + data[1] * 8;
    MemorySample out(sampleSize);
    for (size_t offset = 2; offset < size; offset += piece) {
        const uint8_t* p = data + offset;
        decoder.process(&p, data + (offset + piece < size ? offset + piece : size), &out);
        out.SetActualDataLength(0);
    }
    return 0;
}
