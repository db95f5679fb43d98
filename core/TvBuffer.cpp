#include "core/TvBuffer.h"

#include <cstring>

#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"

namespace {

// Upstream and computed stamps may differ by rounding; more than 1 us is an error.
constexpr REFERENCE_TIME kTolerance = 10;

bool differ(REFERENCE_TIME a, REFERENCE_TIME b)
{
    // Stamps are far from the 64-bit limits; the difference cannot overflow.
    return a - b > kTolerance || b - a > kTolerance;
}

}  // namespace

void TvBuffer::append(IMediaSample* sample)
{
    BYTE* start = nullptr;
    if (FAILED(sample->GetPointer(&start)) || !start)
        return;
    LONG actual = sample->GetActualDataLength();
    const uint8_t* p = start;
    const uint8_t* end = start + (actual > 0 ? actual : 0);
    const bool logged = logging(logStream);
    if (logged)
        logStream << "Buffer size: " << _size << " sample size: " << (end - p);
    if (_decoder && !_decoder->parsePacketHeader(&p, end)) {
        // An unusable private header drops its packet's payload.
        p = end;
    }
    if (logged)
        logStream << std::endl;
    uint32_t length = static_cast<uint32_t>(end - p);

    if (_pending != kNoTime) {
        logStream << "time stamp error: expected 0 but have " << _pending << std::endl;
        _pending = kNoTime;
    }
    REFERENCE_TIME startTime, stopTime;
    if (SUCCEEDED(sample->GetTime(&startTime, &stopTime))) {
        if (_size != 0) {
            _pending = startTime;
            _pendingPosition = _size;
        } else {
            if (_current != kNoTime && differ(_current, startTime))
                logStream << "time stamp error: incoming=" << startTime << "calc=" << _current
                          << std::endl;
            _current = startTime;
        }
    }
    makeRoom(length);
    if (length)
        std::memcpy(_data.get() + _size, p, length);
    _size += length;
}

void TvBuffer::appendZeros(uint32_t n)
{
    makeRoom(n);
    std::memset(_data.get() + _size, 0, n);
    _size += n;
}

// Moves the held bytes to the front and grows the storage for n more.
void TvBuffer::makeRoom(uint32_t n)
{
    if (_begin != 0) {
        std::memmove(_data.get(), _data.get() + _begin, _size);
        _begin = 0;
    }
    if (_capacity < _size + n)
        reserve(_size + n);
}

void TvBuffer::consume(uint32_t n)
{
    // An overlong count is a caller's arithmetic gone wrong (see the receive
    // loop): it moves nothing rather than dropping bytes nobody decoded.
    // clang-format off
    if (!TvAssert(n<=size()))
        // clang-format on
        return;
    _begin += n;
    _size -= n;
    if (_begin >= _pendingPosition && _pending != kNoTime) {
        _current = _pending;
        _pending = kNoTime;
    }
}

REFERENCE_TIME TvBuffer::takeTimeStamp()
{
    REFERENCE_TIME stamp = _current;
    _current = kNoTime;
    return stamp;
}

void TvBuffer::setNextTimeStamp(REFERENCE_TIME t)
{
    if (_current == kNoTime) {
        _current = t;
    } else if (differ(_current, t)) {
        // No line end: the next log entry continues this line.
        logStream << "time stamp error: " << t << " " << _current;
    }
}

void TvBuffer::clear()
{
    _current = kNoTime;
    _pending = kNoTime;
    _begin = 0;
    _size = 0;
}

void TvBuffer::reserve(uint32_t n)
{
    // clang-format off
    TvAssert(_begin == 0);
    // clang-format on
    if (n < _size)
        n = _size;  // the held bytes always fit
    std::unique_ptr<uint8_t[]> grown(new uint8_t[n]);
    if (_size)
        std::memcpy(grown.get(), _data.get() + _begin, _size);
    _data = std::move(grown);
    _begin = 0;
    _capacity = n;
}
