// The packets of a media file's first audio stream, demuxed as the tavio host does,
// for tests that feed a decoder what a demuxer hands it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct DemuxedPacket {
    std::vector<uint8_t> data;
    bool hasTime = false;
    int64_t time = 0;  // presentation time in 100 ns units
};

// False, with `error` set, when the file cannot be opened or has no audio.
bool readAudioPackets(const std::string& path,
                      std::vector<DemuxedPacket>& packets,
                      std::string& error);
