// Building the filter's decoder list and choosing a decoder for a media type.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "core/Adec.h"
#include "core/sibling_library.h"

using DecoderList = std::vector<std::unique_ptr<Adec>>;

// Creates one instance of every decoder class, in the fixed order in which
// media types are offered to them. A class whose constructor throws (its
// decoder library is missing) is left out; the DD+ decoder, when present,
// replaces the AC-3 decoder. Decoders that drive a sibling library load it
// from `moduleFolder`.
void createDecoders(DecoderList& decoders,
                    std::ostream& log,
                    const LibraryFolder& moduleFolder = std::string());

// One step of the factory: a decoder class and how to make it.
struct DecoderCreationStep {
    const char* className;
    std::unique_ptr<Adec> (*create)(std::ostream& log, const LibraryFolder& moduleFolder);
    // Runs only if the previous step failed: the two decoders handle the
    // same streams and the first, when its library is present, is preferred.
    bool onlyIfPreviousFailed;
};

// Runs the steps in order; a step whose creation throws adds nothing.
void runCreationSteps(const DecoderCreationStep* steps,
                      size_t count,
                      DecoderList& decoders,
                      std::ostream& log,
                      const LibraryFolder& moduleFolder = std::string());

// The major-type and format pre-check of a proposed input type.
bool isCandidateInputType(const AM_MEDIA_TYPE& mediaType);

// The first decoder, in list order, that accepts the type after the
// pre-check; null if none does.
Adec* chooseDecoder(const DecoderList& decoders, const CMediaType& mediaType);
