// The log file under concurrent writers: threads that each write whole lines
// leave every line intact. And logging() says yes exactly when a line would
// reach the file, since the streaming path makes no line when it says no.
#include <gtest/gtest.h>

#include <functional>
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

TEST(LogFile, LoggingSaysWhetherALineReachesTheFile)
{
    using Prepare = std::function<void(LogFile&, const std::string&)>;
    struct Case {
        const char* name;
        Prepare prepare;
        bool reaches;
    };
    const Case cases[] = {
        {"never opened", [](LogFile&, const std::string&) {}, false},
        {"opened", [](LogFile& log, const std::string& path) { log.open(path); }, true},
        {"open refused",
         [](LogFile& log, const std::string& path) { log.open(path + ".d/missing/t.log"); }, false},
        {"closed",
         [](LogFile& log, const std::string& path) {
             log.open(path);
             log.close();
         },
         false},
        {"reopened",
         [](LogFile& log, const std::string& path) {
             log.open(path);
             log.close();
             log.open(path, std::ios::out | std::ios::app);
         },
         true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempFolder root;
        const std::string path = root.file("t.log");
        bool said;
        {
            LogFile log;
            c.prepare(log, path);
            said = logging(log);
            log << "a line " << 42 << std::endl;
        }
        EXPECT_EQ(said, c.reaches);
        EXPECT_EQ(readText(path), c.reaches ? "a line 42\n" : "");
    }
}

}  // namespace
