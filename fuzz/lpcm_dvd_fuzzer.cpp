// DVD-Video / HD-DVD LPCM decoder: the first byte picks the packing and the
// stream parameters, the rest is split into packets whose private headers and
// audio go through the decoder as the filter would pass them.
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "decoders/AdecLpcmDvd.h"
#include "tests/support/memory_sample.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    std::ostringstream log;
    AdecLpcmDvd decoder(log);
    CMediaType type(&MEDIATYPE_MPEG2_PES);
    type.SetSubtype((data[0] & 1) ? &MEDIASUBTYPE_HDDVD_LPCM : &MEDIASUBTYPE_DVD_LPCM_AUDIO);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEX wave{WAVE_FORMAT_PCM, WORD(1 + (data[0] >> 1) % 8), 48000, 0, 0,
                      WORD((data[0] & 0x10) ? 24 : 16), 0};
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    decoder.init(type);
    MemorySample out(4096 + 4);
    size_t packetSize = 16 + data[1] * 8;
    for (size_t offset = 2; offset < size; offset += packetSize) {
        const uint8_t* p = data + offset;
        const uint8_t* end = data + (offset + packetSize < size ? offset + packetSize : size);
        if (!decoder.parsePacketHeader(&p, end))
            continue;
        decoder.process(&p, end, &out);
    }
    return 0;
}
