#include "decoders/ac3_spdif.h"

#include <cstring>

namespace {

void putLittleEndian16(uint8_t* p, uint32_t value)
{
    p[0] = static_cast<uint8_t>(value & 0xFF);
    p[1] = static_cast<uint8_t>((value >> 8) & 0xFF);
}

}  // namespace

void writeAc3BurstPreamble(uint8_t* burst, int bsmod, int32_t payloadBytes)
{
    putLittleEndian16(burst + 0, 0xF872);                                        // Pa
    putLittleEndian16(burst + 2, 0x4E1F);                                        // Pb
    putLittleEndian16(burst + 4, (static_cast<uint32_t>(bsmod) << 8) | 0x01);    // Pc: AC-3
    putLittleEndian16(burst + 6, static_cast<uint32_t>(payloadBytes / 2 * 16));  // Pd: bits
}

void writeAc3Burst(uint8_t* burst, const uint8_t* frame, int32_t frameSize, int bsmod)
{
    writeAc3BurstPreamble(burst, bsmod, frameSize);
    std::memcpy(burst + kBurstPreambleBytes, frame, static_cast<size_t>(frameSize));
}
