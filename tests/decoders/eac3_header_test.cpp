// Syncframe headers of both Dolby syntaxes, told apart by bsid: the ends of
// each bsid range, reduced and quarter rates, substream types and the frames
// too short to be one.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "decoders/eac3_header.h"
#include "support/bit_writer.h"

namespace eac3_header_rows {

// AC-3: sync, CRC, fscod, frmsizecod, bsid, bsmod, acmod (3/2 here: both mix
// levels), lfeon.
BitWriter ac3(int fscod, int frmsizecod, int bsid, int bsmod, int lfeon)
{
    BitWriter w;
    w.put(0x0B77, 16).put(0, 16).put(fscod, 2).put(frmsizecod, 6);
    return w.put(bsid, 5).put(bsmod, 3).put(7, 3).put(0, 4).put(lfeon, 1);
}

// E-AC-3: sync, strmtyp, substreamid, frmsiz, fscod, then fscod2 or
// numblkscod, acmod, lfeon, bsid.
BitWriter eac3(int strmtyp,
               int substream,
               int frmsiz,
               int fscod,
               int fscod2OrBlocks,
               int acmod,
               int lfeon,
               int bsid)
{
    BitWriter w;
    w.put(0x0B77, 16).put(strmtyp, 2).put(substream, 3).put(frmsiz, 11).put(fscod, 2);
    return w.put(fscod2OrBlocks, 2).put(acmod, 3).put(lfeon, 1).put(bsid, 5);
}

struct Expected {
    int32_t frameSize = 0;  // 0: no frame here
    bool eac3 = false;
    int32_t bsid = 0, strmtyp = 0, substreamid = 0, blocks = 0, freq = 0, bsmod = 0, acmod = 0,
            lfeon = 0;
    auto fields() const
    {
        return std::tie(frameSize, eac3, bsid, strmtyp, substreamid, blocks, freq, bsmod, acmod,
                        lfeon);
    }
};

struct Row {
    const char* what;
    std::vector<uint8_t> bytes;
    Expected expected;
};

// clang-format off
const Row kRows[] = {
    {"ac-3 3/2 with LFE", ac3(0, 30, 8, 1, 1).bytes(8), {1792, false, 8, 0, 0, 6, 48000, 1, 7, 1}},
    {"ac-3 bsid 9 is half rate", ac3(1, 8, 9, 0, 0).bytes(8), {278, false, 9, 0, 0, 6, 22050, 0, 7}},
    {"ac-3 bsid 10 is quarter rate", ac3(0, 8, 10, 0, 0).bytes(8), {256, false, 10, 0, 0, 6, 12000, 0, 7}},
    {"ac-3 reserved fscod", ac3(3, 8, 8, 0, 0).bytes(8), {}},
    {"ac-3 frame size code 38", ac3(0, 38, 8, 0, 0).bytes(8), {}},
    {"e-ac-3 bsid 11 is the first", eac3(0, 0, 383, 0, 3, 2, 0, 11).bytes(8), {768, true, 11, 0, 0, 6, 48000, 0, 2}},
    {"e-ac-3 dependent, 1 block, 44.1 kHz", eac3(1, 0, 63, 1, 0, 6, 1, 16).bytes(8), {128, true, 16, 1, 0, 1, 44100, 0, 6, 1}},
    {"e-ac-3 substream 7, 3 blocks, 32 kHz", eac3(2, 7, 2047, 2, 2, 1, 0, 16).bytes(8), {4096, true, 16, 2, 7, 3, 32000, 0, 1}},
    {"e-ac-3 reduced rate: 24 kHz, 6 blocks", eac3(0, 0, 63, 3, 0, 1, 0, 16).bytes(8), {128, true, 16, 0, 0, 6, 24000, 0, 1}},
    {"e-ac-3 reduced rate: 16 kHz", eac3(0, 0, 63, 3, 2, 1, 0, 16).bytes(8), {128, true, 16, 0, 0, 6, 16000, 0, 1}},
    {"e-ac-3 smallest frame: 8 bytes", eac3(0, 0, 3, 0, 3, 2, 0, 16).bytes(8), {8, true, 16, 0, 0, 6, 48000, 0, 2}},
    {"e-ac-3 frame shorter than its header", eac3(0, 0, 2, 0, 3, 2, 0, 16).bytes(8), {}},
    {"e-ac-3 reserved fscod2", eac3(0, 0, 63, 3, 3, 1, 0, 16).bytes(8), {}},
    {"e-ac-3 reserved stream type", eac3(3, 0, 383, 0, 3, 2, 0, 16).bytes(8), {}},
    {"bsid 17", eac3(0, 0, 383, 0, 3, 2, 0, 17).bytes(8), {}},
    {"no sync word", BitWriter().put(0x0B76, 16).bytes(8), {}},
    {"header cut short at the end of the buffer", eac3(0, 0, 383, 0, 3, 2, 0, 16).bytes(7), {}},
};
// clang-format on

TEST(DolbySyncFrame, Table)
{
    for (const Row& row : kRows) {
        DolbySyncFrame f;
        Expected got;
        if (parseDolbySyncFrame(row.bytes.data(), row.bytes.size(), f))
            got = {f.frameSize, f.eac3, f.bsid,  f.strmtyp, f.substreamid,
                   f.blocks,    f.freq, f.bsmod, f.acmod,   f.lfeon};
        EXPECT_EQ(got.fields(), row.expected.fields()) << row.what;
    }
}

}  // namespace eac3_header_rows
