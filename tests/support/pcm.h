// Comparing decoded PCM with a reference: samples as numbers at full scale
// 1.0 whatever their format, SNR at the best alignment, the largest
// difference, and each speaker's tone on its own channel.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

enum class SampleFormat { S16, S24, S32, F32 };

int bytesPerSample(SampleFormat format);

// The format ffmpeg names s16le, s24le, s32le or f32le (anything else: S16).
SampleFormat sampleFormatNamed(const std::string& ffmpegName);

// Interleaved little-endian samples scaled so that full scale is 1.0.
std::vector<double> samplesOf(const std::vector<uint8_t>& bytes, SampleFormat format);

// SNR in dB (infinite when equal) over the common length, both from the start.
double snrDb(const std::vector<double>& reference, const std::vector<double>& test);

// The largest absolute difference over the common length.
double maxDifference(const std::vector<double>& reference, const std::vector<double>& test);

struct PcmMatch {
    double snr = -1e300;  // dB over everything the two share at `shift`
    long shift = 0;       // frames by which the test output lags the reference
};

// SNR at the shift of up to `maxShift` frames either way that matches best
// (decoders drop different amounts of priming and delay). The shift is
// found on a window a quarter into the reference and the SNR measured over
// the whole common part.
PcmMatch alignedSnr(const std::vector<double>& reference,
                    const std::vector<double>& test,
                    int channels,
                    long maxShift = 3072);

// Power of `freq` in one channel of interleaved samples (Goertzel), from
// frame `skipFrames` on.
double tonePower(const std::vector<double>& pcm,
                 int channels,
                 int channel,
                 double freq,
                 int rate,
                 size_t skipFrames = 0);

// Success when every channel carries its own tone (`tones[c]`) at least
// 20 dB above each other channel's tone: one signal per speaker proves the
// placement.
::testing::AssertionResult tonesOnSpeakers(const std::vector<double>& pcm,
                                           int channels,
                                           int rate,
                                           const std::vector<double>& tones,
                                           size_t skipFrames = 0);

// Output channel j is input channel from[j].
std::vector<double> pickChannels(const std::vector<double>& pcm,
                                 int channels,
                                 const std::vector<int>& from);
