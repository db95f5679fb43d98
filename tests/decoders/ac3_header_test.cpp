// The AC-3 header parser on headers built field by field: sizes and rates at
// the ends of their tables, each way to refuse, frames cut short, karaoke and
// the alternate bit-stream syntax with its fixed 23-bit skip.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "decoders/ac3_header.h"
#include "support/bit_writer.h"

namespace {

// Sync word, CRC, fscod, frmsizecod, bsid, bsmod, acmod.
BitWriter ac3(int fscod, int frmsizecod, int bsid, int bsmod, int acmod)
{
    BitWriter w;
    w.put(0x0B77, 16).put(0, 16).put(fscod, 2).put(frmsizecod, 6);
    return w.put(bsid, 5).put(bsmod, 3).put(acmod, 3);
}

// The alternate syntax's fields after lfeon. With `extras` compr, langcod and
// the mixing levels are present; 1+1 streams have 23 bits for the second
// channel that the parser skips whatever their flags say (all 0 here). An
// extended block is absent when its first field is -1.
BitWriter annexD(BitWriter w,
                 int acmod,
                 bool extras,
                 int dmixmod,
                 int dsurexmod,
                 int dheadphonmod,
                 int adconvtyp)
{
    w.put(31, 5);
    for (int i = 0; i < 2; ++i)
        extras ? w.put(1, 1).put(i ? 0x55 : 0xAA, 8) : w.put(0, 1);
    extras ? w.put(1, 1).put(0x7F, 7) : w.put(0, 1);
    if (acmod == 0)
        w.put(0, 23).put(0, 1);
    w.put(3, 2);
    dmixmod < 0 ? w.put(0, 1) : w.put(1, 1).put(dmixmod, 2).put(0xFFF, 12);
    dsurexmod < 0 ? w.put(0, 1)
                  : w.put(1, 1).put(dsurexmod, 2).put(dheadphonmod, 2).put(adconvtyp, 1);
    return w;
}

struct Expected {
    int32_t frameSize = 0;  // 0: no frame here
    bool complete = false;
    int32_t freq = 0, kbps = 0, bsid = 0, bsmod = 0, acmod = 0, lfeon = 0, dsurmod = 0;
    int32_t dmixmod = 0, dsurexmod = 0, dheadphonmod = 0, adconvtyp = 0;
    auto fields() const
    {
        return std::tie(frameSize, complete, freq, kbps, bsid, bsmod, acmod, lfeon, dsurmod,
                        dmixmod, dsurexmod, dheadphonmod, adconvtyp);
    }
};

struct Row {
    const char* what;
    std::vector<uint8_t> bytes;
    Expected expected;
};

// clang-format off
const Row kRows[] = {
    {"no sync word", BitWriter().put(0x0B78, 16).bytes(128), {}},
    {"reserved sample rate", ac3(3, 8, 8, 0, 2).bytes(128), {}},
    {"frame size code 38", ac3(0, 38, 8, 0, 2).bytes(4000), {}},
    {"largest code at 48 kHz", ac3(0, 37, 8, 0, 1).put(0, 1).bytes(2560), {2560, true, 48000, 640000, 8, 0, 1}},
    {"largest code at 44.1 kHz, odd: one word more", ac3(1, 37, 8, 0, 1).put(0, 1).bytes(2788), {2788, true, 44100, 640000, 8, 0, 1}},
    {"largest code at 32 kHz", ac3(2, 37, 8, 0, 1).put(0, 1).bytes(3840), {3840, true, 32000, 640000, 8, 0, 1}},
    {"smallest code at 44.1 kHz, reported as 0", ac3(1, 0, 8, 0, 1).put(0, 1).bytes(138), {138, true, 44100, 0, 8, 0, 1}},
    {"44.1 kHz 448 kbit/s odd code", ac3(1, 31, 8, 0, 1).put(0, 1).bytes(4000), {1952, true, 44100, 448000, 8, 0, 1}},
    {"one byte short of the frame", ac3(0, 30, 8, 0, 2).bytes(1791), {1792, false}},
    {"2/0 with dsurmod and LFE", ac3(0, 30, 8, 1, 2).put(2, 2).put(1, 1).bytes(1792), {1792, true, 48000, 448000, 8, 1, 2, 1, 2}},
    {"3/2 skips both mix levels", ac3(2, 0, 8, 0, 7).put(3, 2).put(3, 2).put(1, 1).bytes(192), {192, true, 32000, 64000, 8, 0, 7, 1}},
    {"3/0 skips the centre level", ac3(0, 8, 8, 0, 3).put(3, 2).put(1, 1).bytes(256), {256, true, 48000, 64000, 8, 0, 3, 1}},
    {"2/1 skips the surround level", ac3(0, 8, 8, 0, 4).put(3, 2).put(1, 1).bytes(256), {256, true, 48000, 64000, 8, 0, 4, 1}},
    {"karaoke is delivered as 2/0 without LFE", ac3(0, 8, 8, 7, 7).put(0, 4).put(1, 1).bytes(256), {256, true, 48000, 64000, 8, 7, 2}},
    {"alternate syntax, 1+1", annexD(ac3(0, 8, 6, 0, 0).put(0, 1), 0, true, 2, 3, 1, 1).bytes(256), {256, true, 48000, 64000, 6, 0, 0, 0, 0, 2, 3, 1, 1}},
    {"alternate syntax, 2/0, second block only", annexD(ac3(0, 8, 6, 0, 2).put(1, 2).put(0, 1), 2, false, -1, 2, 0, 0).bytes(256), {256, true, 48000, 64000, 6, 0, 2, 0, 1, 0, 2}},
    {"bsid 8 has no extended fields", annexD(ac3(0, 8, 8, 0, 2).put(1, 2).put(0, 1), 2, false, 2, 3, 1, 1).bytes(256), {256, true, 48000, 64000, 8, 0, 2, 0, 1}},
};
// clang-format on

TEST(Ac3Header, Table)
{
    for (const Row& row : kRows) {
        Ac3Header h;
        Expected got;
        // A frame cut short fills its size only: the other fields stay 0.
        if (parseAc3Header(row.bytes.data(), row.bytes.size(), h))
            got = {h.frameSize, h.complete, h.freq,      ac3BitRate(h.frameSize, h.freq),
                   h.bsid,      h.bsmod,    h.acmod,     h.lfeon,
                   h.dsurmod,   h.dmixmod,  h.dsurexmod, h.dheadphonmod,
                   h.adconvtyp};
        EXPECT_EQ(got.fields(), row.expected.fields()) << row.what;
    }
}

}  // namespace
