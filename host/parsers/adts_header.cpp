#include "host/parsers/adts_header.h"

bool parseAdtsHeader(const uint8_t* p, size_t available, AdtsHeader& header)
{
    // Sync word 0xFFF and layer 0; the ID and protection_absent bits may be
    // either.
    if (available < 7 || p[0] != 0xFF || (p[1] & 0xF6) != 0xF0)
        return false;
    bool protectionAbsent = p[1] & 1;
    size_t headerLength = protectionAbsent ? 7 : 9;
    if (available < headerLength)
        return false;
    header.mpegVersion = (p[1] & 0x08) ? 2 : 4;
    header.profile = p[2] >> 6;
    header.rateIndex = (p[2] >> 2) & 0xF;
    header.channelConfig = ((p[2] & 1) << 2) | (p[3] >> 6);
    header.frameLength = (size_t(p[3] & 3) << 11) | (size_t(p[4]) << 3) | (p[5] >> 5);
    header.headerLength = headerLength;
    header.rawBlocks = (p[6] & 3) + 1;
    return true;
}

std::vector<uint8_t> adtsAudioSpecificConfig(const AdtsHeader& header)
{
    int objectType = header.profile + 1;
    return {uint8_t((objectType << 3) | (header.rateIndex >> 1)),
            uint8_t(((header.rateIndex & 1) << 7) | (header.channelConfig << 3))};
}
