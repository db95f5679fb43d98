// Feeding fuzz data to a decoder as the filter's input buffer hands it over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/Adec.h"
#include "tests/support/memory_sample.h"

// For decoders that read a private header per packet: each packet's header
// first, then its audio.
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

// For framed streams: frames are taken from the front of the buffer until the
// decoder takes nothing and waits for more. One output sample serves every
// call, emptied before each: a new one per call would cost more than the
// decoder.
inline void takeFrames(Adec& decoder, std::vector<uint8_t>& buffer, MemorySample& out)
{
    for (;;) {
        out.SetActualDataLength(0);
        const uint8_t* p = buffer.data();
        decoder.process(&p, buffer.data() + buffer.size(), &out);
        size_t consumed = size_t(p - buffer.data());
        if (consumed == 0)
            return;
        buffer.erase(buffer.begin(), buffer.begin() + long(consumed));
    }
}

// For framed streams arriving in pieces of `piece` bytes, as the filter's
// buffer would hand them over: each piece is appended, then whole frames taken.
inline void feedPieces(Adec& decoder,
                       const uint8_t* data,
                       size_t size,
                       size_t piece,
                       MemorySample& out)
{
    std::vector<uint8_t> buffer;
    for (size_t offset = 0; offset < size; offset += piece) {
        buffer.insert(buffer.end(), data + offset,
                      data + (offset + piece < size ? offset + piece : size));
        takeFrames(decoder, buffer, out);
    }
}
