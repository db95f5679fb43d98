#include "libs/TvRemix/matrix_decoder.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr float kSqrt2 = 1.41421356f;
constexpr float kHalfPower = 0.70710678f;
// Steering follows the signal within about 20 ms: fast enough to keep a
// single source in place, slow enough that gains never jump between samples.
constexpr double kEnvelopeSeconds = 0.020;
// Matrix surround channels are band-limited to about 7 kHz and delayed, so
// that front sounds leaking into them are masked by the earlier front signal.
constexpr double kSurroundCutoffHz = 7000.0;
constexpr double kSurroundDelaySeconds = 0.010;

int16_t toSample(float value)
{
    float scaled = std::nearbyint(value * 32768.0f);
    return static_cast<int16_t>(std::clamp(scaled, -32768.0f, 32767.0f));
}

}  // namespace

bool MatrixDecoder::setConfiguration(int code)
{
    if (code < 4 || code > 7)
        return false;
    code_ = code;
    return true;
}

bool MatrixDecoder::setSampleRate(int rate)
{
    if (rate < 8000 || rate > 192000)
        return false;
    if (rate == rate_)
        return true;
    rate_ = rate;
    envelopeCoefficient_ = static_cast<float>(1.0 - std::exp(-1.0 / (kEnvelopeSeconds * rate)));
    double cutoff = std::min(kSurroundCutoffHz, 0.45 * rate);
    lowPassCoefficient_ = static_cast<float>(1.0 - std::exp(-2.0 * kPi * cutoff / rate));
    delay_.assign(static_cast<size_t>(kSurroundDelaySeconds * rate), 0.0f);
    delayPosition_ = 0;
    return true;
}

void MatrixDecoder::reset()
{
    envLeft_ = envRight_ = envSum_ = envDifference_ = 0;
    lowPassState_ = 0;
    std::fill(delay_.begin(), delay_.end(), 0.0f);
    delayPosition_ = 0;
}

int MatrixDecoder::outputChannels() const
{
    switch (code_) {
        case 4:
            return 3;
        case 5:
        case 6:
            return 4;
        case 7:
            return 5;
        default:
            return 0;
    }
}

void MatrixDecoder::process(const int16_t* input, int16_t* output, size_t frames)
{
    const float a = envelopeCoefficient_;
    const float tiny = 1e-12f;
    for (size_t i = 0; i < frames; ++i) {
        float lt = input[2 * i] / 32768.0f;
        float rt = input[2 * i + 1] / 32768.0f;
        float sum = 0.5f * (lt + rt);
        float difference = 0.5f * (lt - rt);

        envLeft_ += a * (lt * lt - envLeft_);
        envRight_ += a * (rt * rt - envRight_);
        envSum_ += a * (sum * sum - envSum_);
        envDifference_ += a * (difference * difference - envDifference_);
        // Dominance: left/right and centre/surround, each in [-1, 1].
        float leftRight = (envLeft_ - envRight_) / (envLeft_ + envRight_ + tiny);
        float centreSurround = (envSum_ - envDifference_) / (envSum_ + envDifference_ + tiny);
        float centreWeight = std::max(centreSurround, 0.0f);
        float surroundWeight = std::max(-centreSurround, 0.0f);
        float sideWeight = 1.0f - std::fabs(leftRight);

        // A dominant centre (or surround) is taken out of left and right, and
        // a dominant side keeps centre and surround quiet, so one direction is
        // not smeared over its neighbours.
        float left = lt - centreWeight * sum - surroundWeight * difference;
        float right = rt - centreWeight * sum + surroundWeight * difference;
        float centre = kSqrt2 * sum * sideWeight * (1.0f - surroundWeight);
        float surround = kSqrt2 * difference * sideWeight * (1.0f - centreWeight);

        lowPassState_ += lowPassCoefficient_ * (surround - lowPassState_);
        float delayed = lowPassState_;
        if (!delay_.empty()) {
            delayed = delay_[delayPosition_];
            delay_[delayPosition_] = lowPassState_;
            delayPosition_ = delayPosition_ + 1 == delay_.size() ? 0 : delayPosition_ + 1;
        }

        switch (code_) {
            case 4:  // L R BC
                output[0] = toSample(left);
                output[1] = toSample(right);
                output[2] = toSample(delayed);
                output += 3;
                break;
            case 5:  // L R C BC
                output[0] = toSample(left);
                output[1] = toSample(right);
                output[2] = toSample(centre);
                output[3] = toSample(delayed);
                output += 4;
                break;
            case 6:  // L R BL BR: the mono surround shared at half power
                output[0] = toSample(left);
                output[1] = toSample(right);
                output[2] = toSample(kHalfPower * delayed);
                output[3] = toSample(kHalfPower * delayed);
                output += 4;
                break;
            default:  // 7: L R C BL BR
                output[0] = toSample(left);
                output[1] = toSample(right);
                output[2] = toSample(centre);
                output[3] = toSample(kHalfPower * delayed);
                output[4] = toSample(kHalfPower * delayed);
                output += 5;
                break;
        }
    }
}
