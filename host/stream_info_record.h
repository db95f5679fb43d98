// The filter's stream-information snapshot read into plain values: the
// fields its property page shows, for hosts that report them to scripts.
#pragma once

#include <cstdint>
#include <optional>

#include "filter/tavio_interfaces.h"

struct StreamInfoRecord {
    uint32_t streamType = 0;  // the core's stream kind (TvStreamKind)
    uint32_t bitRate = 0;     // kbit/s
    uint32_t frameSize = 0;   // input bytes of the last frame
    uint32_t sampleRate = 0;
    uint32_t bitsPerSample = 0;
    uint32_t channelMask = 0;
    uint32_t channels = 0;
    uint32_t remixMode = 0;  // TvRemixMode

    struct Mpeg {
        uint32_t version = 0;  // 1, 2, or 4 for MPEG-2.5
        uint32_t layer = 0;
        bool mp3Pro = false;
    };
    struct Ac3 {
        uint32_t acmod = 0, bsmod = 0, dsurmod = 0;
        bool lfe = false;
        std::optional<uint32_t> karaokeMode;  // karaoke streams only
    };
    struct Aac {
        uint32_t objectType = 0;
        uint32_t sbr = 0;  // FAAD2's SBR indication
        bool parametricStereo = false;
    };
    // Present for the stream kind they describe, as on the page.
    std::optional<Mpeg> mpeg;
    std::optional<Ac3> ac3;
    std::optional<Aac> aac;
};

StreamInfoRecord readStreamInfo(ITavioStreamInfo& info);
// "ac3", "dts", ...; "" for an unknown kind.
const char* streamKindName(uint32_t streamType);
