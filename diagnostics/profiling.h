// Profiling counters that cost nothing when switched off, and their report.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// Stream time of all output delivered in this process, in 100 ns units.
extern std::atomic<int64_t> totalDecodedTime;

// Where the report goes; an empty path (the default) switches profiling off.
// Set once at start-up, before the first counter is used.
void setProfileReportPath(const std::string& path);

// A named timing counter: a function-level static that registers itself at
// its first use, only when profiling is on.
struct ProfileCounter {
    explicit ProfileCounter(const char* name);
    double total = 0;    // seconds
    uint32_t count = 0;  // timed runs
    const char* name;
};

class ProfileScope {
public:
    explicit ProfileScope(ProfileCounter& counter);
    ~ProfileScope();
    ProfileScope(const ProfileScope&) = delete;
    ProfileScope& operator=(const ProfileScope&) = delete;

private:
    ProfileCounter& counter_;
    int64_t startMs_ = 0;
};

// Times the rest of the enclosing block under `name`.
#define TV_PROFILE_CONCAT2(a, b) a##b
#define TV_PROFILE_CONCAT(a, b) TV_PROFILE_CONCAT2(a, b)
#define TV_PROFILE_SCOPE(name)                                                \
    static ProfileCounter TV_PROFILE_CONCAT(profileCounter_, __LINE__)(name); \
    ProfileScope TV_PROFILE_CONCAT(profileScope_,                             \
                                   __LINE__)(TV_PROFILE_CONCAT(profileCounter_, __LINE__))

// Writes the cumulative report to the report path (nothing without a
// registry).
void writeProfileReport();
void writeProfileReport(const std::string& path);
// Tests only: forget every counter registration and the report path.
void resetProfilingForTesting();
