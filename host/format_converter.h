// Converts delivered PCM from one format to another with libswresample
// (channel layout by the speaker masks, sample format, rate), so a file whose
// header was written for the first format can go on after the filter changed
// its output format mid-stream. Packed 24-bit samples, which libswresample
// does not take, go through 32-bit integers.
#pragma once

#include <cstdint>
#include <vector>

#include "host/pcm_format.h"

struct SwrContext;

class FormatConverter {
public:
    FormatConverter() = default;
    ~FormatConverter();
    FormatConverter(const FormatConverter&) = delete;
    FormatConverter& operator=(const FormatConverter&) = delete;

    // False when either format is not convertible PCM.
    bool configure(const PcmFormat& from, const PcmFormat& to);
    bool configured() const { return swr_ != nullptr; }
    const PcmFormat& from() const { return from_; }
    // Appends the converted frames of `size` bytes of `from` PCM to `out`.
    void convert(const uint8_t* data, size_t size, std::vector<uint8_t>& out);
    // Appends what the resampler still holds, and forgets the configuration.
    void drain(std::vector<uint8_t>& out);

private:
    void run(const uint8_t* in, int frames, std::vector<uint8_t>& out);

    SwrContext* swr_ = nullptr;
    PcmFormat from_;
    PcmFormat to_;
    std::vector<uint8_t> unpacked_;  // 24-bit input widened to 32 bits
    std::vector<uint8_t> converted_;
};
