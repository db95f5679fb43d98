#include "host/parsers/disc_mlp_headers.h"

#include "libs/TvMlpDec/mlp_access_unit.h"

bool discMlp(const std::vector<uint8_t>& payload,
             AudioStreamParameters& s,
             std::string& description)
{
    bool hdDvd = !payload.empty() && (payload[0] & 0xF8) == 0xB0;
    // HD-DVD: 5 bytes; DVD-Audio: 4 + the header length in byte 3.
    size_t header = hdDvd ? 5 : payload.size() > 3 ? 4 + size_t(payload[3]) : payload.size();
    MlpMajorSyncInfo sync;
    for (size_t at = header; at + 4 < payload.size(); ++at) {
        if (!startsWithMajorSync(payload.data() + at - 4, payload.size() - at + 4) ||
            !readMajorSync(payload.data() + at, payload.size() - at, sync))
            continue;
        bool trueHd = sync.format_sync == kMlpFormatSyncFba;
        s.codec = hdDvd ? "truehd" : "dvd-audio-mlp";
        s.sampleRate = sync.sampleRate;
        s.channels = sync.channels;
        s.bitsPerSample = 24;
        description = std::string(hdDvd ? "HD-DVD " : "DVD-Audio ") +
                      (trueHd ? "TrueHD, " : "MLP, ") + std::to_string(s.sampleRate) + " Hz, " +
                      std::to_string(s.channels) + " channels";
        return true;
    }
    return false;
}
