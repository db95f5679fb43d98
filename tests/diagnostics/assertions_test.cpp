// Assertions and the exception, checked by the lines they write and the
// count of assertions that fired.
#include "config/config_test_support.h"

namespace {

class DiagnosticsTest : public ::testing::Test {
protected:
    TempFolder root;
};

TEST_F(DiagnosticsTest, FailedAssertionIsCountedWritesOneLineAndGoesOn)
{
    CapturedLog log(root);
    unsigned long countBefore = assertionCount();
    int after = 0;
    bool result = TvAssert(1 + 1 == 3);
    int line = __LINE__ - 1;
    after = 1;
    EXPECT_FALSE(result);
    EXPECT_EQ(after, 1);
    EXPECT_TRUE(TvAssert(2 > 1));
    EXPECT_EQ(assertionCount(), countBefore + 1);
    auto written = log.lines();
    ASSERT_EQ(written.size(), 1u);
    // The source is named without folder and extension.
    EXPECT_EQ(written[0],
              "error: TvAssert: assertions_test " + std::to_string(line) + "'1 + 1 == 3'");
}

TEST_F(DiagnosticsTest, ExceptionLogsOnceAtTheThrow)
{
    CapturedLog log(root);
    try {
        throw TvException("Error constructing AudioConv");
    } catch (const TvException& caught) {
        TvException copy(caught);
        EXPECT_STREQ(copy.what(), "Error constructing AudioConv");
    }
    auto written = log.lines();
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written[0], "error: Exception: Error constructing AudioConv");
}

}  // namespace
