#include "decoders/mpeg_header.h"

#include <algorithm>

namespace {

// Bit rates in kbit/s by row and index 1..14 (ISO/IEC 11172-3 2.4.2.3,
// ISO/IEC 13818-3 2.4.2.3). MPEG-2 and 2.5 share one row for layers I and II
// on purpose: the decoder has always measured both with it.
constexpr uint16_t kBitrates[5][15] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // MPEG-1 layer I
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // MPEG-1 layer II
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},      // MPEG-1 layer III
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},  // MPEG-2/2.5 layers I, II
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},       // MPEG-2/2.5 layer III
};

constexpr uint32_t kSampleRates[3] = {44100, 48000, 32000};

// Header and CRC, and for layer III its side information: no free-format
// frame is shorter, so no header is looked for inside them.
size_t freeFormatHeadBytes(const uint8_t* p)
{
    const bool layer3 = ((p[1] >> 1) & 3) == 1;
    const bool mpeg1 = ((p[1] >> 3) & 3) == 3;
    const bool mono = (p[3] & 0xC0) == 0xC0;
    const bool crc = (p[1] & 1) == 0;
    const size_t sideInfo = !layer3 ? 0 : mpeg1 ? (mono ? 17 : 32) : (mono ? 9 : 17);
    return 4 + sideInfo + (crc ? 2 : 0);
}

// Bytes per frame before padding: K x bit rate / sample rate, with K the
// frame's samples / 8. Layer I counts in 4-byte slots (ISO/IEC 11172-3
// 2.4.3.1): 12 x bit rate / sample rate slots, unless `legacyLayer1`.
uint32_t unpaddedFrameSize(int version,
                           int layer,
                           int bitrateIndex,
                           uint32_t bitrate,
                           uint32_t rate,
                           bool legacyLayer1)
{
    uint32_t k = 0;
    if (layer == 1 && !legacyLayer1)
        return 12 * bitrate * 1000 / rate * 4;
    if (layer == 1)
        k = 48;
    else if (layer == 2 || version == 3)
        k = 144;
    else
        k = 72;
    // The MPEG-2.5 layer III size table ends at index 8 (64 kbit/s).
    if (version == 0 && layer == 3 && bitrateIndex > 8)
        return 0;
    return k * bitrate * 1000 / rate;
}

}  // namespace

bool sameFreeFormatStream(const uint8_t* p, const uint8_t* q)
{
    return q[0] == 0xFF && (q[1] & 0xFE) == (p[1] & 0xFE) && (q[2] & 0xFC) == (p[2] & 0xFC) &&
           ((q[3] & 0xC0) == 0xC0) == ((p[3] & 0xC0) == 0xC0);
}

bool isFreeFormatHeader(const uint8_t* p, size_t available)
{
    MpegHeader header;
    // Layers II and III; layer I, whose padding is a 4-byte slot, is left out.
    const int layerBits = available >= 4 ? (p[1] >> 1) & 3 : 0;
    return available >= 4 && (p[2] >> 4) == 0 && (layerBits == 1 || layerBits == 2) &&
           parseMpegHeader(p, available, header, false, kMaxFreeFormatBytes);
}

uint32_t measureFreeFormatFrame(const uint8_t* p, size_t available)
{
    if (!isFreeFormatHeader(p, available))
        return 0;
    const size_t padding = (p[2] >> 1) & 1;
    const size_t last = std::min<size_t>(available, kMaxFreeFormatBytes + padding + 4) - 4;
    for (size_t next = freeFormatHeadBytes(p); next <= last; ++next) {
        if (!sameFreeFormatStream(p, p + next))
            continue;
        // The header after it, where the buffer holds it, confirms the length.
        const size_t bytes = next - padding;
        const size_t after = next + bytes + ((p[next + 2] >> 1) & 1);
        if (after + 4 <= available && !sameFreeFormatStream(p, p + after))
            continue;
        return uint32_t(bytes);
    }
    return 0;
}

bool parseMpegHeader(const uint8_t* p,
                     size_t available,
                     MpegHeader& header,
                     bool legacyLayer1,
                     uint32_t freeFormatBytes)
{
    if (available < 4 || p[0] != 0xFF || (p[1] & 0xE0) != 0xE0)
        return false;
    int version = (p[1] >> 3) & 3;
    if (version == 1)
        return false;
    int layer = 4 - ((p[1] >> 1) & 3);
    if (layer > 3)
        return false;
    int rateIndex = (p[2] >> 2) & 3;
    if (rateIndex == 3)
        return false;
    uint32_t rate = kSampleRates[rateIndex];
    if (version == 2)
        rate /= 2;
    else if (version == 0)
        rate /= 4;
    int padding = (p[2] >> 1) & 1;
    int bitrateIndex = p[2] >> 4;
    int row = version == 3 ? layer - 1 : (layer == 3 ? 4 : 3);
    uint32_t bitrate = bitrateIndex >= 1 && bitrateIndex <= 14 ? kBitrates[row][bitrateIndex] : 0;
    uint32_t size = unpaddedFrameSize(version, layer, bitrateIndex, bitrate, rate, legacyLayer1);
    uint32_t samplesPerChannel = layer == 1 ? 384 : layer == 2 || version == 3 ? 1152 : 576;
    if (bitrateIndex == 0 && layer >= 2 && freeFormatBytes > 0 &&
        freeFormatBytes <= kMaxFreeFormatBytes) {
        size = freeFormatBytes;
        bitrate = uint32_t(uint64_t(size) * 8 * rate / samplesPerChannel / 1000);
    }
    if (size == 0)
        return false;  // free format not measured, or no table entry
    size += layer == 1 && !legacyLayer1 ? 4 * padding : padding;

    header.version = uint8_t(version);
    header.layer = uint8_t(layer);
    header.channels = (p[3] & 0xC0) == 0xC0 ? 1 : 2;
    header.sampleRate = rate;
    header.bitrate = uint16_t(bitrate);
    header.frameSize = uint16_t(size);
    header.freeFormat = bitrateIndex == 0;
    header.samples = samplesPerChannel * (layer == 3 ? header.channels : 1);
    return true;
}
