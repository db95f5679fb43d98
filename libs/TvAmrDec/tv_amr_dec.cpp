// The exported decoder object of TvAmrDec.dll.
#include "libs/TvAmrDec/tv_amr_dec.h"

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "libs/TvAmrDec/amr_storage_frame.h"
#include "libs/TvAmrDec/opencore_amr.h"
#include "platform/module_exports.h"

namespace {

class AmrLibrary final : public TvAmrDecoder {
public:
    AmrLibrary() { restart(false); }

    bool valid() const { return codec_ && codec_->valid(); }

    int STDMETHODCALLTYPE Destroy(int flags) override
    {
        if (flags & 1)
            delete this;
        return 0;
    }

    int STDMETHODCALLTYPE Reset() override
    {
        restart(codec_->wideband());
        return 0;
    }

    int STDMETHODCALLTYPE Decode(const uint8_t* input, int16_t* output) override
    {
        written_ = 0;
        if (!valid() || !output || (!input && inputSize_ > 0))
            return -1;
        size_t size = size_t(inputSize_);
        if (kept_.empty()) {
            size_t used = decodeFrames(input, size, output);
            kept_.assign(input + used, input + size);
        } else {
            // The kept bytes come first; the input completes or follows them.
            if (size > 0)
                kept_.insert(kept_.end(), input, input + size);
            size_t used = decodeFrames(kept_.data(), kept_.size(), output);
            kept_.erase(kept_.begin(), kept_.begin() + long(used));
        }
        if (kept_.size() > size_t(kAmrMaxKeptBytes))
            kept_.clear();
        return written_ > 0 ? 0 : 1;
    }

    int STDMETHODCALLTYPE GetParam(int id, void* value) override
    {
        if (!value)
            return -1;
        switch (id) {
            case kAmrInputSize:
                std::memcpy(value, &inputSize_, sizeof inputSize_);
                return 0;
            case kAmrOutputSize:
                std::memcpy(value, &written_, sizeof written_);
                return 0;
            case kAmrOutputRoom:
                std::memcpy(value, &outputRoom_, sizeof outputRoom_);
                return 0;
            case kAmrWideband: {
                uint8_t wideband = codec_->wideband() ? 1 : 0;
                std::memcpy(value, &wideband, 1);
                return 0;
            }
            default:
                return -1;
        }
    }

    int STDMETHODCALLTYPE SetParam(int id, const void* value) override
    {
        if (!value)
            return -1;
        if (id == kAmrWideband) {
            uint8_t wideband;
            std::memcpy(&wideband, value, 1);
            if (wideband > 1)
                return -1;
            restart(wideband == 1);
            return valid() ? 0 : -1;
        }
        int32_t number;
        std::memcpy(&number, value, sizeof number);
        if (number < 0)
            return -1;
        switch (id) {
            case kAmrInputSize:
                inputSize_ = number;
                return 0;
            case kAmrOutputRoom:
                outputRoom_ = number;
                return 0;
            default:
                return -1;
        }
    }

private:
    void restart(bool wideband)
    {
        codec_.reset();  // one codec state at a time
        codec_ = std::make_unique<OpencoreAmr>(wideband);
        kept_.clear();
        atStart_ = true;
    }

    // Decodes the whole frames of [data, data + size) that fit the output
    // room, after those already written; the count of bytes used up.
    size_t decodeFrames(const uint8_t* data, size_t size, int16_t* output)
    {
        const bool wideband = codec_->wideband();
        const size_t frameBytes = wideband ? kAmrWidebandFrameBytes : kAmrNarrowbandFrameBytes;
        size_t position = 0;
        while (position < size) {
            if (atStart_) {
                size_t magic = amrMagicLength(data + position, size - position);
                if (magic == kAmrMagicIncomplete)
                    break;
                position += magic;
                atStart_ = false;
                continue;
            }
            AmrFrame frame = amrFrame(data[position], wideband);
            if (frame.kind == AmrFrameKind::Invalid)
                return size;  // frame boundaries lost: the rest goes
            if (size - position < frame.bytes)
                break;  // completed by the next input
            if (frame.kind == AmrFrameKind::Decoded) {
                if (size_t(outputRoom_) - size_t(written_) < frameBytes)
                    break;  // written by the next Decode
                codec_->decode(data + position, frame.bytes, output + written_ / 2);
                written_ += int32_t(frameBytes);
            }
            position += frame.bytes;
        }
        return position;
    }

    std::unique_ptr<OpencoreAmr> codec_;
    std::vector<uint8_t> kept_;
    bool atStart_ = true;
    int32_t inputSize_ = 0;
    int32_t written_ = 0;
    int32_t outputRoom_ = kAmrDefaultOutputRoom;
};

}  // namespace

// Every sibling library exports this one signature: the loader calls it
// through a pointer of this type, whatever object it makes.
TV_C_EXPORT int AUDIODEC_Create(void** object)
{
    if (!object)
        return -1;
    *object = nullptr;
    try {
        auto library = std::make_unique<AmrLibrary>();
        if (!library->valid())
            return -1;
        *object = static_cast<TvAmrDecoder*>(library.release());
        return 0;
    } catch (const std::bad_alloc&) {
        return -1;
    }
}
