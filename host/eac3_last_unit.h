// The last whole E-AC-3 access unit in the bytes a stream ended with.
//
// The filter's conversion of E-AC-3 to AC-3 encodes each unit's 1536
// samples with an encoder that holds back the last 256 of them as block
// overlap, so a stream's final 256 samples never leave the filter. A player
// that wants them feeds the last unit a second time: the AC-3 frame that
// comes of it begins with those 256 samples, and the rest of it is dropped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

struct ByteSpan {
    size_t offset = 0;
    size_t size = 0;
};

// `data` may begin and end inside syncframes. An access unit is the six audio
// blocks of the first independent substream, each syncframe with the
// dependent substreams and further programs that follow it. Nothing when the
// bytes hold no whole unit of E-AC-3 syncframes.
std::optional<ByteSpan> lastEac3AccessUnit(const uint8_t* data, size_t size);
