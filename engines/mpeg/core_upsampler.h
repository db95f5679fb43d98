// Doubles the sample rate of 16-bit interleaved PCM with libswresample's
// windowed-sinc low-pass resampler: the core band of an mp3PRO stream played
// at the rate the stream stands for. Nothing above the core's band is made up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct SwrContext;

class CoreUpsampler {
public:
    CoreUpsampler() = default;
    ~CoreUpsampler();
    CoreUpsampler(const CoreUpsampler&) = delete;
    CoreUpsampler& operator=(const CoreUpsampler&) = delete;

    // Converts `frames` sample frames at `inRate` to twice the rate, appended
    // to `out`; the resampler is set up again when channels or rate change.
    // False when libswresample refuses.
    bool upsample(const int16_t* in,
                  size_t frames,
                  int channels,
                  int inRate,
                  std::vector<uint8_t>& out);
    void reset();

private:
    SwrContext* _swr = nullptr;
    int _channels = 0;
    int _inRate = 0;
};
