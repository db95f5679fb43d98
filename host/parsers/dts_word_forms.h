// DTS as CD and WAV carry it: the core stream in 14-bit words (each 16-bit
// word holds 14 bits of the stream, so that the data looks like quiet PCM)
// and/or in little-endian words. The filter reads the 16-bit big-endian form
// only, so the host rewrites the other forms into it, frame by frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

enum class DtsWordForm {
    None,
    BigEndian16,     // sync 7F FE 80 01: the form the filter reads
    LittleEndian16,  // sync FE 7F 01 80
    BigEndian14,     // sync 1F FF E8 00 07 Fx
    LittleEndian14,  // sync FF 1F 00 E8 Fx 07
};

// The form of a core sync word at `p`, or None; needs 6 bytes.
DtsWordForm dtsSyncFormAt(const uint8_t* p, size_t available);

// The form of the first core sync word in `data`, or None.
DtsWordForm findDtsWordForm(const uint8_t* data, size_t size);

// Rewrites a stream of one form into whole 16-bit big-endian core frames.
// Bytes before a sync word, and a last frame cut short, are dropped.
class DtsCoreStreamConverter {
public:
    explicit DtsCoreStreamConverter(DtsWordForm form) : form_(form) {}

    // Takes the next bytes of the stream and appends every frame they
    // complete to `out`. Returns the stream offset (counted over all bytes
    // pushed) at which the first of those frames began, or -1 if none did.
    int64_t push(const uint8_t* data, size_t size, std::vector<uint8_t>& out);

private:
    // Converts `words` words at `p` to big-endian 16-bit data appended to out.
    void convert(const uint8_t* p, size_t words, std::vector<uint8_t>& out) const;
    // Stream bytes that carry `frameBytes` bytes of the core stream.
    size_t sourceBytes(size_t frameBytes) const;

    DtsWordForm form_;
    std::vector<uint8_t> pending_;
    uint64_t pendingOffset_ = 0;  // stream offset of pending_[0]
};
