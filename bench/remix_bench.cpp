// The matrix-surround decoder's speed as a real-time factor for 48 kHz
// stereo: seconds of audio decoded per second of processor time.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "libs/TvRemix/matrix_decoder.h"

namespace {

void BM_MatrixDecode(benchmark::State& state)
{
    const int code = static_cast<int>(state.range(0));
    MatrixDecoder decoder;
    decoder.setConfiguration(code);
    decoder.setSampleRate(48000);
    const size_t frames = 2048;  // the remixer's largest block
    std::vector<int16_t> input(frames * 2);
    for (size_t i = 0; i < frames; ++i) {
        input[2 * i] = int16_t(12000 * std::sin(double(i) * 0.05));
        input[2 * i + 1] = int16_t(9000 * std::sin(double(i) * 0.031));
    }
    std::vector<int16_t> output(frames * 5);
    for (auto _ : state) {
        decoder.process(input.data(), output.data(), frames);
        benchmark::ClobberMemory();
    }
    // Items are frames; at 48 kHz, items/s / 48000 is the real-time factor.
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(frames));
    state.counters["realtime_factor"] = benchmark::Counter(
        double(frames) / 48000.0 * double(state.iterations()), benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK(BM_MatrixDecode)->Arg(4)->Arg(7);
BENCHMARK_MAIN();
