// MPEG-2 and 2.5 layer II frames laid out the way the filter's MPEG decoder
// measures them. The decoder deliberately sizes these frames with the layer I
// bit-rate row, 1.5 to 4 times their true length, and moves on by that size:
// where its size falls short of two real frames, it ends inside the next frame
// and every other frame is lost. Each such frame is therefore followed by
// zeros up to the decoder's size, so that every call holds one frame and the
// next starts on a header. Other frames pass untouched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class MpegLayer2Padding {
public:
    // Lays out one packet of the stream in place. Bytes stay in the packet
    // they came in, so its time stamp keeps its frames: a frame cut by the
    // packet's end gets its zeros after its last byte, in a later packet,
    // and a stream cut inside a frame ends as it was.
    void lay(std::vector<uint8_t>& packet);

private:
    size_t frameLeft_ = 0;  // bytes of the current frame still to come
    size_t zerosOwed_ = 0;  // zeros due after them
    // The last bytes of the previous packet, already passed on, when they may
    // begin a header that this packet completes.
    uint8_t head_[3] = {};
    size_t headSize_ = 0;
    std::vector<uint8_t> laid_;
};
