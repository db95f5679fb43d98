// ADTS frame headers (ISO/IEC 13818-7 6.2, ISO/IEC 14496-3 1.A.2): the
// fields a host needs to cut AAC frames out of the stream and to describe the
// stream by the AudioSpecificConfig its headers stand for. Pure: bytes in, a
// header record or "no frame here" out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct AdtsHeader {
    int mpegVersion = 0;      // 4 or 2, from the ID bit
    int profile = 0;          // 0..3: the audio object type less one
    int rateIndex = 0;        // sampling_frequency_index
    int channelConfig = 0;    // channel_configuration
    size_t frameLength = 0;   // bytes, header included, as coded
    size_t headerLength = 0;  // 7, or 9 with the CRC that follows the fields
    int rawBlocks = 0;        // raw data blocks in the frame (1..4)
};

// Parses the header at `p` (`available` bytes readable). False when no frame
// starts here: no sync word, a layer other than 0, or fewer bytes than the
// header takes. The frame length is as coded: callers check it against the
// header's length and the bytes they hold.
bool parseAdtsHeader(const uint8_t* p, size_t available, AdtsHeader& header);

// The two-byte AudioSpecificConfig the header stands for: object type, rate
// index and channel configuration.
std::vector<uint8_t> adtsAudioSpecificConfig(const AdtsHeader& header);
