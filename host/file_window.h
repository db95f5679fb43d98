// A file read in order through a window of a megabyte or more, filled with
// pread: one system call per megabyte, and no page of the file mapped. (A
// mapping costs a page fault or a TLB miss for every page a reader touches,
// which here cost more than copying the bytes.) Random reads work too, each
// refilling the window where it lands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class FileWindow {
public:
    // size() is 0 when the path is no regular, non-empty, readable file.
    explicit FileWindow(const std::string& path);
    ~FileWindow();
    FileWindow(const FileWindow&) = delete;
    FileWindow& operator=(const FileWindow&) = delete;

    size_t size() const { return size_; }

    // The bytes [offset, offset + length), cut at the file's end, valid until
    // the next call; null when the file cannot be read there.
    const uint8_t* window(size_t offset, size_t length);

private:
    int fd_ = -1;
    size_t size_ = 0;
    std::vector<uint8_t> window_;
    size_t windowStart_ = 0;
    size_t windowFill_ = 0;
};
