// Inputs read through libavformat: elementary streams (.ac3, .mp3, .aac,
// .dts, .amr ...) and containers (Matroska, MP4, MPEG-TS/M2TS, Ogg, AVI, WAV).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/host_media_types.h"
#include "host/input_source.h"

std::unique_ptr<InputSource> openAvInput(const std::string& path, std::string& error);

// The name of the format libavformat recognises in a file outside the
// formats that carry audio the filter decodes ("raw FLAC (flac)"), or empty
// (also for a listed format that failed to open: damaged, not unsupported).
std::string formatOutsideTheList(const std::string& path);

// What libavformat makes of the audio streams of a file, keyed by the
// demuxer's stream id (for MPEG program streams: the private-stream substream
// id, or 0x1C0-0x1DF for MPEG audio). Used to describe program-stream audio
// that our own reader then delivers.
struct ProbedStream {
    int id = 0;
    AudioStreamParameters parameters;
    std::string codecName;  // libavcodec's name, for messages
};
bool probeAudioStreams(const std::string& path, std::vector<ProbedStream>& streams);
