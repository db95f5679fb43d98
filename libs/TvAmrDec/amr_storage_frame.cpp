#include "libs/TvAmrDec/amr_storage_frame.h"

#include <cstring>
#include <string_view>

namespace {

// Speech bytes after the table-of-contents byte, per frame type (RFC 4867
// section 5.3; 3GPP TS 26.101 and TS 26.201 for the bit counts). 0 marks the
// types without speech bits.
constexpr uint8_t kNarrowbandBytes[16] = {12, 13, 15, 17, 19, 20, 26, 31, 5, 6, 5, 5, 0, 0, 0, 0};
constexpr uint8_t kWidebandBytes[16] = {17, 23, 32, 36, 40, 46, 50, 58, 60, 5, 0, 0, 0, 0, 0, 0};

// Narrow band: 9-11 are the SID frames of GSM-EFR, TDMA-EFR and PDC-EFR and
// 12-14 are reserved; the AMR decoder has no use for any of them.
bool narrowbandDropped(int type)
{
    return type >= 9 && type <= 14;
}

constexpr std::string_view kMagicLines[] = {"#!AMR\n", "#!AMR-WB\n"};

}  // namespace

AmrFrame amrFrame(uint8_t tableOfContents, bool wideband)
{
    // F (bit 7) is 0 in the storage format, where every frame has its own
    // byte; bits 1 and 0 are padding and 0.
    if ((tableOfContents & 0x83) != 0)
        return {AmrFrameKind::Invalid, 0};
    int type = (tableOfContents >> 3) & 0x0F;
    if (wideband)
        return {AmrFrameKind::Decoded, size_t(1) + kWidebandBytes[type]};
    return {narrowbandDropped(type) ? AmrFrameKind::Dropped : AmrFrameKind::Decoded,
            size_t(1) + kNarrowbandBytes[type]};
}

size_t amrMagicLength(const uint8_t* data, size_t size)
{
    bool incomplete = false;
    for (std::string_view magic : kMagicLines) {
        size_t n = size < magic.size() ? size : magic.size();
        if (std::memcmp(data, magic.data(), n) != 0)
            continue;
        if (n == magic.size())
            return n;
        incomplete = true;
    }
    return incomplete ? kAmrMagicIncomplete : 0;
}
