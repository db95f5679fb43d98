// The delay an AAC encoder announces in the stream itself rather than in the
// container. Pure: bytes in, a count of frames out.
#pragma once

#include <cstddef>
#include <cstdint>

// FAAC names itself ("libfaac 1.28") in a fill element at the head of its
// first raw data block, and its output starts one frame late: the first
// 1024 decoded samples are its priming, which decoders that know the name
// drop, as they drop what an edit list or an iTunes gapless tag marks.
// Returns those frames for the first access unit of a stream (ADTS header
// removed), 0 when it carries no such name.
uint32_t announcedPrimingFrames(const uint8_t* unit, size_t size);
