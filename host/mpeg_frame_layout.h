// MPEG audio frames laid out the way the filter's MPEG decoder reads them.
//
// MPEG-2 and 2.5 layer II: the decoder deliberately sizes these frames with
// the layer I bit-rate row, 1.5 to 4 times their true length, and moves on by
// that size: where its size falls short of two real frames, it ends inside
// the next frame and every other frame is lost. Each such frame is therefore
// followed by zeros up to the decoder's size, so that every call holds one
// frame and the next starts on a header. Other frames pass untouched.
//
// Free format (layers II and III) has no padding to add, nor lengths to
// follow: once a second header of the stream follows its first, the stream
// passes untouched.
//
// A stream cut inside its last frame: the decoder waits for the rest, which
// never comes, and the frame's audio (for layer III also the overlap that
// the previous frame left) is lost. Other decoders read the missing bytes as
// zeros; the layout says how many zeros complete that frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class MpegFrameLayout {
public:
    // Lays out one packet of the stream in place. Bytes stay in the packet
    // they came in, so its time stamp keeps its frames: a frame cut by the
    // packet's end gets its zeros after its last byte, in a later packet.
    void lay(std::vector<uint8_t>& packet);

    // The zeros that complete the frame the stream so far ends in, laid out
    // as above; 0 when it ends between frames, or in a frame that did not
    // directly follow a whole frame (a lone header in other data is no
    // frame worth completing).
    size_t zerosToCompleteLastFrame() const;

private:
    size_t frameLeft_ = 0;  // bytes of the current frame still to come
    size_t zerosOwed_ = 0;  // zeros due after them
    // Whether the bytes since the last whole frame are all frames: no byte
    // was skipped in a search for a header.
    bool afterFrame_ = false;
    bool frameFollowsFrame_ = false;  // the current frame began as the last ended
    bool freeFormat_ = false;
    // A free-format header not yet confirmed by a second one: its bytes, and
    // the distance from it to where the search stands, plus one; 0 for none.
    uint8_t freeFormatHead_[4] = {};
    size_t freeFormatAt_ = 0;
    // The last bytes of the previous packet, already passed on, when they may
    // begin a header that this packet completes.
    uint8_t head_[3] = {};
    size_t headSize_ = 0;
    std::vector<uint8_t> laid_;
};
