// Syncframe headers of both Dolby Digital syntaxes: AC-3 (ATSC A/52 5.4) and
// E-AC-3 (A/52 Annex E, E.1.2). The bit-stream identification sits at the
// same place in both (byte 5, high 5 bits), which tells them apart: up to 10
// AC-3, 11 to 16 E-AC-3. Pure: bytes in, a record or "no frame here" out.
#pragma once

#include <cstddef>
#include <cstdint>

// E-AC-3 substream types (Annex E, Table E1.1).
enum Eac3StreamType : int32_t {
    kEac3Independent = 0,
    kEac3Dependent = 1,
    kEac3ConvertedAc3 = 2,  // an independent substream made from AC-3
};

struct DolbySyncFrame {
    int32_t frameSize = 0;  // bytes
    int32_t bsid = 0;
    bool eac3 = false;
    int32_t strmtyp = kEac3Independent;  // AC-3 frames count as independent
    int32_t substreamid = 0;
    int32_t blocks = 6;  // audio blocks of 256 samples
    int32_t freq = 0;
    int32_t bsmod = 0;  // AC-3 only (E-AC-3 carries it among optional fields)
    int32_t acmod = 0;  // as coded
    int32_t lfeon = 0;
};

// Bytes a syncframe header needs for parseDolbySyncFrame.
constexpr size_t kDolbySyncHeaderBytes = 8;

// Reads the syncframe header at `p` (at least kDolbySyncHeaderBytes
// readable): false when no frame starts here (no sync word, reserved codes,
// a bsid of neither syntax). The frame may be longer than what is readable.
bool parseDolbySyncFrame(const uint8_t* p, size_t available, DolbySyncFrame& frame);
