#include "diagnostics/assertions.h"

#include <cstring>

#include "diagnostics/log_file.h"

namespace {

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
    logStream << "error: TvAssert: " << sourceName(source) << " " << line << "'" << condition << "'"
              << std::endl;
    return false;
}

TvException::TvException(const std::string& text) : message(text)
{
    logStream << "error: Exception: " << message << std::endl;
}

void reportError(const std::string&) {}
