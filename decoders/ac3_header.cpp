#define TV_ASSERT_SOURCE "AdecDolby"  // the header parser reports as its decoder
#include "decoders/ac3_header.h"

#include "core/bit_reader.h"

namespace {

// Nominal bit rates in kbit/s, one per pair of frame size codes (A/52 Table 5.18).
constexpr int32_t kBitRates[19] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                   192, 224, 256, 320, 384, 448, 512, 576, 640};

constexpr uint32_t kAcmodMasks[8] = {0x3, 0x4, 0x3, 0x7, 0x103, 0x107, 0x33, 0x37};

}  // namespace

int32_t ac3FrameSize(int fscod, int frmsizecod)
{
    if (fscod < 0 || fscod > 2 || frmsizecod < 0 || frmsizecod >= 38)
        return 0;
    int32_t rate = kBitRates[frmsizecod / 2];
    int32_t words = 0;
    switch (fscod) {
        case 0:  // 48 kHz: 1536 samples last 32 ms
            words = 2 * rate;
            break;
        case 1:  // 44.1 kHz: not a whole number of words; odd codes carry the extra word
            words = rate * 960 / 441 + (frmsizecod & 1);
            break;
        case 2:  // 32 kHz
            words = 3 * rate;
            break;
    }
    return 2 * words;
}

uint32_t ac3ChannelMask(int acmod, bool lfeon)
{
    if (acmod < 0 || acmod > 7)
        return 0;
    return kAcmodMasks[acmod] | (lfeon ? 0x8u : 0u);
}

int32_t ac3BitRate(int32_t frameSize, int32_t freq)
{
    int32_t exact = static_cast<int32_t>(int64_t(frameSize) * freq * 8 / 1536);
    return 64000 * ((exact + 32000) / 64000);
}

bool parseAc3Header(const uint8_t* p, size_t available, Ac3Header& header)
{
    // Sync word, then fscod and frmsizecod in byte 4.
    if (available < 5 || p[0] != 0x0B || p[1] != 0x77)
        return false;
    BitReader bits(p + 4, available - 4);
    int fscod = static_cast<int>(bits.get(2));
    int frmsizecod = static_cast<int>(bits.get(6));
    if (fscod == 3 || frmsizecod >= 38)
        return false;
    header = Ac3Header();
    header.fscod = fscod;
    header.frameSize = ac3FrameSize(fscod, frmsizecod);
    if (static_cast<size_t>(header.frameSize) > available)
        return true;
    header.complete = true;

    header.bsid = static_cast<int32_t>(bits.get(5));
    header.bsmod = static_cast<int32_t>(bits.get(3));
    header.acmod = static_cast<int32_t>(bits.get(3));
    if ((header.acmod & 1) && header.acmod != 1)
        header.cmixlev = static_cast<int32_t>(bits.get(2));
    if (header.acmod & 4)
        header.surmixlev = static_cast<int32_t>(bits.get(2));
    if (header.acmod == 2)
        header.dsurmod = static_cast<int32_t>(bits.get(2));
    header.lfeon = static_cast<int32_t>(bits.get(1));

    if (header.bsid == 6) {
        bits.skip(5);  // dialnorm
        for (int i = 0; i < 2; ++i)
            if (bits.get(1))
                bits.skip(8);  // compr, then langcod
        if (bits.get(1))
            bits.skip(7);  // mixlevel, roomtyp
        if (header.acmod == 0) {
            // dialnorm2 and both optional second-channel fields, counted as
            // present whatever their flags say.
            bits.skip(23);
            if (bits.get(1))
                bits.skip(7);
        }
        bits.skip(2);  // copyrightb, origbs
        if (bits.get(1)) {
            header.dmixmod = static_cast<int32_t>(bits.get(2));
            bits.skip(12);  // Lt/Rt and Lo/Ro mix levels
        }
        if (bits.get(1)) {
            header.dsurexmod = static_cast<int32_t>(bits.get(2));
            header.dheadphonmod = static_cast<int32_t>(bits.get(2));
            header.adconvtyp = static_cast<int32_t>(bits.get(1));
        }
    }

    static constexpr int32_t kRates[3] = {48000, 44100, 32000};
    // bsid 9 and 10 are the half- and quarter-rate AC-3 of A/52 Annex E: the
    // same frame at the rate fscod names divided by 2 or 4.
    header.rateShift = header.bsid > 8 ? header.bsid - 8 : 0;
    header.freq = kRates[fscod] >> header.rateShift;
    header.codedAcmod = header.acmod;
    header.codedLfeon = header.lfeon;
    if (header.bsmod == 7) {
        // Karaoke streams are delivered as their 2/0 music pair.
        header.acmod = 2;
        header.lfeon = 0;
    }
    return true;
}
