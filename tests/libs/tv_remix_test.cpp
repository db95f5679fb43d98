// The matrix-surround library on its own: its parameters, and how well it
// puts single-direction Lt/Rt signals back where they came from.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "libs/TvRemix/tv_remix.h"
#include "platform/kernel.h"

namespace {

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
    TvRemixObject* make(int code, int rate = 48000)
    {
        TvRemixObject* object = nullptr;
        if (!create || create(&object) != 0)
            return nullptr;
        int zero = 0;
        const int row[6] = {0, 2, 1, 4, 5, 3};
        object->RemixSetParam(kRemixConfiguration, &code);
        object->RemixSetParam(kRemixLfe, &zero);
        object->RemixSetParam(kRemixChannelOrder, row);
        object->RemixSetParam(kRemixSampleRate, &rate);
        return object;
    }
    AudioDecCreate create = nullptr;
    AudioDecDestroy destroy = nullptr;

private:
    HMODULE module_;
};

// Lt/Rt of one source direction (standard matrix encoding coefficients).
enum Direction { Left, Right, Centre, Surround };

std::vector<int16_t> encode(Direction direction, size_t frames, double amplitude = 0.5)
{
    std::vector<int16_t> stereo(frames * 2);
    for (size_t i = 0; i < frames; ++i) {
        double x = amplitude * std::sin(2 * M_PI * 1000.0 * double(i) / 48000.0);
        double lt = 0, rt = 0;
        switch (direction) {
            case Left:
                lt = x;
                break;
            case Right:
                rt = x;
                break;
            case Centre:
                lt = rt = 0.7071 * x;
                break;
            case Surround:
                lt = -0.7071 * x;
                rt = 0.7071 * x;
                break;
        }
        stereo[2 * i] = static_cast<int16_t>(std::lround(lt * 32767));
        stereo[2 * i + 1] = static_cast<int16_t>(std::lround(rt * 32767));
    }
    return stereo;
}

// Decodes in blocks of `block` frames, as the remixer hands them over.
std::vector<int16_t> decode(TvRemixObject* object,
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

TEST(TvRemix, ParametersAreChecked)
{
    Library library;
    ASSERT_NE(library.create, nullptr);
    ASSERT_NE(library.destroy, nullptr);
    TvRemixObject* object = nullptr;
    ASSERT_EQ(library.create(&object), 0);
    int16_t in[8] = {}, out[40];
    EXPECT_EQ(object->RemixProcess(in, out, 16), 0);  // no configuration yet
    int bad = 3, lfe = 1, rate = 4000;
    const int notPermutation[6] = {0, 0, 1, 2, 3, 4};
    for (auto [parameter, value] : {std::pair<int, const void*>{kRemixConfiguration, &bad},
                                    {kRemixLfe, &lfe},
                                    {kRemixSampleRate, &rate},
                                    {kRemixChannelOrder, notPermutation},
                                    {99, &bad}})
        EXPECT_NE(object->RemixSetParam(parameter, value), 0) << parameter;
    library.destroy(object);
}

TEST(TvRemix, SingleDirectionsComeOutOfTheirOwnSpeakers)
{
    Library library;
    struct Case {
        const char* name;
        Direction direction;
        std::vector<int> intended;  // output channels (L R C BL BR)
    } cases[] = {{"left", Left, {0}},
                 {"right", Right, {1}},
                 {"centre", Centre, {2}},
                 {"surround", Surround, {3, 4}}};
    TvRemixObject* quiet = library.make(7);
    auto silence = decode(quiet, std::vector<int16_t>(48000 * 2, 0), 5);
    EXPECT_TRUE(std::all_of(silence.begin(), silence.end(), [](int16_t v) { return v == 0; }));
    library.destroy(quiet);
    for (const Case& c : cases) {
        TvRemixObject* object = library.make(7);
        auto out = decode(object, encode(c.direction, 48000), 5);
        auto levels = channelLevels(out, 5, 4800);  // after 100 ms
        double intended = levels[size_t(c.intended[0])];
        double worst = -1e9;
        for (int ch = 0; ch < 5; ++ch)
            if (std::find(c.intended.begin(), c.intended.end(), ch) == c.intended.end())
                worst = std::max(worst, levels[size_t(ch)]);
        double separation = intended - worst;
        std::printf("separation %-8s %.1f dB\n", c.name, separation);
        EXPECT_GT(separation, 30.0) << c.name;  // a passive matrix manages 3 dB
        library.destroy(object);
    }
}

TEST(TvRemix, SteeringSettlesQuicklyAfterAChangeOfDirection)
{
    Library library;
    TvRemixObject* object = library.make(7);
    auto left = encode(Left, 24000);
    auto centre = encode(Centre, 24000);
    left.insert(left.end(), centre.begin(), centre.end());
    auto out = decode(object, left, 5);
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
    library.destroy(object);
}

TEST(TvRemix, ASweepThroughAllDirectionsHasNoJumps)
{
    Library library;
    TvRemixObject* object = library.make(7);
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
    auto out = decode(object, stereo, 5);
    int maxOutputStep = 0;
    for (size_t i = 1; i < frames; ++i)
        for (int c = 0; c < 5; ++c)
            maxOutputStep =
                std::max(maxOutputStep, std::abs(out[i * 5 + c] - out[(i - 1) * 5 + c]));
    std::printf("largest step: input %d, output %d\n", maxInputStep, maxOutputStep);
    EXPECT_LE(maxOutputStep, 2 * maxInputStep);
    library.destroy(object);
}

TEST(TvRemix, BlockSizeDoesNotChangeTheOutput)
{
    Library library;
    auto stereo = encode(Centre, 20000);
    for (size_t i = 0; i < stereo.size(); i += 7)
        stereo[i] = int16_t(stereo[i] / 3);  // a less tidy signal
    TvRemixObject* whole = library.make(6);
    TvRemixObject* pieces = library.make(6);
    auto a = decode(whole, stereo, 4, 20000);
    auto b = decode(pieces, stereo, 4, 17);
    EXPECT_EQ(a, b);
    library.destroy(whole);
    library.destroy(pieces);
}

}  // namespace
