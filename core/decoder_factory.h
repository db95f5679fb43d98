// Building the filter's decoder list and choosing a decoder for a media type.
#pragma once

#include <memory>
#include <ostream>
#include <vector>

#include "core/Adec.h"

using DecoderList = std::vector<std::unique_ptr<Adec>>;

// Creates one instance of every decoder class, in the fixed order in which
// media types are offered to them. A class whose constructor throws (its
// decoder library is missing) is left out; the DD+ decoder, when present,
// replaces the AC-3 decoder.
void createDecoders(DecoderList& decoders, std::ostream& log);

// The major-type and format pre-check of a proposed input type.
bool isCandidateInputType(const AM_MEDIA_TYPE& mediaType);

// The first decoder, in list order, that accepts the type after the
// pre-check; null if none does.
Adec* chooseDecoder(const DecoderList& decoders, const CMediaType& mediaType);
