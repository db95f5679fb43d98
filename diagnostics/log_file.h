// A log file that the streaming thread and application threads write at the
// same time. Each insertion reaches the file under one lock, so concurrent
// writers cannot corrupt the stream (their lines may still interleave, as
// they always could). Text is kept until the next flush (std::endl) or until
// 4 KiB have gathered. A log that is not open swallows what is written, and
// the stream reports it as bad from the start, like an unopened file stream;
// a line that costs something to make asks logging() first.
#pragma once

#include <cstdio>
#include <ostream>
#include <streambuf>
#include <string>

#include "platform/kernel.h"

class LockedFileBuffer : public std::streambuf {
public:
    LockedFileBuffer() { InitializeCriticalSection(&lock_); }
    ~LockedFileBuffer() override
    {
        close();
        DeleteCriticalSection(&lock_);
    }
    bool open(const std::string& path, std::ios::openmode mode);
    bool close();
    bool isOpen();

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;
    int sync() override;

private:
    bool flushLocked();

    // The platform's critical section: the Windows build's threads are the
    // system's own, without std::mutex.
    class Hold {
    public:
        explicit Hold(CRITICAL_SECTION& lock) : lock_(lock) { EnterCriticalSection(&lock_); }
        ~Hold() { LeaveCriticalSection(&lock_); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        CRITICAL_SECTION& lock_;
    };

    CRITICAL_SECTION lock_;
    std::FILE* file_ = nullptr;
    std::string pending_;
};

class LogFile : public std::ostream {
public:
    // Bad until opened, so that insertions return at once.
    LogFile() : std::ostream(&buffer_) { setstate(std::ios::badbit); }
    LogFile(const std::string& path, std::ios::openmode mode) : LogFile() { open(path, mode); }

    void open(const std::string& path, std::ios::openmode mode = std::ios::out | std::ios::trunc)
    {
        if (buffer_.open(path, mode))
            clear();
        else
            setstate(std::ios::failbit);
    }
    void close()
    {
        if (!buffer_.close())
            setstate(std::ios::failbit);
        setstate(std::ios::badbit);
    }
    bool is_open() { return buffer_.isOpen(); }

private:
    LockedFileBuffer buffer_;
};

// Whether what is written to `log` reaches its file: false for a log that is
// not open or that failed to write, so that the streaming path skips making
// lines nobody reads.
inline bool logging(const std::ostream& log)
{
    return log.good();
}

// The process-wide log; unopened (and so silent) unless the module start-up
// opens it.
extern LogFile logStream;
