// AC-3 decoding speed: AdecDolby with TvAc3Lib.dll against the ffmpeg command
// line on the same 10-minute 5.1 stream (448 kbit/s, made once with ffmpeg).
// Wall-clock time per pass over the whole stream; the ratio of the two is
// the figure to watch (goal: ours no slower).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "decoders/AdecDolby.h"
#include "tests/support/memory_sample.h"

namespace {

const char kStream[] = "/tmp/tavio-bench-5.1-10min.ac3";

bool ensureStream()
{
    if (std::filesystem::exists(kStream))
        return true;
    std::string partial = std::string(kStream) + ".part";
    std::string command =
        "ffmpeg -v error -f lavfi -i \"aevalsrc=exprs=0.4*sin(440*2*PI*t)|0.4*sin(660*2*PI*t)|"
        "0.4*sin(880*2*PI*t)|0.4*sin(60*2*PI*t)|0.3*random(0)|0.3*random(1):c=5.1:s=48000:d=600\" "
        "-c:a ac3 -b:a 448k -f ac3 -y " +
        partial;
    return std::system(command.c_str()) == 0 && std::rename(partial.c_str(), kStream) == 0;
}

std::vector<uint8_t> readStream()
{
    std::vector<uint8_t> bytes(std::filesystem::file_size(kStream));
    FILE* f = std::fopen(kStream, "rb");
    size_t got = f ? std::fread(bytes.data(), 1, bytes.size(), f) : 0;
    if (f)
        std::fclose(f);
    bytes.resize(got);
    return bytes;
}

CMediaType ac3Type()
{
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&MEDIASUBTYPE_DOLBY_AC3);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEX wave{0x2000, 6, 48000, 0, 0, 0, 0};
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    return type;
}

void BM_AdecDolbyWithLibrary(benchmark::State& state)
{
    if (!ensureStream()) {
        state.SkipWithError("ffmpeg could not make the stream");
        return;
    }
    const std::vector<uint8_t> stream = readStream();
    std::ostringstream log;
    AdecDolby decoder(log, TAVIO_MODULE_DIR "/");
    MemorySample out(18432);
    int64_t frames = 0;
    for (auto _ : state) {
        // Decoding swaps frames in place: each pass gets a fresh copy, as the
        // filter's buffer gets fresh input.
        std::vector<uint8_t> buffer = stream;
        if (!decoder.init(ac3Type())) {
            state.SkipWithError("TvAc3Lib.dll not found");
            return;
        }
        const uint8_t* p = buffer.data();
        const uint8_t* end = p + buffer.size();
        for (;;) {
            const uint8_t* before = p;
            if (decoder.process(&p, end, &out))
                ++frames;
            if (p == before)
                break;
        }
        benchmark::ClobberMemory();
    }
    state.counters["frames"] = double(frames) / double(state.iterations());
    state.counters["realtime_factor"] =
        benchmark::Counter(600.0 * double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_FfmpegCommandLine(benchmark::State& state)
{
    if (!ensureStream()) {
        state.SkipWithError("ffmpeg could not make the stream");
        return;
    }
    std::string command =
        std::string("ffmpeg -v error -threads 1 -i ") + kStream + " -f s16le -y /dev/null";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("ffmpeg failed");
    state.counters["realtime_factor"] =
        benchmark::Counter(600.0 * double(state.iterations()), benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK(BM_AdecDolbyWithLibrary)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_FfmpegCommandLine)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK_MAIN();
