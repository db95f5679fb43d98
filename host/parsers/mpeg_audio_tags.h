// What surrounds and heads the frames of an MPEG audio elementary stream
// (.mp3, .mp2): an ID3v2 tag in front, ID3v1 and APEv2 tags behind, and the
// Xing/Info frame an encoder puts first, which holds no audio but the stream's
// frame count and, from LAME and its kin, the encoder delay and padding. Pure:
// bytes in, records out.
#pragma once

#include <cstddef>
#include <cstdint>

#include "decoders/mpeg_header.h"

// The length of the frame at `p` as a demuxer cuts frames (layer I and II
// frames measured by their contents, as the decoder frames them otherwise),
// with its header in `header`; 0 when no frame header starts there.
// `freeFormatBytes` carries a free-format stream's frame length from frame to
// frame: measured on the first (0 on the way in), taken for the rest, the
// last one included, whose length nothing after it shows.
size_t mpegFrameLength(const uint8_t* p,
                       size_t available,
                       MpegHeader& header,
                       uint32_t& freeFormatBytes);

// The length of the ID3v2 tag (header, body and footer) that starts at `p`,
// or 0 when none does.
size_t id3v2TagLength(const uint8_t* p, size_t available);

// True when `p` starts a tag a stream may end with: an ID3v1 tag ("TAG", 128
// bytes) or an APEv2 tag that opens with its header ("APETAGEX", at least 32
// bytes).
bool startsEndTag(const uint8_t* p, size_t available);

// The Xing or Info frame of a layer III stream (the tag behind the side
// information; "Info" marks a constant bit rate), with LAME's extension.
struct XingFrame {
    bool constantBitRate = false;  // "Info" rather than "Xing"
    uint32_t frames = 0;           // audio frames after this one; 0 when not given
    uint32_t bytes = 0;            // the stream's size in bytes; 0 when not given
    // The encoder's delay and padding in samples, given when the encoder
    // string names LAME or libavcodec ("LAME", "Lavf", "Lavc").
    bool hasPadding = false;
    uint32_t startPadding = 0;
    uint32_t endPadding = 0;
};

// Reads the tag of the first frame `p` (header `header`; `available` bytes
// readable, which may run past the frame, as the tag's fields may). False
// when the frame carries none.
bool parseXingFrame(const uint8_t* p, size_t available, const MpegHeader& header, XingFrame& xing);

// True when the frame carries a VBRI tag (Fraunhofer's frame count and table).
bool hasVbriTag(const uint8_t* p, size_t available);
