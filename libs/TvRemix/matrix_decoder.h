// The matrix-surround decoding itself: Lt/Rt in, left, right, centre and
// surround out, steered by the dominant direction of the signal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class MatrixDecoder {
public:
    // Configuration codes 4..7 (see tv_remix.h); false for any other.
    bool setConfiguration(int code);
    bool setSampleRate(int rate);
    void reset();

    int configuration() const { return code_; }
    int sampleRate() const { return rate_; }
    int outputChannels() const;
    int latencyFrames() const { return static_cast<int>(delay_.size()); }
    bool ready() const { return code_ != 0 && rate_ != 0; }

    // Decodes `frames` stereo frames into `outputChannels()` channels each.
    void process(const int16_t* input, int16_t* output, size_t frames);

private:
    int code_ = 0;
    int rate_ = 0;
    // Envelopes (smoothed powers) of left, right, sum and difference.
    float envLeft_ = 0, envRight_ = 0, envSum_ = 0, envDifference_ = 0;
    float envelopeCoefficient_ = 0;
    // Surround band limit (one-pole low-pass) and delay line.
    float lowPassCoefficient_ = 0;
    float lowPassState_ = 0;
    std::vector<float> delay_;
    size_t delayPosition_ = 0;
};
