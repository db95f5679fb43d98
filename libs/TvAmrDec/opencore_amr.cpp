#include "libs/TvAmrDec/opencore_amr.h"

#include <cstring>

#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrwb/dec_if.h>

namespace {

// Opencore reads whole bytes past the last speech bit (and the wide-band
// unpacker one byte more): frames are handed over in a zeroed buffer larger
// than the largest frame (61 bytes).
constexpr size_t kFrameBuffer = 64;

}  // namespace

OpencoreAmr::OpencoreAmr(bool wideband)
    : wideband_(wideband), state_(wideband ? D_IF_init() : Decoder_Interface_init())
{
}

OpencoreAmr::~OpencoreAmr()
{
    if (!state_)
        return;
    if (wideband_)
        D_IF_exit(state_);
    else
        Decoder_Interface_exit(state_);
}

void OpencoreAmr::decode(const uint8_t* frame, size_t bytes, int16_t* samples)
{
    unsigned char padded[kFrameBuffer] = {};
    std::memcpy(padded, frame, bytes < kFrameBuffer ? bytes : kFrameBuffer);
    if (wideband_)
        D_IF_decode(state_, padded, samples, _good_frame);
    else
        Decoder_Interface_Decode(state_, padded, samples, 0);
}
