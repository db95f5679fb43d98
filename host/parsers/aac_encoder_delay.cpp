#include "host/parsers/aac_encoder_delay.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

constexpr unsigned kFillElement = 6;  // ID_FIL (ISO/IEC 14496-3 4.5.2.1)
constexpr uint32_t kFaacPriming = 1024;

}  // namespace

uint32_t announcedPrimingFrames(const uint8_t* unit, size_t size)
{
    if (size < 2 || unsigned(unit[0] >> 5) != kFillElement)
        return 0;
    // The element's byte count: 4 bits, and an escape byte after 15.
    size_t count = (unit[0] >> 1) & 0xF;
    if (count == 15)
        count += size_t(((unit[0] & 1) << 7) | (unit[1] >> 1)) - 1;
    // The name lies within the element's payload, which starts in the
    // first or second byte; FAAC puts it on a byte boundary.
    const size_t end = std::min(size, count + 3);
    static constexpr char kName[] = "libfaac ";
    const size_t nameLength = sizeof kName - 1;
    for (size_t at = 1; at + nameLength + 3 <= end; ++at) {
        const uint8_t* p = unit + at;
        if (std::memcmp(p, kName, nameLength) != 0)
            continue;
        p += nameLength;
        // A version follows: major.minor.
        if (std::isdigit(p[0]) && p[1] == '.' && std::isdigit(p[2]))
            return kFaacPriming;
    }
    return 0;
}
