#include "host/parsers/dts_word_forms.h"

namespace {

constexpr size_t kSyncBytes = 6;
// Frames are at least 96 bytes long (FSIZE >= 95); a shorter one is a false sync.
constexpr size_t kMinFrameBytes = 96;
// Converted bytes that hold the header up to FSIZE.
constexpr size_t kHeaderBytes = 8;

bool is14Bit(DtsWordForm form)
{
    return form == DtsWordForm::BigEndian14 || form == DtsWordForm::LittleEndian14;
}

}  // namespace

DtsWordForm dtsSyncFormAt(const uint8_t* p, size_t available)
{
    if (available < 4)
        return DtsWordForm::None;
    if (p[0] == 0x7F && p[1] == 0xFE && p[2] == 0x80 && p[3] == 0x01)
        return DtsWordForm::BigEndian16;
    if (p[0] == 0xFE && p[1] == 0x7F && p[2] == 0x01 && p[3] == 0x80)
        return DtsWordForm::LittleEndian16;
    if (available < kSyncBytes)
        return DtsWordForm::None;
    // The 14-bit forms carry the 32 sync bits and 4 more set bits of the
    // header in three words.
    if (p[0] == 0x1F && p[1] == 0xFF && p[2] == 0xE8 && p[3] == 0x00 && p[4] == 0x07 &&
        (p[5] & 0xF0) == 0xF0)
        return DtsWordForm::BigEndian14;
    if (p[0] == 0xFF && p[1] == 0x1F && p[2] == 0x00 && p[3] == 0xE8 && (p[4] & 0xF0) == 0xF0 &&
        p[5] == 0x07)
        return DtsWordForm::LittleEndian14;
    return DtsWordForm::None;
}

DtsWordForm findDtsWordForm(const uint8_t* data, size_t size)
{
    for (size_t i = 0; i + 4 <= size; ++i)
        if (DtsWordForm form = dtsSyncFormAt(data + i, size - i); form != DtsWordForm::None)
            return form;
    return DtsWordForm::None;
}

size_t DtsCoreStreamConverter::sourceBytes(size_t frameBytes) const
{
    size_t words = is14Bit(form_) ? (frameBytes * 8 + 13) / 14 : (frameBytes + 1) / 2;
    return 2 * words;
}

void DtsCoreStreamConverter::convert(const uint8_t* p,
                                     size_t words,
                                     std::vector<uint8_t>& out) const
{
    uint32_t bits = 0;
    int count = 0;
    for (size_t i = 0; i < words; ++i, p += 2) {
        bool little = form_ == DtsWordForm::LittleEndian16 || form_ == DtsWordForm::LittleEndian14;
        uint32_t word = little ? uint32_t(p[0] | (p[1] << 8)) : uint32_t((p[0] << 8) | p[1]);
        if (!is14Bit(form_)) {
            out.push_back(uint8_t(word >> 8));
            out.push_back(uint8_t(word));
            continue;
        }
        bits = (bits << 14) | (word & 0x3FFF);
        count += 14;
        while (count >= 8) {
            count -= 8;
            out.push_back(uint8_t(bits >> count));
        }
        bits &= (1u << count) - 1;
    }
}

int64_t DtsCoreStreamConverter::push(const uint8_t* data, size_t size, std::vector<uint8_t>& out)
{
    pending_.insert(pending_.end(), data, data + size);
    int64_t first = -1;
    size_t at = 0;
    std::vector<uint8_t> header;
    while (pending_.size() - at >= 2 * kHeaderBytes) {
        if (dtsSyncFormAt(&pending_[at], pending_.size() - at) != form_) {
            ++at;
            continue;
        }
        header.clear();
        convert(&pending_[at], kHeaderBytes, header);
        size_t frameBytes =
            size_t(((header[5] & 0x03) << 12) | (header[6] << 4) | (header[7] >> 4)) + 1;
        if (frameBytes < kMinFrameBytes) {
            ++at;
            continue;
        }
        size_t span = sourceBytes(frameBytes);
        if (pending_.size() - at < span)
            break;
        size_t start = out.size();
        convert(&pending_[at], span / 2, out);
        out.resize(start + frameBytes);
        if (first < 0)
            first = int64_t(pendingOffset_ + at);
        at += span;
    }
    pending_.erase(pending_.begin(), pending_.begin() + long(at));
    pendingOffset_ += at;
    return first;
}
