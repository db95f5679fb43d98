// AC-3 framing and decoding: AdecDolby with TvAc3Lib.dll. The first byte
// picks S/PDIF, a downmix and the output sample size, the second the size of
// the pieces the rest arrives in, as the filter's buffer would hand it over.
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "decoders/AdecDolby.h"
#include "fuzz/decoder_feed.h"
#include "tests/support/media_types.h"

namespace {

// Kept loaded so that each input's init finds the library in memory.
const HMODULE keepLoaded = LoadLibraryA(TAVIO_MODULE_DIR "/TvAc3Lib.dll");

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2 || !keepLoaded)
        return 0;
    static const uint32_t masks[8] = {0, 0x3, 0x4, 0x7, 0xB, 0x33, 0x37, 0x3F};
    std::ostringstream log;
    AdecDolby decoder(log, TAVIO_MODULE_DIR "/");
    decoder.setMixType(2, (data[0] & 0x10) ? 105 : 104, masks[(data[0] >> 1) & 7]);
    if (!decoder.init(waveType(MEDIATYPE_Audio, MEDIASUBTYPE_DOLBY_AC3, 0x2000, 48000, 2, 0)))
        return 0;
    decoder.setSpdif(data[0] & 1);
    size_t piece = 1 + data[1] * 16;
    MemorySample out((data[0] & 0x20) ? 4000 : 18432);
    feedPieces(decoder, data + 2, size - 2, piece, out);
    return 0;
}
