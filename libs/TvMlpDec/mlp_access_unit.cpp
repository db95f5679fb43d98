#include "libs/TvMlpDec/mlp_access_unit.h"

#include <algorithm>

namespace {

constexpr size_t kUnitHeaderBytes = 4;
constexpr size_t kMajorSyncBaseBytes = 28;
// libavcodec decodes at most three substreams and knows of four.
constexpr int kMaxSubstreams = 4;

uint32_t big32(const uint8_t* p)
{
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

uint16_t big16(const uint8_t* p)
{
    return uint16_t(p[0] << 8 | p[1]);
}

// CRC-16 of the major sync: polynomial 0x2D, most significant bit first,
// starting from 0.
uint16_t majorSyncCrc(const uint8_t* data, size_t size)
{
    uint16_t crc = 0;
    for (size_t i = 0; i < size; ++i) {
        crc ^= uint16_t(data[i] << 8);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000) ? uint16_t((crc << 1) ^ 0x2D) : uint16_t(crc << 1);
    }
    return crc;
}

int sampleRateOf(int code)
{
    if (code == 0xF || (code & 7) > 2)  // above 192 kHz: beyond the decoder
        return 0;
    return (code & 8 ? 44100 : 48000) << (code & 7);
}

// Channels of each DVD-Audio channel assignment 0..20.
constexpr int kAssignmentChannels[21] = {1, 2, 3, 4, 3, 4, 5, 3, 4, 5, 4,
                                         5, 6, 4, 5, 4, 5, 6, 5, 5, 6};
// Channels each bit of a TrueHD channel arrangement adds, from bit 0: L/R, C,
// LFE, Ls/Rs, Lvh/Rvh, Lc/Rc, Lrs/Rrs, Cs, Ts, Lsd/Rsd, Lw/Rw, Cvh, LFE2.
constexpr int kArrangementChannels[13] = {2, 1, 1, 2, 2, 2, 2, 1, 1, 2, 2, 1, 1};

int arrangementChannels(uint32_t arrangement)
{
    int channels = 0;
    for (int bit = 0; bit < 13; ++bit)
        if (arrangement >> bit & 1)
            channels += kArrangementChannels[bit];
    return channels;
}

int channelsOf(uint32_t sync, uint32_t format)
{
    if (sync == kMlpFormatSyncFbb) {
        uint32_t assignment = format & 0x1F;
        return assignment < 21 ? kAssignmentChannels[assignment] : 0;
    }
    // The first arrangement (5 bits) sits at bits 19..15, the second (13
    // bits) at 12..0.
    int second = arrangementChannels(format & 0x1FFF);
    return second ? second : arrangementChannels(format >> 15 & 0x1F);
}

uint8_t xorOfBytes(const uint8_t* data, size_t size)
{
    uint8_t x = 0;
    for (size_t i = 0; i < size; ++i)
        x ^= data[i];
    return x;
}

}  // namespace

bool startsWithMajorSync(const uint8_t* data, size_t size)
{
    if (size < kUnitHeaderBytes + 4)
        return false;
    uint32_t word = big32(data + kUnitHeaderBytes);
    return word == kMlpFormatSyncFbb || word == kMlpFormatSyncFba;
}

size_t majorSyncSize(const uint8_t* sync, size_t size)
{
    if (size < kMajorSyncBaseBytes)
        return 0;
    // TrueHD may extend its major sync by 2 + 2n bytes.
    if (big32(sync) == kMlpFormatSyncFba && (sync[25] & 1))
        return kMajorSyncBaseBytes + 2 + 2 * size_t(sync[26] >> 4);
    return kMajorSyncBaseBytes;
}

bool readMajorSync(const uint8_t* sync, size_t size, MlpMajorSyncInfo& info)
{
    size_t length = majorSyncSize(sync, size);
    if (length == 0 || size < length)
        return false;
    uint32_t word = big32(sync);
    if (word != kMlpFormatSyncFbb && word != kMlpFormatSyncFba)
        return false;
    // The checksum word is the CRC of all bytes before the last four, XORed
    // with the two bytes before it.
    uint16_t crc = majorSyncCrc(sync, length - 4) ^ big16(sync + length - 4);
    uint16_t stored = uint16_t(sync[length - 1] << 8 | sync[length - 2]);
    if (uint16_t(crc << 8 | crc >> 8) != stored)
        return false;
    uint32_t format = big32(sync + 4);
    int rateCode = word == kMlpFormatSyncFbb ? (format >> 20) & 0xF : format >> 28;
    int substreams = sync[16] >> 4;
    int rate = sampleRateOf(rateCode);
    if (rate == 0 || substreams == 0 || substreams > kMaxSubstreams ||
        (word == kMlpFormatSyncFbb && substreams > 2))
        return false;
    info.format_sync = word;
    info.format_info = format;
    info.substreams = substreams;
    info.channels = channelsOf(word, format);
    info.sampleRate = rate;
    info.accessUnitSamples = 40 << (rateCode & 7);
    return true;
}

AccessUnitCheck checkAccessUnit(const uint8_t* data,
                                size_t size,
                                const MlpMajorSyncInfo* current,
                                AccessUnit& unit)
{
    if (size < kUnitHeaderBytes)
        return AccessUnitCheck::kIncomplete;
    unit = AccessUnit();
    unit.length = size_t(big16(data) & 0xFFF) * 2;
    size_t header = kUnitHeaderBytes;
    if (unit.length < header + 2)
        return AccessUnitCheck::kInvalid;
    int substreams = current ? current->substreams : 0;
    // Whether a major sync follows shows in the four bytes after the header.
    if (size < std::min(unit.length, header + 4))
        return AccessUnitCheck::kIncomplete;
    if (unit.length >= header + 4 && startsWithMajorSync(data, size)) {
        size_t syncSize = majorSyncSize(data + header, size - header);
        if (syncSize == 0 || size < header + syncSize)
            return AccessUnitCheck::kIncomplete;
        if (header + syncSize > unit.length ||
            !readMajorSync(data + header, syncSize, unit.majorSync))
            return AccessUnitCheck::kInvalid;
        unit.hasMajorSync = true;
        substreams = unit.majorSync.substreams;
        header += syncSize;
    }
    if (substreams == 0)
        return AccessUnitCheck::kInvalid;
    // The substream directory: two bytes per substream, two more when its
    // first bit says an extra word follows.
    size_t directory = 0;
    for (int s = 0; s < substreams; ++s) {
        if (size < header + directory + 2)
            return AccessUnitCheck::kIncomplete;
        bool extraWord = data[header + directory] & 0x80;
        directory += extraWord ? 4 : 2;
    }
    if (header + directory > unit.length)
        return AccessUnitCheck::kInvalid;
    if (size < header + directory)
        return AccessUnitCheck::kIncomplete;
    // The check nibble makes the XOR of all nibbles of the unit header and
    // the directory 0xF.
    uint8_t parity = xorOfBytes(data, kUnitHeaderBytes) ^ xorOfBytes(data + header, directory);
    if ((((parity >> 4) ^ parity) & 0xF) != 0xF)
        return AccessUnitCheck::kInvalid;
    if (size < unit.length)
        return AccessUnitCheck::kIncomplete;
    return AccessUnitCheck::kValid;
}
