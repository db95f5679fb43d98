// TvEac3Dec.dll: the Dolby Digital Plus library that AdecDDPlus binds by name.
// It decodes AC-3 and E-AC-3 (ATSC A/52 and its Annex E) with libavcodec's
// E-AC-3 decoder, downmixes like TvAc3Lib, and converts E-AC-3 into AC-3
// frames (libavcodec's AC-3 encoder, 640 kbit/s) for S/PDIF pass-through.
//
// Exports (C linkage), each returning a 16-bit error code, 0 = success:
//   ddpi_dcv_query(size)                 -> *size = bytes of instance memory
//   ddpi_dcv_open(instance)              starts an instance in that memory
//   ddpi_dcv_close(instance)             stops it (the memory stays the caller's)
//   ddpi_dcv_setprocessparam(instance, number, value)
//   ddpi_dcv_getprocessparam(instance, number, value)
//   ddpi_dcv_getframeparam(frame, params)   measures a frame (no instance)
//   ddpi_dcv_checkframe(frame)              validates a whole frame (no instance)
//   ddpi_dcv_processframe(instance, frame, output)
//
// Instance memory: the caller allocates `size` bytes aligned for any type
// (malloc, operator new) and keeps them from open to close; one instance per
// block. An instance is used by one thread at a time.
//
// Frames are handed over as 16-bit little-endian words, that is with the two
// bytes of every big-endian stream word swapped (the sync word reads 0x0B77),
// through a ddpi_frame_desc: the words and how many of them are readable
// (given twice, as the count and the capacity of the buffer).
//
// What a "frame" is: for AC-3 (bsid up to 10) one syncframe. For E-AC-3 one
// access unit of 1536 samples: the independent substream 0 syncframes that
// make six audio blocks (one frame of 6 blocks, or 2, 3 or 6 frames of 3, 2 or
// 1), each with the dependent substreams and further independent substreams
// that follow it. That keeps one S/PDIF burst per 1536 samples whatever the
// stream's frame size and substreams, which the receiver's clock needs.
// getframeparam reads the first syncframe's header in little-endian words and
// the headers after it in either byte order (each syncframe's own sync word
// tells which), so a caller may swap only the frame's start before asking.
// Whether another dependent substream follows can only be known from the
// next header: an E-AC-3 access unit is reported complete only when the 8
// bytes after it are readable too (a stream's last access unit therefore
// waits for data that never comes, and is not converted).
//
// Error codes:
enum DdpiError : short {
    kDdpiOk = 0,
    kDdpiNullArgument = 1,
    kDdpiNoSync = 2,          // no syncframe at the start of the frame
    kDdpiBadHeader = 3,       // reserved codes, a bsid of neither syntax, or an
                              // access unit that does not start with substream 0
    kDdpiCrcError = 4,        // crc1/crc2 (AC-3) or the E-AC-3 crc does not check
    kDdpiUnknownParam = 5,    // a processing parameter number outside 0..9
    kDdpiBadValue = 6,        // a value out of range (the parameter keeps its value)
    kDdpiDecodeError = 7,     // libavcodec refused the frame
    kDdpiEncodeError = 8,     // the AC-3 encoder refused the audio (e.g. 24 kHz)
    kDdpiBufferTooSmall = 9,  // an output buffer or descriptor cannot hold the frame
    kDdpiNotOpen = 10,        // the instance is not open, or it failed to start
};
//
// Processing parameters (value points to the type named; read back alike):
//   0  output mode, int32 1..7: the output layout as an AC-3 acmod (A/52
//      Table 5.8: 1 1/0, 2 2/0, 3 3/0, 4 2/1, 5 3/1, 6 2/2, 7 3/2). Default 7.
//   1  output LFE channel, int32 0 or 1. Default 1.
//   2  dynamic range mode, int32: 0 none, 1 RF ("compr" words), 2 line
//      ("dynrng" words, scaled by parameter 5). Default 2.
//   3  stereo downmix, int32 for output mode 2: 0 or 2 Lo/Ro, 1 Lt/Rt (Dolby
//      Surround compatible, A/52 7.8.2). Default 0.
//   4  dialogue normalisation target in dBFS, double -31..0; 0 = the
//      stream's own level. Default 0.
//   5  dynamic range cut scale, double 0..1. Default 1.
//   6  dynamic range boost scale, double 0..1. Kept and read back;
//      libavcodec scales cut and boost alike, by parameter 5. Default 1.
//   7  output gain, float 0..1: every sample is multiplied by it. Default 1.
//   8  dual-mono mode for 1+1 streams, int32: 0 both (Ch1 left, Ch2 right),
//      1 Ch1 on both sides, 2 Ch2 on both, 3 their mix. Default 0.
//   9  karaoke coefficients (A/52 Annex C), six doubles for streams with bsmod
//      7, whose surrounds carry the guide vocals V1 (Ls, or the single
//      surround) and V2 (Rs): [0] V1 level, [1] V1 level added to the right
//      side, [2] V2 level, [3] V2 level added to the left side (negative:
//      phase-inverted), [4] level of the music and melody (L, R, C), [5]
//      reserved, 0. Each entry -1..1. Default {0, 0, 0, 0, 1, 0}: music only.
//
// Output channels of a decode, numbered per output mode as in TvAc3Lib (see
// tv_ac3_lib.h, parameter 10), so that a caller's routing row puts channel k
// at interleave position row[k] and the standard rows give WAVE order:
//   0,2: L - R - - LFE    1: - C - - - LFE    3: L R C - - LFE
//   4: L - R S - -   (LFE: L - R LFE - S)     5: L R C S - -  (LFE: L R C LFE - S)
//   6: L - R Ls Rs - (LFE: L - R LFE Ls Rs)   7: L C R Ls Rs LFE
// Downmix, karaoke and dual-mono as TvAc3Lib (A/52 7.8), in float; the
// samples are written as doubles, full scale 1.0, not clipped (or as clamped
// floats, see pp_bufdesc).
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

struct ddpi_frame_desc {
    const int16_t* words;  // the frame in little-endian words
    uint32_t nwords;       // readable words
    uint32_t capacity;     // the same count, as the buffer's size
};

struct ddpi_frame_params {
    int32_t bsid;        // of the first syncframe: AC-3 up to 10, E-AC-3 11..16
    int32_t frameWords;  // the frame's length in 16-bit words
    int32_t blocks;      // audio blocks of 256 samples (6 for a whole frame)
    int32_t acmod;       // as delivered: karaoke (bsmod 7) AC-3 counts as 2/0
    int32_t lfeon;
};

// One output channel: samples[n * stride] for n below nsamples.
struct pp_bufdesc {
    double* samples;
    int32_t capacity;  // samples the channel can hold (1536 for a frame)
    int32_t stride;    // samples between consecutive samples of the channel
    int32_t nsamples;  // written by processframe
    // When set, the channel is written here instead, as floats clamped to
    // full scale (NaN kept), with the same capacity and stride: a caller
    // that plays float needs no pass of its own over the doubles.
    float* floatSamples;
};

struct ddpi_output {
    // 0: decode into the six channel descriptors; 1: convert the frame into
    // one AC-3 frame in `ac3`, as little-endian words like the input.
    int32_t convertToAc3;
    pp_bufdesc* pp_dec_bufdesc[6];
    uint8_t* ac3;
    int32_t ac3Capacity;  // bytes
    int32_t ac3Words;     // written by processframe
};

using DdpiQuery = short (*)(uint32_t* size);
using DdpiOpen = short (*)(void* instance);
using DdpiClose = short (*)(void* instance);
using DdpiSetProcessParam = short (*)(void* instance, int32_t number, const void* value);
using DdpiGetProcessParam = short (*)(void* instance, int32_t number, void* value);
using DdpiGetFrameParam = short (*)(const ddpi_frame_desc* frame, ddpi_frame_params* params);
using DdpiCheckFrame = short (*)(const ddpi_frame_desc* frame);
using DdpiProcessFrame = short (*)(void* instance,
                                   const ddpi_frame_desc* frame,
                                   ddpi_output* output);

enum DdpiParam : int32_t {
    kDdpiOutputMode = 0,
    kDdpiOutputLfe = 1,
    kDdpiRangeMode = 2,
    kDdpiStereoMode = 3,
    kDdpiDialogueTarget = 4,
    kDdpiCutScale = 5,
    kDdpiBoostScale = 6,
    kDdpiGain = 7,
    kDdpiDualMono = 8,
    kDdpiKaraoke = 9,
};

// Largest frame the library takes: an access unit of 6 syncframes of 4096
// bytes at most each, with dependent substreams.
constexpr int kDdpiMaxFrameBytes = 65536;
