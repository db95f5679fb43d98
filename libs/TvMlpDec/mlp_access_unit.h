// MLP and TrueHD access units as they lie in a byte stream: the 4-byte unit
// header (check nibble, length in 16-bit words, input timing), an optional
// major sync, then the substream directory. Pure functions, no decoder state.
#pragma once

#include <cstddef>
#include <cstdint>

#include "libs/TvMlpDec/tv_mlp_dec.h"

// Bytes a major sync of this stream type occupies, counted from its sync word;
// 0 when `size` bytes cannot tell yet (fewer than 28).
size_t majorSyncSize(const uint8_t* sync, size_t size);

// Reads the major sync that starts at `sync` (its sync word), checking its
// CRC. False when it is not one (wrong words, checksum, rate or substream
// count) or fewer than `size` bytes hold it.
bool readMajorSync(const uint8_t* sync, size_t size, MlpMajorSyncInfo& info);

enum class AccessUnitCheck {
    kValid,
    kIncomplete,  // the first `size` bytes look right so far: more are needed
    kInvalid,
};

struct AccessUnit {
    size_t length = 0;  // bytes, from the unit header's length field
    bool hasMajorSync = false;
    MlpMajorSyncInfo majorSync;  // when hasMajorSync
};

// Checks the access unit at `data`: its length, its major sync if it has one,
// and the check nibble over the unit header and the substream directory.
// `current` is the stream's last major sync (null before one): a unit without
// its own major sync needs it to know the substream count.
AccessUnitCheck checkAccessUnit(const uint8_t* data,
                                size_t size,
                                const MlpMajorSyncInfo* current,
                                AccessUnit& unit);

// Whether an access unit carrying a major sync may start at `data`: its
// sync word sits 4 bytes in.
bool startsWithMajorSync(const uint8_t* data, size_t size);
