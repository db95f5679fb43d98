// Driving a decoder as the filter's receive loop does, without the filter:
// each input packet goes into the input buffer (its private header stripped
// when the decoder reads one), then frames are taken until the decoder takes
// nothing. Every call is checked against the decoder contract the receive
// loop relies on.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/Adec.h"

struct FeedOptions {
    // 0: each packet as it is; else the packets' bytes joined and re-cut into
    // pieces of this size (for framed streams without private headers).
    size_t piece = 0;
    // Non-zero: re-cut into pieces of random size 1..`piece`, from this seed.
    unsigned randomSeed = 0;
    // Each packet starts with a private header that the decoder strips.
    bool privateHeaders = false;
    size_t outputSize = 1 << 18;  // bytes of each output sample
};

struct DecoderRun {
    std::vector<uint8_t> output;                    // every frame's output, in order
    std::vector<std::unique_ptr<TvStatus>> frames;  // each frame's record
    size_t consumed = 0;
    size_t skipped = 0;  // consumed without a frame, or in front of one
    size_t calls = 0;
    // Calls that broke the contract (the receive loop asserts each of these).
    std::vector<std::string> contractBreaks;

    const TvStatus& last() const { return *frames.back(); }
};

DecoderRun feedDecoder(Adec& decoder,
                       const std::vector<std::vector<uint8_t>>& packets,
                       const FeedOptions& options = {});

// Joins packets into one stream.
std::vector<uint8_t> joined(const std::vector<std::vector<uint8_t>>& packets);
