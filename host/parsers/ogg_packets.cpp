#include "host/parsers/ogg_packets.h"

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

}  // namespace

std::vector<OggPacket> readOggPackets(const uint8_t* data, size_t size)
{
    std::vector<OggPacket> packets;
    OggPacket pending;
    size_t at = 0;
    bool haveSerial = false;
    uint32_t serial = 0;
    while (at + kPageHeader <= size && std::memcmp(data + at, "OggS", 4) == 0) {
        const uint8_t* page = data + at;
        size_t segments = page[26];
        if (at + kPageHeader + segments > size)
            break;
        const uint8_t* lacing = page + kPageHeader;
        const uint8_t* body = lacing + segments;
        size_t bodySize = 0;
        for (size_t s = 0; s < segments; ++s)
            bodySize += lacing[s];
        if (size_t(data + size - body) < bodySize)
            break;
        at = size_t(body - data) + bodySize;
        if (!haveSerial) {
            serial = read32(page + 14);
            haveSerial = true;
        } else if (read32(page + 14) != serial) {
            continue;  // another logical stream
        }
        size_t lastEnding = segments;
        for (size_t s = 0; s < segments; ++s)
            if (lacing[s] < 255)
                lastEnding = s;
        for (size_t s = 0; s < segments; ++s) {
            pending.data.insert(pending.data.end(), body, body + lacing[s]);
            body += lacing[s];
            if (lacing[s] < 255) {
                pending.granule = s == lastEnding ? read64(page + 6) : -1;
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
