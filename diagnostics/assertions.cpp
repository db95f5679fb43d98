#include "diagnostics/assertions.h"

#include <atomic>
#include <cstring>

#include "diagnostics/log_file.h"

namespace {

std::atomic<unsigned long> firedAssertions{0};

// Only the source's own name: neither the build folder nor the extension is
// part of the message.
std::string sourceName(const char* path)
{
    const char* name = path;
    for (const char* p = path; *p; ++p)
        if (*p == '/' || *p == '\\')
            name = p + 1;
    const char* dot = std::strrchr(name, '.');
    return dot && dot != name ? std::string(name, dot) : std::string(name);
}

}  // namespace

bool tvAssertionFailed(const char* source, int line, const char* condition)
{
    firedAssertions.fetch_add(1, std::memory_order_relaxed);
    logStream << "error: TvAssert: " << sourceName(source) << " " << line << "'" << condition << "'"
              << std::endl;
    return false;
}

unsigned long assertionCount()
{
    return firedAssertions.load(std::memory_order_relaxed);
}

TvException::TvException(const std::string& text) : message(text)
{
    logStream << "error: Exception: " << message << std::endl;
}

void reportError(const std::string&) {}
