// AMR frames in the storage format (RFC 4867 section 5): what a
// table-of-contents byte says about the frame it starts, and the magic line
// at the head of .amr/.awb files.
#pragma once

#include <cstddef>
#include <cstdint>

enum class AmrFrameKind {
    Decoded,  // speech, SID, NO_DATA or SPEECH_LOST: the codec makes a frame of it
    Dropped,  // a frame type that is not AMR: consumed without output
    Invalid,  // F or padding bits set: not a frame boundary
};

struct AmrFrame {
    AmrFrameKind kind = AmrFrameKind::Invalid;
    size_t bytes = 0;  // the whole frame, table-of-contents byte included
};

AmrFrame amrFrame(uint8_t tableOfContents, bool wideband);

// The magic line at the start of `data`: its length when one is there whole,
// 0 when `data` does not start with one, and kAmrMagicIncomplete when `data`
// is a proper prefix of one (more bytes decide).
constexpr size_t kAmrMagicIncomplete = size_t(-1);
size_t amrMagicLength(const uint8_t* data, size_t size);
