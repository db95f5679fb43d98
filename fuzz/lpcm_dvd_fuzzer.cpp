// DVD-Video / HD-DVD LPCM decoder: the first byte picks the packing and the
// stream parameters, the rest is split into packets whose private headers and
// audio go through the decoder as the filter would pass them.
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "decoders/AdecLpcmDvd.h"
#include "fuzz/decoder_feed.h"
#include "tests/support/media_types.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    std::ostringstream log;
    AdecLpcmDvd decoder(log);
    CMediaType type = waveType(
        MEDIATYPE_MPEG2_PES, (data[0] & 1) ? MEDIASUBTYPE_HDDVD_LPCM : MEDIASUBTYPE_DVD_LPCM_AUDIO,
        WAVE_FORMAT_PCM, 48000, WORD(1 + (data[0] >> 1) % 8), WORD((data[0] & 0x10) ? 24 : 16));
    decoder.init(type);
    feedPackets(decoder, data + 2, size - 2, 16 + data[1] * 8);
    return 0;
}
