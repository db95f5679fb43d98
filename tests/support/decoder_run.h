// Driving a decoder as the filter's receive loop does: bytes appended to a
// buffer in pieces, frames taken until the decoder wants more.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "core/Adec.h"
#include "support/memory_sample.h"

template <class Status>
struct DecoderRun {
    std::vector<uint8_t> output;
    std::vector<Status> frames;  // the status of each frame produced
    size_t consumed = 0;
    size_t skipped = 0;  // bytes consumed without output
    size_t calls = 0;
};

// Feeds `stream` in pieces whose sizes come from `nextPiece` and decodes all
// it can into output samples of `sampleSize` bytes.
template <class Status, class NextPiece>
DecoderRun<Status> runDecoder(Adec& decoder, const std::vector<uint8_t>& stream, NextPiece nextPiece,
                              size_t sampleSize)
{
    DecoderRun<Status> run;
    std::vector<uint8_t> buffer;
    size_t offset = 0;
    while (offset < stream.size()) {
        size_t take = std::min(size_t(nextPiece()), stream.size() - offset);
        buffer.insert(buffer.end(), stream.begin() + long(offset), stream.begin() + long(offset + take));
        offset += take;
        for (;;) {
            MemorySample out(sampleSize);
            const uint8_t* start = buffer.data();
            const uint8_t* p = start;
            ++run.calls;
            TvStatus* status = decoder.process(&p, start + buffer.size(), &out);
            size_t consumed = size_t(p - start);
            if (consumed == 0)
                break;
            run.consumed += consumed;
            if (status) {
                run.frames.push_back(static_cast<Status&>(*status));
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
