// AC-3 synchronisation frame headers (ATSC A/52 5.4.1 syncinfo, 5.4.2 bsi):
// the fields that framing, the status record, S/PDIF and the decoder
// libraries need. Pure: bytes in, a header record or "no frame here" out.
// The filter's decoders and the sibling libraries read headers only here.
#pragma once

#include <cstddef>
#include <cstdint>

struct Ac3Header {
    int32_t frameSize = 0;  // bytes
    bool complete = false;  // the whole frame lies in the bytes given
    int32_t freq = 0;       // reduced for bsid 9 and 10
    int32_t rateShift = 0;  // freq is the rate fscod names shifted down by this
    int32_t bsid = 0;
    int32_t bsmod = 0;
    int32_t acmod = 0;  // as delivered: karaoke streams (bsmod 7) count as 2/0
    int32_t dsurmod = 0;
    int32_t lfeon = 0;  // as delivered, like acmod
    // As coded, before the karaoke rule above.
    int32_t codedAcmod = 0;
    int32_t codedLfeon = 0;
    int32_t fscod = 0;
    // Mix level codes (A/52 5.4.2.4, 5.4.2.5); -1 when the mode has none.
    int32_t cmixlev = -1;
    int32_t surmixlev = -1;
    // Annex D (alternate bit-stream syntax, bsid 6) only.
    int32_t dmixmod = 0;
    int32_t dsurexmod = 0;
    int32_t dheadphonmod = 0;
    int32_t adconvtyp = 0;
};

// Parses the header at `p`. False when no frame starts here (no sync word,
// reserved sample rate or frame size code). A frame longer than `available`
// is still a frame: `complete` is false and only `frameSize` is filled.
// Reads no further than `available` bytes; fewer than 5 are no frame.
bool parseAc3Header(const uint8_t* p, size_t available, Ac3Header& header);

// Frame size in bytes for a sample-rate code (0..2) and frame size code
// (0..37), from A/52 Table 5.18; 0 for codes outside the table.
int32_t ac3FrameSize(int fscod, int frmsizecod);

// The speaker mask of an audio coding mode (0x8 added for the LFE channel);
// 0 for a mode outside 0..7.
uint32_t ac3ChannelMask(int acmod, bool lfeon);

// Bit rate of a frame rounded to a whole multiple of 64 kbit/s, as the
// stream information has always reported it.
int32_t ac3BitRate(int32_t frameSize, int32_t freq);
