// Measuring and checking the library's frames: one AC-3 syncframe, or one
// E-AC-3 access unit of six audio blocks with its dependent and further
// independent substreams (tv_eac3_dec.h says why).
#pragma once

#include <cstddef>
#include <cstdint>

#include "decoders/eac3_header.h"

struct AccessUnit {
    DolbySyncFrame first;  // the first syncframe's header
    size_t bytes = 0;      // the whole unit; more than available when incomplete
    int32_t blocks = 0;
};

enum class MeasureResult { Whole, Incomplete, NoSync, BadHeader };

// Measures the frame at `p`, whose syncframes may each be in stream byte
// order or in little-endian words (told by their sync words). With
// `endsUnit` the bytes given are known to end with the unit (a frame handed
// over whole); otherwise an E-AC-3 unit is whole only once the header after
// it is readable.
MeasureResult measureAccessUnit(const uint8_t* p,
                                size_t available,
                                AccessUnit& unit,
                                bool endsUnit = false);

// Calls `visit(offset, header)` for each syncframe of a whole unit in stream
// byte order.
template <class Visit>
void forEachSyncFrame(const uint8_t* p, size_t bytes, Visit visit)
{
    size_t offset = 0;
    DolbySyncFrame frame;
    while (offset < bytes && parseDolbySyncFrame(p + offset, bytes - offset, frame) &&
           offset + static_cast<size_t>(frame.frameSize) <= bytes) {
        visit(offset, frame);
        offset += static_cast<size_t>(frame.frameSize);
    }
}

// True when every syncframe of the whole unit, in stream byte order or all in
// little-endian words, passes its CRCs: AC-3 crc1 over the first 5/8 of the
// frame and crc2 over the whole (A/52 5.4.1.2, 5.4.1.4), the E-AC-3 crc over
// the whole frame (Annex E).
bool checkAccessUnitCrcs(const uint8_t* p, size_t bytes, bool littleEndianWords = false);
