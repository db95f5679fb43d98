// libFuzzer's custom mutator for the targets whose inputs are Dolby, MLP or
// DTS streams: the ordinary mutation, then, on about half of the calls, the
// frames repaired so that they pass the decoder's sync and checksum tests.
// The other half stays as mutated, so the refusals are still reached.
#include <cstring>

#include "fuzz/frame_mutator.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace {

struct TargetStream {
    const char* target;
    // Bytes the target reads as its own settings before the stream.
    size_t controlBytes;
    void (*repair)(uint8_t* data, size_t size);
};

constexpr TargetStream kTargets[] = {
    {"ac3_library_fuzzer", 5, repairDolbyFrames}, {"eac3_library_fuzzer", 1, repairDolbyFrames},
    {"ac3_dolby_fuzzer", 2, repairDolbyFrames},   {"ddplus_decoder_fuzzer", 2, repairDolbyFrames},
    {"dts_decoder_fuzzer", 2, repairDtsFrames},   {"mlp_decoder_fuzzer", 2, repairMlpUnits},
    {"mlp_library_fuzzer", 2, repairMlpUnits},
};

const TargetStream* thisTarget()
{
    for (const TargetStream& t : kTargets)
        if (std::strcmp(t.target, TAVIO_FUZZ_TARGET) == 0)
            return &t;
    return nullptr;
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data,
                                          size_t size,
                                          size_t maxSize,
                                          unsigned int seed)
{
    static const TargetStream* target = thisTarget();
    size = LLVMFuzzerMutate(data, size, maxSize);
    // The seed decides, so that a run with a fixed seed repeats itself.
    if (!target || (seed >> 3 & 1) == 0 || size <= target->controlBytes)
        return size;
    target->repair(data + target->controlBytes, size - target->controlBytes);
    return size;
}
