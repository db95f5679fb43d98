// TvAmrDec's decode entry: any bytes, in either band, cut into pieces of any
// size, into an output exactly as large as the room it is given.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "libs/TvAmrDec/tv_amr_dec.h"

extern "C" int AUDIODEC_Create(void** object);

constexpr size_t kMaxInput = 16384;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // A few seconds of speech are ample; longer inputs only repeat the work.
    size = size < kMaxInput ? size : kMaxInput;
    if (size < 2)
        return 0;
    static TvAmrDecoder* decoder = [] {
        void* object = nullptr;
        AUDIODEC_Create(&object);
        return static_cast<TvAmrDecoder*>(object);
    }();
    if (!decoder)
        return 0;
    uint8_t wideband = data[0] & 1;
    decoder->SetParam(kAmrWideband, &wideband);
    // From nothing to several frames of room, not always whole frames.
    int32_t room = int32_t((data[0] >> 1) * 97);
    decoder->SetParam(kAmrOutputRoom, &room);
    std::vector<int16_t> output(size_t(room + 1) / 2);
    size_t piece = 1 + data[1];
    for (size_t offset = 2; offset < size; offset += piece) {
        int32_t n = int32_t(size - offset < piece ? size - offset : piece);
        decoder->SetParam(kAmrInputSize, &n);
        std::vector<uint8_t> input(data + offset, data + offset + n);  // exact size for ASan
        decoder->Decode(input.data(), output.data());
    }
    return 0;
}
