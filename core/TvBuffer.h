// The filter's queue of compressed input. Upstream samples are cut anywhere
// relative to audio frames; the decoder takes whole frames from the front.
// The buffer also carries the upstream time stamps across that re-cutting: a
// stamp that came with a sample belongs to the first frame at or after that
// sample's first byte.
#pragma once

#include <cstdint>
#include <memory>

#include "core/Adec.h"
#include "platform/strmif.h"

// The "no time" value of the whole streaming path.
constexpr REFERENCE_TIME kNoTime = static_cast<REFERENCE_TIME>(0x8000000000000000ULL);

class TvBuffer {
public:
    TvBuffer() = default;
    TvBuffer(const TvBuffer&) = delete;
    TvBuffer& operator=(const TvBuffer&) = delete;

    // The decoder whose private packet headers are stripped on append; null
    // when payloads carry none (set at connection).
    void setDecoder(Adec* decoder) { _decoder = decoder; }

    // Adds a sample's payload and takes over its time stamp.
    void append(IMediaSample* sample);
    // Adds n zero bytes, which carry no stamp.
    void appendZeros(uint32_t n);
    // Drops n bytes from the front; a pending stamp whose byte is reached
    // becomes current.
    void consume(uint32_t n);
    // The stamp of the frame at the front, given to one frame only.
    REFERENCE_TIME takeTimeStamp();
    // The computed start of the next frame; upstream stamps take precedence.
    void setNextTimeStamp(REFERENCE_TIME t);
    // Drops all bytes and both stamps; the storage is kept.
    void clear();
    // Grows the storage to exactly n bytes.
    void reserve(uint32_t n);

    const uint8_t* data() const { return _data.get() + _begin; }
    uint32_t size() const { return _size; }
    uint32_t capacity() const { return _capacity; }
    REFERENCE_TIME currentStamp() const { return _current; }
    REFERENCE_TIME pendingStamp() const { return _pending; }

private:
    void makeRoom(uint32_t n);

    std::unique_ptr<uint8_t[]> _data;
    REFERENCE_TIME _current = kNoTime;
    REFERENCE_TIME _pending = kNoTime;
    uint32_t _pendingPosition = 0;
    uint32_t _size = 0;
    uint32_t _capacity = 0;
    uint32_t _begin = 0;
    Adec* _decoder = nullptr;
};
