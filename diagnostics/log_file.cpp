#include "diagnostics/log_file.h"

LogFile logStream;

namespace {

constexpr size_t kFlushAt = 4096;

}  // namespace

bool LockedFileBuffer::open(const std::string& path, std::ios::openmode mode)
{
    Hold hold(lock_);
    if (file_ || path.empty())
        return false;
    const char* how = (mode & std::ios::app) ? "ab" : "wb";
    file_ = std::fopen(path.c_str(), how);
    return file_ != nullptr;
}

bool LockedFileBuffer::close()
{
    Hold hold(lock_);
    if (!file_)
        return false;
    bool ok = flushLocked();
    ok &= std::fclose(file_) == 0;
    file_ = nullptr;
    return ok;
}

bool LockedFileBuffer::isOpen()
{
    Hold hold(lock_);
    return file_ != nullptr;
}

LockedFileBuffer::int_type LockedFileBuffer::overflow(int_type c)
{
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::not_eof(c);
    Hold hold(lock_);
    if (!file_)
        return traits_type::eof();
    pending_.push_back(traits_type::to_char_type(c));
    if (pending_.size() >= kFlushAt && !flushLocked())
        return traits_type::eof();
    return c;
}

std::streamsize LockedFileBuffer::xsputn(const char* text, std::streamsize count)
{
    Hold hold(lock_);
    if (!file_)
        return 0;
    pending_.append(text, size_t(count));
    if (pending_.size() >= kFlushAt && !flushLocked())
        return 0;
    return count;
}

int LockedFileBuffer::sync()
{
    Hold hold(lock_);
    if (!file_)
        return 0;
    return flushLocked() ? 0 : -1;
}

bool LockedFileBuffer::flushLocked()
{
    bool ok = pending_.empty() ||
              std::fwrite(pending_.data(), 1, pending_.size(), file_) == pending_.size();
    pending_.clear();
    return (std::fflush(file_) == 0) && ok;
}
