// TvEac3Dec's entry points on any bytes: the frame measure and check over
// every offset the filter's search would try, then decode or conversion of
// what passes, with any output layout. The first byte picks the layout and
// the path, the rest is the stream in either word order.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "libs/TvEac3Dec/tv_eac3_dec.h"

extern "C" {
short ddpi_dcv_query(uint32_t* size);
short ddpi_dcv_open(void* instance);
short ddpi_dcv_close(void* instance);
short ddpi_dcv_setprocessparam(void* instance, int32_t number, const void* value);
short ddpi_dcv_getframeparam(const ddpi_frame_desc* frame, ddpi_frame_params* params);
short ddpi_dcv_checkframe(const ddpi_frame_desc* frame);
short ddpi_dcv_processframe(void* instance, const ddpi_frame_desc* frame, ddpi_output* output);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    static void* instance = [] {
        uint32_t bytes = 0;
        ddpi_dcv_query(&bytes);
        void* memory = ::operator new(bytes);
        ddpi_dcv_open(memory);
        return memory;
    }();
    int32_t mode = 1 + data[0] % 7, lfe = (data[0] >> 3) & 1, stereo = (data[0] >> 4) % 3;
    ddpi_dcv_setprocessparam(instance, kDdpiOutputMode, &mode);
    ddpi_dcv_setprocessparam(instance, kDdpiOutputLfe, &lfe);
    ddpi_dcv_setprocessparam(instance, kDdpiStereoMode, &stereo);
    bool convert = data[0] & 0x80;
    // Word-aligned copy, as the filter's buffer holds the frame.
    std::vector<int16_t> words((size - 1) / 2);
    std::memcpy(words.data(), data + 1, words.size() * 2);
    static std::vector<double> pcm(1536 * 6 + 6);
    static std::vector<uint8_t> ac3(6136);
    for (size_t at = 0; at < words.size(); ++at) {
        uint32_t available = uint32_t(words.size() - at);
        ddpi_frame_desc desc{words.data() + at, available, available};
        ddpi_frame_params params{};
        if (ddpi_dcv_getframeparam(&desc, &params) != 0 || params.frameWords <= 0 ||
            uint32_t(params.frameWords) > available)
            continue;
        ddpi_frame_desc frame{words.data() + at, uint32_t(params.frameWords),
                              uint32_t(params.frameWords)};
        ddpi_dcv_checkframe(&frame);
        pp_bufdesc channels[6];
        ddpi_output out{};
        out.convertToAc3 = convert;
        out.ac3 = ac3.data();
        out.ac3Capacity = int32_t(ac3.size());
        for (int k = 0; k < 6; ++k) {
            channels[k] = {pcm.data() + k, 1536, 6, 0, nullptr};
            out.pp_dec_bufdesc[k] = &channels[k];
        }
        ddpi_dcv_processframe(instance, &frame, &out);
        at += size_t(params.frameWords) - 1;
    }
    return 0;
}
