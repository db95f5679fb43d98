// DVD-Audio LPCM decoder: the first byte picks the media type and the format
// block's layout, the second the packet size; each packet's private header and
// audio go through the decoder as the filter would pass them.
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "decoders/AdecLPCM.h"
#include "fuzz/decoder_feed.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    std::ostringstream log;
    AdecLPCM decoder(log);
    CMediaType type((data[0] & 1) ? &MEDIATYPE_Audio : &MEDIATYPE_MPEG2_PES);
    type.SetSubtype((data[0] & 2) ? &MEDIASUBTYPE_DVD_LPCM_AUDIO : &MEDIASUBTYPE_DVDA_AUDIO_LPCM);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    static const WORD bits[4] = {16, 20, 24, 8};
    WAVEFORMATEX wave{
        WAVE_FORMAT_PCM, WORD((data[0] >> 2) % 9), 48000, 0, 0, bits[(data[0] >> 6) & 3], 0};
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    decoder.init(type);
    feedPackets(decoder, data + 2, size - 2, 8 + data[1] * 8);
    return 0;
}
