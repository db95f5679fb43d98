#include "host/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

MappedFile::MappedFile(const std::string& path)
{
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0)
        return;
    struct stat info;
    if (fstat(fd_, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0) {
        void* data = mmap(nullptr, size_t(info.st_size), PROT_READ, MAP_PRIVATE, fd_, 0);
        if (data != MAP_FAILED) {
            data_ = static_cast<const uint8_t*>(data);
            size_ = size_t(info.st_size);
            madvise(data, size_, MADV_SEQUENTIAL);
        }
    }
}

MappedFile::~MappedFile()
{
    if (data_)
        munmap(const_cast<uint8_t*>(data_), size_);
    if (fd_ >= 0)
        ::close(fd_);
}

const uint8_t* MappedFile::window(size_t offset, size_t length)
{
    if (offset > size_)
        return nullptr;
    length = std::min(length, size_ - offset);
    if (offset < windowStart_ || offset + length > windowStart_ + windowFill_) {
        constexpr size_t kWindow = size_t(1) << 20;
        size_t want = std::min(std::max(length, kWindow), size_ - offset);
        if (window_.size() < want)
            window_.resize(want);
        size_t got = 0;
        while (got < want) {
            ssize_t n = pread(fd_, window_.data() + got, want - got, off_t(offset + got));
            if (n <= 0)
                break;
            got += size_t(n);
        }
        windowStart_ = offset;
        windowFill_ = got;
        if (got < length)
            return nullptr;
    }
    return window_.data() + (offset - windowStart_);
}

void MappedFile::release(size_t end)
{
    constexpr size_t kStep = size_t(1) << 20;
    static const size_t page = size_t(sysconf(_SC_PAGESIZE));
    end = std::min(end, size_) / page * page;
    if (end >= released_ + kStep) {
        madvise(const_cast<uint8_t*>(data_) + released_, end - released_, MADV_DONTNEED);
        released_ = end;
    }
#ifdef MADV_POPULATE_READ
    if (canMapAhead_ && end + kStep > mapped_ && mapped_ < size_) {
        size_t from = std::max(mapped_, end);
        size_t to = std::min(size_, from + 2 * kStep);
        // Kernels before 5.14 know no such advice: pages then fault in one by one.
        canMapAhead_ =
            madvise(const_cast<uint8_t*>(data_) + from, to - from, MADV_POPULATE_READ) == 0;
        mapped_ = to;
    }
#endif
}

void MappedFile::releaseAll()
{
    madvise(const_cast<uint8_t*>(data_), size_, MADV_DONTNEED);
    released_ = 0;
    mapped_ = 0;
}
