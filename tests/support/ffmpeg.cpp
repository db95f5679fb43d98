#include "support/ffmpeg.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>

#include <unistd.h>

std::vector<uint8_t> commandOutput(const std::string& command, bool* ok)
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

bool runCommand(const std::string& command)
{
    return std::system(command.c_str()) == 0;
}

// Looked up on PATH rather than run: every test process asks once, and
// starting ffmpeg only to learn that it exists costs more than many tests.
bool ffmpegPresent()
{
    static const bool present = [] {
        const char* path = std::getenv("PATH");
        std::string folders = path ? path : "";
        for (size_t start = 0; start <= folders.size();) {
            size_t end = folders.find(':', start);
            if (end == std::string::npos)
                end = folders.size();
            std::string folder = folders.substr(start, end - start);
            if (!folder.empty() && access((folder + "/ffmpeg").c_str(), X_OK) == 0)
                return true;
            start = end + 1;
        }
        return false;
    }();
    return present;
}

double speakerTone(const std::string& speaker)
{
    static const std::map<std::string, double> tones = {
        {"FL", 440},  {"FR", 660},  {"FC", 880},  {"LFE", 60},  {"BL", 1100},
        {"BR", 1320}, {"BC", 1540}, {"SL", 1760}, {"SR", 1980},
    };
    auto found = tones.find(speaker);
    if (found == tones.end())
        throw std::invalid_argument("no tone for speaker " + speaker);
    return found->second;
}

std::vector<std::string> speakerList(const std::string& speakers)
{
    std::vector<std::string> list;
    size_t start = 0;
    while (start <= speakers.size()) {
        size_t plus = speakers.find('+', start);
        if (plus == std::string::npos)
            plus = speakers.size();
        list.push_back(speakers.substr(start, plus - start));
        start = plus + 1;
    }
    return list;
}

std::vector<double> speakerTones(const std::string& speakers)
{
    std::vector<double> tones;
    for (const std::string& speaker : speakerList(speakers))
        tones.push_back(speakerTone(speaker));
    return tones;
}

std::string toneInput(const ToneSignal& signal)
{
    std::string exprs;
    for (double tone : speakerTones(signal.speakers))
        exprs += (exprs.empty() ? "" : "|") + std::to_string(signal.level) + "*sin(" +
                 std::to_string(tone) + "*2*PI*t)";
    return "-f lavfi -i \"aevalsrc=exprs=" + exprs + ":c=" + signal.speakers +
           ":s=" + std::to_string(signal.rate) + ":d=" + std::to_string(signal.seconds) + "\"";
}

bool encodeTones(const std::string& path,
                 const ToneSignal& signal,
                 const std::string& outputOptions)
{
    return runCommand("ffmpeg -v error -nostdin " + toneInput(signal) + " " + outputOptions +
                      " -y '" + path + "' 2>/dev/null");
}

std::vector<uint8_t> referenceDecode(const std::string& path,
                                     const std::string& format,
                                     const std::string& inputOptions)
{
    return commandOutput("ffmpeg -v error -nostdin " + inputOptions + " -i '" + path +
                         "' -map 0:a:0 -f " + format + " - 2>/dev/null");
}
