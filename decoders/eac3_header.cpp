#include "decoders/eac3_header.h"

#include "core/bit_reader.h"
#include "decoders/ac3_header.h"

namespace {

constexpr int32_t kRates[3] = {48000, 44100, 32000};
constexpr int32_t kBlocks[4] = {1, 2, 3, 6};

bool parseAc3SyncFrame(const uint8_t* p, DolbySyncFrame& frame)
{
    Ac3Header header;
    // Only the header is read: the frame need not be all there.
    if (!parseAc3Header(p, kDolbySyncHeaderBytes, header))
        return false;
    frame.frameSize = header.frameSize;
    BitReader bits(p + 4, kDolbySyncHeaderBytes - 4);
    int fscod = static_cast<int>(bits.get(2));
    bits.skip(6);
    frame.bsid = static_cast<int32_t>(bits.get(5));
    frame.bsmod = static_cast<int32_t>(bits.get(3));
    frame.acmod = static_cast<int32_t>(bits.get(3));
    if ((frame.acmod & 1) && frame.acmod != 1)
        bits.skip(2);
    if (frame.acmod & 4)
        bits.skip(2);
    if (frame.acmod == 2)
        bits.skip(2);
    frame.lfeon = static_cast<int32_t>(bits.get(1));
    // bsid 9 and 10 are the half- and quarter-rate AC-3 of Annex E.
    frame.freq = kRates[fscod] >> (frame.bsid > 8 ? frame.bsid - 8 : 0);
    return true;
}

bool parseEac3SyncFrame(const uint8_t* p, DolbySyncFrame& frame)
{
    BitReader bits(p + 2, kDolbySyncHeaderBytes - 2);
    frame.eac3 = true;
    frame.strmtyp = static_cast<int32_t>(bits.get(2));
    frame.substreamid = static_cast<int32_t>(bits.get(3));
    frame.frameSize = (static_cast<int32_t>(bits.get(11)) + 1) * 2;
    int fscod = static_cast<int>(bits.get(2));
    if (fscod == 3) {
        int fscod2 = static_cast<int>(bits.get(2));
        if (fscod2 == 3)
            return false;
        frame.freq = kRates[fscod2] / 2;
        frame.blocks = 6;
    } else {
        frame.freq = kRates[fscod];
        frame.blocks = kBlocks[bits.get(2)];
    }
    frame.acmod = static_cast<int32_t>(bits.get(3));
    frame.lfeon = static_cast<int32_t>(bits.get(1));
    frame.bsid = static_cast<int32_t>(bits.get(5));
    // Reserved stream type; a frame shorter than its own header.
    return frame.strmtyp != 3 && frame.frameSize >= 8;
}

}  // namespace

bool parseDolbySyncFrame(const uint8_t* p, size_t available, DolbySyncFrame& frame)
{
    if (available < kDolbySyncHeaderBytes || p[0] != 0x0B || p[1] != 0x77)
        return false;
    frame = DolbySyncFrame();
    int bsid = p[5] >> 3;
    if (bsid <= 10)
        return parseAc3SyncFrame(p, frame);
    if (bsid <= 16)
        return parseEac3SyncFrame(p, frame);
    return false;
}
