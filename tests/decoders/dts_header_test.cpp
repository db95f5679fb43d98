// DTS core frame headers built field by field: normal and termination
// frames, every field at its largest, and what is not a core header.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "decoders/dts_header.h"
#include "support/bit_writer.h"

namespace dts_header_rows {

// Sync, FTYPE, SHORT, CPF, NBLKS, FSIZE, AMODE, SFREQ.
std::vector<uint8_t> dts(int ftype,
                         int shortCount,
                         int nblks,
                         int fsize,
                         int sfreq,
                         size_t size = 16)
{
    BitWriter w;
    w.put(0x7FFE8001, 32).put(ftype, 1).put(shortCount, 5).put(1, 1).put(nblks, 7);
    return w.put(fsize, 14).put(63, 6).put(sfreq, 4).bytes(size);
}

struct Expected {
    bool found = false;
    int ftype = 0, shortCount = 0, blocks = 0, frameBytes = 0, sfreq = 0;
    int32_t rate = 0, samples = 0;
    auto fields() const
    {
        return std::tie(found, ftype, shortCount, blocks, frameBytes, sfreq, rate, samples);
    }
};

struct Row {
    const char* what;
    std::vector<uint8_t> bytes;
    Expected expected;
};

// clang-format off
const Row kRows[] = {
    {"48 kHz, 512 samples", dts(1, 31, 15, 2012, 13), {true, 1, 31, 16, 2013, 13, 48000, 512}},
    {"44.1 kHz", dts(1, 31, 15, 2012, 8), {true, 1, 31, 16, 2013, 8, 44100, 512}},
    {"every field at its largest", dts(1, 31, 127, 16383, 12), {true, 1, 31, 128, 16384, 12, 24000, 4096}},
    {"termination frame loses SHORT + 1 samples", dts(0, 10, 15, 95, 13), {true, 0, 10, 16, 96, 13, 48000, 501}},
    {"termination frame, SHORT 0", dts(0, 0, 5, 95, 11), {true, 0, 0, 6, 96, 11, 12000, 191}},
    {"a code no core uses has no rate", dts(1, 31, 15, 2012, 15), {true, 1, 31, 16, 2013, 15, 0, 512}},
    {"header exactly as long as needed", dts(1, 31, 15, 2012, 13, 9), {true, 1, 31, 16, 2013, 13, 48000, 512}},
    {"sync at the end of the buffer", dts(1, 31, 15, 2012, 13, 8), {}},
    {"14-bit word form", BitWriter().put(0x1FFFE800, 32).bytes(16), {}},
    {"little-endian words", BitWriter().put(0xFE7F0180, 32).bytes(16), {}},
};
// clang-format on

TEST(DtsHeader, Table)
{
    for (const Row& row : kRows) {
        DtsHeader h;
        Expected got;
        got.found = parseDtsHeader(row.bytes.data(), row.bytes.size(), h);
        if (got.found)
            got = {true,         h.ftype, h.shortCount,           h.blocks,
                   h.frameBytes, h.sfreq, dtsSampleRate(h.sfreq), dtsFrameSamples(h)};
        EXPECT_EQ(got.fields(), row.expected.fields()) << row.what;
    }
}

}  // namespace dts_header_rows
