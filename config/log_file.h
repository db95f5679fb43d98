// A log file that the streaming thread and application threads write at the
// same time. Each insertion reaches the file under one lock, so concurrent
// writers cannot corrupt the stream (their lines may still interleave, as
// they always could). Text is kept until the next flush (std::endl) or until
// 4 KiB have gathered. A log that is not open swallows what is written, and
// the stream reports it as bad, like an unopened file stream.
#pragma once

#include <cstdio>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>

class LockedFileBuffer : public std::streambuf {
public:
    ~LockedFileBuffer() override { close(); }
    bool open(const std::string& path, std::ios::openmode mode);
    bool close();
    bool isOpen();

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;
    int sync() override;

private:
    bool flushLocked();

    std::mutex mutex_;
    std::FILE* file_ = nullptr;
    std::string pending_;
};

class LogFile : public std::ostream {
public:
    LogFile() : std::ostream(&buffer_) {}
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
    }
    bool is_open() { return buffer_.isOpen(); }

private:
    LockedFileBuffer buffer_;
};
