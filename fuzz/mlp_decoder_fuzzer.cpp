// MLP decoder: AdecMLP with TvMlpDec.dll. The first byte picks the subtype
// (DVD-Audio or HD-DVD), the major type (packets with private headers or a
// plain stream), the stereo request and the output sample size; the second
// the packet size.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <vector>

#include "decoders/AdecMLP.h"
#include "fuzz/decoder_feed.h"
#include "tests/support/media_types.h"

namespace {

// Kept loaded so that each input's init finds the library in memory.
const HMODULE keepLoaded = LoadLibraryA(TAVIO_MODULE_DIR "/TvMlpDec.dll");

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2 || !keepLoaded)
        return 0;
    std::ostringstream log;
    AdecMLP decoder(log, TAVIO_MODULE_DIR "/");
    bool packets = data[0] & 2;
    CMediaType type =
        waveType(packets ? MEDIATYPE_MPEG2_PES : MEDIATYPE_Audio,
                 (data[0] & 1) ? MEDIASUBTYPE_HDDVD_AUDIO_MLP : MEDIASUBTYPE_DVDA_AUDIO_MLP, 0,
                 48000, WORD((data[0] >> 4) % 9), 24);
    decoder.setMixType(8, 104, (data[0] & 4) ? 0x3 : 0x3F);
    if (!decoder.init(type))
        return 0;
    // Room for one call of the library, or for three.
    static const size_t outputSizes[2] = {4804, 14412};
    MemorySample out(outputSizes[(data[0] >> 3) & 1]);
    // Pieces of 64 bytes and up: each call logs a line, and the tests feed
    // single bytes already.
    size_t piece = 64 + size_t(data[1]) * 16;
    std::vector<uint8_t> buffer;
    for (size_t offset = 2; offset < size; offset += piece) {
        const uint8_t* p = data + offset;
        const uint8_t* end = data + (offset + piece < size ? offset + piece : size);
        if (packets && !decoder.parsePacketHeader(&p, end))
            continue;
        buffer.insert(buffer.end(), p, end);
        takeFrames(decoder, buffer, out);
    }
    return 0;
}
