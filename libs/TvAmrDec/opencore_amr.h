// One AMR decoder state of opencore-amr, narrow or wide band, decoding one
// storage-format frame at a time.
#pragma once

#include <cstddef>
#include <cstdint>

class OpencoreAmr {
public:
    explicit OpencoreAmr(bool wideband);
    ~OpencoreAmr();
    OpencoreAmr(const OpencoreAmr&) = delete;
    OpencoreAmr& operator=(const OpencoreAmr&) = delete;

    bool valid() const { return state_ != nullptr; }
    bool wideband() const { return wideband_; }
    int frameSamples() const { return wideband_ ? 320 : 160; }

    // Decodes one whole frame of `bytes` bytes (table-of-contents byte first)
    // into frameSamples() samples.
    void decode(const uint8_t* frame, size_t bytes, int16_t* samples);

private:
    bool wideband_;
    void* state_;
};
