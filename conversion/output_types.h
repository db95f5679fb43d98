// The output media type kept in step with the stream status, and its
// variants with fewer bits per sample.
#pragma once

#include "core/TvStatus.h"
#include "platform/dshow/media_type.h"

// The initial preferred type: audio, PCM, a zeroed 40-byte extensible wave
// format (tag 0xFFFE, cbSize 22, PCM sub-format).
CMediaType initialOutputType();
// Rewrites subtype, sub-format, tag, channels, mask, valid bits and rate from
// the status; on a change also the derived sizes. Returns whether anything
// changed.
bool updateTypeFromStatus(CMediaType& type, const TvStatus& status);
// The type as integer PCM of at most `bits` bits (never more than it has);
// an S/PDIF type is returned unchanged.
CMediaType typeWithBits(const CMediaType& type, int bits);
