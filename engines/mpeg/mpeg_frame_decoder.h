// The layer I/II frame decoder: one MPEG audio frame in, its 16-bit
// interleaved PCM out. The synthesis filter bank carries state from frame to
// frame, so one decoder serves one stream from start to end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "engines/mpeg/mpg123_handle.h"

struct MpegFrameOutput {
    int totalSamples = 0;  // 16-bit words written, all channels
    int channels = 0;
    int sampleRate = 0;
};

class MpegFrameDecoder {
public:
    // Null when libmpg123 cannot create a decoder.
    static std::unique_ptr<MpegFrameDecoder> create();

    // Decodes the frame at `input`. `size` may fall up to 3 bytes short of a
    // padded layer I frame, whose padding slot is 4 bytes while the framer
    // counts 1: the missing tail is decoded as zeros. Returns true on an
    // error (no whole frame, bad data, or more output than `capacityWords`).
    bool decode(const uint8_t* input,
                size_t size,
                int16_t* output,
                size_t capacityWords,
                MpegFrameOutput& result);

private:
    MpegFrameDecoder() = default;
    Mpg123Handle _mpg123;
};
