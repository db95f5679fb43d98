// Driving AdecMPEG as the filter's receive loop does: bytes appended to a
// buffer in pieces, frames taken until the decoder wants more.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "decoders/AdecMPEG.h"
#include "support/decoder_run.h"
#include "support/wave_type.h"

inline CMediaType mpegType(const GUID& subtype = MEDIASUBTYPE_MP3, const GUID& major = MEDIATYPE_Audio)
{
    return waveFormatType(&major, &subtype, WAVEFORMATEX{0x55, 2, 44100, 0, 0, 0, 0});
}

using MpegRun = DecoderRun<TvStatusMpeg>;

// Feeds `stream` in pieces of `piece` bytes (0: whole) and decodes all it can.
// `cuts`, when given, are the first pieces' sizes.
inline MpegRun runMpeg(AdecMPEG& decoder, const std::vector<uint8_t>& stream, size_t piece = 0,
                       size_t sampleSize = 16384, const std::vector<size_t>& cuts = {})
{
    size_t cut = 0;
    auto nextPiece = [&] { return cut < cuts.size() ? cuts[cut++] : piece ? piece : stream.size(); };
    return runDecoder<TvStatusMpeg>(decoder, stream, nextPiece, sampleSize);
}

// Encodes `seconds` of one distinct tone per channel with ffmpeg into a bare
// elementary stream (no tags, no Info frame). `codec` is "libmp3lame" or "mp2".
inline bool makeMpegStream(const std::string& path, const std::string& codec, int rate, int channels,
                           int kbps, double seconds = 1.0)
{
    std::string exprs;
    for (int c = 0; c < channels; ++c)
        exprs += (c ? "|" : "") + std::string("0.5*sin(") + std::to_string(300 + 250 * c) + "*2*PI*t)";
    std::string format = codec == "libmp3lame" ? "mp3 -write_xing 0 -id3v2_version 0" : "mp2";
    std::string command = "ffmpeg -v error -f lavfi -i \"aevalsrc=exprs=" + exprs + ":s=" + std::to_string(rate) +
                          ":d=" + std::to_string(seconds) + "\" -c:a " + codec + " -b:a " + std::to_string(kbps) +
                          "k -f " + format + " -y " + path + " 2>/dev/null";
    return std::system(command.c_str()) == 0;
}
