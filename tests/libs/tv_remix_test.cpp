// The matrix-surround library on its own: its parameters, and how well it
// puts single-direction Lt/Rt signals back where they came from.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "libs/TvRemix/tv_remix.h"
#include "platform/kernel.h"

namespace {

// The library with objects set up as the remixer sets them up; each object
// goes back to the library with its holder.
class Library {
public:
    Library() : module_(LoadLibraryA(TAVIO_MODULE_DIR "/TvRemix.dll"))
    {
        if (module_) {
            create = platform::procAddress<AudioDecCreate>(module_, "AUDIODEC_Create");
            destroy = platform::procAddress<AudioDecDestroy>(module_, "AUDIODEC_Destroy");
        }
    }
    ~Library()
    {
        if (module_)
            FreeLibrary(module_);
    }
    using Object = std::unique_ptr<TvRemixObject, AudioDecDestroy>;
    Object make(int code)
    {
        void* made = nullptr;
        if (!create || create(&made) != 0)
            return {nullptr, destroy};
        auto* object = static_cast<TvRemixObject*>(made);
        int zero = 0, rate = 48000;
        const int row[6] = {0, 2, 1, 4, 5, 3};
        object->RemixSetParam(kRemixConfiguration, &code);
        object->RemixSetParam(kRemixLfe, &zero);
        object->RemixSetParam(kRemixChannelOrder, row);
        object->RemixSetParam(kRemixSampleRate, &rate);
        return {object, destroy};
    }

private:
    HMODULE module_;
    AudioDecCreate create = nullptr;
    AudioDecDestroy destroy = nullptr;
};

// Lt/Rt of one source direction (standard matrix encoding coefficients).
struct Direction {
    double left, right;
};
constexpr Direction kLeft{1, 0}, kRight{0, 1}, kCentre{0.7071, 0.7071}, kSurround{-0.7071, 0.7071};

std::vector<int16_t> encode(Direction direction, size_t frames)
{
    std::vector<int16_t> stereo;
    for (size_t i = 0; i < frames; ++i) {
        double x = 0.5 * 32767 * std::sin(2 * M_PI * 1000.0 * double(i) / 48000.0);
        stereo.push_back(int16_t(std::lround(direction.left * x)));
        stereo.push_back(int16_t(std::lround(direction.right * x)));
    }
    return stereo;
}

// Decodes in blocks of `block` frames, as the remixer hands them over.
std::vector<int16_t> decode(const Library::Object& object,
                            const std::vector<int16_t>& stereo,
                            int channels,
                            size_t block = 1024)
{
    size_t frames = stereo.size() / 2;
    std::vector<int16_t> out(frames * size_t(channels));
    for (size_t start = 0; start < frames; start += block) {
        size_t n = std::min(block, frames - start);
        int written = object->RemixProcess(stereo.data() + 2 * start,
                                           out.data() + start * size_t(channels), int(n * 4));
        EXPECT_EQ(written, int(n * 2 * size_t(channels)));
    }
    return out;
}

std::vector<double> channelLevels(const std::vector<int16_t>& out, int channels, size_t from)
{
    std::vector<double> power(size_t(channels), 0.0);
    size_t frames = out.size() / size_t(channels);
    for (size_t i = from; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            power[size_t(c)] += double(out[i * size_t(channels) + size_t(c)]) *
                                out[i * size_t(channels) + size_t(c)];
    for (double& p : power)
        p = 10 * std::log10(p / double(frames - from) + 1e-9);
    return power;
}

TEST(TvRemix, SingleDirectionsComeOutOfTheirOwnSpeakers)
{
    Library library;
    auto silence = decode(library.make(7), std::vector<int16_t>(48000 * 2, 0), 5);
    EXPECT_TRUE(std::all_of(silence.begin(), silence.end(), [](int16_t v) { return v == 0; }));
    struct Case {
        const char* name;
        Direction direction;
        std::vector<int> intended;  // output channels (L R C BL BR)
    } cases[] = {{"left", kLeft, {0}},
                 {"right", kRight, {1}},
                 {"centre", kCentre, {2}},
                 {"surround", kSurround, {3, 4}}};
    for (const Case& c : cases) {
        auto levels = channelLevels(decode(library.make(7), encode(c.direction, 48000), 5), 5,
                                    4800);  // after 100 ms
        double worst = -1e9;
        for (int ch = 0; ch < 5; ++ch)
            if (std::find(c.intended.begin(), c.intended.end(), ch) == c.intended.end())
                worst = std::max(worst, levels[size_t(ch)]);
        double separation = levels[size_t(c.intended[0])] - worst;
        std::printf("separation %-8s %.1f dB\n", c.name, separation);
        EXPECT_GT(separation, 30.0) << c.name;  // a passive matrix manages 3 dB
    }
}

TEST(TvRemix, SteeringSettlesQuicklyAfterAChangeOfDirection)
{
    Library library;
    auto left = encode(kLeft, 24000), centre = encode(kCentre, 24000);
    left.insert(left.end(), centre.begin(), centre.end());
    auto out = decode(library.make(7), left, 5);
    // After the switch, find when the left speaker's level (per 1 ms) stays
    // 30 dB under the centre's.
    size_t settledAt = 0;
    for (size_t start = 24000; start + 48 <= 48000; start += 48) {
        double l = 0, cEnergy = 0;
        for (size_t i = start; i < start + 48; ++i) {
            l += double(out[i * 5]) * out[i * 5];
            cEnergy += double(out[i * 5 + 2]) * out[i * 5 + 2];
        }
        if (10 * std::log10((cEnergy + 1) / (l + 1)) < 30)
            settledAt = start + 48;
    }
    double ms = double(settledAt - 24000) / 48.0;
    std::printf("settling time after a direction change: %.0f ms\n", ms);
    EXPECT_LT(ms, 150.0);
}

TEST(TvRemix, ASweepThroughAllDirectionsHasNoJumps)
{
    Library library;
    const size_t frames = 96000;
    std::vector<int16_t> stereo(frames * 2);
    int maxInputStep = 0;
    for (size_t i = 0; i < frames; ++i) {
        double angle = 2 * M_PI * double(i) / double(frames);  // once round
        double x = 0.5 * std::sin(2 * M_PI * 440.0 * double(i) / 48000.0);
        // Left/right by the angle's cosine, front/back by its sine.
        double lt = x * (0.5 + 0.5 * std::cos(angle)) - 0.35 * x * std::max(0.0, -std::sin(angle));
        double rt = x * (0.5 - 0.5 * std::cos(angle)) + 0.35 * x * std::max(0.0, -std::sin(angle));
        stereo[2 * i] = int16_t(std::lround(lt * 32767));
        stereo[2 * i + 1] = int16_t(std::lround(rt * 32767));
        if (i)
            for (int c = 0; c < 2; ++c)
                maxInputStep =
                    std::max(maxInputStep, std::abs(stereo[2 * i + c] - stereo[2 * i - 2 + c]));
    }
    auto out = decode(library.make(7), stereo, 5);
    int maxOutputStep = 0;
    for (size_t i = 1; i < frames; ++i)
        for (int c = 0; c < 5; ++c)
            maxOutputStep =
                std::max(maxOutputStep, std::abs(out[i * 5 + c] - out[(i - 1) * 5 + c]));
    std::printf("largest step: input %d, output %d\n", maxInputStep, maxOutputStep);
    EXPECT_LE(maxOutputStep, 2 * maxInputStep);
}

TEST(TvRemix, BlockSizeDoesNotChangeTheOutput)
{
    Library library;
    auto stereo = encode(kCentre, 20000);
    for (size_t i = 0; i < stereo.size(); i += 7)
        stereo[i] = int16_t(stereo[i] / 3);  // a less tidy signal
    EXPECT_EQ(decode(library.make(6), stereo, 4, 20000), decode(library.make(6), stereo, 4, 17));
}

}  // namespace
