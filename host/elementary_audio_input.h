// Bare MPEG audio (.mp3, .mp2, .mp1) and AMR in its storage format (.amr,
// .awb, RFC 4867 section 5) read by the host itself, so that decoding them
// loads no libavformat. A stream is taken only when it is read here exactly
// as libavformat reads it (the same frames, times, padding and duration):
// one frame after another from the start (after an ID3v2 tag) to the end
// (before ID3v1/APEv2 tags; a last frame may be cut short), of one format,
// the Xing/Info frame skipped and its LAME encoder delay and padding carried.
// Anything else (multi-channel AMR, junk between frames, free format, VBRI
// tags, a bit rate that varies without a frame count) is left to libavformat.
#pragma once

#include <memory>
#include <string>

#include "host/input_source.h"

// Null when the file is not such a stream.
std::unique_ptr<InputSource> openElementaryAudio(const std::string& path);
