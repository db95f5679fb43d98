// The level display: how loud each channel of a delivered 16-bit frame
// peaks, as the statistics box of the property page shows it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// For each channel, the binary exponent (as frexp gives it) of the peak
// absolute sample over the frame, two characters wide and followed by a
// blank: " 0 " for silence, "15 " for a peak of 16384..32767, "16 " for -32768.
// `samples` interleaved sample periods of `chan` little-endian 16-bit values.
std::string levelText(const uint8_t* pcm, size_t samples, int chan);
