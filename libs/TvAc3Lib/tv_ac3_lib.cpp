// The exported decoder object of TvAc3Lib.dll.
#include "libs/TvAc3Lib/tv_ac3_lib.h"

#include <cmath>
#include <cstring>
#include <new>

#include "libs/TvAc3Lib/av_ac3_decoder.h"

#ifdef _WIN32
#define TV_EXPORT extern "C" __declspec(dllexport)
#else
#define TV_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {

constexpr int kSamples = 1536;
constexpr Ac3Speaker kNo = kSpeakerNone;

// The library's channel numbering per output acmod, without and with LFE
// (see the header): chosen so that the standard routing rows give WAVE order.
constexpr Ac3Speaker kSlots[8][2][6] = {
    {{kSpeakerL, kNo, kSpeakerR, kNo, kNo, kNo}, {kSpeakerL, kNo, kSpeakerR, kNo, kNo, kSpeakerLfe}},
    {{kNo, kSpeakerC, kNo, kNo, kNo, kNo}, {kNo, kSpeakerC, kNo, kNo, kNo, kSpeakerLfe}},
    {{kSpeakerL, kNo, kSpeakerR, kNo, kNo, kNo}, {kSpeakerL, kNo, kSpeakerR, kNo, kNo, kSpeakerLfe}},
    {{kSpeakerL, kSpeakerR, kSpeakerC, kNo, kNo, kNo}, {kSpeakerL, kSpeakerR, kSpeakerC, kNo, kNo, kSpeakerLfe}},
    {{kSpeakerL, kNo, kSpeakerR, kSpeakerS, kNo, kNo}, {kSpeakerL, kNo, kSpeakerR, kSpeakerLfe, kNo, kSpeakerS}},
    {{kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerS, kNo, kNo},
     {kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe, kNo, kSpeakerS}},
    {{kSpeakerL, kNo, kSpeakerR, kSpeakerLs, kSpeakerRs, kNo},
     {kSpeakerL, kNo, kSpeakerR, kSpeakerLfe, kSpeakerLs, kSpeakerRs}},
    {{kSpeakerL, kSpeakerC, kSpeakerR, kSpeakerLs, kSpeakerRs, kNo},
     {kSpeakerL, kSpeakerC, kSpeakerR, kSpeakerLs, kSpeakerRs, kSpeakerLfe}},
};

// Frame size in bytes from the fscod/frmsizecod byte (A/52 Table 5.18).
int frameBytes(uint8_t code)
{
    static constexpr int rates[19] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                      192, 224, 256, 320, 384, 448, 512, 576, 640};
    int fscod = code >> 6, frmsizecod = code & 0x3F;
    if (fscod == 3 || frmsizecod >= 38)
        return 0;
    int rate = rates[frmsizecod / 2];
    int words = fscod == 0 ? 2 * rate : fscod == 2 ? 3 * rate : rate * 960 / 441 + (frmsizecod & 1);
    return 2 * words;
}

int16_t toSample(float value)
{
    long scaled = std::lrintf(value * 32768.0f);
    return static_cast<int16_t>(scaled > 32767 ? 32767 : scaled < -32768 ? -32768 : scaled);
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
        int size = frameBytes(words[5]);
        if (size == 0)
            return -1;
        for (int i = 0; i < size; i += 2) {
            stream_[i] = words[i + 1];
            stream_[i + 1] = words[i];
        }
        Ac3FrameInfo info;
        if (!readAc3FrameInfo(stream_, info))
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
        case kAc3DynamicRangeMode: return &rangeMode_;
        case kAc3DynamicRangeScale: return &rangeScale_;
        case kAc3DialogueTarget: return &dialogueTarget_;
        case kAc3BoostScale: return &boostScale_;
        case kAc3KaraokeMode: return &karaokeMode_;
        case kAc3DualMonoMode: return &dualMonoMode_;
        case kAc3OutputMode: return &outputMode_;
        case kAc3OutputLfe: return &outputLfe_;
        default: return nullptr;
        }
    }

    static bool inRange(int number, int32_t v)
    {
        switch (number) {
        case kAc3DynamicRangeMode: return v >= 0 && v <= 2;
        case kAc3DynamicRangeScale:
        case kAc3BoostScale: return v >= 0 && v <= 128;
        case kAc3DialogueTarget: return v >= -31 && v <= 0;
        case kAc3KaraokeMode:
        case kAc3DualMonoMode: return v >= 0 && v <= 3;
        case kAc3OutputMode: return v >= 0 && v <= 7;
        case kAc3OutputLfe: return v == 0 || v == 1;
        default: return false;
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
    void render(const Ac3FrameInfo& info, const std::array<const float*, kSpeakerCount>& speakers,
                int16_t* output)
    {
        Ac3MixRequest request{outputMode_, outputLfe_ != 0, karaokeMode_, dualMonoMode_};
        Ac3Matrix matrix = mixMatrix(info, request);
        const Ac3Speaker* slots = kSlots[outputMode_][outputLfe_];
        int channels = 0;
        for (int k = 0; k < 6; ++k)
            channels += slots[k] != kSpeakerNone;
        std::memset(output, 0, sizeof(int16_t) * kSamples * static_cast<size_t>(channels));
        for (int k = 0; k < 6; ++k) {
            if (slots[k] == kSpeakerNone || routing_[k] >= channels)
                continue;
            const auto& row = matrix[slots[k]];
            int16_t* out = output + routing_[k];
            // The common case is a speaker passed straight through.
            int single = -1, terms = 0;
            for (int i = 0; i < kSpeakerCount; ++i)
                if (row[i] != 0 && speakers[i]) {
                    single = i;
                    ++terms;
                }
            if (terms == 1 && row[single] == 1.0f) {
                const float* in = speakers[single];
                for (int n = 0; n < kSamples; ++n)
                    out[n * channels] = toSample(in[n]);
                continue;
            }
            for (int n = 0; n < kSamples; ++n) {
                float sum = 0;
                for (int i = 0; i < kSpeakerCount; ++i)
                    if (row[i] != 0 && speakers[i])
                        sum += row[i] * speakers[i][n];
                out[n * channels] = toSample(sum);
            }
        }
    }

    AvAc3Decoder decoder_;
    uint8_t stream_[kAc3MaxFrameBytes];
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

TV_EXPORT int AUDIODEC_Create(TvAc3Decoder** object)
{
    if (!object)
        return -1;
    auto* library = new (std::nothrow) Ac3Library;
    *object = library;
    if (!library)
        return -1;
    return 0;
}
