// MPEG audio elementary streams that libavformat does not recognise (some
// legal streams with unusual first frames or tags in front): when at least
// three frames follow one another near the start, the file is fed to the
// filter as one MPEG audio stream, as it is, in chunks.
#pragma once

#include <memory>
#include <string>

#include "host/input_source.h"

// Null when no run of three consecutive MPEG audio frames starts within the
// file's first megabyte, or, in a file shorter than three frames, when its
// frames do not start it and fill it but for a cut last one.
std::unique_ptr<InputSource> openRawMpegAudio(const std::string& path);
