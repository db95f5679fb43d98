#include "support/pcm.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>

int bytesPerSample(SampleFormat format)
{
    switch (format) {
        case SampleFormat::S16:
            return 2;
        case SampleFormat::S24:
            return 3;
        default:
            return 4;
    }
}

SampleFormat sampleFormatNamed(const std::string& ffmpegName)
{
    return ffmpegName == "s24le"   ? SampleFormat::S24
           : ffmpegName == "s32le" ? SampleFormat::S32
           : ffmpegName == "f32le" ? SampleFormat::F32
                                   : SampleFormat::S16;
}

std::vector<double> samplesOf(const std::vector<uint8_t>& bytes, SampleFormat format)
{
    size_t width = size_t(bytesPerSample(format));
    std::vector<double> out(bytes.size() / width);
    for (size_t i = 0; i < out.size(); ++i) {
        const uint8_t* b = &bytes[i * width];
        switch (format) {
            case SampleFormat::S16:
                out[i] = int16_t(b[0] | (b[1] << 8)) / 32768.0;
                break;
            case SampleFormat::S24:
                out[i] = (int32_t(uint32_t(b[0] << 8 | b[1] << 16 | b[2] << 24)) >> 8) / 8388608.0;
                break;
            case SampleFormat::S32:
                out[i] = int32_t(uint32_t(b[0] | b[1] << 8 | b[2] << 16) | uint32_t(b[3]) << 24) /
                         2147483648.0;
                break;
            case SampleFormat::F32: {
                float f;
                std::memcpy(&f, b, 4);
                out[i] = f;
                break;
            }
        }
    }
    return out;
}

namespace {

double snrOver(const std::vector<double>& reference,
               const std::vector<double>& test,
               size_t referenceStart,
               size_t testStart,
               size_t count)
{
    double signal = 0, noise = 0;
    for (size_t i = 0; i < count; ++i) {
        double r = reference[referenceStart + i], d = r - test[testStart + i];
        signal += r * r;
        noise += d * d;
    }
    return noise == 0 ? INFINITY : 10 * std::log10(signal / noise);
}

}  // namespace

double snrDb(const std::vector<double>& reference, const std::vector<double>& test)
{
    return snrOver(reference, test, 0, 0, std::min(reference.size(), test.size()));
}

double maxDifference(const std::vector<double>& reference, const std::vector<double>& test)
{
    double most = 0;
    for (size_t i = 0; i < std::min(reference.size(), test.size()); ++i)
        most = std::max(most, std::fabs(reference[i] - test[i]));
    return most;
}

PcmMatch alignedSnr(const std::vector<double>& reference,
                    const std::vector<double>& test,
                    int channels,
                    long maxShift)
{
    PcmMatch best;
    size_t c = size_t(channels);
    size_t referenceFrames = reference.size() / c, testFrames = test.size() / c;
    size_t window = std::min<size_t>(1024, std::min(referenceFrames, testFrames) / 2);
    size_t middle = referenceFrames / 4;
    for (long shift = -maxShift; shift <= maxShift; ++shift) {
        long testFrame = long(middle) + shift;
        if (testFrame < 0 || size_t(testFrame) + window > testFrames ||
            middle + window > referenceFrames)
            continue;
        double snr = snrOver(reference, test, middle * c, size_t(testFrame) * c, window * c);
        if (snr > best.snr) {
            best.snr = snr;
            best.shift = shift;
        }
    }
    size_t referenceStart = best.shift < 0 ? size_t(-best.shift) * c : 0;
    size_t testStart = best.shift > 0 ? size_t(best.shift) * c : 0;
    if (referenceStart >= reference.size() || testStart >= test.size())
        return best;
    size_t count = std::min(reference.size() - referenceStart, test.size() - testStart);
    best.snr = snrOver(reference, test, referenceStart, testStart, count);
    return best;
}

double tonePower(const std::vector<double>& pcm,
                 int channels,
                 int channel,
                 double freq,
                 int rate,
                 size_t skipFrames)
{
    double coefficient = 2 * std::cos(2 * M_PI * freq / rate);
    double s1 = 0, s2 = 0;
    for (size_t i = skipFrames * size_t(channels) + size_t(channel); i < pcm.size();
         i += size_t(channels)) {
        double s0 = pcm[i] + coefficient * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    return s1 * s1 + s2 * s2 - coefficient * s1 * s2;
}

::testing::AssertionResult tonesOnSpeakers(const std::vector<double>& pcm,
                                           int channels,
                                           int rate,
                                           const std::vector<double>& tones,
                                           size_t skipFrames)
{
    if (tones.size() != size_t(channels))
        return ::testing::AssertionFailure()
               << tones.size() << " tones for " << channels << " channels";
    std::ostringstream faults;
    for (int c = 0; c < channels; ++c) {
        double own = tonePower(pcm, channels, c, tones[size_t(c)], rate, skipFrames);
        for (int other = 0; other < channels; ++other)
            if (other != c && tones[size_t(other)] != tones[size_t(c)] &&
                !(own > 100 * tonePower(pcm, channels, c, tones[size_t(other)], rate, skipFrames)))
                faults << " channel " << c << " carries channel " << other << "'s tone ("
                       << tones[size_t(other)] << " Hz);";
    }
    if (faults.str().empty())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "speaker placement:" << faults.str();
}

std::vector<double> pickChannels(const std::vector<double>& pcm,
                                 int channels,
                                 const std::vector<int>& from)
{
    std::vector<double> out;
    size_t frames = pcm.size() / size_t(channels);
    out.reserve(frames * from.size());
    for (size_t f = 0; f < frames; ++f)
        for (int source : from)
            out.push_back(pcm[f * size_t(channels) + size_t(source)]);
    return out;
}
