// Assertions raised in the shared helpers are reported under the helpers'
// common source name, whichever file holds them.
#include <gtest/gtest.h>

#include <functional>

#include "config/config_test_support.h"
#include "conversion/output_types.h"
#include "conversion/sample_conversion.h"
#include "core/status_helpers.h"

namespace {

struct SourceCase {
    const char* what;
    std::function<void()> raise;
    const char* condition;
};

class AssertionSource : public ::testing::TestWithParam<SourceCase> {};

TEST_P(AssertionSource, HelpersReportAsUtil)
{
    const SourceCase& c = GetParam();
    TempRoot root;
    CapturedLog log(root);
    c.raise();
    auto written = log.lines();
    ASSERT_EQ(written.size(), 1u) << c.what;
    EXPECT_EQ(written[0].rfind("error: TvAssert: util ", 0), 0u) << written[0];
    EXPECT_EQ(written[0].substr(written[0].find('\'')), std::string("'") + c.condition + "'") << written[0];
}

INSTANTIATE_TEST_SUITE_P(
    Helpers, AssertionSource,
    ::testing::Values(
        SourceCase{"default mask of 9 channels", [] { defaultChannelMask(9); }, "chan>0 && chan <= 8"},
        SourceCase{"16-bit conversion of doubles",
                   [] {
                       uint8_t data[16] = {};
                       convertTo16Bit(data, 8, STDouble);
                   },
                   "0"},
        SourceCase{"a type without an extensible format",
                   [] {
                       CMediaType type;
                       TvStatusLpcm status;
                       updateTypeFromStatus(type, status);
                   },
                   "m.cbFormat == sizeof(WAVEFORMATEXTENSIBLE)"}),
    [](const ::testing::TestParamInfo<SourceCase>& info) { return "Case" + std::to_string(info.index); });

}  // namespace
