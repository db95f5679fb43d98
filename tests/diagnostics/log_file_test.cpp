// The log file under concurrent writers: threads that each write whole lines
// leave every line intact.
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "config/config_test_support.h"
#include "diagnostics/log_file.h"

namespace {

TEST(LogFile, ConcurrentWritersLeaveEveryLineWhole)
{
    TempFolder root;
    constexpr int kThreads = 4, kLines = 5000;
    {
        LogFile log(root.file("t.log"), std::ios::out | std::ios::trunc);
        ASSERT_TRUE(log.good());
        std::vector<std::thread> writers;
        for (int t = 0; t < kThreads; ++t)
            writers.emplace_back([&log, t] {
                for (int i = 0; i < kLines; ++i)
                    log << ("writer " + std::to_string(t) + " line " + std::to_string(i) + "\n")
                        << std::flush;
            });
        for (auto& writer : writers)
            writer.join();
    }
    std::set<std::string> seen;
    for (const std::string& line : lines(readText(root.file("t.log"))))
        seen.insert(line);
    EXPECT_EQ(seen.size(), size_t(kThreads * kLines));
    EXPECT_TRUE(seen.count("writer 3 line 4999"));
}

}  // namespace
