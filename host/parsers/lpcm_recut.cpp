#include "host/parsers/lpcm_recut.h"

#include "decoders/dvd_audio_assignments.h"

namespace {

size_t bitsOfQuantisation(unsigned q)
{
    return 16 + 4 * q;
}

}  // namespace

LpcmRecutter::Layout LpcmRecutter::layoutOf(const std::vector<uint8_t>& p) const
{
    Layout layout;
    if (packing_ == Packing::DvdVideo) {
        // Substream id, frame count, pointer (2), emphasis/frame number,
        // quantisation/frequency/channels, dynamic range.
        if (p.size() < 7)
            return layout;
        unsigned quantisation = p[5] >> 6;
        size_t channels = (p[5] & 7u) + 1;
        layout.headerSize = 7;
        layout.pointerAt = 2;
        layout.pointerBase = 3;
        layout.formatKey = p[5];
        if (quantisation == 0)
            layout.groupSize = 2 * channels;  // one 16-bit sample frame
        else if (quantisation < 3)
            layout.groupSize =
                2 * channels * bitsOfQuantisation(quantisation) / 8;  // a pair of frames
        return layout;
    }
    // DVD-Audio: substream id, two bytes, header length, pointer (2), then the
    // audio header with quantisation (byte 7) and channel assignment (byte 10).
    if (p.size() < 11 || p[0] != 0xA0 || size_t(4) + p[3] > p.size())
        return layout;
    layout.headerSize = size_t(4) + p[3];
    layout.pointerAt = 4;
    layout.pointerBase = 5;  // the lead-in before the access unit is pointer - header length + 1
    unsigned quantisation = p[7] >> 4;
    unsigned assignment = p[10] & 0x1Fu;
    layout.formatKey = uint32_t(p[7]) << 8 | p[10];
    // Two sample frames of all the assignment's channels, the unit the
    // decoder converts.
    if (assignment < unsigned(kDvdAudioAssignmentCount) && quantisation < 3)
        layout.groupSize =
            2 * kDvdAudioAssignments[assignment].channels * bitsOfQuantisation(quantisation) / 8;
    return layout;
}

void LpcmRecutter::dropLeadIn(std::vector<uint8_t>& payload, const Layout& layout)
{
    aligned_ = true;
    unsigned pointer = unsigned(payload[layout.pointerAt]) << 8 | payload[layout.pointerAt + 1];
    size_t unitAt = layout.pointerBase + pointer;
    // No pointer, or one outside the audio, tells nothing: the audio is taken
    // to start on a group.
    if (!pointer || unitAt <= layout.headerSize || unitAt >= payload.size())
        return;
    payload.erase(payload.begin() + long(layout.headerSize), payload.begin() + long(unitAt));
    unsigned moved = unsigned(layout.headerSize - layout.pointerBase);
    payload[layout.pointerAt] = uint8_t(moved >> 8);
    payload[layout.pointerAt + 1] = uint8_t(moved);
}

bool LpcmRecutter::recut(std::vector<uint8_t>& payload, bool& keepsStamp)
{
    Layout layout = layoutOf(payload);
    if (!layout.groupSize) {
        carry_.clear();
        return true;
    }
    if (layout.formatKey != carryFormat_)
        carry_.clear();  // bytes of another format cannot continue this one
    carryFormat_ = layout.formatKey;

    const size_t audioStart = layout.headerSize;
    if (!aligned_)
        dropLeadIn(payload, layout);
    const size_t carried = carry_.size();
    size_t audioBytes = carried + payload.size() - audioStart;
    size_t whole = audioBytes - audioBytes % layout.groupSize;

    std::vector<uint8_t> next(payload.begin() + long(audioStart), payload.end());
    next.insert(next.begin(), carry_.begin(), carry_.end());
    carry_.assign(next.begin() + long(whole), next.end());
    next.resize(whole);

    unsigned pointer = unsigned(payload[layout.pointerAt]) << 8 | payload[layout.pointerAt + 1];
    if (pointer) {
        // Where the access unit the stamp belongs to now lies.
        size_t unitAt = layout.pointerBase + pointer + carried;
        if (unitAt >= audioStart + whole || unitAt > 0xFFFF + layout.pointerBase) {
            keepsStamp = false;
        } else {
            unsigned moved = unsigned(unitAt - layout.pointerBase);
            payload[layout.pointerAt] = uint8_t(moved >> 8);
            payload[layout.pointerAt + 1] = uint8_t(moved);
        }
    }
    if (!whole)
        return false;
    payload.resize(audioStart);
    payload.insert(payload.end(), next.begin(), next.end());
    return true;
}
