// Blu-ray LPCM decoder: the first byte sizes the output buffer, the rest is cut
// into buffers that are fed as the receive loop would, with each partial
// packet waiting for the bytes that follow it.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <vector>

#include "decoders/AdecLpcmBd.h"
#include "tests/support/memory_sample.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    std::ostringstream log;
    AdecLpcmBd decoder(log);
    CMediaType type(&MEDIATYPE_MPEG2_PES);
    type.SetSubtype(&MEDIASUBTYPE_BDMV_LPCM_AUDIO);
    decoder.init(type);
    MemorySample out(size_t(data[0]) * 64 + 4);
    size_t pieceSize = 1 + data[1] * 4;
    std::vector<uint8_t> buffer;
    for (size_t offset = 2; offset < size; offset += pieceSize) {
        size_t end = offset + pieceSize < size ? offset + pieceSize : size;
        buffer.insert(buffer.end(), data + offset, data + end);
        const uint8_t* p = buffer.data();
        decoder.process(&p, buffer.data() + buffer.size(), &out);
        out.SetActualDataLength(0);
        buffer.erase(buffer.begin(), buffer.begin() + (p - buffer.data()));
    }
    return 0;
}
