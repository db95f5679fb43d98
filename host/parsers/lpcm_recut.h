// Disc LPCM payloads re-cut on whole sample groups. Some muxers cut DVD-Video
// and DVD-Audio LPCM payloads anywhere, while the decoders convert only whole
// groups of each payload (a pair of sample frames for 20- and 24-bit
// DVD-Video, two frames of both channel groups for DVD-Audio): after the first
// split every payload would start mid-group. The host therefore hands over
// each payload with the bytes carried from the one before it in front of its
// audio and its incomplete last group kept for the next.
//
// The private header stays the packet's own; its first access unit pointer
// moves with the audio it points at, so the packet's time stamp still belongs
// to the same access unit. When that access unit moves on with the carried
// bytes, the packet is handed over without a stamp (the filter then carries
// its own time on).
//
// The first payload may begin inside a group that started before it (a file
// cut from a longer title, a seek): its audio before the first access unit
// is dropped, so that the groups start where the pointer says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class LpcmRecutter {
public:
    enum class Packing { DvdVideo, DvdAudio };
    explicit LpcmRecutter(Packing packing) : packing_(packing) {}

    // Rewrites `payload` (private header included) in place. Returns false
    // when it holds no whole group yet: nothing to hand over, the bytes wait.
    // `keepsStamp` is cleared when the packet's stamp no longer belongs to it.
    bool recut(std::vector<uint8_t>& payload, bool& keepsStamp);

private:
    struct Layout {
        size_t headerSize = 0;
        size_t pointerAt = 0;    // offset of the 16-bit first access unit pointer
        size_t pointerBase = 0;  // the pointer counts from this offset
        size_t groupSize = 0;    // 0: not re-cut
        uint32_t formatKey = 0;  // the header bits that fix the group size
    };
    Layout layoutOf(const std::vector<uint8_t>& payload) const;
    void dropLeadIn(std::vector<uint8_t>& payload, const Layout& layout);

    Packing packing_;
    std::vector<uint8_t> carry_;
    uint32_t carryFormat_ = 0;
    bool aligned_ = false;  // once the first payload's lead-in is gone
};
