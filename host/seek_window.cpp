#include "host/seek_window.h"

#include <algorithm>

namespace {

// Nearest frame: the decoder's stamps were rounded from whole frames.
int64_t framesIn(REFERENCE_TIME time, uint32_t rate)
{
    int64_t scaled = time * int64_t(rate);
    return (scaled + (scaled >= 0 ? 5000000 : -5000000)) / 10000000;
}

}  // namespace

void SeekWindow::place(bool hasStart, REFERENCE_TIME start, const PcmFormat& format)
{
    if (placed_ || !hasStart || !format.rate)
        return;
    placed_ = true;
    position_ = framesIn(start, format.rate);
}

SeekWindow::Cut SeekWindow::cut(size_t size, const PcmFormat& format)
{
    // Unstamped audio before any stamp starts the segment.
    placed_ = true;
    if (!format.blockAlign || !format.rate)
        return {0, size};
    int64_t frames = int64_t(size / format.blockAlign);
    int64_t first = position_, end = position_ + frames;
    position_ = end;
    int64_t stop = length_ ? framesIn(*length_, format.rate) : INT64_MAX;
    if (end >= stop)
        full_ = true;
    if (format.kind == PcmFormat::Kind::Spdif)
        return first >= 0 && first < stop ? Cut{0, size} : Cut{size, 0};
    int64_t from = std::clamp<int64_t>(-first, 0, frames);
    // Without a length the window has no end (and `stop - first` could overflow).
    int64_t to = length_ ? std::clamp<int64_t>(stop - first, from, frames) : frames;
    return {size_t(from) * format.blockAlign, size_t(to - from) * format.blockAlign};
}
