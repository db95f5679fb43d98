// Driving AdecDolby or AdecDDPlus as the filter's receive loop does: bytes appended to a
// buffer in pieces, frames taken until the decoder wants more.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "decoders/AdecDolby.h"
#include "support/memory_sample.h"

inline CMediaType ac3Type(const GUID& subtype = MEDIASUBTYPE_DOLBY_AC3)
{
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEX wave{0x2000, 2, 48000, 0, 0, 0, 0};
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    return type;
}

struct Ac3Run {
    std::vector<uint8_t> output;
    std::vector<TvStatusAc3> frames;  // the status of each frame produced
    size_t skipped = 0;
};

// Feeds `stream` in pieces whose sizes come from `nextPiece` and decodes all
// it can.
template <class NextPiece>
Ac3Run runAc3Pieces(Adec& decoder,
                    const std::vector<uint8_t>& stream,
                    NextPiece nextPiece,
                    size_t sampleSize = 18432)
{
    Ac3Run run;
    std::vector<uint8_t> buffer;
    size_t offset = 0;
    while (offset < stream.size()) {
        size_t take = std::min(nextPiece(), stream.size() - offset);
        buffer.insert(buffer.end(), stream.begin() + long(offset),
                      stream.begin() + long(offset + take));
        offset += take;
        for (;;) {
            MemorySample out(sampleSize);
            const uint8_t* start = buffer.data();
            const uint8_t* p = start;
            TvStatus* status = decoder.process(&p, start + buffer.size(), &out);
            size_t consumed = size_t(p - start);
            if (consumed == 0)
                break;
            if (status) {
                run.frames.push_back(static_cast<TvStatusAc3&>(*status));
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

// Feeds `stream` in pieces of `piece` bytes (0: whole) and decodes all it can.
inline Ac3Run runAc3(Adec& decoder,
                     const std::vector<uint8_t>& stream,
                     size_t piece = 0,
                     size_t sampleSize = 18432)
{
    return runAc3Pieces(
        decoder, stream, [&] { return piece ? piece : stream.size(); }, sampleSize);
}

inline std::string moduleFolder()
{
    return TAVIO_MODULE_DIR "/";
}
