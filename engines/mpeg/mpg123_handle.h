// One libmpg123 decoder in feed mode, set up the way both MPEG engines use
// it: 16-bit signed output at the stream's own rate and channel count, no
// read-ahead (a frame is decoded as soon as all of it was fed), no gapless
// trimming (the host trims encoder delay and padding from the container's
// information, as other players do) and no messages on standard error.
#pragma once

#include <cstddef>
#include <cstdint>

struct mpg123_handle_struct;

class Mpg123Handle {
public:
    // Null handle() when libmpg123 cannot create a decoder.
    Mpg123Handle();
    ~Mpg123Handle();
    Mpg123Handle(const Mpg123Handle&) = delete;
    Mpg123Handle& operator=(const Mpg123Handle&) = delete;

    mpg123_handle_struct* handle() const { return _handle; }
    // Forgets all fed bytes and the synthesis history: a fresh stream.
    bool reopen();
    // Free-format frames of `bytes` before padding, header included, in the
    // streams opened from now on (0: none). Without read-ahead libmpg123
    // cannot measure them itself.
    bool setFreeFormatBytes(size_t bytes);

private:
    mpg123_handle_struct* _handle = nullptr;
};
