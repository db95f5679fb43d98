#include "host/parsers/ogg_packets.h"

#include <array>
#include <cstring>

namespace {

constexpr size_t kPageHeader = 27;  // up to and including the segment count

int64_t read64(const uint8_t* p)
{
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i)
        v = v << 8 | p[i];
    return int64_t(v);
}

uint32_t read32(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// The page checksum: CRC-32 with polynomial 0x04C11DB7, most significant bit
// first, no inversion. Four tables so that four bytes go in one step.
struct ChecksumTables {
    std::array<std::array<uint32_t, 256>, 4> t;
    ChecksumTables()
    {
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t r = i << 24;
            for (int bit = 0; bit < 8; ++bit)
                r = r & 0x80000000u ? r << 1 ^ 0x04C11DB7u : r << 1;
            t[0][i] = r;
        }
        for (uint32_t i = 0; i < 256; ++i)
            for (size_t k = 1; k < 4; ++k)
                t[k][i] = t[k - 1][i] << 8 ^ t[0][t[k - 1][i] >> 24];
    }
};

uint32_t checksum(uint32_t crc, const uint8_t* p, size_t n)
{
    static const ChecksumTables tables;
    const auto& t = tables.t;
    for (; n >= 4; n -= 4, p += 4) {
        crc ^= uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
        crc = t[3][crc >> 24] ^ t[2][crc >> 16 & 0xFF] ^ t[1][crc >> 8 & 0xFF] ^ t[0][crc & 0xFF];
    }
    for (; n; --n, ++p)
        crc = crc << 8 ^ t[0][(crc >> 24) ^ *p];
    return crc;
}

}  // namespace

bool readOggPage(const uint8_t* data, size_t size, size_t at, OggPage& page)
{
    if (at > size || size - at < kPageHeader || std::memcmp(data + at, "OggS", 4) != 0 ||
        data[at + 4] != 0)
        return false;
    const uint8_t* p = data + at;
    size_t segments = p[26];
    if (size - at < kPageHeader + segments)
        return false;
    size_t bodySize = 0;
    for (size_t s = 0; s < segments; ++s)
        bodySize += p[kPageHeader + s];
    if (size - at - kPageHeader - segments < bodySize)
        return false;
    page.offset = at;
    page.size = kPageHeader + segments + bodySize;
    page.flags = p[5];
    page.granule = read64(p + 6);
    page.serial = read32(p + 14);
    page.lacing = p + kPageHeader;
    page.segments = segments;
    page.body = page.lacing + segments;
    return true;
}

uint32_t oggChecksum(const OggPage& page)
{
    const uint8_t* p = page.body - page.segments - kPageHeader;
    static const uint8_t kZero[4] = {};
    uint32_t crc = checksum(0, p, 22);
    crc = checksum(crc, kZero, 4);
    return checksum(crc, p + 26, page.size - 26);
}

bool oggChecksumMatches(const OggPage& page)
{
    return oggChecksum(page) == read32(page.body - page.segments - kPageHeader + 22);
}

std::vector<OggPacket> readOggPackets(const uint8_t* data, size_t size)
{
    std::vector<OggPacket> packets;
    OggPacket pending;
    bool haveSerial = false;
    uint32_t serial = 0;
    OggPage page;
    for (size_t at = 0; readOggPage(data, size, at, page); at += page.size) {
        if (!haveSerial) {
            serial = page.serial;
            haveSerial = true;
        } else if (page.serial != serial) {
            continue;  // another logical stream
        }
        size_t lastEnding = page.segments;
        for (size_t s = 0; s < page.segments; ++s)
            if (page.lacing[s] < 255)
                lastEnding = s;
        const uint8_t* body = page.body;
        for (size_t s = 0; s < page.segments; ++s) {
            pending.data.insert(pending.data.end(), body, body + page.lacing[s]);
            body += page.lacing[s];
            if (page.lacing[s] < 255) {
                pending.granule = s == lastEnding ? page.granule : -1;
                packets.push_back(std::move(pending));
                pending = OggPacket();
            }
        }
    }
    return packets;
}

std::vector<uint8_t> xiphLacedHeaders(const std::vector<OggPacket>& packets)
{
    if (packets.size() < 3)
        return {};
    std::vector<uint8_t> out{2};
    for (int i = 0; i < 2; ++i) {
        size_t size = packets[size_t(i)].data.size();
        for (; size >= 255; size -= 255)
            out.push_back(255);
        out.push_back(uint8_t(size));
    }
    for (int i = 0; i < 3; ++i)
        out.insert(out.end(), packets[size_t(i)].data.begin(), packets[size_t(i)].data.end());
    return out;
}
