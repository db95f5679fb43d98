// DTS core streams in the word forms CD rips and little-endian files carry
// them: 14-bit words in 16-bit carriers, either byte order.
#pragma once

#include <cstdint>
#include <vector>

// One core frame (16-bit big-endian form) in a carrier's words: 14-bit words
// take the stream 14 bits at a time, sign-extended as CD rips store them;
// little-endian words swap each pair of bytes.
inline std::vector<uint8_t> inCarrierWords(const std::vector<uint8_t>& f,
                                           bool fourteenBit,
                                           bool little)
{
    std::vector<uint16_t> words;
    if (fourteenBit) {
        size_t bits = f.size() * 8;
        for (size_t at = 0; at < bits; at += 14) {
            uint16_t w = 0;
            for (size_t b = at; b < at + 14; ++b)
                w = uint16_t((w << 1) | (b < bits ? (f[b / 8] >> (7 - b % 8)) & 1 : 0));
            words.push_back((w & 0x2000) ? uint16_t(w | 0xC000) : w);
        }
    } else {
        for (size_t i = 0; i < f.size(); i += 2)
            words.push_back(uint16_t((f[i] << 8) | (i + 1 < f.size() ? f[i + 1] : 0)));
    }
    std::vector<uint8_t> out;
    for (uint16_t w : words) {
        out.push_back(uint8_t(little ? w : w >> 8));
        out.push_back(uint8_t(little ? w >> 8 : w));
    }
    return out;
}

// A whole core stream in a carrier's words, frame by frame.
inline std::vector<uint8_t> streamInCarrierWords(const std::vector<uint8_t>& stream,
                                                 bool fourteenBit,
                                                 bool little)
{
    std::vector<uint8_t> out;
    size_t at = 0;
    while (at + 8 <= stream.size()) {
        size_t bytes =
            size_t(((stream[at + 5] & 3) << 12) | (stream[at + 6] << 4) | (stream[at + 7] >> 4)) +
            1;
        if (at + bytes > stream.size())
            break;
        auto carried = inCarrierWords(
            {stream.begin() + long(at), stream.begin() + long(at + bytes)}, fourteenBit, little);
        out.insert(out.end(), carried.begin(), carried.end());
        at += bytes;
    }
    return out;
}
