// The AC-3 header parser on hand-built headers: each way to fail, sizes and
// rates, and the alternate bit-stream syntax with its fixed 23-bit skip.
#include <gtest/gtest.h>

#include <vector>

#include "decoders/ac3_header.h"

namespace {

class BitWriter {
public:
    BitWriter& put(uint32_t value, int count)
    {
        for (int i = count - 1; i >= 0; --i) {
            if (bits_ % 8 == 0)
                bytes_.push_back(0);
            bytes_.back() |= uint8_t(((value >> i) & 1) << (7 - bits_ % 8));
            ++bits_;
        }
        return *this;
    }
    std::vector<uint8_t> frame(size_t size) const
    {
        std::vector<uint8_t> f = bytes_;
        f.resize(size, 0);
        return f;
    }

private:
    std::vector<uint8_t> bytes_;
    int bits_ = 0;
};

// Sync word, CRC, fscod, frmsizecod, bsid, bsmod, acmod.
BitWriter header(int fscod, int frmsizecod, int bsid, int bsmod, int acmod)
{
    BitWriter w;
    w.put(0x0B77, 16)
        .put(0, 16)
        .put(fscod, 2)
        .put(frmsizecod, 6)
        .put(bsid, 5)
        .put(bsmod, 3)
        .put(acmod, 3);
    return w;
}

TEST(Ac3Header, Table)
{
    struct Case {
        const char* what;
        std::vector<uint8_t> bytes;
        bool found;
        Ac3Header expected;
    } cases[] = {
        {"no sync word", BitWriter().put(0x0B78, 16).frame(128), false, {}},
        {"reserved sample rate", header(3, 8, 8, 0, 2).frame(128), false, {}},
        {"frame size code 38", header(0, 38, 8, 0, 2).frame(128), false, {}},
        {"incomplete frame", header(0, 30, 8, 0, 2).frame(100), true, {.frameSize = 1792}},
        {"2/0 with dsurmod, 48 kHz 448 kbit/s",
         header(0, 30, 8, 1, 2).put(2, 2).put(1, 1).frame(1792),
         true,
         {.frameSize = 1792,
          .complete = true,
          .freq = 48000,
          .bsid = 8,
          .bsmod = 1,
          .acmod = 2,
          .dsurmod = 2,
          .lfeon = 1}},
        {"3/2 skips both mix levels",
         header(2, 0, 8, 0, 7).put(3, 2).put(3, 2).put(1, 1).frame(192),
         true,
         {.frameSize = 192, .complete = true, .freq = 32000, .bsid = 8, .acmod = 7, .lfeon = 1}},
        {"44.1 kHz odd size code carries the extra word",
         header(1, 31, 8, 0, 1).put(0, 1).frame(4000),
         true,
         {.frameSize = 1952, .complete = true, .freq = 44100, .bsid = 8, .acmod = 1}},
        {"karaoke is delivered as 2/0 without LFE",
         header(0, 8, 8, 7, 7).put(0, 4).put(1, 1).frame(256),
         true,
         {.frameSize = 256, .complete = true, .freq = 48000, .bsid = 8, .bsmod = 7, .acmod = 2}},
        // Alternate syntax, 1+1: dialnorm, compr, langcod, no audprodi, then
        // 23 bits skipped even though their flags (all 0) say the fields are absent, audprodi2
        // absent, copyright and original, xbsi1 (dmixmod 2 + 12 bits), xbsi2 (3, 1, 1).
        {"alternate syntax, 1+1",
         header(0, 8, 6, 0, 0)
             .put(0, 1)
             .put(31, 5)
             .put(1, 1)
             .put(0xAA, 8)
             .put(1, 1)
             .put(0x55, 8)
             .put(0, 1)
             .put(0, 23)
             .put(0, 1)
             .put(3, 2)
             .put(1, 1)
             .put(2, 2)
             .put(0xFFF, 12)
             .put(1, 1)
             .put(3, 2)
             .put(1, 2)
             .put(1, 1)
             .frame(256),
         true,
         {.frameSize = 256,
          .complete = true,
          .freq = 48000,
          .bsid = 6,
          .acmod = 0,
          .dmixmod = 2,
          .dsurexmod = 3,
          .dheadphonmod = 1,
          .adconvtyp = 1}},
        {"alternate syntax, 2/0 without the second channel's fields",
         header(0, 8, 6, 0, 2)
             .put(1, 2)
             .put(0, 1)
             .put(31, 5)
             .put(0, 1)
             .put(0, 1)
             .put(1, 1)
             .put(0x7F, 7)
             .put(0, 2)
             .put(0, 1)
             .put(1, 1)
             .put(2, 2)
             .put(0, 2)
             .put(0, 1)
             .frame(256),
         true,
         {.frameSize = 256,
          .complete = true,
          .freq = 48000,
          .bsid = 6,
          .acmod = 2,
          .dsurmod = 1,
          .dsurexmod = 2}},
    };
    for (const Case& c : cases) {
        Ac3Header h;
        ASSERT_EQ(parseAc3Header(c.bytes.data(), c.bytes.size(), h), c.found) << c.what;
        if (!c.found)
            continue;
        const Ac3Header& e = c.expected;
        EXPECT_EQ(h.frameSize, e.frameSize) << c.what;
        EXPECT_EQ(h.complete, e.complete) << c.what;
        if (!e.complete)
            continue;
        EXPECT_EQ(h.freq, e.freq) << c.what;
        EXPECT_EQ(h.bsid, e.bsid) << c.what;
        EXPECT_EQ(h.bsmod, e.bsmod) << c.what;
        EXPECT_EQ(h.acmod, e.acmod) << c.what;
        EXPECT_EQ(h.dsurmod, e.dsurmod) << c.what;
        EXPECT_EQ(h.lfeon, e.lfeon) << c.what;
        EXPECT_EQ(h.dmixmod, e.dmixmod) << c.what;
        EXPECT_EQ(h.dsurexmod, e.dsurexmod) << c.what;
        EXPECT_EQ(h.dheadphonmod, e.dheadphonmod) << c.what;
        EXPECT_EQ(h.adconvtyp, e.adconvtyp) << c.what;
    }
}

TEST(Ac3Header, BitRateRoundsToMultiplesOf64k)
{
    EXPECT_EQ(ac3BitRate(1792, 48000), 448000);
    EXPECT_EQ(ac3BitRate(896, 48000), 256000);
    EXPECT_EQ(ac3BitRate(ac3FrameSize(2, 0), 32000), 64000);
}

}  // namespace
