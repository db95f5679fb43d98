// The channel assignments 0-20 of DVD-Audio LPCM: how many channels each of
// the two groups carries, the speakers, and where each coded channel of a
// sample frame (group 1's, then group 2's) goes among the speakers in WAVE
// order. Assignments 18-20 code the surround pair before the centre and LFE.
#pragma once

#include <cstdint>

struct DvdAudioAssignment {
    uint8_t group1 = 0;    // channels of group 1
    uint8_t channels = 0;  // channels of both groups
    uint32_t mask = 0;     // WAVE speaker bits
    uint8_t slot[6] = {};  // output position of each coded channel
};

inline constexpr int kDvdAudioAssignmentCount = 21;

// C: front centre; L R: front pair; S: back centre; Ls Rs: back pair.
inline constexpr DvdAudioAssignment kDvdAudioAssignments[kDvdAudioAssignmentCount] = {
    {1, 1, 0x004, {0}},                 // 0: C
    {2, 2, 0x003, {0, 1}},              // 1: L R
    {2, 3, 0x103, {0, 1, 2}},           // 2: L R | S
    {2, 4, 0x033, {0, 1, 2, 3}},        // 3: L R | Ls Rs
    {2, 3, 0x00B, {0, 1, 2}},           // 4: L R | LFE
    {2, 4, 0x10B, {0, 1, 2, 3}},        // 5: L R | LFE S
    {2, 5, 0x03B, {0, 1, 2, 3, 4}},     // 6: L R | LFE Ls Rs
    {2, 3, 0x007, {0, 1, 2}},           // 7: L R | C
    {2, 4, 0x107, {0, 1, 2, 3}},        // 8: L R | C S
    {2, 5, 0x037, {0, 1, 2, 3, 4}},     // 9: L R | C Ls Rs
    {2, 4, 0x00F, {0, 1, 2, 3}},        // 10: L R | C LFE
    {2, 5, 0x10F, {0, 1, 2, 3, 4}},     // 11: L R | C LFE S
    {2, 6, 0x03F, {0, 1, 2, 3, 4, 5}},  // 12: L R | C LFE Ls Rs
    {3, 4, 0x107, {0, 1, 2, 3}},        // 13: L R C | S
    {3, 5, 0x037, {0, 1, 2, 3, 4}},     // 14: L R C | Ls Rs
    {3, 4, 0x00F, {0, 1, 2, 3}},        // 15: L R C | LFE
    {3, 5, 0x10F, {0, 1, 2, 3, 4}},     // 16: L R C | LFE S
    {3, 6, 0x03F, {0, 1, 2, 3, 4, 5}},  // 17: L R C | LFE Ls Rs
    {4, 5, 0x03B, {0, 1, 3, 4, 2}},     // 18: L R Ls Rs | LFE
    {4, 5, 0x037, {0, 1, 3, 4, 2}},     // 19: L R Ls Rs | C
    {4, 6, 0x03F, {0, 1, 4, 5, 2, 3}},  // 20: L R Ls Rs | C LFE
};

// True when the coded order is already the speakers' order.
constexpr bool inSpeakerOrder(const DvdAudioAssignment& a)
{
    for (int k = 0; k < a.channels; ++k)
        if (a.slot[k] != k)
            return false;
    return true;
}
