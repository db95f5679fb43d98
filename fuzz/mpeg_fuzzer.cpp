// MPEG audio framing and decoding: AdecMPEG with its layer I/II frame decoder
// and layer III decoder object. The first byte picks the output sample size
// (small ones cut frames short), the second the size of the pieces the rest
// arrives in, as the filter's buffer would hand it over.
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "decoders/AdecMPEG.h"
#include "fuzz/decoder_feed.h"
#include "tests/support/media_types.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    static const size_t sampleSizes[4] = {16384, 4608, 1000, 9216};
    std::ostringstream log;
    AdecMPEG decoder(log);
    if (!decoder.init(waveType(MEDIATYPE_Audio, MEDIASUBTYPE_MP3, 0x55, 44100, 2, 0)))
        return 0;
    size_t piece = 1 + data[1] * 16;
    MemorySample out(sampleSizes[data[0] & 3]);
    feedPieces(decoder, data + 2, size - 2, piece, out);
    return 0;
}
