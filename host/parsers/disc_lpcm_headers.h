// The private headers of disc LPCM payloads, as far as a host needs them to
// describe a stream: rate, channels and bits for the media type it offers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/parsers/audio_stream_parameters.h"

// DVD-Video (and HD-DVD) LPCM: false when the header is unusable.
bool dvdVideoLpcm(const std::vector<uint8_t>& payload,
                  AudioStreamParameters& s,
                  std::string& description);
// DVD-Audio LPCM: false when the header is unusable.
bool dvdAudioLpcm(const std::vector<uint8_t>& payload,
                  AudioStreamParameters& s,
                  std::string& description);
