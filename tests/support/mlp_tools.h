// MLP and TrueHD streams made at test time: PCM of one tone per channel
// written first, then encoded losslessly by ffmpeg, so the source PCM is the
// exact reference of every decode.
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/reference_tools.h"

struct MlpEncoding {
    const char* codec;   // "mlp" or "truehd"
    int channels;
    const char* layout;  // ffmpeg's layout name
    int rate;
    int bits;            // 16 or 24
    double seconds = 0.3;
};

inline std::string mlpEncodingName(const MlpEncoding& s)
{
    return std::string(s.codec) + "_" + std::to_string(s.channels) + "ch_" + std::to_string(s.rate) +
           "Hz_" + std::to_string(s.bits) + "bit";
}

inline std::vector<uint8_t> fileBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

struct MlpStream {
    std::string path;              // the encoded stream
    std::vector<uint8_t> expected;  // the source as little-endian 24-bit samples
};

// Writes the source PCM and its encoding into `folder`; empty path on failure.
inline MlpStream makeMlpStream(const TempFolder& folder, const MlpEncoding& s, const std::string& container = "")
{
    MlpStream stream;
    std::string name = mlpEncodingName(s);
    std::string pcm = folder.file(name + ".pcm");
    const char* format = s.bits == 16 ? "s16le" : "s24le";
    std::string source = sineSource(s.channels, s.rate, s.seconds);
    source.insert(source.size() - 1, std::string(":c=") + s.layout);
    if (std::system(("ffmpeg -v error " + source + " -f " + format + " -y " + pcm).c_str()) != 0)
        return stream;
    std::string extension = container.empty() ? (std::string(s.codec) == "mlp" ? "mlp" : "thd") : container;
    std::string encoded = folder.file(name + "." + extension);
    std::string command = "ffmpeg -v error -f " + std::string(format) + " -ar " + std::to_string(s.rate) +
                          " -ch_layout " + s.layout + " -i " + pcm + " -c:a " + s.codec + " -strict -2 -y " +
                          encoded;
    if (std::system(command.c_str()) != 0)
        return stream;
    std::vector<uint8_t> raw = fileBytes(pcm);
    if (s.bits == 16) {
        for (size_t i = 0; i + 1 < raw.size(); i += 2) {
            stream.expected.push_back(0);
            stream.expected.push_back(raw[i]);
            stream.expected.push_back(raw[i + 1]);
        }
    } else {
        stream.expected = raw;
    }
    stream.path = encoded;
    return stream;
}

// The encoder fills its last access unit with silence: the decode is the
// source followed by less than one access unit (at most 160 samples).
inline bool startsWithSource(const std::vector<uint8_t>& decoded, const std::vector<uint8_t>& source, int channels)
{
    size_t unitBytes = 160 * size_t(channels) * 3;
    return decoded.size() >= source.size() && decoded.size() - source.size() < unitBytes &&
           std::equal(source.begin(), source.end(), decoded.begin());
}
