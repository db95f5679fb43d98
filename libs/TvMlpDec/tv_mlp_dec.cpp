// The exported entry points of TvMlpDec.dll and the instance behind them.
#include "libs/TvMlpDec/tv_mlp_dec.h"

#include <memory>
#include <new>

#include "libs/TvMlpDec/av_mlp_decoder.h"
#include "libs/TvMlpDec/mlp_access_unit.h"
#include "platform/module_exports.h"

namespace {

// Bytes needed to see whether an access unit with a major sync starts here.
constexpr size_t kSyncSearchBytes = 8;

class MlpInstance : public MlpDecoder {
public:
    explicit MlpInstance(bool twoChannel) : twoChannelWanted_(twoChannel) {}

    const MlpResult* run(const uint8_t* input, MlpSampleRow* matrix)
    {
        result_ = MlpResult();
        result_.major_sync_info = haveSync_ ? &sync_ : nullptr;
        if (!input || !matrix)
            return &result_;
        while (intface.consumed >= 0 && intface.consumed < intface.inbufEnd) {
            const uint8_t* p = input + intface.consumed;
            size_t left = size_t(intface.inbufEnd - intface.consumed);
            if (!synced_ && !findMajorSync(p, left))
                break;
            p = input + intface.consumed;
            left = size_t(intface.inbufEnd - intface.consumed);
            AccessUnit unit;
            AccessUnitCheck check = checkAccessUnit(p, left, haveSync_ ? &sync_ : nullptr, unit);
            if (check == AccessUnitCheck::kIncomplete)
                break;
            if (check == AccessUnitCheck::kInvalid || (!synced_ && !unit.hasMajorSync)) {
                // Out of step: look for the next major sync from the next byte.
                synced_ = false;
                noteError(kMlpErrorLostSync);
                intface.consumed += 1;
                continue;
            }
            if (unit.hasMajorSync)
                takeMajorSync(unit.majorSync);
            intface.consumed += int32_t(unit.length);
            if (decode(p, unit.length, matrix))
                break;
            noteError(kMlpErrorRefused);
        }
        return &result_;
    }

    bool usable() const { return usable_; }

private:
    // Passes over bytes up to the next access unit that opens with a major
    // sync; false when the offered bytes end first.
    bool findMajorSync(const uint8_t* p, size_t left)
    {
        size_t skip = 0;
        while (skip + kSyncSearchBytes <= left && !startsWithMajorSync(p + skip, left - skip))
            ++skip;
        if (skip > 0) {
            noteError(kMlpErrorLostSync);
            intface.consumed += int32_t(skip);
        }
        return skip + kSyncSearchBytes <= left;
    }

    void takeMajorSync(const MlpMajorSyncInfo& info)
    {
        bool trueHd = info.format_sync == kMlpFormatSyncFba;
        // A new stream type or layout starts the decoders afresh: libavcodec
        // takes a TrueHD layout's channel count from its context only once.
        if (!full_ || full_->trueHd() != trueHd || info.channels != sync_.channels ||
            info.substreams != sync_.substreams) {
            full_ = std::make_unique<AvMlpDecoder>(trueHd, false, info.channels);
            stereo_.reset();
        }
        if (twoChannelWanted_ && info.substreams > 1 && (!stereo_ || stereo_->trueHd() != trueHd))
            stereo_ = std::make_unique<AvMlpDecoder>(trueHd, true, info.channels);
        sync_ = info;
        haveSync_ = true;
        synced_ = true;
        result_.major_sync_info = &sync_;
    }

    // Decodes one unit into both presentations; false when it gave nothing.
    bool decode(const uint8_t* unit, size_t length, MlpSampleRow* matrix)
    {
        int channels = 0, samples = 0;
        uint32_t mask = 0;
        if (!full_->decode(unit, length, matrix, kMlpMultichannelColumn, channels, samples, mask))
            return false;
        int twoChannels = 0, twoSamples = 0;
        uint32_t twoMask = 0;
        bool separateTwoChannel = sync_.substreams > 1 && stereo_ && channels > 2;
        if (separateTwoChannel &&
            stereo_->decode(unit, length, matrix, kMlpTwoChannelColumn, twoChannels, twoSamples,
                            twoMask) &&
            twoSamples == samples && twoChannels <= 2) {
            result_.twoChannel = kMlpTwoChannelColumn;
            result_.twoChannelCount = twoChannels;
            result_.twoChannelMask = twoMask;
        }
        if (channels > 2) {
            result_.multichannel = kMlpMultichannelColumn;
            result_.multichannelCount = channels;
            result_.multichannelMask = mask;
        } else {
            // The stream's only presentation is a two-channel one.
            for (int i = 0; i < samples; ++i)
                for (int k = 0; k < channels; ++k)
                    matrix[i][kMlpTwoChannelColumn + k] = matrix[i][kMlpMultichannelColumn + k];
            result_.twoChannel = kMlpTwoChannelColumn;
            result_.twoChannelCount = channels;
            result_.twoChannelMask = mask;
        }
        result_.samplesDecoded = samples;
        return true;
    }

    void noteError(MlpErrorCode code)
    {
        if (result_.errorCode == kMlpErrorNone)
            result_.errorCode = code;
    }

    bool twoChannelWanted_;
    bool usable_ = AvMlpDecoder::available();
    std::unique_ptr<AvMlpDecoder> full_;
    std::unique_ptr<AvMlpDecoder> stereo_;
    MlpMajorSyncInfo sync_;
    bool haveSync_ = false;  // a major sync was read since the instance began
    bool synced_ = false;    // the next byte starts an access unit
    MlpResult result_;
};

}  // namespace

TV_C_EXPORT MlpDecoder* mlpDecoderInit(const MlpInitRecord* init, int version)
{
    if (version != kMlpRecordVersion)
        return nullptr;
    MlpInitRecord defaults;
    auto* instance =
        new (std::nothrow) MlpInstance((init ? *init : defaults).twoChannelPresentation != 0);
    if (instance && !instance->usable()) {
        delete instance;
        return nullptr;
    }
    return instance;
}

TV_C_EXPORT const MlpResult* mlpDecoderRun(MlpDecoder* instance,
                                           const uint8_t* input,
                                           MlpSampleRow* matrix)
{
    if (!instance)
        return nullptr;
    return static_cast<MlpInstance*>(instance)->run(input, matrix);
}

TV_C_EXPORT void mlpDecoderClose(MlpDecoder* instance)
{
    delete static_cast<MlpInstance*>(instance);
}
