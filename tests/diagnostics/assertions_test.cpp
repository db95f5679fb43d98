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

// What a handler sees must name the assertion as its log line does, and the
// line must already be written when it runs: a fuzz target aborts in it.
struct SeenAssertion {
    std::string source;
    int line = 0;
    std::string condition;
    size_t linesLogged = 0;
};
SeenAssertion seen;
CapturedLog* capturing = nullptr;

TEST_F(DiagnosticsTest, HandlerSeesTheLoggedAssertionAndCanBeRemoved)
{
    CapturedLog log(root);
    capturing = &log;
    seen = {};
    setAssertionHandler([](const char* source, int line, const char* condition) {
        seen = {source, line, condition, capturing->lines().size()};
    });
    TvAssert(2 + 2 == 5);
    int line = __LINE__ - 1;
    setAssertionHandler(nullptr);
    EXPECT_EQ(seen.source, "assertions_test");
    EXPECT_EQ(seen.line, line);
    EXPECT_EQ(seen.condition, "2 + 2 == 5");
    EXPECT_EQ(seen.linesLogged, 1u);
    seen = {};
    TvAssert(2 + 2 == 5);
    EXPECT_EQ(seen.line, 0) << "a removed handler was still called";
    EXPECT_EQ(log.lines().size(), 2u);
    capturing = nullptr;
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
