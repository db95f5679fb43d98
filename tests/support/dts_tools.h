// DTS test streams made with ffmpeg, hand-built core headers, and 24-bit
// PCM helpers shared by the DTS tests.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "support/dts_carrier_words.h"
#include "support/reference_tools.h"

// One layout ffmpeg's DTS encoder takes, with its speakers in WAVE order
// and the tone each carries.
struct DtsLayout {
    const char* name;     // ffmpeg's layout name
    const char* speakers; // ffmpeg's channel list, in WAVE order
    uint32_t mask;        // WAVE mask of the decoded core
    std::vector<double> tones;
};

inline std::vector<DtsLayout> dtsLayouts()
{
    return {
        {"mono", "FC", 0x4, {880}},
        {"stereo", "FL+FR", 0x3, {440, 660}},
        {"5.0(side)", "FL+FR+FC+SL+SR", 0x607, {440, 660, 880, 1100, 1320}},
        {"5.1(side)", "FL+FR+FC+LFE+SL+SR", 0x60F, {440, 660, 880, 60, 1100, 1320}},
    };
}

// Encodes `seconds` of the layout's tones (one per channel) to `path`, at
// `kbps` or the encoder's default (1411 kbit/s).
inline bool makeDtsStream(const std::string& path, const DtsLayout& layout, int rate,
                          double seconds = 0.5, int kbps = 0)
{
    std::string exprs;
    for (double tone : layout.tones)
        exprs += (exprs.empty() ? "" : "|") + std::string("0.5*sin(") + std::to_string(int(tone)) +
                 "*2*PI*t)";
    std::string command = "ffmpeg -v error -f lavfi -i \"aevalsrc=exprs=" + exprs +
                          ":c=" + layout.speakers + ":s=" + std::to_string(rate) +
                          ":d=" + std::to_string(seconds) + "\" -c:a dca -strict -2 " +
                          (kbps ? "-b:a " + std::to_string(kbps) + "k " : std::string()) + "-f dts -y " +
                          path + " 2>/dev/null";
    return std::system(command.c_str()) == 0;
}

// Writes `value` into `bits` bits of `frame` at bit `position` (MSB first).
inline void putBits(std::vector<uint8_t>& frame, size_t position, int bits, uint32_t value)
{
    for (int i = 0; i < bits; ++i) {
        size_t bit = position + size_t(i);
        uint8_t mask = uint8_t(0x80 >> (bit % 8));
        if ((value >> (bits - 1 - i)) & 1)
            frame[bit / 8] |= mask;
        else
            frame[bit / 8] &= uint8_t(~mask);
    }
}

// Core header fields after the sync word, by bit offset from the frame start.
constexpr size_t kFtypeBit = 32, kShortBit = 33, kNblksBit = 39, kFsizeBit = 46, kSfreqBit = 66;

// A frame of `bytes` bytes: sync, the given header fields, zeros after.
inline std::vector<uint8_t> dtsHeaderFrame(int ftype, int shortCount, int blocks, int bytes,
                                           int sfreq)
{
    std::vector<uint8_t> frame(size_t(bytes), 0);
    frame[0] = 0x7F, frame[1] = 0xFE, frame[2] = 0x80, frame[3] = 0x01;
    putBits(frame, kFtypeBit, 1, uint32_t(ftype));
    putBits(frame, kShortBit, 5, uint32_t(shortCount));
    putBits(frame, kNblksBit, 7, uint32_t(blocks - 1));
    putBits(frame, kFsizeBit, 14, uint32_t(bytes - 1));
    putBits(frame, kSfreqBit, 4, uint32_t(sfreq));
    return frame;
}

// Interleaved little-endian 24-bit samples as integers.
inline std::vector<int32_t> samples24(const std::vector<uint8_t>& bytes)
{
    std::vector<int32_t> out(bytes.size() / 3);
    for (size_t i = 0; i < out.size(); ++i) {
        int32_t v = bytes[3 * i] | (bytes[3 * i + 1] << 8) | (bytes[3 * i + 2] << 16);
        out[i] = v >= (1 << 23) ? v - (1 << 24) : v;
    }
    return out;
}

// ffmpeg's 32-bit output rounded to 24 bits.
inline std::vector<int32_t> samples32As24(const std::vector<uint8_t>& bytes)
{
    std::vector<int32_t> out(bytes.size() / 4);
    for (size_t i = 0; i < out.size(); ++i) {
        int64_t v = int32_t(uint32_t(bytes[4 * i]) | (uint32_t(bytes[4 * i + 1]) << 8) |
                            (uint32_t(bytes[4 * i + 2]) << 16) | (uint32_t(bytes[4 * i + 3]) << 24));
        int64_t r = (v + 128) >> 8;
        out[i] = int32_t(r > (1 << 23) - 1 ? (1 << 23) - 1 : r);
    }
    return out;
}

struct Comparison {
    double snr = 0;        // dB, infinite when equal
    int32_t maxDiff = 0;   // in 24-bit LSBs
};

inline Comparison compare24(const std::vector<int32_t>& reference, const std::vector<int32_t>& test)
{
    Comparison c;
    double signal = 0, noise = 0;
    size_t n = std::min(reference.size(), test.size());
    for (size_t i = 0; i < n; ++i) {
        double d = double(reference[i]) - test[i];
        signal += double(reference[i]) * reference[i];
        noise += d * d;
        c.maxDiff = std::max(c.maxDiff, int32_t(std::abs(reference[i] - test[i])));
    }
    c.snr = noise == 0 ? INFINITY : 10 * std::log10(signal / noise);
    return c;
}

// Power of `freq` in one channel of interleaved samples (Goertzel).
inline double tonePower24(const std::vector<int32_t>& pcm, int channels, int channel, double freq,
                          int rate)
{
    double coefficient = 2 * std::cos(2 * M_PI * freq / rate);
    double s1 = 0, s2 = 0;
    for (size_t i = 1024 * size_t(channels) + size_t(channel); i < pcm.size(); i += size_t(channels)) {
        double s0 = pcm[i] / 8388608.0 + coefficient * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    return s1 * s1 + s2 * s2 - coefficient * s1 * s2;
}

