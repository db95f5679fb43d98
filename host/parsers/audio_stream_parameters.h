// The description of an audio stream that the stream parsers fill in and the
// host maps to a media type.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// What a demuxer knows about an audio stream, independent of the demuxer.
struct AudioStreamParameters {
    std::string codec;  // our codec key: "ac3", "eac3", "dts", "mp1", "mp2", "mp3", "aac",
                        // "vorbis", "amr-nb", "amr-wb", "bluray-lpcm", "dvd-video-lpcm",
                        // "dvd-audio-lpcm", "dvd-audio-mlp", "truehd"
    int sampleRate = 0;
    int channels = 0;
    int bitsPerSample = 0;           // coded bits where meaningful (LPCM), else 0
    std::vector<uint8_t> extradata;  // AAC AudioSpecificConfig, Vorbis Xiph-laced headers
    bool fromAviOrWave = false;      // AC-3 in AVI/WAV is offered under its wave format tag
    bool inProgramStream = false;    // disc payloads keep their private-stream header
};
