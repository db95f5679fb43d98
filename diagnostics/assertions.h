// Assertions that report and go on, the system's one exception type and the
// error hook: each leaves its line in the process log.
#pragma once

#include <stdexcept>
#include <string>

// Writes "error: TvAssert: <source> <line>'<condition>'", counts the
// assertion and returns false.
// `source` is the source's name without folder and extension: a path such as
// __FILE__ is cut down to it ("decoders/AdecDolby.cpp" gives "AdecDolby").
bool tvAssertionFailed(const char* source, int line, const char* condition);

// How many assertions have fired in this process, whether or not the log was
// open: tests and fuzz targets compare it before and after a run to catch
// one that should not have fired.
unsigned long assertionCount();

// Called after each failed assertion has been logged and counted, with the
// source name the log line carries. Tests and fuzz targets install one to make
// an assertion that their input should not cause fatal; with none installed
// (the product) an assertion only logs. Set it before any decoding starts.
using AssertionHandler = void (*)(const char* source, int line, const char* condition);
void setAssertionHandler(AssertionHandler handler);

// The source name assertion lines carry. By default the file's own base name;
// a file whose name differs from the one its log lines are known by defines
// it before its first #include, in one line:
//     #define TV_ASSERT_SOURCE "util"
#ifndef TV_ASSERT_SOURCE
#define TV_ASSERT_SOURCE __FILE__
#endif

// Evaluates to the condition's truth; a false condition is logged, never fatal.
#define TvAssert(condition) \
    ((condition) ? true : tvAssertionFailed(TV_ASSERT_SOURCE, __LINE__, #condition))
// The same, reporting the condition in the words given: for checks whose
// usual wording cannot be written as safe code (an unaligned read, a count
// kept elsewhere).
#define TvAssertWorded(condition, words) \
    ((condition) ? true : tvAssertionFailed(TV_ASSERT_SOURCE, __LINE__, words))

// The one exception type of the system; it logs itself once, when thrown.
class TvException : public std::exception {
public:
    explicit TvException(const std::string& message);
    TvException(const TvException& other) : std::exception(other), message(other.message) {}
    ~TvException() override = default;
    const char* what() const noexcept override { return message.c_str(); }

    std::string message;
};

// The error hook of the parameters and start-up: it discards the message.
void reportError(const std::string& message);
