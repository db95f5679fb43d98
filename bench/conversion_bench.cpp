// Throughput of the per-sample output conversions, in input bytes per second.
// Each run converts a fresh copy of one output buffer, as delivery does.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "conversion/sample_conversion.h"

namespace {

constexpr size_t kBufferBytes = 65536 - 65536 % 12;  // whole 24-bit and float samples

std::vector<uint8_t> signal24()
{
    std::vector<uint8_t> data(kBufferBytes);
    for (size_t i = 0; i + 3 <= data.size(); i += 3) {
        auto v = static_cast<int32_t>(8388607.0 * std::sin(double(i) * 0.001));
        data[i] = uint8_t(v);
        data[i + 1] = uint8_t(v >> 8);
        data[i + 2] = uint8_t(v >> 16);
    }
    return data;
}

std::vector<uint8_t> signalFloat()
{
    std::vector<uint8_t> data(kBufferBytes);
    for (size_t i = 0; i + 4 <= data.size(); i += 4) {
        float f = static_cast<float>(1.1 * std::sin(double(i) * 0.001));  // some beyond +-1
        std::memcpy(data.data() + i, &f, 4);
    }
    return data;
}

void run(benchmark::State& state,
         const std::vector<uint8_t>& source,
         size_t (*convert)(uint8_t*, size_t))
{
    std::vector<uint8_t> work(source.size());
    for (auto _ : state) {
        std::memcpy(work.data(), source.data(), source.size());
        benchmark::DoNotOptimize(convert(work.data(), work.size()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(source.size()));
}

void BM_Copy(benchmark::State& state)
{
    // The copy alone, to read the conversions' own cost against.
    run(state, signal24(), [](uint8_t*, size_t length) { return length; });
}

void BM_24To16(benchmark::State& state)
{
    run(state, signal24(),
        [](uint8_t* data, size_t length) { return convertTo16Bit(data, length, ST24Bit); });
}

void BM_32To16(benchmark::State& state)
{
    run(state, signalFloat(),
        [](uint8_t* data, size_t length) { return convertTo16Bit(data, length, ST32Bit); });
}

void BM_FloatTo16(benchmark::State& state)
{
    run(state, signalFloat(),
        [](uint8_t* data, size_t length) { return convertTo16Bit(data, length, STFloat); });
}

void BM_FloatToInt(benchmark::State& state)
{
    run(state, signalFloat(),
        [](uint8_t* data, size_t length) { return convertFloatToInt(data, length); });
}

}  // namespace

BENCHMARK(BM_Copy);
BENCHMARK(BM_24To16);
BENCHMARK(BM_32To16);
BENCHMARK(BM_FloatTo16);
BENCHMARK(BM_FloatToInt);
BENCHMARK_MAIN();
