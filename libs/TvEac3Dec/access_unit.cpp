#include "libs/TvEac3Dec/access_unit.h"

#include <algorithm>

extern "C" {
#include <libavutil/crc.h>
}

#include "core/bit_reader.h"

namespace {

// Reads the header of a syncframe in either byte order.
bool readHeader(const uint8_t* p, size_t available, DolbySyncFrame& frame)
{
    if (available < kDolbySyncHeaderBytes)
        return false;
    uint8_t header[kDolbySyncHeaderBytes];
    if (p[0] == 0x77 && p[1] == 0x0B)
        swapBytes16(header, p, kDolbySyncHeaderBytes / 2);
    else
        std::copy(p, p + kDolbySyncHeaderBytes, header);
    return parseDolbySyncFrame(header, kDolbySyncHeaderBytes, frame);
}

bool startsAccessUnit(const DolbySyncFrame& frame)
{
    return frame.strmtyp != kEac3Dependent && frame.substreamid == 0;
}

// The unit may not grow past what the library takes in one frame.
constexpr size_t kMaxUnitBytes = 65536;

uint16_t crc16(const uint8_t* p, size_t size)
{
    return static_cast<uint16_t>(av_crc(av_crc_get_table(AV_CRC_16_ANSI), 0, p, size));
}

}  // namespace

MeasureResult measureAccessUnit(const uint8_t* p, size_t available, AccessUnit& unit, bool endsUnit)
{
    unit = AccessUnit();
    if (available < kDolbySyncHeaderBytes ||
        !((p[0] == 0x0B && p[1] == 0x77) || (p[0] == 0x77 && p[1] == 0x0B)))
        return MeasureResult::NoSync;
    if (!readHeader(p, available, unit.first))
        return MeasureResult::BadHeader;
    size_t size = static_cast<size_t>(unit.first.frameSize);
    if (!unit.first.eac3) {
        unit.bytes = size;
        unit.blocks = 6;
        return size > available ? MeasureResult::Incomplete : MeasureResult::Whole;
    }
    if (!startsAccessUnit(unit.first))
        return MeasureResult::BadHeader;

    size_t offset = 0;
    DolbySyncFrame frame = unit.first;
    for (;;) {
        if (startsAccessUnit(frame))
            unit.blocks += frame.blocks;
        offset += static_cast<size_t>(frame.frameSize);
        if (endsUnit && offset == available)
            break;
        // The next header decides whether the unit goes on.
        if (offset + kDolbySyncHeaderBytes > available) {
            unit.bytes = offset + kDolbySyncHeaderBytes;
            return MeasureResult::Incomplete;
        }
        DolbySyncFrame next;
        if (!readHeader(p + offset, available - offset, next) || !next.eac3 ||
            (startsAccessUnit(next) && unit.blocks >= 6) ||
            offset + static_cast<size_t>(next.frameSize) > kMaxUnitBytes)
            break;
        frame = next;
    }
    unit.bytes = offset;
    return MeasureResult::Whole;
}

bool checkAccessUnitCrcs(const uint8_t* p, size_t bytes)
{
    bool ok = bytes > 0;
    size_t covered = 0;
    forEachSyncFrame(p, bytes, [&](size_t offset, const DolbySyncFrame& frame) {
        const uint8_t* f = p + offset;
        size_t size = static_cast<size_t>(frame.frameSize);
        covered = offset + size;
        // The CRC of everything after the sync word up to a check word,
        // that word included, is zero for an intact frame. AC-3's crc1 ends
        // the first 5/8 of the frame, so its CRC, zero, starts the rest's.
        size_t firstPart = 2;
        if (!frame.eac3) {
            size_t words = size / 2;
            firstPart = ((words >> 1) + (words >> 3)) * 2;
            if (crc16(f + 2, firstPart - 2) != 0)
                ok = false;
        }
        if (ok && crc16(f + firstPart, size - firstPart) != 0)
            ok = false;
    });
    return ok && covered == bytes;
}
