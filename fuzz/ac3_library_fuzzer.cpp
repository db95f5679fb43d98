// TvAc3Lib's decode entry: any frame bytes (in the buffer size its contract
// asks for), any output layout, routing row, karaoke and dual-mono mode.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "libs/TvAc3Lib/tv_ac3_lib.h"

extern "C" int AUDIODEC_Create(void** object);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 8)
        return 0;
    static TvAc3Decoder* decoder = [] {
        void* object = nullptr;
        AUDIODEC_Create(&object);
        return static_cast<TvAc3Decoder*>(object);
    }();
    if (!decoder)
        return 0;
    decoder->Reset();
    int32_t values[4] = {data[0] % 8, data[1] % 2, data[2] % 4, (data[2] >> 2) % 4};
    decoder->SetParam(kAc3OutputMode, &values[0]);
    decoder->SetParam(kAc3OutputLfe, &values[1]);
    decoder->SetParam(kAc3KaraokeMode, &values[2]);
    decoder->SetParam(kAc3DualMonoMode, &values[3]);
    int32_t row[6];
    for (int k = 0; k < 6; ++k)
        row[k] = (data[3] + data[4] * k) % 7;  // sometimes out of range: refused
    decoder->SetParam(kAc3Routing, row);
    static uint16_t frame[kAc3MaxFrameBytes / 2];
    static int16_t output[kAc3MaxOutputBytes / 2];
    for (size_t offset = 5; offset < size; offset += kAc3MaxFrameBytes) {
        size_t n =
            size - offset < size_t(kAc3MaxFrameBytes) ? size - offset : size_t(kAc3MaxFrameBytes);
        std::memset(frame, 0, sizeof frame);
        std::memcpy(frame, data + offset, n);
        decoder->Decode(frame, output);
    }
    return 0;
}
