// AAC streams for the decoder tests: access units and media type demuxed by
// the host's own input layer, AdecAAC driven one unit per sample.
#pragma once

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "decoders/AdecAAC.h"
#include "host/input_source.h"
#include "support/memory_sample.h"
#include "support/pcm_compare.h"

struct AacInput {
    CMediaType type;
    std::vector<std::vector<uint8_t>> units;
};

// The first audio stream of `path` as the host hands it to the filter.
inline bool demuxAac(const std::string& path, AacInput& input, std::string& error)
{
    auto source = openInputSource(path, error);
    if (!source)
        return false;
    if (source->streams().empty() || !source->streams()[0].mediaType || !source->select(0)) {
        error = "no AAC stream";
        return false;
    }
    input.type = *source->streams()[0].mediaType;
    HostPacket packet;
    while (source->next(packet))
        input.units.push_back(packet.data);
    return true;
}

struct AacRun {
    std::vector<int16_t> pcm;
    std::vector<TvStatusAac> frames;  // the status of each unit that gave output
    size_t silentUnits = 0;           // units that gave none
};

// Decodes the units one per call, as the receive loop does with one unit per
// input sample.
inline void decodeUnits(AdecAAC& decoder, const std::vector<std::vector<uint8_t>>& units, AacRun& run,
                        size_t sampleSize = 2048 * 8 * 2)
{
    for (const auto& unit : units) {
        MemorySample out(sampleSize);
        const uint8_t* p = unit.data();
        TvStatus* status = decoder.process(&p, unit.data() + unit.size(), &out);
        EXPECT_EQ(p, unit.data() + unit.size());
        if (!status) {
            EXPECT_TRUE(out.data().empty());
            ++run.silentUnits;
            continue;
        }
        run.frames.push_back(static_cast<TvStatusAac&>(*status));
        auto bytes = out.data();
        size_t first = run.pcm.size();
        run.pcm.resize(first + bytes.size() / 2);
        std::memcpy(run.pcm.data() + first, bytes.data(), bytes.size() / 2 * 2);
    }
}

