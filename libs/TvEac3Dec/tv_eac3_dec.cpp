// The exported entry points of TvEac3Dec.dll and the instance behind them.
#include "libs/TvEac3Dec/tv_eac3_dec.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "core/bit_reader.h"
#include "decoders/ac3_header.h"
#include "libs/TvAc3Lib/ac3_mix.h"
#include "libs/TvAc3Lib/av_ac3_decoder.h"
#include "libs/TvEac3Dec/access_unit.h"
#include "libs/TvEac3Dec/eac3_to_ac3.h"
#include "libs/TvEac3Dec/interleave.h"
#include "platform/module_exports.h"

namespace {

constexpr int kSamples = 1536;

class Eac3Instance {
public:
    short setParam(int32_t number, const void* value)
    {
        if (!value)
            return kDdpiNullArgument;
        switch (number) {
            case kDdpiOutputMode:
                return setInt(outputMode_, value, 1, 7);
            case kDdpiOutputLfe:
                return setInt(outputLfe_, value, 0, 1);
            case kDdpiRangeMode:
                return applied(setInt(rangeMode_, value, 0, 2));
            case kDdpiStereoMode:
                return setInt(stereoMode_, value, 0, 2);
            case kDdpiDualMono:
                return setInt(dualMono_, value, 0, 3);
            case kDdpiDialogueTarget:
                return applied(setDouble(dialogueTarget_, value, -31, 0));
            case kDdpiCutScale:
                return applied(setDouble(cutScale_, value, 0, 1));
            case kDdpiBoostScale:
                return setDouble(boostScale_, value, 0, 1);
            case kDdpiGain: {
                float gain;
                std::memcpy(&gain, value, sizeof gain);
                if (!(gain >= 0 && gain <= 1))
                    return kDdpiBadValue;
                gain_ = gain;
                return kDdpiOk;
            }
            case kDdpiKaraoke: {
                double k[6];
                std::memcpy(k, value, sizeof k);
                for (double c : k)
                    if (!(c >= -1 && c <= 1))
                        return kDdpiBadValue;
                std::copy(k, k + 6, karaoke_);
                return kDdpiOk;
            }
            default:
                return kDdpiUnknownParam;
        }
    }

    short getParam(int32_t number, void* value) const
    {
        if (!value)
            return kDdpiNullArgument;
        auto put = [&](const auto& field) {
            std::memcpy(value, &field, sizeof field);
            return short(kDdpiOk);
        };
        switch (number) {
            case kDdpiOutputMode:
                return put(outputMode_);
            case kDdpiOutputLfe:
                return put(outputLfe_);
            case kDdpiRangeMode:
                return put(rangeMode_);
            case kDdpiStereoMode:
                return put(stereoMode_);
            case kDdpiDualMono:
                return put(dualMono_);
            case kDdpiDialogueTarget:
                return put(dialogueTarget_);
            case kDdpiCutScale:
                return put(cutScale_);
            case kDdpiBoostScale:
                return put(boostScale_);
            case kDdpiGain:
                return put(gain_);
            case kDdpiKaraoke:
                return put(karaoke_);
            default:
                return kDdpiUnknownParam;
        }
    }

    short process(const uint8_t* stream, size_t bytes, ddpi_output* out)
    {
        if (out->convertToAc3)
            return convert(stream, bytes, out);
        return decode(stream, bytes, out);
    }

private:
    static short setInt(int32_t& field, const void* value, int32_t low, int32_t high)
    {
        int32_t v;
        std::memcpy(&v, value, sizeof v);
        if (v < low || v > high)
            return kDdpiBadValue;
        field = v;
        return kDdpiOk;
    }

    static short setDouble(double& field, const void* value, double low, double high)
    {
        double v;
        std::memcpy(&v, value, sizeof v);
        if (!(v >= low && v <= high))
            return kDdpiBadValue;
        field = v;
        return kDdpiOk;
    }

    short applied(short result)
    {
        if (result == kDdpiOk && decoder_)
            applyOptions();
        return result;
    }

    void applyOptions()
    {
        float scale = rangeMode_ == 0 ? 0.0f : static_cast<float>(cutScale_);
        decoder_->setDynamicRange(scale, rangeMode_ == 1);
        decoder_->setDialogueTarget(static_cast<int>(dialogueTarget_));
    }

    short convert(const uint8_t* stream, size_t bytes, ddpi_output* out)
    {
        if (!out->ac3 || out->ac3Capacity < 0)
            return kDdpiNullArgument;
        // Made on first use: most instances only ever decode AC-3.
        if (!transcoder_)
            transcoder_ = std::make_unique<Eac3ToAc3>();
        size_t written = 0;
        switch (transcoder_->convert(stream, bytes, out->ac3, static_cast<size_t>(out->ac3Capacity),
                                     written)) {
            case Eac3ToAc3::Result::Ok:
                break;
            case Eac3ToAc3::Result::DecodeError:
                return kDdpiDecodeError;
            case Eac3ToAc3::Result::EncodeError:
                return kDdpiEncodeError;
            case Eac3ToAc3::Result::TooSmall:
                return kDdpiBufferTooSmall;
        }
        // Handed back in little-endian words, like the frames taken in.
        swapBytes16(out->ac3, out->ac3, written / 2);
        out->ac3Words = static_cast<int32_t>(written / 2);
        return kDdpiOk;
    }

    short decode(const uint8_t* stream, size_t bytes, ddpi_output* out)
    {
        for (pp_bufdesc* d : out->pp_dec_bufdesc)
            if (d)
                d->nsamples = 0;
        Ac3FrameInfo info;
        // E-AC-3 is only converted: the filter plays it through pass-through.
        if (!readAc3FrameInfo(stream, bytes, info))
            return kDdpiDecodeError;
        std::array<const float*, kSpeakerCount> speakers;
        // Made on the first frame: opening libavcodec's decoder costs more
        // than an instance that never sees a frame should pay.
        if (!decoder_) {
            // Frames come here checked (ddpi_dcv_checkframe).
            decoder_ = std::make_unique<AvAc3Decoder>(true, false);
            applyOptions();
        }
        if (!decoder_->decode(stream, bytes, speakers))
            return kDdpiDecodeError;
        Ac3Matrix matrix = mixFor(info);
        const Ac3Speaker* slots = kLibrarySlots[outputMode_][outputLfe_];
        for (int k = 0; k < 6; ++k) {
            if (slots[k] == kSpeakerNone)
                continue;
            pp_bufdesc* d = out->pp_dec_bufdesc[k];
            if (!d || !(d->samples || d->floatSamples) || d->capacity < kSamples || d->stride < 1)
                return kDdpiBufferTooSmall;
        }
        std::array<const float*, 6> sources{};
        for (int k = 0; k < 6; ++k)
            if (slots[k] != kSpeakerNone)
                sources[k] = mix(matrix[slots[k]], speakers, mixed_[k]);
        if (!writeInterleaved(out, sources))
            for (int k = 0; k < 6; ++k) {
                if (!sources[k])
                    continue;
                const float* from = sources[k];
                pp_bufdesc* d = out->pp_dec_bufdesc[k];
                auto stride = size_t(d->stride);
                if (d->floatSamples)
                    for (int n = 0; n < kSamples; ++n)
                        d->floatSamples[size_t(n) * stride] = clampToUnit(from[n] * gain_);
                else
                    for (int n = 0; n < kSamples; ++n)
                        d->samples[size_t(n) * stride] = double(from[n]) * gain_;
            }
        for (pp_bufdesc* d : out->pp_dec_bufdesc)
            if (d)
                d->nsamples = kSamples;
        return kDdpiOk;
    }

    // The downmix of TvAc3Lib for the output asked; karaoke streams keep
    // every vocal in the matrix and take the levels of parameter 9.
    Ac3Matrix mixFor(const Ac3FrameInfo& info)
    {
        int mode = outputMode_ == 2 && stereoMode_ == 1 ? 0 : outputMode_;
        bool karaoke = info.bsmod == 7 && info.acmod >= 2;
        Ac3MixRequest request{mode, outputLfe_ != 0, karaoke ? 3 : 0, dualMono_};
        Ac3Matrix m = baseMatrix(info, request);
        if (!karaoke)
            return m;
        Ac3Matrix base = m;
        int v1 = info.acmod == 4 || info.acmod == 5 ? kSpeakerS : kSpeakerLs;
        for (auto& row : m) {
            for (int music : {kSpeakerL, kSpeakerR, kSpeakerC})
                row[music] *= static_cast<float>(karaoke_[4]);
            row[v1] *= static_cast<float>(karaoke_[0]);
            row[kSpeakerRs] *= static_cast<float>(karaoke_[2]);
        }
        m[kSpeakerR][v1] += static_cast<float>(karaoke_[1]) * base[kSpeakerL][v1];
        m[kSpeakerL][kSpeakerRs] += static_cast<float>(karaoke_[3]) * base[kSpeakerR][kSpeakerRs];
        return m;
    }

    // mixMatrix's result, worked out again only when the frame's layout or
    // mix levels or the request change, which few streams ever do.
    const Ac3Matrix& baseMatrix(const Ac3FrameInfo& info, const Ac3MixRequest& request)
    {
        const Ac3FrameInfo& i = mixInfo_;
        const Ac3MixRequest& r = mixRequest_;
        bool same = mixKnown_ && i.bsid == info.bsid && i.bsmod == info.bsmod &&
                    i.acmod == info.acmod && i.lfeon == info.lfeon &&
                    i.centreMixLevel == info.centreMixLevel &&
                    i.surroundMixLevel == info.surroundMixLevel &&
                    r.outputMode == request.outputMode && r.outputLfe == request.outputLfe &&
                    r.karaokeMode == request.karaokeMode && r.dualMonoMode == request.dualMonoMode;
        if (!same) {
            mixBase_ = mixMatrix(info, request);
            mixInfo_ = info;
            mixRequest_ = request;
            mixKnown_ = true;
        }
        return mixBase_;
    }

    // Float channels that fill every place of one interleaved buffer (each
    // output channel at its own offset, the stride their count) are written
    // in one pass; false leaves them to the per-channel loops.
    bool writeInterleaved(const ddpi_output* out, const std::array<const float*, 6>& sources)
    {
        int count = 0;
        float* base = nullptr;
        for (int k = 0; k < 6; ++k) {
            if (!sources[k])
                continue;
            const pp_bufdesc* d = out->pp_dec_bufdesc[k];
            if (!d->floatSamples)
                return false;
            ++count;
            if (!base || d->floatSamples < base)
                base = d->floatSamples;
        }
        std::array<const float*, 6> ordered{};
        for (int k = 0; k < 6; ++k) {
            if (!sources[k])
                continue;
            const pp_bufdesc* d = out->pp_dec_bufdesc[k];
            ptrdiff_t place = d->floatSamples - base;
            if (d->stride != count || place >= count || ordered[size_t(place)])
                return false;
            ordered[size_t(place)] = sources[k];
        }
        if (count == 0)
            return false;
        interleaveClamped(ordered.data(), count, gain_, kSamples, base);
        return true;
    }

    // The row's sum of speakers in `into`, or the speaker itself when the
    // row passes one through unchanged.
    static const float* mix(const std::array<float, kSpeakerCount>& row,
                            const std::array<const float*, kSpeakerCount>& speakers,
                            float* into)
    {
        int single = -1, terms = 0;
        for (int i = 0; i < kSpeakerCount; ++i)
            if (row[i] != 0 && speakers[i]) {
                single = i;
                ++terms;
            }
        if (terms == 1 && row[single] == 1.0f)
            return speakers[single];
        std::fill(into, into + kSamples, 0.0f);
        for (int i = 0; i < kSpeakerCount; ++i)
            if (row[i] != 0 && speakers[i])
                for (int n = 0; n < kSamples; ++n)
                    into[n] += row[i] * speakers[i][n];
        return into;
    }

    std::unique_ptr<AvAc3Decoder> decoder_;
    std::unique_ptr<Eac3ToAc3> transcoder_;
    Ac3FrameInfo mixInfo_;
    Ac3MixRequest mixRequest_;
    Ac3Matrix mixBase_{};
    bool mixKnown_ = false;
    // A sum per output channel: all are written out together.
    float mixed_[6][kSamples];
    int32_t outputMode_ = 7;
    int32_t outputLfe_ = 1;
    int32_t rangeMode_ = 2;
    int32_t stereoMode_ = 0;
    int32_t dualMono_ = 0;
    double dialogueTarget_ = 0;
    double cutScale_ = 1;
    double boostScale_ = 1;
    float gain_ = 1;
    double karaoke_[6] = {0, 0, 0, 0, 1, 0};
};

// An instance's memory as the caller hands it over: the object, and whether
// it runs.
struct InstanceBlock {
    bool open;
    alignas(Eac3Instance) unsigned char storage[sizeof(Eac3Instance)];
};

Eac3Instance* running(void* memory)
{
    auto* block = static_cast<InstanceBlock*>(memory);
    if (!block || !block->open)
        return nullptr;
    return std::launder(reinterpret_cast<Eac3Instance*>(block->storage));
}

// Measures the frame handed over, whose end ends the unit: kDdpiOk with
// `unit` filled, or why not.
short measureFrame(const ddpi_frame_desc* frame, AccessUnit& unit)
{
    if (!frame || !frame->words)
        return kDdpiNullArgument;
    size_t available = size_t(std::min(frame->nwords, frame->capacity)) * 2;
    switch (
        measureAccessUnit(reinterpret_cast<const uint8_t*>(frame->words), available, unit, true)) {
        case MeasureResult::Whole:
            return kDdpiOk;
        case MeasureResult::Incomplete:
            return kDdpiBufferTooSmall;
        case MeasureResult::NoSync:
            return kDdpiNoSync;
        case MeasureResult::BadHeader:
            break;
    }
    return kDdpiBadHeader;
}

// The frame's words back in stream byte order, in a buffer of its own (kept
// by the thread, so that frames after the first allocate nothing).
bool streamOrder(const ddpi_frame_desc* frame,
                 AccessUnit& unit,
                 std::vector<uint8_t>& bytes,
                 short& error)
{
    error = measureFrame(frame, unit);
    if (error != kDdpiOk)
        return false;
    bytes.resize(unit.bytes);
    swapBytes16(bytes.data(), reinterpret_cast<const uint8_t*>(frame->words), unit.bytes / 2);
    return true;
}

}  // namespace

TV_C_EXPORT short ddpi_dcv_query(uint32_t* size)
{
    if (!size)
        return kDdpiNullArgument;
    *size = sizeof(InstanceBlock);
    return kDdpiOk;
}

TV_C_EXPORT short ddpi_dcv_open(void* instance)
{
    auto* block = static_cast<InstanceBlock*>(instance);
    if (!block)
        return kDdpiNullArgument;
    block->open = false;
    auto* object = new (block->storage) Eac3Instance;
    block->open = true;
    (void)object;
    return kDdpiOk;
}

TV_C_EXPORT short ddpi_dcv_close(void* instance)
{
    Eac3Instance* object = running(instance);
    if (!object)
        return kDdpiNotOpen;
    object->~Eac3Instance();
    static_cast<InstanceBlock*>(instance)->open = false;
    return kDdpiOk;
}

TV_C_EXPORT short ddpi_dcv_setprocessparam(void* instance, int32_t number, const void* value)
{
    Eac3Instance* object = running(instance);
    return object ? object->setParam(number, value) : short(kDdpiNotOpen);
}

TV_C_EXPORT short ddpi_dcv_getprocessparam(void* instance, int32_t number, void* value)
{
    Eac3Instance* object = running(instance);
    return object ? object->getParam(number, value) : short(kDdpiNotOpen);
}

TV_C_EXPORT short ddpi_dcv_getframeparam(const ddpi_frame_desc* frame, ddpi_frame_params* params)
{
    if (!frame || !frame->words || !params)
        return kDdpiNullArgument;
    size_t available = size_t(std::min(frame->nwords, frame->capacity)) * 2;
    AccessUnit unit;
    MeasureResult result =
        measureAccessUnit(reinterpret_cast<const uint8_t*>(frame->words), available, unit);
    if (result == MeasureResult::NoSync)
        return kDdpiNoSync;
    if (result == MeasureResult::BadHeader)
        return kDdpiBadHeader;
    params->bsid = unit.first.bsid;
    params->frameWords = static_cast<int32_t>((unit.bytes + 1) / 2);
    params->blocks = unit.blocks > 0 ? unit.blocks : unit.first.blocks;
    params->acmod = unit.first.acmod;
    params->lfeon = unit.first.lfeon;
    if (!unit.first.eac3 && unit.first.bsmod == 7) {
        // The delivered layout: karaoke AC-3 plays as its 2/0 music pair.
        params->acmod = 2;
        params->lfeon = 0;
    }
    return kDdpiOk;
}

TV_C_EXPORT short ddpi_dcv_checkframe(const ddpi_frame_desc* frame)
{
    AccessUnit unit;
    short error = measureFrame(frame, unit);
    if (error != kDdpiOk)
        return error;
    // Checked where the words lie, without a copy in stream order.
    return checkAccessUnitCrcs(reinterpret_cast<const uint8_t*>(frame->words), unit.bytes, true)
               ? kDdpiOk
               : kDdpiCrcError;
}

TV_C_EXPORT short ddpi_dcv_processframe(void* instance,
                                        const ddpi_frame_desc* frame,
                                        ddpi_output* output)
{
    Eac3Instance* object = running(instance);
    if (!object)
        return kDdpiNotOpen;
    if (!output)
        return kDdpiNullArgument;
    AccessUnit unit;
    thread_local std::vector<uint8_t> bytes;
    short error;
    if (!streamOrder(frame, unit, bytes, error))
        return error;
    return object->process(bytes.data(), bytes.size(), output);
}
