// The mixing matrix of TvAc3Lib: from the speakers a frame carries to the
// output layout asked for, after ATSC A/52 7.8, with the stream's own mix
// levels, karaoke vocal selection and dual-mono selection. Pure arithmetic,
// no decoder state.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

enum Ac3Speaker : int {
    kSpeakerL,
    kSpeakerR,
    kSpeakerC,
    kSpeakerLfe,
    kSpeakerLs,
    kSpeakerRs,
    kSpeakerS,  // the single surround of 2/1 and 3/1
    kSpeakerCount,
    kSpeakerNone = -1,
};

// What the library needs of a frame's bit-stream information.
struct Ac3FrameInfo {
    int bsid = 0;
    int bsmod = 0;
    int acmod = 0;
    bool lfeon = false;
    float centreMixLevel = 0.707f;    // cmixlev, A/52 Table 5.9
    float surroundMixLevel = 0.707f;  // surmixlev, A/52 Table 5.10
};

// Reads the fields above from a whole frame of `size` bytes in stream byte
// order. False when it is not a whole AC-3 frame (bsid above 10).
bool readAc3FrameInfo(const uint8_t* frame, size_t size, Ac3FrameInfo& info);

// Speakers present in an acmod's layout (dual mono as L and R), plus LFE.
std::array<bool, kSpeakerCount> layoutSpeakers(int acmod, bool lfe);

// out[o] = sum over i of matrix[o][i] * in[i], speakers indexed by Ac3Speaker.
using Ac3Matrix = std::array<std::array<float, kSpeakerCount>, kSpeakerCount>;

struct Ac3MixRequest {
    int outputMode = 7;  // an acmod; 0 is Lt/Rt stereo
    bool outputLfe = true;
    int karaokeMode = 0;   // bit 0 keeps V1, bit 1 keeps V2
    int dualMonoMode = 0;  // 0 both, 1 Ch1, 2 Ch2, 3 mix
};

// The matrix from the frame's speakers to the requested layout, scaled down
// (all rows alike, the LFE row apart) when a row's coefficients add up to
// more than 1.
Ac3Matrix mixMatrix(const Ac3FrameInfo& frame, const Ac3MixRequest& request);

// The decoder libraries' channel numbering per output acmod, without and with
// LFE (tv_ac3_lib.h, parameter 10): chosen so that the standard routing rows
// give WAVE order.
extern const Ac3Speaker kLibrarySlots[8][2][6];
