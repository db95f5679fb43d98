#include "libs/TvEac3Dec/access_unit.h"

#include <algorithm>

#include "core/bit_reader.h"
#include "libs/TvEac3Dec/dolby_crc.h"

namespace {

// Parses a header in stream byte order. Each frame is measured and checked
// through several entry points, so the last header's record is kept (by the
// thread) and handed back for the same bytes: the parse depends on nothing
// else.
bool parseHeaderOnce(const uint8_t (&header)[kDolbySyncHeaderBytes], DolbySyncFrame& frame)
{
    struct Last {
        uint8_t header[kDolbySyncHeaderBytes];
        bool valid = false;
        bool parsed;
        DolbySyncFrame frame;
    };
    thread_local Last last;
    if (!last.valid || !std::equal(header, header + kDolbySyncHeaderBytes, last.header)) {
        std::copy(header, header + kDolbySyncHeaderBytes, last.header);
        last.parsed = parseDolbySyncFrame(header, kDolbySyncHeaderBytes, last.frame);
        last.valid = true;
    }
    frame = last.frame;
    return last.parsed;
}

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
    return parseHeaderOnce(header, frame);
}

bool startsAccessUnit(const DolbySyncFrame& frame)
{
    return frame.strmtyp != kEac3Dependent && frame.substreamid == 0;
}

// The unit may not grow past what the library takes in one frame.
constexpr size_t kMaxUnitBytes = 65536;

// Reads the header of a syncframe in little-endian words only.
bool readSwappedHeader(const uint8_t* p, size_t available, DolbySyncFrame& frame)
{
    if (available < kDolbySyncHeaderBytes)
        return false;
    uint8_t header[kDolbySyncHeaderBytes];
    swapBytes16(header, p, kDolbySyncHeaderBytes / 2);
    return parseHeaderOnce(header, frame);
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

bool checkAccessUnitCrcs(const uint8_t* p, size_t bytes, bool littleEndianWords)
{
    size_t offset = 0;
    DolbySyncFrame frame;
    while (offset < bytes) {
        const uint8_t* f = p + offset;
        if (!(littleEndianWords ? readSwappedHeader(f, bytes - offset, frame)
                                : parseDolbySyncFrame(f, bytes - offset, frame)))
            return false;
        size_t size = static_cast<size_t>(frame.frameSize);
        if (size > bytes - offset)
            return false;
        // The CRC of everything after the sync word up to a check word,
        // that word included, is zero for an intact frame. AC-3's crc1 ends
        // the first 5/8 of the frame, so its CRC, zero, starts the rest's.
        size_t words = size / 2, firstPart = 1;
        if (!frame.eac3) {
            firstPart = (words >> 1) + (words >> 3);
            if (dolbyCrc16(f + 2, firstPart - 1, littleEndianWords) != 0)
                return false;
        }
        if (dolbyCrc16(f + 2 * firstPart, words - firstPart, littleEndianWords) != 0)
            return false;
        offset += size;
    }
    return bytes > 0;
}
