// AC-3 and E-AC-3 framing, decoding and conversion: AdecDDPlus with
// TvEac3Dec.dll. The first byte picks S/PDIF, a downmix, the karaoke mode and
// the output sample size, the second the size of the pieces the rest arrives
// in, as the filter's buffer would hand it over.
#include <cstddef>
#include <cstdint>
#include <ostream>

#include "decoders/AdecDDPlus.h"
#include "fuzz/decoder_feed.h"
#include "tests/support/media_types.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    static const uint32_t masks[8] = {0, 0x3, 0x4, 0x7, 0xB, 0x33, 0x37, 0x3F};
    // One decoder for the whole run, as the filter keeps it: init starts it
    // afresh. Its log goes nowhere, so that it does not grow from run to run.
    static std::ostream log(nullptr);
    static AdecDDPlus decoder(log, TAVIO_MODULE_DIR "/");
    decoder.setMixType(2, (data[0] & 0x10) ? 105 : 104, masks[(data[0] >> 1) & 7]);
    if (!decoder.init(waveType(MEDIATYPE_Audio, MEDIASUBTYPE_DOLBY_AC3, 0x2000, 48000, 2, 0)))
        return 0;
    decoder.setSpdif(data[0] & 1);
    decoder.setKaraokeMode((data[0] >> 6) & 3);
    size_t piece = 1 + data[1] * 16;
    MemorySample out((data[0] & 0x20) ? 6144 : 36864);
    feedPieces(decoder, data + 2, size - 2, piece, out);
    return 0;
}
