// MPEG program streams (DVD-Video VOB, DVD-Audio AOB, HD-DVD EVO) as a host
// input. A file named .aob is read as DVD-Audio: its LPCM header differs from
// DVD-Video's under the same substream ids.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "host/input_source.h"

// Whether a file's first bytes are a pack header.
bool looksLikeProgramStream(const uint8_t* head, size_t size);

std::unique_ptr<InputSource> openProgramStream(const std::string& path, std::string& error);
