// TvAmrDec.dll: the AMR speech decoder library that AdecAMR loads at run
// time. Narrow band (8000 Hz) on opencore-amrnb, wide band (16000 Hz) on
// opencore-amrwb.
//
// Export (C linkage):
//   int AUDIODEC_Create(void** object)  -> 0 on success, *object a TvAmrDecoder*
//   A new object decodes narrow band.
//
// The object's operations, in slot order:
//   0 Destroy(flags)          flags & 1: delete the object; returns 0
//   1 Reset()                 starts the current band afresh, as parameter 34
//   2 Decode(input, output)   decodes the parameter-15 bytes at `input`;
//                             0 when at least one frame was written to
//                             `output` (count: parameter 16), 1 when nothing
//                             was (no whole frame yet, or only dropped ones),
//                             -1 for a null pointer
//   3 GetParam(id, value)     reads a parameter; 0, or -1 for an unknown id
//   4 SetParam(id, value)     0, or -1 for an unknown id or a value out of
//                             range (the parameter keeps its value)
//
// Input: AMR frames in the storage format of RFC 4867 section 5, which is
// the body of .amr/.awb files and the sample format of AMR in 3GP/MP4
// (3GPP TS 26.244): each frame is a table-of-contents byte (F bit 0, four
// bits of frame type FT, the Q bit, two padding bits 0) and the speech bits
// of its type, padded to whole bytes. One input may hold any number of
// frames. A frame cut by the end of an input is kept and completed by the
// start of the next, so an input may be cut anywhere. The file's magic line
// ("#!AMR\n" or "#!AMR-WB\n") is skipped where the decoder starts afresh.
//
// Frame types, speech bytes after the table-of-contents byte:
//   narrow band: 0-7 speech 4.75 .. 12.2 kbit/s (12 13 15 17 19 20 26 31),
//                8 SID (5), 15 NO_DATA (0);
//                9-11 (5 6 5: other codecs' SID) and 12-14 (0: future use)
//                are not AMR: consumed and dropped without output, as
//                opencore refuses them;
//   wide band:   0-8 speech 6.60 .. 23.85 kbit/s (17 23 32 36 40 46 50 58
//                60), 9 SID (5), 14 SPEECH_LOST (0), 15 NO_DATA (0);
//                10-13 (0: future use) are decoded as NO_DATA, as opencore
//                does.
// SID, NO_DATA and SPEECH_LOST frames give a whole frame of the codec's
// comfort noise or concealment, so the output keeps the stream's timing. The
// Q bit is not looked at (as in opencore's interface). A table-of-contents
// byte with its F bit or a padding bit set cannot start a storage-format
// frame: the decoder has lost the frame boundaries, and drops the rest of
// that input with any frame it kept, to start again at the next input.
//
// Output: signed 16-bit mono samples in host order, 160 per narrow-band frame
// (320 bytes) and 320 per wide-band frame (640 bytes, 14 significant bits as
// the codec gives them). Decode writes the frames that fit the output room
// (parameter 17); whole frames that do not fit are kept and written first by
// the next Decode. At most kAmrMaxKeptBytes of input are kept: an input that
// would keep more is dropped from the first frame that did not fit.
//
// Parameters:
//  15 input size (set, 32-bit): bytes at `input` for the next Decode, >= 0.
//  16 output size (get, 32-bit): bytes written by the last Decode; 0 after a
//     Decode that returned non-zero.
//  17 output room (set and get, 32-bit): bytes Decode may write at `output`,
//     >= 0. Default kAmrDefaultOutputRoom.
//  34 wide band (set and get, one byte): 1 wide band, 0 narrow band. Setting
//     it starts the decoder afresh: the codec's history, any frame kept and
//     the magic-line check all start again.
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

struct TvAmrDecoder {
    virtual int STDMETHODCALLTYPE Destroy(int flags) = 0;
    virtual int STDMETHODCALLTYPE Reset() = 0;
    virtual int STDMETHODCALLTYPE Decode(const uint8_t* input, int16_t* output) = 0;
    virtual int STDMETHODCALLTYPE GetParam(int id, void* value) = 0;
    virtual int STDMETHODCALLTYPE SetParam(int id, const void* value) = 0;
};

enum TvAmrParam {
    kAmrInputSize = 15,
    kAmrOutputSize = 16,
    kAmrOutputRoom = 17,
    kAmrWideband = 34,
};

constexpr int kAmrNarrowbandFrameBytes = 160 * 2;
constexpr int kAmrWidebandFrameBytes = 320 * 2;
constexpr int kAmrDefaultOutputRoom = 65536;
constexpr int kAmrMaxKeptBytes = 65536;
