// The part of the decoded audio a run keeps when it was told where to start
// and how long to go on: [0, length) of the current segment, in the
// segment-relative times the decoder stamps after a seek. The first stamped
// sample after each flush places the audio; the bytes after it are counted
// on, so rounded stamps never open gaps or repeat frames. The cut is exact
// to the frame; S/PDIF bursts are kept or dropped whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "host/pcm_format.h"
#include "platform/dshow/streams.h"

class SeekWindow {
public:
    explicit SeekWindow(std::optional<REFERENCE_TIME> length = std::nullopt) : length_(length) {}

    // A new segment: the next stamped sample places the audio again.
    void restart()
    {
        placed_ = full_ = false;
        position_ = 0;
    }
    // Places the audio by a delivered sample's start, once per segment.
    void place(bool hasStart, REFERENCE_TIME start, const PcmFormat& format);

    struct Cut {
        size_t skip = 0;  // leading bytes before the window
        size_t keep = 0;  // then bytes inside it
    };
    // The next `size` bytes of delivered audio, in delivery order.
    Cut cut(size_t size, const PcmFormat& format);
    // Whether the window's end has been reached: nothing more will be kept.
    bool full() const { return full_; }

private:
    std::optional<REFERENCE_TIME> length_;
    bool placed_ = false;
    int64_t position_ = 0;  // frame of the next byte, from the segment's start
    bool full_ = false;
};
