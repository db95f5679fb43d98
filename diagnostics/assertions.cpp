#include "diagnostics/assertions.h"

#include <atomic>
#include <cstring>

#include "diagnostics/log_file.h"

namespace {

std::atomic<unsigned long> firedAssertions{0};
std::atomic<AssertionHandler> assertionHandler{nullptr};

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
    const std::string name = sourceName(source);
    logStream << "error: TvAssert: " << name << " " << line << "'" << condition << "'" << std::endl;
    if (AssertionHandler handler = assertionHandler.load(std::memory_order_acquire))
        handler(name.c_str(), line, condition);
    return false;
}

unsigned long assertionCount()
{
    return firedAssertions.load(std::memory_order_relaxed);
}

void setAssertionHandler(AssertionHandler handler)
{
    assertionHandler.store(handler, std::memory_order_release);
}

TvException::TvException(const std::string& text) : message(text)
{
    logStream << "error: Exception: " << message << std::endl;
}

void reportError(const std::string&) {}
