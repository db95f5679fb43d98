// The level display: how loud each channel of a delivered 16-bit frame
// peaks, as the statistics box of the property page shows it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/dshow/crit_sec.h"
#include "platform/window.h"

// For each channel, the binary exponent (as frexp gives it) of the peak
// absolute sample over the frame, two characters wide and followed by a
// blank: " 0 " for silence, "15 " for a peak of 16384..32767, "16 " for -32768.
// `samples` interleaved sample periods of `chan` little-endian 16-bit values.
std::string levelText(const uint8_t* pcm, size_t samples, int chan);

#ifdef _WIN32
// Posted to the page's dialog when new levels wait in the display.
constexpr UINT kLevelTextMessage = WM_APP + 1;
#endif

// The statistics box the levels go to, shared between the page (user
// interface thread) and the streaming thread. Once `attach` has returned, the
// streaming thread no longer touches the box it replaced, so the page may
// destroy its dialog. On Windows the streaming thread only posts to the
// dialog and the page's own thread sets the text (`take`): sending from the
// streaming thread, which holds the filter's locks, would wait for a user
// interface thread that may itself be waiting for those locks.
class LevelDisplay {
public:
    void attach(HWND box);
    HWND box() const;
    void show(const std::string& text);
    // The levels shown last, for the page's thread.
    std::string take();

private:
    mutable CCritSec lock_;
    HWND box_ = nullptr;
    std::string latest_;
    bool posted_ = false;
};
