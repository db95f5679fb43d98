// Running the reference tools (ffmpeg, ffprobe) from tests. Tests skip when
// the tools are missing.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

inline bool haveFfmpeg()
{
    return std::system("ffmpeg -version >/dev/null 2>&1") == 0;
}

// Runs a shell command and returns its standard output; `ok` tells whether it
// exited with 0.
inline std::vector<uint8_t> commandOutput(const std::string& command, bool* ok = nullptr)
{
    std::vector<uint8_t> out;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) {
        if (ok)
            *ok = false;
        return out;
    }
    uint8_t buffer[65536];
    size_t got;
    while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        out.insert(out.end(), buffer, buffer + got);
    int status = pclose(pipe);
    if (ok)
        *ok = status == 0;
    return out;
}

// Signal-to-noise ratio in dB (infinite when equal) of `count` samples of
// `test` from `testStart` against `reference` from `referenceStart`.
inline double snrOver(const std::vector<int16_t>& reference, const std::vector<int16_t>& test,
                      size_t referenceStart, size_t testStart, size_t count)
{
    double signal = 0, noise = 0;
    for (size_t i = 0; i < count; ++i) {
        double r = reference[referenceStart + i], d = r - test[testStart + i];
        signal += r * r;
        noise += d * d;
    }
    return noise == 0 ? INFINITY : 10 * std::log10(signal / noise);
}

// The same over the common length, both from the start.
inline double snrDb(const std::vector<int16_t>& reference, const std::vector<int16_t>& test)
{
    return snrOver(reference, test, 0, 0, std::min(reference.size(), test.size()));
}

// A temporary folder removed with the object.
class TempFolder {
public:
    TempFolder()
    {
        char pattern[] = "/tmp/tavio-test-XXXXXX";
        path_ = mkdtemp(pattern);
    }
    ~TempFolder() { std::filesystem::remove_all(path_); }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// A test signal of `channels` sines of different frequencies, so a channel
// mix-up or a byte-order slip changes the output.
inline std::string sineSource(int channels, int rate, double seconds)
{
    std::string exprs;
    for (int c = 0; c < channels; ++c) {
        if (c)
            exprs += "|";
        exprs += "0.8*sin(" + std::to_string(330 + 110 * c) + "*2*PI*t)";
    }
    return "-f lavfi -i \"aevalsrc=exprs=" + exprs + ":s=" + std::to_string(rate) +
           ":d=" + std::to_string(seconds) + "\"";
}
