#include "host/read_once_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

std::string failure(const char* what)
{
    return std::string(what) + " (" + std::strerror(errno) + ")";
}

// The name's extension with its dot, or "".
std::string extensionOf(const std::string& name)
{
    size_t slash = name.find_last_of('/');
    size_t dot = name.find_last_of('.');
    bool after = dot != std::string::npos && (slash == std::string::npos || dot > slash + 1);
    return after ? name.substr(dot) : "";
}

bool writeAll(int to, const char* data, size_t size)
{
    while (size > 0) {
        ssize_t n = write(to, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        size -= size_t(n);
    }
    return true;
}

}  // namespace

ReadOnceInput::~ReadOnceInput()
{
    if (!copy_.empty())
        unlink(copy_.c_str());
}

std::string ReadOnceInput::openable(const std::string& input,
                                    std::string& error,
                                    const std::function<bool()>& stop)
{
    struct stat info;
    if (input == "-") {
        if (isatty(STDIN_FILENO)) {
            error = "standard input is a terminal; pipe a stream in or name a file";
            return "";
        }
        // Redirected from a file: that file, opened afresh from its start.
        if (fstat(STDIN_FILENO, &info) == 0 && S_ISREG(info.st_mode))
            return "/proc/self/fd/0";
        return copy(STDIN_FILENO, "", error, stop) ? copy_ : "";
    }
    if (stat(input.c_str(), &info) != 0 || !(S_ISFIFO(info.st_mode) || S_ISSOCK(info.st_mode)))
        return input;  // the readers say what is wrong with anything else
    int from = open(input.c_str(), O_RDONLY | O_CLOEXEC);
    if (from < 0) {
        error = failure("cannot be read");
        return "";
    }
    bool copied = copy(from, extensionOf(input), error, stop);
    close(from);
    return copied ? copy_ : "";
}

bool ReadOnceInput::copy(int from,
                         const std::string& extension,
                         std::string& error,
                         const std::function<bool()>& stop)
{
    const char* folder = std::getenv("TMPDIR");
    std::string name =
        std::string(folder && *folder ? folder : "/tmp") + "/tavio-input-XXXXXX" + extension;
    std::vector<char> writable(name.begin(), name.end());
    writable.push_back('\0');
    int to = mkostemps(writable.data(), int(extension.size()), O_CLOEXEC);
    if (to < 0) {
        error = failure("cannot be copied to a temporary file");
        return false;
    }
    copy_ = writable.data();
    std::vector<char> buffer(1 << 16);
    bool copied = true;
    for (;;) {
        ssize_t got = read(from, buffer.data(), buffer.size());
        if (got == 0)
            break;
        if (got < 0 && errno == EINTR)
            continue;
        if (stop && stop()) {
            error = "interrupted while reading the input";
            copied = false;
        } else if (got < 0) {
            error = failure("cannot be read");
            copied = false;
        } else if (!writeAll(to, buffer.data(), size_t(got))) {
            error = failure("cannot be copied to a temporary file");
            copied = false;
        }
        if (!copied)
            break;
    }
    close(to);
    return copied;
}
