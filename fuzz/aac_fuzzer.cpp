// AAC through FAAD2: AdecAAC fed one access unit per call, as the filter's
// receive loop does. The input is either an ADTS stream (the configuration
// from its first header, each frame's payload one unit), so real streams
// serve as seeds, or a flags byte (downmix, a downmix change half-way, a
// small output sample), a configuration of 1-8 bytes and units each preceded
// by a 2-byte length.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <vector>

#include "core/media_subtypes.h"
#include "decoders/AdecAAC.h"
#include "host/parsers/adts_header.h"
#include "tests/support/media_types.h"
#include "tests/support/memory_sample.h"

namespace {

void split(const uint8_t* data,
           size_t size,
           uint8_t& flags,
           std::vector<uint8_t>& config,
           std::vector<std::vector<uint8_t>>& units)
{
    flags = 0;
    AdtsHeader first;
    if (parseAdtsHeader(data, size, first)) {
        config = adtsAudioSpecificConfig(first);
        size_t offset = 0;
        AdtsHeader h;
        while (parseAdtsHeader(data + offset, size - offset, h)) {
            if (h.frameLength <= h.headerLength || offset + h.frameLength > size)
                break;
            units.emplace_back(data + offset + h.headerLength, data + offset + h.frameLength);
            offset += h.frameLength;
        }
        return;
    }
    if (size < 2)
        return;
    flags = data[0];
    ++data;
    --size;
    size_t configSize = 1 + (data[0] & 7);
    if (1 + configSize > size)
        return;
    config.assign(data + 1, data + 1 + configSize);
    size_t offset = 1 + configSize;
    while (offset + 2 <= size) {
        size_t length = (size_t(data[offset]) << 8) | data[offset + 1];
        offset += 2;
        length = std::min(length, size - offset);
        units.emplace_back(data + offset, data + offset + length);
        offset += length;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    uint8_t flags;
    std::vector<uint8_t> config;
    std::vector<std::vector<uint8_t>> units;
    split(data, size, flags, config, units);
    if (config.empty())
        return 0;
    std::ostringstream log;
    AdecAAC decoder(log);
    if (flags & 1)
        decoder.setMixType(5, 104, 0x3);
    CMediaType type =
        waveType(MEDIATYPE_Audio, MEDIASUBTYPE_MPEG4_AUDIO, 0xFF, 48000, 2, 16, config);
    if (!decoder.accepts(type) || !decoder.init(type))
        return 0;
    for (size_t i = 0; i < units.size() && i < 200; ++i) {
        if ((flags & 2) && i == units.size() / 2)
            decoder.setMixType(5, (flags & 1) ? 101 : 104, 0x3);
        MemorySample out((flags & 4) ? 2048 : 2048 * 8 * 2);
        // An empty unit still needs a readable address.
        static const uint8_t none = 0;
        const uint8_t* begin = units[i].empty() ? &none : units[i].data();
        const uint8_t* p = begin;
        decoder.process(&p, begin + units[i].size(), &out);
    }
    return 0;
}
