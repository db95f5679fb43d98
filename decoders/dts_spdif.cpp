#include "decoders/dts_spdif.h"

#include <cstring>

#include "config/util.h"
#include "core/bit_reader.h"

namespace {

void putBigEndian16(uint8_t* p, uint32_t value)
{
    p[0] = uint8_t((value >> 8) & 0xFF);
    p[1] = uint8_t(value & 0xFF);
}

constexpr int32_t kDtsTypeOne = 11;
constexpr int32_t kDtsTypeTwo = 12;
constexpr int32_t kDtsTypeThree = 13;

}  // namespace

int32_t dtsSpdifDataType(int32_t samples)
{
    if (PcompatQuirks())
        return kDtsTypeOne;
    switch (samples) {
        case 1024:
            return kDtsTypeTwo;
        case 2048:
            return kDtsTypeThree;
        default:
            return kDtsTypeOne;
    }
}

void writeDtsBurst(uint8_t* burst,
                   size_t burstBytes,
                   int32_t dataType,
                   const uint8_t* frame,
                   int32_t frameSize)
{
    putBigEndian16(burst + 0, 0xF872);                            // Pa
    putBigEndian16(burst + 2, 0x4E1F);                            // Pb
    putBigEndian16(burst + 4, uint32_t(dataType));                // Pc
    putBigEndian16(burst + 6, uint32_t(frameSize) * 8 & 0xFFFF);  // Pd: bits
    std::memcpy(burst + 8, frame, size_t(frameSize));
    std::memset(burst + 8 + frameSize, 0, burstBytes - 8 - size_t(frameSize));
    swapBytes16(burst, burst, (size_t(frameSize) + 8) / 2);
}
