// Runs a fuzz target's entry function without libFuzzer: over the files given
// on the command line (whole and with bytes flipped) and over random inputs
// from a fixed seed. Under the sanitizers this catches what a short fuzzing
// run would, on every build.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <vector>

#include "support/files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

void run(const std::vector<uint8_t>& input)
{
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argc, char** argv)
{
    std::mt19937 random(20261123);
    size_t inputs = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_regular_file(argv[i]))
            continue;
        std::vector<uint8_t> seed = readBytes(argv[i]);
        if (seed.size() > (1u << 20))
            seed.resize(1u << 20);
        run(seed);
        ++inputs;
        for (int round = 0; round < 20 && !seed.empty(); ++round) {
            std::vector<uint8_t> mutated = seed;
            for (int flips = 0; flips < 16; ++flips)
                mutated[random() % mutated.size()] ^= static_cast<uint8_t>(1u << (random() % 8));
            if (round % 4 == 0)
                mutated.resize(random() % (mutated.size() + 1));
            run(mutated);
            ++inputs;
        }
    }
    for (int i = 0; i < 2000; ++i) {
        std::vector<uint8_t> noise(random() % 4096);
        for (auto& byte : noise)
            byte = static_cast<uint8_t>(random());
        // Start codes make the noise reach the parsers' deeper paths.
        for (size_t at = 0; at + 4 < noise.size(); at += 1 + random() % 300) {
            noise[at] = 0;
            noise[at + 1] = 0;
            noise[at + 2] = 1;
            noise[at + 3] = static_cast<uint8_t>(0xB9 + random() % 0x47);
        }
        run(noise);
        ++inputs;
    }
    std::printf("%zu inputs run\n", inputs);
    return 0;
}
