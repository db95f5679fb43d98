// The header of one audio PES packet, in its MPEG-1 or MPEG-2 form. Used by
// the program-stream reader only.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/parsers/program_stream.h"

// `data` holds one whole PES packet from its start code (at least 6 bytes).
// Fills `packet` and returns true, or returns false when the header is
// malformed and the packet should be dropped.
bool parsePesPacket(const uint8_t* data, size_t size, PesPacket& packet);
