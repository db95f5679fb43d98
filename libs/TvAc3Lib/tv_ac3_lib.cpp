// The exported decoder object of TvAc3Lib.dll.
#include "libs/TvAc3Lib/tv_ac3_lib.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "decoders/ac3_header.h"
#include "libs/TvAc3Lib/av_ac3_decoder.h"
#include "platform/module_exports.h"

namespace {

constexpr int kSamples = 1536;
// Rounds to nearest (ties to even) and clips, as lrintf and a clamp would;
// four at a time where SSE2 is there.
void toSamples(const float* in, int16_t* out, int count)
{
    int n = 0;
#if defined(__SSE2__)
    const __m128 scale = _mm_set1_ps(32768.0f);
    for (; n + 8 <= count; n += 8) {
        __m128i low = _mm_cvtps_epi32(_mm_mul_ps(_mm_loadu_ps(in + n), scale));
        __m128i high = _mm_cvtps_epi32(_mm_mul_ps(_mm_loadu_ps(in + n + 4), scale));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + n), _mm_packs_epi32(low, high));
    }
#endif
    for (; n < count; ++n) {
        float scaled = std::clamp(in[n] * 32768.0f, -32768.0f, 32767.0f);
        out[n] = static_cast<int16_t>(std::lrintf(scaled));
    }
}

class Ac3Library final : public TvAc3Decoder {
public:
    int STDMETHODCALLTYPE Destroy(int flags) override
    {
        if (flags & 1)
            delete this;
        return 0;
    }

    int STDMETHODCALLTYPE Reset() override
    {
        decoder_.reset();
        return 0;
    }

    int STDMETHODCALLTYPE Decode(const uint16_t* frame, int16_t* output) override
    {
        if (!frame || !output)
            return -1;
        const uint8_t* words = reinterpret_cast<const uint8_t*>(frame);
        // Little-endian words: the stream's bytes 0,1 are at 1,0, and byte 4
        // (sample rate and frame size codes) at 5.
        if (words[0] != 0x77 || words[1] != 0x0B)
            return -1;
        int size = ac3FrameSize(words[5] >> 6, words[5] & 0x3F);
        if (size == 0)
            return -1;
        for (int i = 0; i < size; i += 2) {
            stream_[i] = words[i + 1];
            stream_[i + 1] = words[i];
        }
        Ac3FrameInfo info;
        if (!readAc3FrameInfo(stream_, static_cast<size_t>(size), info))
            return -1;
        std::array<const float*, kSpeakerCount> speakers;
        if (!decoder_.decode(stream_, static_cast<size_t>(size), speakers))
            return -1;
        render(info, speakers, output);
        return 0;
    }

    int STDMETHODCALLTYPE GetParam(int number, void* value) override
    {
        if (!value)
            return -1;
        if (number == kAc3Routing) {
            std::memcpy(value, routing_, sizeof routing_);
            return 0;
        }
        const int32_t* field = intField(number);
        if (!field)
            return -1;
        std::memcpy(value, field, sizeof *field);
        return 0;
    }

    int STDMETHODCALLTYPE SetParam(int number, const void* value) override
    {
        if (!value)
            return -1;
        if (number == kAc3Routing) {
            int32_t row[6];
            std::memcpy(row, value, sizeof row);
            for (int32_t entry : row)
                if (entry < 0 || entry > 5)
                    return -1;
            std::memcpy(routing_, row, sizeof row);
            return 0;
        }
        int32_t* field = intField(number);
        int32_t v;
        std::memcpy(&v, value, sizeof v);
        if (!field || !inRange(number, v))
            return -1;
        *field = v;
        applyDecoderOptions();
        return 0;
    }

private:
    int32_t* intField(int number)
    {
        switch (number) {
            case kAc3DynamicRangeMode:
                return &rangeMode_;
            case kAc3DynamicRangeScale:
                return &rangeScale_;
            case kAc3DialogueTarget:
                return &dialogueTarget_;
            case kAc3BoostScale:
                return &boostScale_;
            case kAc3KaraokeMode:
                return &karaokeMode_;
            case kAc3DualMonoMode:
                return &dualMonoMode_;
            case kAc3OutputMode:
                return &outputMode_;
            case kAc3OutputLfe:
                return &outputLfe_;
            default:
                return nullptr;
        }
    }

    static bool inRange(int number, int32_t v)
    {
        switch (number) {
            case kAc3DynamicRangeMode:
                return v >= 0 && v <= 2;
            case kAc3DynamicRangeScale:
            case kAc3BoostScale:
                return v >= 0 && v <= 128;
            case kAc3DialogueTarget:
                return v >= -31 && v <= 0;
            case kAc3KaraokeMode:
            case kAc3DualMonoMode:
                return v >= 0 && v <= 3;
            case kAc3OutputMode:
                return v >= 0 && v <= 7;
            case kAc3OutputLfe:
                return v == 0 || v == 1;
            default:
                return false;
        }
    }

    void applyDecoderOptions()
    {
        float scale = rangeMode_ == 2 ? static_cast<float>(rangeScale_) / 128.0f : 0.0f;
        decoder_.setDynamicRange(scale, rangeMode_ == 1);
        decoder_.setDialogueTarget(dialogueTarget_);
    }

    // Mixes the decoded speakers into the output layout and writes each
    // library channel at the interleave position its routing entry names.
    void render(const Ac3FrameInfo& info,
                const std::array<const float*, kSpeakerCount>& speakers,
                int16_t* output)
    {
        Ac3MixRequest request{outputMode_, outputLfe_ != 0, karaokeMode_, dualMonoMode_};
        if (!sameMix(info, request)) {
            matrix_ = mixMatrix(info, request);
            mixInfo_ = info;
            mixRequest_ = request;
            haveMix_ = true;
        }
        const Ac3Speaker* slots = kLibrarySlots[outputMode_][outputLfe_];
        int channels = 0;
        for (int k = 0; k < 6; ++k)
            channels += slots[k] != kSpeakerNone;
        std::memset(output, 0, sizeof(int16_t) * kSamples * static_cast<size_t>(channels));
        for (int k = 0; k < 6; ++k) {
            if (slots[k] == kSpeakerNone || routing_[k] >= channels)
                continue;
            toSamples(mix(matrix_[slots[k]], speakers, k), converted_, kSamples);
            int16_t* out = output + routing_[k];
            for (int n = 0; n < kSamples; ++n)
                out[n * channels] = converted_[n];
        }
    }

    // One output speaker's samples: the decoded speaker itself when the row
    // passes one through unchanged, else the weighted sum in scratch `k`.
    const float* mix(const std::array<float, kSpeakerCount>& row,
                     const std::array<const float*, kSpeakerCount>& speakers,
                     int k)
    {
        int single = -1, terms = 0;
        for (int i = 0; i < kSpeakerCount; ++i)
            if (row[i] != 0 && speakers[i]) {
                single = i;
                ++terms;
            }
        if (terms == 1 && row[single] == 1.0f)
            return speakers[single];
        float* sum = mixed_[k];
        std::fill(sum, sum + kSamples, 0.0f);
        for (int i = 0; i < kSpeakerCount; ++i)
            if (row[i] != 0 && speakers[i])
                for (int n = 0; n < kSamples; ++n)
                    sum[n] += row[i] * speakers[i][n];
        return sum;
    }

    bool sameMix(const Ac3FrameInfo& info, const Ac3MixRequest& request) const
    {
        return haveMix_ && info.bsmod == mixInfo_.bsmod && info.acmod == mixInfo_.acmod &&
               info.lfeon == mixInfo_.lfeon && info.centreMixLevel == mixInfo_.centreMixLevel &&
               info.surroundMixLevel == mixInfo_.surroundMixLevel &&
               request.outputMode == mixRequest_.outputMode &&
               request.outputLfe == mixRequest_.outputLfe &&
               request.karaokeMode == mixRequest_.karaokeMode &&
               request.dualMonoMode == mixRequest_.dualMonoMode;
    }

    AvAc3Decoder decoder_;
    uint8_t stream_[kAc3MaxFrameBytes];
    // The matrix of the last frame, kept while layout and settings stay.
    Ac3Matrix matrix_{};
    Ac3FrameInfo mixInfo_;
    Ac3MixRequest mixRequest_;
    bool haveMix_ = false;
    float mixed_[6][kSamples];
    int16_t converted_[kSamples];
    int32_t rangeMode_ = 2;
    int32_t rangeScale_ = 128;
    int32_t dialogueTarget_ = 0;
    int32_t boostScale_ = 128;
    int32_t karaokeMode_ = 0;
    int32_t dualMonoMode_ = 0;
    int32_t outputMode_ = 7;
    int32_t outputLfe_ = 1;
    int32_t routing_[6] = {0, 2, 1, 4, 5, 3};  // the standard 3/2 row with LFE
};

}  // namespace

// Every sibling library exports this one signature: the loader calls it
// through a pointer of this type, whatever object it makes.
TV_C_EXPORT int AUDIODEC_Create(void** object)
{
    if (!object)
        return -1;
    auto* library = new (std::nothrow) Ac3Library;
    *object = static_cast<TvAc3Decoder*>(library);
    if (!library)
        return -1;
    return 0;
}
