// Vorbis in Ogg read by the host itself, so that decoding it loads no
// libavformat. A file is taken only when it is read here exactly as
// libavformat reads it (the same packets, times, end trim and duration):
// one logical Vorbis stream whose pages all pass their checksum, from the
// first byte to the last, its audio beginning on a page of its own. Anything
// else (chained or multiplexed streams, damaged pages, a first page without
// a granule position, other codecs) is left to libavformat.
#pragma once

#include <memory>
#include <string>

#include "host/input_source.h"

// Null when the file is not such a stream.
std::unique_ptr<InputSource> openOggVorbis(const std::string& path);
