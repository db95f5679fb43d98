// ffmpeg as the tests' independent reference: streams encoded from one tone
// per speaker, and its own decode of any file.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/files.h"

// Runs a shell command and returns its standard output; `ok` tells whether it
// exited with 0.
std::vector<uint8_t> commandOutput(const std::string& command, bool* ok = nullptr);
bool runCommand(const std::string& command);

// Whether ffmpeg runs here; asked once per process.
bool ffmpegPresent();

// Skips the test without ffmpeg (fails it in CI).
#define REQUIRE_FFMPEG()                            \
    do {                                            \
        if (!ffmpegPresent()) {                     \
            if (runningInCi())                      \
                FAIL() << "ffmpeg is missing";      \
            GTEST_SKIP() << "ffmpeg not installed"; \
        }                                           \
    } while (0)

// One distinct tone per speaker (ffmpeg's speaker names: FL FR FC LFE BL BR
// BC SL SR), the LFE one below the encoders' LFE low-pass, so a channel on the
// wrong speaker is recognised by its pitch.
double speakerTone(const std::string& speaker);

// Speakers as ffmpeg spells a channel list, "FL+FR+FC+LFE+SL+SR".
std::vector<std::string> speakerList(const std::string& speakers);
std::vector<double> speakerTones(const std::string& speakers);

// A test signal: each speaker's tone at `level` of full scale.
struct ToneSignal {
    std::string speakers = "FL+FR";
    int rate = 48000;
    double seconds = 0.5;
    double level = 0.5;
};

// The signal as ffmpeg input options.
std::string toneInput(const ToneSignal& signal);

// Encodes the signal to `path` with `outputOptions` (codec, bit rate,
// container); true on success.
bool encodeTones(const std::string& path,
                 const ToneSignal& signal,
                 const std::string& outputOptions);

// ffmpeg's decode of the first audio stream of `path` as raw samples in
// `format` ("s16le", "s32le", "f32le"); `inputOptions` go before -i, where
// ffmpeg takes decoder options such as "-core_only 1".
std::vector<uint8_t> referenceDecode(const std::string& path,
                                     const std::string& format,
                                     const std::string& inputOptions = "");
