#include "host/file_window.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

FileWindow::FileWindow(const std::string& path)
{
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0)
        return;
    struct stat info;
    if (fstat(fd_, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0) {
        size_ = size_t(info.st_size);
        posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
    }
}

FileWindow::~FileWindow()
{
    if (fd_ >= 0)
        ::close(fd_);
}

const uint8_t* FileWindow::window(size_t offset, size_t length)
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
