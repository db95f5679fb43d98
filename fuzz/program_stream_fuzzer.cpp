// Program-stream reader: the input is cut into pieces (sizes from the first
// byte) and read to the end; nothing may crash, hang or grow without bound.
#include <cstddef>
#include <cstdint>

#include "host/program_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    size_t piece = 1 + data[0] % 97;
    ProgramStreamReader reader;
    PesPacket packet;
    size_t packets = 0;
    for (size_t offset = 1; offset < size; offset += piece) {
        size_t length = offset + piece <= size ? piece : size - offset;
        reader.append(data + offset, length);
        while (reader.next(packet) && ++packets < 100000) {
        }
    }
    reader.finish();
    while (reader.next(packet) && ++packets < 100000) {
    }
    return 0;
}
