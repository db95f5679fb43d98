// LOAS/LATM to access units: the stream arrives in pieces whose sizes the
// first byte picks; units and configurations are taken as they come.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/parsers/latm_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    size_t piece = 1 + data[0] * 8;
    LatmParser parser;
    std::vector<uint8_t> unit;
    for (size_t offset = 1; offset < size; offset += piece) {
        parser.push(data + offset, std::min(piece, size - offset));
        while (parser.next(unit)) {
        }
        (void)parser.audioSpecificConfig().size();
    }
    return 0;
}
