// How many samples each Vorbis audio packet adds to the decoded stream, from
// its first byte and the stream's headers (Vorbis I, sections 4.3.1 and 4.3.8).
// A container reader times packets and finds the end trim with it, without
// decoding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

// The fields of an identification header a reader needs.
struct VorbisIdentification {
    int channels = 0;
    uint32_t sampleRate = 0;
    uint32_t nominalBitRate = 0;  // as stored; 0 or 0xFFFFFFFF when the encoder gave none
    uint32_t blockSizes[2] = {};  // short and long window, in samples
};

std::optional<VorbisIdentification> parseVorbisIdentification(const uint8_t* data, size_t size);

class VorbisPacketDurations {
public:
    // Null when the setup header's modes cannot be found.
    static std::optional<VorbisPacketDurations> create(const VorbisIdentification& identification,
                                                       const uint8_t* setup,
                                                       size_t setupSize);

    // As at the stream's start or after a seek: the window before the next
    // packet counts as a short one.
    void restart() { previous_ = blockSizes_[0]; }

    // Samples the packet completes: a quarter of the previous window plus a
    // quarter of its own. 0 for an empty packet, which changes nothing;
    // nullopt for a header packet or one whose mode does not exist.
    std::optional<uint32_t> next(const uint8_t* packet, size_t size);

private:
    uint32_t blockSizes_[2] = {};
    std::vector<bool> longWindow_;  // per mode
    int modeBits_ = 0;
    uint32_t previous_ = 0;
};
