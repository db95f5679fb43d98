// AC-3 test streams made with ffmpeg, and the measurements the AC-3 tests
// share: frame splitting, a tone detector, SNR.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "decoders/ac3_header.h"
#include "support/reference_tools.h"

// One encodable AC-3 layout: acmod, LFE, and the same speakers as ffmpeg
// spells them, in WAVE order.
struct Ac3Layout {
    int acmod;
    bool lfe;
    std::vector<std::string> speakers;
    // Set for layouts ffmpeg cannot encode: the speakers of the stream made
    // instead, which the decoder mixes down to this layout.
    std::vector<std::string> encodedAs = {};
};

inline std::vector<Ac3Layout> encodableLayouts()
{
    return {
        {1, false, {"FC"}},
        {1, true, {"FC", "LFE"}},
        {2, false, {"FL", "FR"}},
        {2, true, {"FL", "FR", "LFE"}},
        {3, false, {"FL", "FR", "FC"}},
        {3, true, {"FL", "FR", "FC", "LFE"}},
        {4, false, {"FL", "FR", "BC"}},
        {4, true, {"FL", "FR", "LFE", "BC"}},
        {5, false, {"FL", "FR", "FC", "BC"}},
        {5, true, {"FL", "FR", "FC", "LFE", "BC"}},
        {6, false, {"FL", "FR", "BL", "BR"}},
        {6, true, {"FL", "FR", "LFE", "BL", "BR"}, {"FL", "FR", "FC", "LFE", "BL", "BR"}},
        {7, false, {"FL", "FR", "FC", "BL", "BR"}},
        {7, true, {"FL", "FR", "FC", "LFE", "BL", "BR"}},
    };
}

inline std::string layoutName(const Ac3Layout& layout)
{
    std::string name;
    for (const auto& s : layout.speakers)
        name += (name.empty() ? "" : "_") + s;
    return name;
}

// A distinct tone per speaker (the LFE one below the encoder's 120 Hz
// low-pass), so a channel in the wrong place is recognised by its pitch.
inline double speakerTone(const std::string& speaker)
{
    static const std::map<std::string, double> tones = {{"FL", 440}, {"FR", 660},  {"FC", 880},
                                                        {"LFE", 60}, {"BL", 1100}, {"BR", 1320},
                                                        {"BC", 1540}};
    return tones.at(speaker);
}

// Encodes `seconds` of the layout's tones to `path`; true on success.
inline bool makeAc3Stream(const std::string& path,
                          const Ac3Layout& layout,
                          int rate = 48000,
                          int kbps = 384,
                          double seconds = 1.0,
                          const std::string& extra = "")
{
    std::string exprs, channels;
    for (const auto& s : layout.encodedAs.empty() ? layout.speakers : layout.encodedAs) {
        exprs += (exprs.empty() ? "" : "|") + std::string("0.5*sin(") +
                 std::to_string(int(speakerTone(s))) + "*2*PI*t)";
        channels += (channels.empty() ? "" : "+") + s;
    }
    std::string command =
        "ffmpeg -v error -f lavfi -i \"aevalsrc=exprs=" + exprs + ":c=" + channels +
        ":s=" + std::to_string(rate) + ":d=" + std::to_string(seconds) + "\" -c:a ac3 -b:a " +
        std::to_string(kbps) + "k " + extra + " -f ac3 -y " + path + " 2>/dev/null";
    return std::system(command.c_str()) == 0;
}

inline std::vector<uint8_t> readBytes(const std::string& path)
{
    std::vector<uint8_t> bytes;
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        uint8_t buffer[65536];
        size_t got;
        while ((got = std::fread(buffer, 1, sizeof buffer, f)) > 0)
            bytes.insert(bytes.end(), buffer, buffer + got);
        std::fclose(f);
    }
    return bytes;
}

// The whole frames of a clean stream, in stream byte order.
inline std::vector<std::vector<uint8_t>> splitAc3Frames(const std::vector<uint8_t>& stream)
{
    std::vector<std::vector<uint8_t>> frames;
    size_t offset = 0;
    Ac3Header header;
    while (offset + 8 <= stream.size() &&
           parseAc3Header(&stream[offset], stream.size() - offset, header) && header.complete) {
        frames.emplace_back(stream.begin() + offset, stream.begin() + offset + header.frameSize);
        offset += header.frameSize;
    }
    return frames;
}

inline std::vector<int16_t> asSamples(const std::vector<uint8_t>& bytes)
{
    std::vector<int16_t> samples(bytes.size() / 2);
    if (!samples.empty())
        std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

inline std::vector<float> asFloats(const std::vector<uint8_t>& bytes)
{
    std::vector<float> samples(bytes.size() / 4);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 4);
    return samples;
}

// Power of one frequency in channel `channel` of interleaved samples
// (Goertzel), skipping the first frame's start-up.
inline double tonePower(const std::vector<int16_t>& pcm,
                        int channels,
                        int channel,
                        double freq,
                        int rate)
{
    double coefficient = 2 * std::cos(2 * M_PI * freq / rate);
    double s1 = 0, s2 = 0;
    for (size_t i = 1536 * size_t(channels) + size_t(channel); i < pcm.size();
         i += size_t(channels)) {
        double s0 = pcm[i] + coefficient * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    return s1 * s1 + s2 * s2 - coefficient * s1 * s2;
}
