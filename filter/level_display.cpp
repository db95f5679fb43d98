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

void LevelDisplay::attach(HWND box)
{
    CAutoLock guard(&lock_);
    box_ = box;
    posted_ = false;
}

HWND LevelDisplay::box() const
{
    CAutoLock guard(&lock_);
    return box_;
}

void LevelDisplay::show(const std::string& text)
{
    CAutoLock guard(&lock_);
    if (!box_)
        return;
    latest_ = text;
#ifdef _WIN32
    // One message stands for any number of frames until the page takes them.
    if (!posted_)
        posted_ = PostMessageA(GetParent(box_), kLevelTextMessage, 0, 0) != 0;
#else
    // The headless box is only text in memory: writing it cannot wait.
    SendMessageA(box_, WM_SETTEXT, 0, LPARAM(latest_.c_str()));
#endif
}

std::string LevelDisplay::take()
{
    CAutoLock guard(&lock_);
    posted_ = false;
    return latest_;
}
