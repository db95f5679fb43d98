// Feeds fuzz data to a decoder that reads a private header per packet, as the
// filter's input buffer would: each packet's header first, then its audio.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Adec.h"
#include "tests/support/memory_sample.h"

inline void feedPackets(Adec& decoder, const uint8_t* data, size_t size, size_t packetSize)
{
    MemorySample out(4096 + 4);
    for (size_t offset = 0; offset < size; offset += packetSize) {
        const uint8_t* p = data + offset;
        const uint8_t* end = data + (offset + packetSize < size ? offset + packetSize : size);
        if (!decoder.parsePacketHeader(&p, end))
            continue;
        decoder.process(&p, end, &out);
        out.SetActualDataLength(0);
    }
}
