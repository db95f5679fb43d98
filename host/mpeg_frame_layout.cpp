#include "host/mpeg_frame_layout.h"

#include <algorithm>
#include <cstring>

#include "decoders/mpeg_header.h"
#include "engines/mpeg/layer12_frame.h"

namespace {

struct Span {
    size_t real = 0;   // the frame's true length; 0 when no header starts here
    size_t zeros = 0;  // what the decoder measures beyond it
    bool freeFormat = false;
};

Span spanAt(const uint8_t header[4])
{
    Span span;
    span.freeFormat = isFreeFormatHeader(header, 4);
    MpegHeader measured;
    if (!parseMpegHeader(header, 4, measured))
        return span;
    // Layer III has no other length than the decoder's.
    Layer12Frame frame = measureLayer12Frame(header, 4);
    span.real = frame.size ? frame.size : measured.frameSize;
    if (measured.version != 3 && measured.layer == 2 && measured.frameSize > span.real)
        span.zeros = measured.frameSize - span.real;
    return span;
}

}  // namespace

void MpegFrameLayout::lay(std::vector<uint8_t>& packet)
{
    if (freeFormat_)
        return;
    const uint8_t* data = packet.data();
    size_t size = packet.size();
    laid_.clear();
    size_t i = 0;
    while (i < size) {
        if (frameLeft_ > 0) {
            size_t n = std::min(frameLeft_, size - i);
            laid_.insert(laid_.end(), data + i, data + i + n);
            i += n;
            frameLeft_ -= n;
            if (frameLeft_ == 0) {
                laid_.insert(laid_.end(), zerosOwed_, 0);
                zerosOwed_ = 0;
                afterFrame_ = true;
            }
            continue;
        }
        uint8_t header[4];
        std::memcpy(header, head_, headSize_);
        size_t fromPacket = std::min(4 - headSize_, size - i);
        std::memcpy(header + headSize_, data + i, fromPacket);
        if (headSize_ + fromPacket < 4) {
            // The packet ends inside what may be a header.
            laid_.insert(laid_.end(), data + i, data + size);
            std::memcpy(head_ + headSize_, data + i, fromPacket);
            headSize_ += fromPacket;
            break;
        }
        Span span = spanAt(header);
        if (freeFormatAt_) {
            if (span.freeFormat && sameFreeFormatStream(freeFormatHead_, header)) {
                // A second header of the stream confirms it: its frames
                // are measured by their true length, which only the stream
                // shows, so there is nothing to lay out from here on.
                freeFormat_ = true;
                laid_.insert(laid_.end(), data + i, data + size);
                break;
            }
            // Inside what may be a free-format frame, a table header is
            // likelier a false one than a frame.
            span.real = 0;
        } else if (span.freeFormat) {
            std::memcpy(freeFormatHead_, header, 4);
            freeFormatAt_ = 1;
        }
        if (span.real > 0) {
            frameLeft_ = span.real - headSize_;
            zerosOwed_ = span.zeros;
            headSize_ = 0;
            frameFollowsFrame_ = afterFrame_;
            continue;
        }
        if (headSize_ > 0)
            std::memmove(head_, head_ + 1, --headSize_);
        else
            laid_.push_back(data[i++]);
        afterFrame_ = false;
        // A free-format header unconfirmed within the longest frame was a
        // false one.
        if (freeFormatAt_ && ++freeFormatAt_ > kMaxFreeFormatBytes + 2)
            freeFormatAt_ = 0;
    }
    packet.swap(laid_);
}

size_t MpegFrameLayout::zerosToCompleteLastFrame() const
{
    return frameLeft_ > 0 && frameFollowsFrame_ ? frameLeft_ + zerosOwed_ : 0;
}
