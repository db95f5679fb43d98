// Finding the stream's last E-AC-3 access unit in its last bytes: six
// blocks of the first program, with what follows them, wherever the bytes
// begin and end.
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "host/eac3_last_unit.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Eac3Frame {
    int strmtyp;  // 0 independent, 1 dependent
    int substream;
    int blocks;  // 1, 2, 3 or 6
    int bytes;
};

// An E-AC-3 syncframe at 48 kHz, stereo, filled past its header.
Bytes eac3Frame(const Eac3Frame& f)
{
    const int blockCode = f.blocks == 6 ? 3 : f.blocks - 1;
    const int words = f.bytes / 2 - 1;
    Bytes bytes = {0x0B,
                   0x77,
                   uint8_t(f.strmtyp << 6 | f.substream << 3 | words >> 8),
                   uint8_t(words),
                   uint8_t(blockCode << 4 | 2 << 1),
                   uint8_t(16 << 3)};
    bytes.resize(size_t(f.bytes), 0x5A);
    return bytes;
}

// A 48 kHz, 64 kbit/s stereo AC-3 syncframe (256 bytes).
Bytes ac3Frame()
{
    Bytes bytes = {0x0B, 0x77, 0, 0, 0x08, 8 << 3, 0x40};
    bytes.resize(256, 0x5A);
    return bytes;
}

// A frame cut short: the bytes end inside it.
Bytes headerAndSome(Bytes frame)
{
    frame.resize(50);
    return frame;
}

struct UnitCase {
    const char* name;
    Bytes before;  // what precedes the frames: the end of an earlier one
    std::vector<Eac3Frame> frames;
    Bytes after;  // what follows them
    bool ac3 = false;
    // The unit's frames [first, end) of `frames`; none when first < 0.
    int first = -1, end = 0;
};

const Eac3Frame kSix{0, 0, 6, 400}, kOne{0, 0, 1, 120}, kDependent{1, 0, 6, 200},
    kSecondProgram{0, 1, 6, 300};

const UnitCase kCases[] = {
    {"SixBlockFrames", {}, {kSix, kSix, kSix}, {}, false, 2, 3},
    {"OneBlockFramesThenATag",
     {},
     {kOne, kOne, kOne, kOne, kOne, kOne, kOne, kOne},
     Bytes(128, 'T'),
     false,
     2,
     8},
    {"DependentSubstreams", {}, {kSix, kDependent, kSix, kDependent}, {}, false, 2, 4},
    {"TwoPrograms", {}, {kSix, kSecondProgram, kSix, kSecondProgram}, {}, false, 2, 4},
    {"BeginsAndEndsInsideFrames",
     Bytes(37, 0x5A),
     {kSix, kSix},
     headerAndSome(eac3Frame(kSix)),
     false,
     1,
     2},
    {"FewerThanSixBlocks", {}, {kOne, kOne, kOne}, {}, false, -1, 0},
    {"Ac3", {}, {}, {}, true, -1, 0},
};

void PrintTo(const UnitCase& c, std::ostream* os)
{
    *os << c.name;
}

class LastEac3AccessUnit : public ::testing::TestWithParam<UnitCase> {};

TEST_P(LastEac3AccessUnit, IsFoundWhereItLies)
{
    const UnitCase& c = GetParam();
    Bytes bytes = c.before;
    std::vector<size_t> starts;
    for (const Eac3Frame& f : c.frames) {
        starts.push_back(bytes.size());
        Bytes frame = eac3Frame(f);
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    starts.push_back(bytes.size());
    for (int i = 0; c.ac3 && i < 3; ++i) {
        Bytes frame = ac3Frame();
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    bytes.insert(bytes.end(), c.after.begin(), c.after.end());

    std::optional<ByteSpan> unit = lastEac3AccessUnit(bytes.data(), bytes.size());
    if (c.first < 0) {
        EXPECT_FALSE(unit);
        return;
    }
    ASSERT_TRUE(unit);
    EXPECT_EQ(unit->offset, starts[size_t(c.first)]);
    EXPECT_EQ(unit->size, starts[size_t(c.end)] - starts[size_t(c.first)]);
}

INSTANTIATE_TEST_SUITE_P(Rows,
                         LastEac3AccessUnit,
                         ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<UnitCase>& info) {
                             return info.param.name;
                         });

}  // namespace
