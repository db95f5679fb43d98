// A file mapped into memory for as long as an input reads it, with the pages
// already read given back as reading goes on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class MappedFile {
public:
    // data() is null when the path is no regular, non-empty, readable file.
    explicit MappedFile(const std::string& path);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    const uint8_t* data() const { return data_; }
    size_t size() const { return size_; }
    // Gives back the pages before `end` once a megabyte more has been read
    // (they are read again from the file should they be wanted), so that
    // reading a long file keeps only a little of it resident; and maps the
    // next megabytes after `end` in one call, ahead of the reads, rather
    // than a page fault at a time (each costs more than the read itself,
    // most of all in a virtual machine).
    void release(size_t end);
    // Gives back every page, as after a first pass over the file or a seek.
    void releaseAll();

    // The bytes [offset, offset + length) (cut at the file's end) read into
    // a window of a megabyte or more, valid until the next call; null when
    // the file cannot be read there. A reader that goes through a file in
    // order reads it with one system call per megabyte and maps none of its
    // pages: reading touches each page of a mapping once, and that costs
    // more than copying it.
    const uint8_t* window(size_t offset, size_t length);

private:
    const uint8_t* data_ = nullptr;
    size_t size_ = 0;
    size_t released_ = 0;
    size_t mapped_ = 0;  // pages before this are mapped ahead of the reads
    bool canMapAhead_ = true;
    int fd_ = -1;
    std::vector<uint8_t> window_;
    size_t windowStart_ = 0;
    size_t windowFill_ = 0;
};
