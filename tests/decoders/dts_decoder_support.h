// Driving AdecDTS as the filter's receive loop does: bytes appended to a
// buffer in pieces, frames taken until the decoder wants more.
#pragma once

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "decoders/AdecDTS.h"
#include "support/memory_sample.h"

inline CMediaType dtsType()
{
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&MEDIASUBTYPE_DTS);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEX wave{0x2001, 2, 48000, 0, 0, 0, 0};
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    return type;
}

struct DtsRun {
    std::vector<uint8_t> output;
    std::vector<TvStatusDts> frames;  // the status of each frame produced
    size_t skipped = 0;
    size_t calls = 0;
};

// Feeds `stream` in pieces (`nextPiece` gives each size; null: whole) and
// decodes all it can.
inline DtsRun runDts(AdecDTS& decoder, const std::vector<uint8_t>& stream,
                     const std::function<size_t()>& nextPiece = nullptr,
                     size_t sampleSize = 65536)
{
    DtsRun run;
    std::vector<uint8_t> buffer;
    size_t offset = 0;
    MemorySample out(sampleSize);
    while (offset < stream.size()) {
        size_t take = nextPiece ? std::min(nextPiece(), stream.size() - offset) : stream.size();
        buffer.insert(buffer.end(), stream.begin() + long(offset), stream.begin() + long(offset + take));
        offset += take;
        for (;;) {
            out.SetActualDataLength(0);
            const uint8_t* start = buffer.data();
            const uint8_t* p = start;
            ++run.calls;
            TvStatus* status = decoder.process(&p, start + buffer.size(), &out);
            size_t consumed = size_t(p - start);
            if (consumed == 0)
                break;
            if (status) {
                run.frames.push_back(static_cast<TvStatusDts&>(*status));
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
