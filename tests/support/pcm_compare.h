// Comparing a lossy decode with ffmpeg's: 16-bit samples aligned at the
// shift that matches best (decoders drop different amounts of priming and
// delay), channels matched by the tone each carries.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "support/reference_tools.h"

// ffmpeg's decode as 16-bit samples.
inline std::vector<int16_t> referencePcm(const std::string& path)
{
    auto bytes = commandOutput("ffmpeg -v quiet -i " + path + " -vn -f s16le -");
    std::vector<int16_t> pcm(bytes.size() / 2);
    std::memcpy(pcm.data(), bytes.data(), pcm.size() * 2);
    return pcm;
}

// Power of `freq` in one channel of interleaved samples (Goertzel).
inline double channelTone(const std::vector<int16_t>& pcm, int channels, int channel, double freq, int rate)
{
    double coefficient = 2 * std::cos(2 * M_PI * freq / rate);
    double s1 = 0, s2 = 0;
    for (size_t i = size_t(channel); i < pcm.size(); i += size_t(channels)) {
        double s0 = pcm[i] + coefficient * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    return s1 * s1 + s2 * s2 - coefficient * s1 * s2;
}

// Which of `tones` is strongest in each channel.
inline std::vector<int> strongestTones(const std::vector<int16_t>& pcm, int channels, int rate,
                                       const std::vector<double>& tones)
{
    std::vector<int> strongest(size_t(channels), -1);
    for (int c = 0; c < channels; ++c) {
        double best = 0;
        for (size_t t = 0; t < tones.size(); ++t) {
            double power = channelTone(pcm, channels, c, tones[t], rate);
            if (power > best) {
                best = power;
                strongest[size_t(c)] = int(t);
            }
        }
    }
    return strongest;
}

struct PcmMatch {
    double snr = -INFINITY;  // dB over the common part
    long shift = 0;          // frames by which our output leads ffmpeg's
};

// SNR of `ours` against `reference` (same channel order) at the shift of up
// to `maxShift` frames either way that matches best: the two decoders drop
// different amounts of priming and delay.
inline PcmMatch alignedSnr(const std::vector<int16_t>& reference, const std::vector<int16_t>& ours, int channels,
                           long maxShift = 3072)
{
    PcmMatch best;
    size_t c = size_t(channels);
    size_t probe = std::min<size_t>(1024, std::min(reference.size(), ours.size()) / c / 2);
    // Find the shift on a window in the middle, then measure over everything.
    size_t middle = reference.size() / c / 4;
    for (long shift = -maxShift; shift <= maxShift; ++shift) {
        long testFrame = long(middle) + shift;
        if (testFrame < 0 || size_t(testFrame) + probe > ours.size() / c || middle + probe > reference.size() / c)
            continue;
        double snr = snrOver(reference, ours, middle * c, size_t(testFrame) * c, probe * c);
        if (snr > best.snr) {
            best.snr = snr;
            best.shift = shift;
        }
    }
    size_t referenceStart = best.shift < 0 ? size_t(-best.shift) * c : 0;
    size_t testStart = best.shift > 0 ? size_t(best.shift) * c : 0;
    if (referenceStart >= reference.size() || testStart >= ours.size())
        return best;
    size_t count = std::min(reference.size() - referenceStart, ours.size() - testStart);
    best.snr = snrOver(reference, ours, referenceStart, testStart, count);
    return best;
}

// Reorders the channels of interleaved `pcm`: output channel j is input
// channel from[j].
inline std::vector<int16_t> pickChannels(const std::vector<int16_t>& pcm, int channels, const std::vector<int>& from)
{
    std::vector<int16_t> out;
    size_t frames = pcm.size() / size_t(channels);
    out.reserve(frames * from.size());
    for (size_t f = 0; f < frames; ++f)
        for (int source : from)
            out.push_back(pcm[f * size_t(channels) + size_t(source)]);
    return out;
}
