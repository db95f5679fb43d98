// The PES packets of one elementary stream of an MPEG transport stream, in
// 188-byte packets or in the 192-byte packets of Blu-ray's M2TS files (a
// 4-byte arrival time before each). Enough for the graph test to feed a
// stream that the Linux host reads through libavformat: the first program's
// first stream of the asked type, packets with a bad sync byte skipped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/parsers/program_stream.h"

// False when the file cannot be read or holds no such stream.
bool readTransportStreamFile(const std::string& path,
                             uint8_t streamType,
                             std::vector<PesPacket>& packets);
