// The layer I/II frame decoder: MPEG audio frames in, their 16-bit
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
    int droppedFrames = 0;  // whole frames decoded whose PCM had no room left
};

class MpegFrameDecoder {
public:
    // Null when libmpg123 cannot create a decoder.
    static std::unique_ptr<MpegFrameDecoder> create();

    // Decodes every whole layer II frame from `input` on, each measured by
    // its own header, stopping at the first that is cut off by `size` or
    // differs in version, layer, rate or channels from the first: the caller
    // may measure MPEG-2 layer II with a larger bit-rate row than the frames
    // use, and so hand over several frames and the head of another at once.
    // Layer I is one frame of all `size` bytes, which may fall up to 3 bytes
    // short of a padded frame, whose padding slot is 4 bytes while the caller
    // counts 1: the missing tail is decoded as zeros. Frames whose PCM no
    // longer fits `capacityWords` are decoded (the filter bank moves on) but
    // not written, and counted. A layer II frame in free format is one frame
    // of all `size` bytes, whose length setFreeFormatBytes gave. Returns
    // true on an error in the first frame (no whole frame, bad data, or more
    // output than `capacityWords`).
    bool decode(const uint8_t* input,
                size_t size,
                int16_t* output,
                size_t capacityWords,
                MpegFrameOutput& result);

    // The length before padding of the free-format frames to come, as the
    // caller measured it; a new length starts the stream afresh.
    void setFreeFormatBytes(size_t bytes);

private:
    MpegFrameDecoder() = default;
    // Feeds one frame and decodes it; null on an error.
    const int16_t* decodeOne(const uint8_t* frame, size_t size, size_t& words);

    Mpg123Handle _mpg123;
    size_t _freeFormatBytes = 0;
};
