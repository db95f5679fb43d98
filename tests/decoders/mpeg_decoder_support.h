// Driving AdecMPEG as the filter's receive loop does: bytes appended to a
// buffer in pieces, frames taken until the decoder wants more.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "decoders/AdecMPEG.h"
#include "support/memory_sample.h"

inline CMediaType mpegType(const GUID& subtype = MEDIASUBTYPE_MP3, const GUID& major = MEDIATYPE_Audio)
{
    CMediaType type(&major);
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEX wave{0x55, 2, 44100, 0, 0, 0, 0};
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    return type;
}

struct MpegRun {
    std::vector<uint8_t> output;
    std::vector<TvStatusMpeg> frames;  // the status of each frame produced
    size_t consumed = 0;
    size_t skipped = 0;  // bytes consumed without output
};

// Feeds `stream` in pieces of `piece` bytes (0: whole) and decodes all it can.
// `pieces`, when given, are the cut points instead.
inline MpegRun runMpeg(AdecMPEG& decoder, const std::vector<uint8_t>& stream, size_t piece = 0,
                       size_t sampleSize = 16384, const std::vector<size_t>& cuts = {})
{
    MpegRun run;
    std::vector<uint8_t> buffer;
    size_t offset = 0;
    size_t cut = 0;
    while (offset < stream.size()) {
        size_t take = stream.size() - offset;
        if (cut < cuts.size())
            take = std::min(take, cuts[cut++]);
        else if (piece)
            take = std::min(take, piece);
        buffer.insert(buffer.end(), stream.begin() + long(offset), stream.begin() + long(offset + take));
        offset += take;
        for (;;) {
            MemorySample out(sampleSize);
            const uint8_t* start = buffer.data();
            const uint8_t* p = start;
            TvStatus* status = decoder.process(&p, start + buffer.size(), &out);
            size_t consumed = size_t(p - start);
            if (consumed == 0)
                break;
            run.consumed += consumed;
            if (status) {
                run.frames.push_back(static_cast<TvStatusMpeg&>(*status));
                run.skipped += consumed - size_t(status->iFrameSize);
                auto data = out.data();
                run.output.insert(run.output.end(), data.begin(), data.end());
            } else {
                run.skipped += consumed;
            }
            buffer.erase(buffer.begin(), buffer.begin() + long(consumed));
        }
    }
    return run;
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
