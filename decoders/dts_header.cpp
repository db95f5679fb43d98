#include "decoders/dts_header.h"

#include <cstring>

#include "core/bit_reader.h"

bool isDtsCoreSync(const uint8_t* p)
{
    return std::memcmp(p, kDtsCoreSync, sizeof kDtsCoreSync) == 0;
}

bool parseDtsHeader(const uint8_t* p, size_t available, DtsHeader& header)
{
    if (available < kDtsHeaderBytes || !isDtsCoreSync(p))
        return false;
    BitReader bits(p + 4, kDtsHeaderBytes - 4);
    header.ftype = int(bits.get(1));
    header.shortCount = int(bits.get(5));
    bits.skip(1);  // CPF: CRC present
    header.blocks = int(bits.get(7)) + 1;
    header.frameBytes = int(bits.get(14)) + 1;
    bits.skip(6);  // AMODE: the decoded layout tells the channels
    header.sfreq = int(bits.get(4));
    return true;
}

int32_t dtsSampleRate(int sfreq)
{
    static const int32_t rates[16] = {0,     8000, 16000, 32000, 0,     0,     11025, 22050,
                                      44100, 0,    0,     12000, 24000, 48000, 0,     0};
    return rates[sfreq & 15];
}

int32_t dtsFrameSamples(const DtsHeader& header)
{
    int32_t samples = header.blocks * 32;
    if (header.ftype == 0)
        samples -= header.shortCount + 1;
    return samples;
}
