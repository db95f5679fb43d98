// DVD-Audio and HD-DVD MLP payloads, as far as a host needs them to describe
// a stream: sample rate and channels from the first major sync in a payload.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/parsers/audio_stream_parameters.h"

// `payload` starts with its private header (DVD-Audio substream 0xA1 or HD-DVD
// 0xB0-0xB7); false when no major sync follows it in this payload.
bool discMlp(const std::vector<uint8_t>& payload,
             AudioStreamParameters& s,
             std::string& description);
