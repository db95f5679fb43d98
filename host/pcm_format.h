// The audio format a media type describes, reduced to what the host's output
// needs: rate, channels, sample layout and speaker mask. Two delivered types
// with equal PcmFormats write the same bytes for the same sound.
#pragma once

#include <cstdint>
#include <string>

#include "platform/dshow/streams.h"

struct PcmFormat {
    enum class Kind { Integer, Float, Spdif, Other };
    Kind kind = Kind::Other;
    uint32_t rate = 0;
    uint16_t channels = 0;
    uint16_t bits = 0;        // per sample as stored (8, 16, 24, 32)
    uint16_t blockAlign = 0;  // bytes per sample frame
    uint32_t mask = 0;        // 0 when the type carries none

    bool operator==(const PcmFormat&) const = default;
    // Integer or float samples that libswresample can convert.
    bool isConvertible() const;
};

PcmFormat pcmFormatOf(const CMediaType& type);
// "24-bit PCM, 48000 Hz, 6 channels (mask 0x3f)".
std::string describe(const PcmFormat& format);
