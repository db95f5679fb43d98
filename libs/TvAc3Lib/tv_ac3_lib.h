// TvAc3Lib.dll: the AC-3 (ATSC A/52) decoder library that AdecDolby loads at
// run time. Built on libavcodec's AC-3 decoder; the downmix is our own matrix.
//
// Export (C linkage):
//   int AUDIODEC_Create(void** object)  -> 0 on success, *object a TvAc3Decoder*
//
// The object's operations, in slot order:
//   0 Destroy(flags)          flags & 1: delete the object; returns 0
//   1 Reset()                 forget the decoder's history (filter banks)
//   2 Decode(frame, output)   decodes one frame; 0 on success, non-zero for a
//                             frame that cannot be decoded (nothing written)
//   3 GetParam(number, value) reads back a parameter as SetParam took it
//   4 SetParam(number, value) 0 on success, non-zero for an unknown number or
//                             a value out of range (the parameter keeps its
//                             previous value)
//
// Decode: `frame` is one whole AC-3 frame as 16-bit little-endian words, that
// is with the two bytes of every big-endian stream word swapped (the sync word
// reads 0x0B77). Its length comes from its own header (frmsizecod), so the
// buffer must hold that many bytes: at most 3840. `output` receives 1536
// sample frames of interleaved signed 16-bit samples, one per output channel
// (parameters 8 and 9): at most 18432 bytes.
//
// Parameters (SetParam's value points to a 32-bit integer unless said):
//   1  dynamic range mode: 0 no compression (coded gain words ignored),
//      1 RF mode (heavy compression words, "compr"), 2 line mode (the coded
//      "dynrng" gain words, scaled by parameter 2). Default 2.
//   2  dynamic range scale, 0..128 (128 = the full coded gain). Default 128.
//   3  dialogue normalisation target in dBFS, -31..0; 0 = off (the stream's
//      own level). With -31 the dialogue level of every stream lands at
//      -31 dBFS. Default 0.
//   4  boost scale, 0..128. Kept and read back; libavcodec scales cut and
//      boost alike, by parameter 2. Default 128.
//   5  karaoke mode, 0..3: which guide vocals of a karaoke stream (bsmod 7)
//      to keep: 0 none, 1 the first (V1), 2 the second (V2), 3 both. The
//      vocals are the surround channels of a karaoke stream; dropped vocals
//      are muted before the downmix. Default 0 (sing along).
//   6  dual-mono mode for 1+1 streams (acmod 0): 0 both (Ch1 left, Ch2
//      right), 1 Ch1 on both sides, 2 Ch2 on both, 3 their mix on both
//      (-6 dB each). Default 0.
//   8  output mode, 0..7: the output layout as an acmod (A/52 Table 5.8):
//      1 1/0, 2 2/0 (Lo/Ro), 3 3/0, 4 2/1, 5 3/1, 6 2/2, 7 3/2; 0 is a Dolby
//      Surround compatible Lt/Rt stereo pair. Default 7.
//   9  output LFE channel, 0 or 1. Default 1.
//  10  routing row (value points to six 32-bit integers): output channel k
//      of the library goes to interleave position row[k]; positions outside
//      the output's channel count are not written. The library numbers its
//      channels for each output layout so that the standard rows below give
//      the WAVE order of the layout's speaker mask (FL FR FC LFE BL BR, BC
//      for a single surround):
//        acmod:      0,2: L - R - - LFE     1: - C - - - LFE
//                    3:   L R C - - LFE     4: L - R S - -   (LFE: L - R LFE - S)
//                    5:   L R C S - -       (LFE: L R C LFE - S)
//                    6:   L - R Ls Rs -     (LFE: L - R LFE Ls Rs)
//                    7:   L C R Ls Rs LFE
//        standard rows: 0 "0 3 1 4 5 2", 1 "2 0 3 4 5 1", 2 "0 3 1 4 5 2",
//        3 "0 1 2 4 5 3", 4 "0 4 1 2 5 3", 5 "0 1 2 3 5 4", 6 "0 5 1 2 3 4",
//        7 "0 2 1 3 4 5" (with LFE "0 2 1 4 5 3").
//      Default: the standard row of the default output mode.
//
// Downmix (ATSC A/52 7.8) whenever the output layout differs from the
// stream's: a missing centre goes to left and right at the stream's centre
// mix level (cmixlev); missing surrounds go to left and right at the
// surround mix level (surmixlev), a single surround at -3 dB below that on
// each side; two surrounds into one add at -3 dB, one into two is spread at
// -3 dB; mono output is the sum of the Lo/Ro pair. Lt/Rt (output mode 0):
// Lt = L + 0.707 C - 0.707 (Ls + Rs), Rt = R + 0.707 C + 0.707 (Ls + Rs), a
// single surround S entering as -0.707 S and +0.707 S; the 0.707 levels are
// fixed, not the stream's (A/52 7.8.2). The LFE channel is never
// mixed into others and keeps its level. The other rows of each matrix are
// scaled down alike, when needed, so that no output row's coefficients add up
// to more than 1 (no overload).
// Output samples are rounded to nearest and clipped.
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

struct TvAc3Decoder {
    virtual int STDMETHODCALLTYPE Destroy(int flags) = 0;
    virtual int STDMETHODCALLTYPE Reset() = 0;
    virtual int STDMETHODCALLTYPE Decode(const uint16_t* frame, int16_t* output) = 0;
    virtual int STDMETHODCALLTYPE GetParam(int number, void* value) = 0;
    virtual int STDMETHODCALLTYPE SetParam(int number, const void* value) = 0;
};

enum TvAc3Param {
    kAc3DynamicRangeMode = 1,
    kAc3DynamicRangeScale = 2,
    kAc3DialogueTarget = 3,
    kAc3BoostScale = 4,
    kAc3KaraokeMode = 5,
    kAc3DualMonoMode = 6,
    kAc3OutputMode = 8,
    kAc3OutputLfe = 9,
    kAc3Routing = 10,
};

// Largest frame (640 kbit/s at 44.1 kHz) and largest output of one frame.
constexpr int kAc3MaxFrameBytes = 3840;
constexpr int kAc3MaxOutputBytes = 1536 * 6 * 2;
