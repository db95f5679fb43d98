// In-place conversions of a delivered buffer into the representation the
// downstream pin accepted. They run on every output sample.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/TvStatus.h"
#include "platform/strmif.h"

// Converts `length` bytes of `from` samples to 16-bit in place; returns the
// new length (twice the sample count). 16-bit input is left alone; 20-bit
// input is rounded as the 24-bit container it is stored in; an unknown type
// (8-bit) is asserted, left unconverted, and its length doubled.
size_t convertTo16Bit(uint8_t* data, size_t length, TvSampleType from);
// Float samples to 32-bit integers in place (values beyond +-1 are clamped,
// +1.0 wraps to 0x80000000 as recorded output expects); returns the length.
size_t convertFloatToInt(uint8_t* data, size_t length);

// The same on a media sample's valid bytes, setting its new length.
void convertTo16Bit(IMediaSample* sample, TvSampleType from);
void convertFloatToInt(IMediaSample* sample);
