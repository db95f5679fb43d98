// Program-stream reader: the input is cut into pieces (sizes from the first
// byte) and read to the end; nothing may crash or hang, and after draining
// the reader must hold less than one packet.
#include <cstddef>
#include <cstdint>

#include "host/parsers/program_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    size_t piece = 1 + data[0] % 97;
    ProgramStreamReader reader;
    PesPacket packet;
    size_t packets = 0;
    for (size_t offset = 1; offset < size; offset += piece) {
        reader.append(data + offset, offset + piece <= size ? piece : size - offset);
        while (packets < 100000 && reader.next(packet))
            ++packets;
        if (packets < 100000 && reader.bufferedBytes() >= ProgramStreamReader::kMaxPacketSize)
            __builtin_trap();
    }
    reader.finish();
    while (packets < 100000 && reader.next(packet))
        ++packets;
    return 0;
}
