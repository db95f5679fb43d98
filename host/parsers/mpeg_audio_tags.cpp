#include "host/parsers/mpeg_audio_tags.h"

#include "engines/mpeg/layer12_frame.h"

#include <cstring>

namespace {

uint32_t be32(const uint8_t* p)
{
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

}  // namespace

size_t mpegFrameLength(const uint8_t* p,
                       size_t available,
                       MpegHeader& header,
                       uint32_t& freeFormatBytes)
{
    if (!freeFormatBytes && isFreeFormatHeader(p, available))
        freeFormatBytes = measureFreeFormatFrame(p, available);
    if (!parseMpegHeader(p, available, header, false, freeFormatBytes))
        return 0;
    return header.layer == 3 || header.freeFormat ? header.frameSize
                                                  : measureLayer12Frame(p, available).size;
}

size_t id3v2TagLength(const uint8_t* p, size_t available)
{
    // "ID3", version, revision, flags, then a 28-bit size in four 7-bit bytes.
    if (available < 10 || std::memcmp(p, "ID3", 3) != 0 || p[3] == 0xFF || p[4] == 0xFF)
        return 0;
    if ((p[6] | p[7] | p[8] | p[9]) & 0x80)
        return 0;
    size_t size = size_t(p[6]) << 21 | size_t(p[7]) << 14 | size_t(p[8]) << 7 | size_t(p[9]);
    bool footer = p[5] & 0x10;
    return 10 + size + (footer ? 10 : 0);
}

bool startsEndTag(const uint8_t* p, size_t available)
{
    return (available >= 128 && std::memcmp(p, "TAG", 3) == 0) ||
           (available >= 32 && std::memcmp(p, "APETAGEX", 8) == 0);
}

bool parseXingFrame(const uint8_t* p, size_t available, const MpegHeader& header, XingFrame& xing)
{
    xing = XingFrame();
    if (header.layer != 3)
        return false;
    // The tag follows the side information: 32 or 17 bytes in MPEG-1 (two
    // channels or one), 17 or 9 in MPEG-2 and 2.5.
    bool mono = header.channels == 1;
    size_t at = 4 + (header.version == 3 ? (mono ? 17 : 32) : (mono ? 9 : 17));
    auto has = [&](size_t bytes) { return at + bytes <= available; };
    if (!has(8))
        return false;
    uint32_t tag = be32(p + at);
    if (tag != be32(reinterpret_cast<const uint8_t*>("Xing")) &&
        tag != be32(reinterpret_cast<const uint8_t*>("Info")))
        return false;
    xing.constantBitRate = tag == be32(reinterpret_cast<const uint8_t*>("Info"));
    uint32_t flags = be32(p + at + 4);
    at += 8;
    if (flags & 1) {
        if (!has(4))
            return true;
        xing.frames = be32(p + at);
        at += 4;
    }
    if (flags & 2) {
        if (!has(4))
            return true;
        xing.bytes = be32(p + at);
        at += 4;
    }
    if (flags & 4)
        at += 100;  // the seek table
    if (flags & 8)
        at += 4;  // quality
    // LAME's extension: encoder string (9), revision and method, low-pass,
    // peak (4), two replay gains (2 + 2), flags, bit rate, then the delay and
    // the padding, 12 bits each.
    constexpr size_t kDelays = 9 + 1 + 1 + 4 + 2 + 2 + 1 + 1;
    if (!has(kDelays + 3))
        return true;
    const uint8_t* encoder = p + at;
    if (std::memcmp(encoder, "LAME", 4) == 0 || std::memcmp(encoder, "Lavf", 4) == 0 ||
        std::memcmp(encoder, "Lavc", 4) == 0) {
        const uint8_t* d = p + at + kDelays;
        xing.hasPadding = true;
        xing.startPadding = uint32_t(d[0]) << 4 | d[1] >> 4;
        xing.endPadding = uint32_t(d[1] & 0x0F) << 8 | d[2];
    }
    return true;
}

bool hasVbriTag(const uint8_t* p, size_t available)
{
    return available >= 4 + 32 + 4 && std::memcmp(p + 36, "VBRI", 4) == 0;
}
