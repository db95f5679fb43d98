// What AdecDolby and AdecDDPlus share about the decoder downmix and the
// library output channels: the request set through setMixType, applied to the
// status record of each frame, and the routing rows that put the libraries'
// channels in WAVE order.
#pragma once

#include <cstdint>

#include "core/TvStatus.h"

struct Ac3DownmixRequest {
    uint32_t mask = 0;  // 0: none
    int mode = 0;       // the output acmod; 0 is Lt/Rt stereo
    bool lfe = false;

    // Takes the remixer's mix type and target mask for stream kind `kind`;
    // only AC-3's kind counts, and only the two decoder mix types with a mask
    // that is an AC-3 layout set a request, anything else clears it.
    void set(int kind, int mixType, uint32_t channelMask);
    // Delivers the frame in the requested layout when that has fewer
    // channels: the coded layout is kept in the record's coded fields and the
    // mix field says which mix was done (101 none, 104, 105 for Lt/Rt).
    void apply(TvStatusAc3& status) const;
};

// The routing row (interleave position of each library channel) for an
// output acmod, with or without LFE.
const int32_t* ac3RoutingRow(int acmod, bool lfe);
