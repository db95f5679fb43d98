// TvMlpDec at its entry points: access units and major syncs read from
// hand-altered real units, and the record version. Decoding (both
// presentations, bit for bit, however the input is cut, garbage in front) is
// held to the source PCM by the decoder suite.
#include <gtest/gtest.h>

#include <tuple>

#include "support/ffmpeg.h"
#include "support/mlp_library.h"

namespace {

// The first access unit of a real stream (with its major sync) and the one
// after it, as found and as altered: each way an access unit is refused.
TEST(MlpAccessUnit, FoundCheckedAndRefused)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    ASSERT_TRUE(encodeTones(folder.file("s.thd"), {"FL+FR+FC+LFE+BL+BR", 96000, 0.3, 0.5},
                            "-c:a truehd -sample_fmt s32 -strict -2 -f truehd"));
    std::vector<uint8_t> bytes = readBytes(folder.file("s.thd"));
    ASSERT_GT(bytes.size(), 200u);
    size_t first = size_t(((bytes[0] << 8) | bytes[1]) & 0xFFF) * 2;
    std::vector<uint8_t> unit(bytes.begin(), bytes.begin() + long(first));
    std::vector<uint8_t> next(bytes.begin() + long(first), bytes.end());
    auto altered = [](std::vector<uint8_t> b, size_t at, uint8_t x) {
        b[at] ^= x;
        return b;
    };
    MlpMajorSyncInfo sync;
    ASSERT_TRUE(readMajorSync(unit.data() + 4, unit.size() - 4, sync));
    struct Case {
        const char* what;
        std::vector<uint8_t> data;
        const MlpMajorSyncInfo* current;
        AccessUnitCheck check;
    } cases[] = {
        // clang-format off
        {"with its major sync", unit, nullptr, AccessUnitCheck::kValid},
        {"cut short", {unit.begin(), unit.end() - 1}, nullptr, AccessUnitCheck::kIncomplete},
        {"major sync cut short", {unit.begin(), unit.begin() + 20}, nullptr, AccessUnitCheck::kIncomplete},
        {"three bytes", {unit.begin(), unit.begin() + 3}, nullptr, AccessUnitCheck::kIncomplete},
        {"major sync checksum wrong", altered(unit, 4 + 10, 0x01), nullptr, AccessUnitCheck::kInvalid},
        {"check nibble wrong", altered(unit, 0, 0x10), nullptr, AccessUnitCheck::kInvalid},
        {"length below a header", {0xF0, 0x02, 0, 0, 0, 0, 0, 0}, &sync, AccessUnitCheck::kInvalid},
        {"without a major sync, after one", next, &sync, AccessUnitCheck::kValid},
        {"without a major sync, none before", next, nullptr, AccessUnitCheck::kInvalid},
        {"directory word altered", altered(next, 4, 0x01), &sync, AccessUnitCheck::kInvalid},
        // clang-format on
    };
    for (const Case& c : cases) {
        AccessUnit found;
        EXPECT_EQ(checkAccessUnit(c.data.data(), c.data.size(), c.current, found), c.check)
            << c.what;
    }
    AccessUnit found;
    ASSERT_EQ(checkAccessUnit(unit.data(), unit.size(), nullptr, found), AccessUnitCheck::kValid);
    const MlpMajorSyncInfo& m = found.majorSync;
    EXPECT_EQ(std::tuple(found.hasMajorSync, found.length, m.format_sync, m.sampleRate, m.channels,
                         m.substreams, m.accessUnitSamples),
              std::tuple(true, first, kMlpFormatSyncFba, 96000, 6, 1, 80));
}

}  // namespace
