#include "engines/mpeg/mpg123_handle.h"

#include <mpg123.h>

#include <mutex>

namespace {

// mpg123_init is required once per process before any handle (older
// releases build their tables there); later releases make it a no-op.
void initLibraryOnce()
{
    static std::once_flag once;
    std::call_once(once, [] { mpg123_init(); });
}

}  // namespace

Mpg123Handle::Mpg123Handle()
{
    initLibraryOnce();
    int error = MPG123_OK;
    _handle = mpg123_new(nullptr, &error);
    if (!_handle)
        return;
    long flags = MPG123_QUIET | MPG123_NO_READAHEAD;
    bool ok = mpg123_param(_handle, MPG123_FLAGS, flags, 0) == MPG123_OK &&
              mpg123_param(_handle, MPG123_RESYNC_LIMIT, -1, 0) == MPG123_OK &&
              mpg123_format_none(_handle) == MPG123_OK;
    const long* rates = nullptr;
    size_t count = 0;
    mpg123_rates(&rates, &count);
    for (size_t i = 0; ok && i < count; ++i)
        ok = mpg123_format(_handle, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_SIGNED_16) ==
             MPG123_OK;
    if (!ok || !reopen()) {
        mpg123_delete(_handle);
        _handle = nullptr;
    }
}

Mpg123Handle::~Mpg123Handle()
{
    if (_handle) {
        mpg123_close(_handle);
        mpg123_delete(_handle);
    }
}

bool Mpg123Handle::reopen()
{
    if (!_handle)
        return false;
    mpg123_close(_handle);
    return mpg123_open_feed(_handle) == MPG123_OK;
}

bool Mpg123Handle::setFreeFormatBytes(size_t bytes)
{
    // libmpg123 counts a frame without its 4-byte header; -1 is "unknown".
    long value = bytes > 4 ? long(bytes) - 4 : -1;
    return _handle && mpg123_param(_handle, MPG123_FREEFORMAT_SIZE, value, 0) == MPG123_OK;
}
