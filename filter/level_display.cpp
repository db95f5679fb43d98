#include "filter/level_display.h"

#include <cmath>
#include <cstdio>
#include <vector>

std::string levelText(const uint8_t* pcm, size_t samples, int chan)
{
    if (chan <= 0)
        return {};
    std::vector<int> peaks(size_t(chan), 0);
    for (size_t s = 0; s < samples; ++s)
        for (int c = 0; c < chan; ++c) {
            const uint8_t* p = pcm + (s * size_t(chan) + size_t(c)) * 2;
            int value = int16_t(uint16_t(p[0] | p[1] << 8));
            peaks[size_t(c)] = std::max(peaks[size_t(c)], std::abs(value));
        }
    std::string text;
    for (int peak : peaks) {
        int exponent = 0;
        std::frexp(double(peak), &exponent);
        char field[16];
        std::snprintf(field, sizeof field, "%2d ", exponent);
        text += field;
    }
    return text;
}
