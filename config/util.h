// Diagnostics that cost nothing when switched off: the process log, per-filter
// log names, assertions that report and go on, the system's exception,
// profiling counters and their report, media-type dumps, the PCM output dump.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <string>

#include "config/config.h"
#include "platform/strmif.h"

extern Parameter<std::string> PlogFile;
extern Parameter<std::string> Pprofile;
extern Parameter<std::string> PoutputLog;
extern Parameter<bool> PwaveHeader;
extern Parameter<bool> PverboseAssert;

// The process-wide log; unopened (and so silent) unless `logFile` names one.
extern std::ofstream logStream;

// Writes "error: TvAssert: <source> <line>'<condition>'" and returns false.
// `source` is the source's name without folder and extension: a path such as
// __FILE__ is cut down to it ("decoders/AdecDolby.cpp" gives "AdecDolby").
bool tvAssertionFailed(const char* source, int line, const char* condition);

// The source name assertion lines carry. By default the file's own base name;
// a file whose name differs from the one its log lines are known by defines
// it before its first #include, in one line:
//     #define TV_ASSERT_SOURCE "util"
#ifndef TV_ASSERT_SOURCE
#define TV_ASSERT_SOURCE __FILE__
#endif

// Evaluates to the condition's truth; a false condition is logged, never fatal.
#define TvAssert(condition) ((condition) ? true : tvAssertionFailed(TV_ASSERT_SOURCE, __LINE__, #condition))
// The same, reporting the condition in the words given: for checks whose
// usual wording cannot be written as safe code (an unaligned read, a count
// kept elsewhere).
#define TvAssertWorded(condition, words) ((condition) ? true : tvAssertionFailed(TV_ASSERT_SOURCE, __LINE__, words))

// The one exception type of the system; it logs itself once, when thrown.
class TvException : public std::exception {
public:
    explicit TvException(const std::string& message);
    TvException(const TvException& other) : std::exception(other), message(other.message) {}
    ~TvException() override = default;
    const char* what() const noexcept override { return message.c_str(); }

    std::string message;
};

// The per-filter log path: "<root>Tv<n>.log" when `logFile` is set, else "".
std::string perFilterLogName(long filterNumber);
std::string perFilterLogName(long filterNumber, const std::string& root);

// Stream time of all output delivered in this process, in 100 ns units.
extern std::atomic<int64_t> totalDecodedTime;

// A named timing counter: a function-level static that registers itself at
// its first use, only when `profile` is set.
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
#define TV_PROFILE_SCOPE(name)                                             \
    static ProfileCounter TV_PROFILE_CONCAT(profileCounter_, __LINE__)(name); \
    ProfileScope TV_PROFILE_CONCAT(profileScope_, __LINE__)(TV_PROFILE_CONCAT(profileCounter_, __LINE__))

// Writes the cumulative report to `profile` (nothing without a registry).
void writeProfileReport();
void writeProfileReport(const std::string& path);
// Tests only: forget every counter registration.
void resetProfilingForTesting();

// Two to four lines describing a media type.
void writeMediaTypeToLog(std::ostream& out, const AM_MEDIA_TYPE& mediaType);
// The same for a type that may be absent (then only a line end).
void writeMediaTypeToLog(std::ostream& out, const AM_MEDIA_TYPE* mediaType);
// The well-known name of a GUID, or its braced text.
std::string guidName(REFGUID guid);

// Appends a delivered PCM buffer to `outputLog` (with a RIFF header first
// when `waveHeader` is 1); see outputDump for the testable form.
void dumpOutput(const AM_MEDIA_TYPE& type, const BYTE* data, long length);
// The same into a given stream; `headerDone` carries "a buffer was dumped".
void dumpOutput(std::ostream& out, bool& headerDone, bool waveHeader, const AM_MEDIA_TYPE& type,
                const BYTE* data, long length);

// Module start-up: read the parameter file, open the log when asked.
void initializeModule();
void initializeModule(const std::string& root);
