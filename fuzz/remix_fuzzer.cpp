// Matrix-surround library: any stereo input, any block size, any target.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "libs/TvRemix/matrix_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    MatrixDecoder decoder;
    if (!decoder.setConfiguration(4 + data[0] % 4))
        return 0;
    decoder.setSampleRate(8000 + (data[1] % 24) * 8000);
    size_t block = 1 + data[2] % 64;
    size_t frames = (size - 3) / 4;
    std::vector<int16_t> input(frames * 2);
    for (size_t i = 0; i < input.size(); ++i)
        input[i] = int16_t(data[3 + 2 * i] | (data[4 + 2 * i] << 8));
    std::vector<int16_t> output(block * 5);
    for (size_t start = 0; start < frames; start += block) {
        size_t n = frames - start < block ? frames - start : block;
        decoder.process(input.data() + 2 * start, output.data(), n);
    }
    return 0;
}
