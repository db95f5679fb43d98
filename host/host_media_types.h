// The media types the host offers the decoder filter for each kind of
// compressed audio, as a DirectShow splitter would: subtype, wave format and
// the codec's own set-up bytes in the format block.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/parsers/audio_stream_parameters.h"
#include "platform/dshow/streams.h"

// The media type for a stream, or nothing with `why` set when the filter has
// no decoder for it (or the set-up bytes are unusable).
std::optional<CMediaType> hostMediaType(const AudioStreamParameters& stream, std::string& why);

// A media type whose format block is a WAVEFORMATEX followed by `extra`.
CMediaType waveMediaType(const GUID& major,
                         const GUID& subtype,
                         WORD formatTag,
                         int sampleRate,
                         int channels,
                         int bitsPerSample,
                         const std::vector<uint8_t>& extra = {});

// Raw AC-3 as the filter takes it from a splitter (no container of its own).
CMediaType ac3MediaType(int sampleRate, int channels);

// Splits Vorbis set-up data in Xiph lacing (a count byte, then 255-laced
// sizes of all but the last packet) into its three header packets.
bool splitXiphHeaders(const std::vector<uint8_t>& extradata,
                      std::vector<std::vector<uint8_t>>& headers);
