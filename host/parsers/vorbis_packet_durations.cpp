#include "host/parsers/vorbis_packet_durations.h"

#include <cstring>

namespace {

uint32_t le32(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

bool isHeader(const uint8_t* data, size_t size, uint8_t type)
{
    return size >= 7 && data[0] == type && std::memcmp(data + 1, "vorbis", 6) == 0;
}

// Bits of a Vorbis packet, numbered from the first byte's least significant
// bit, as its fields are packed.
class PackedBits {
public:
    PackedBits(const uint8_t* data, size_t size) : data_(data), bits_(size * 8) {}
    size_t size() const { return bits_; }
    bool bit(size_t at) const { return data_[at >> 3] >> (at & 7) & 1; }
    // The field of `width` bits that starts at bit `at`.
    uint32_t field(size_t at, int width) const
    {
        uint32_t value = 0;
        for (int i = width - 1; i >= 0; --i)
            value = value << 1 | uint32_t(bit(at + size_t(i)));
        return value;
    }

private:
    const uint8_t* data_;
    size_t bits_;
};

int bitsFor(uint32_t value)  // Vorbis I's ilog()
{
    int bits = 0;
    for (; value; value >>= 1)
        ++bits;
    return bits;
}

}  // namespace

std::optional<VorbisIdentification> parseVorbisIdentification(const uint8_t* data, size_t size)
{
    if (size < 30 || !isHeader(data, size, 1) || le32(data + 7) != 0)
        return std::nullopt;
    VorbisIdentification id;
    id.channels = data[11];
    id.sampleRate = le32(data + 12);
    id.nominalBitRate = le32(data + 20);
    id.blockSizes[0] = 1u << (data[28] & 0x0F);
    id.blockSizes[1] = 1u << (data[28] >> 4);
    bool valid = id.channels > 0 && id.sampleRate > 0 && id.blockSizes[0] >= 64 &&
                 id.blockSizes[1] <= 8192 && id.blockSizes[0] <= id.blockSizes[1] && (data[29] & 1);
    if (!valid)
        return std::nullopt;
    return id;
}

// The modes close the setup header, just before its framing bit: a count
// (6 bits, less one), then per mode a block flag (1 bit), window and
// transform types (16 bits each, always 0) and a mapping number (8 bits,
// below 64). What comes before them cannot be skipped without decoding every
// codebook, so the modes are read backwards from the framing bit: as many
// entries as look like modes, and of those counts the largest that the
// 6 bits before them confirm.
std::optional<VorbisPacketDurations> VorbisPacketDurations::create(
    const VorbisIdentification& identification,
    const uint8_t* setup,
    size_t setupSize)
{
    if (!isHeader(setup, setupSize, 5))
        return std::nullopt;
    PackedBits bits(setup, setupSize);
    // The packet header (7 bytes) and at least one mode and its count lie
    // before the framing bit.
    constexpr size_t kModeBits = 41, kCountBits = 6, kLeast = 56 + kModeBits;
    size_t framing = bits.size();
    while (framing > kLeast && !bits.bit(framing - 1))
        --framing;
    if (framing <= kLeast)
        return std::nullopt;
    size_t end = framing - 1;  // where the last mode ends
    size_t found = 0, count = 0;
    while (end >= kLeast && count < 64) {
        size_t start = end - kModeBits;
        if (bits.field(start + 33, 8) > 63 || bits.field(start + 17, 16) != 0 ||
            bits.field(start + 1, 16) != 0)
            break;
        ++count;
        end = start;
        if (bits.field(end - kCountBits, int(kCountBits)) + 1 == count)
            found = count;
    }
    if (!found)
        return std::nullopt;
    VorbisPacketDurations durations;
    durations.blockSizes_[0] = identification.blockSizes[0];
    durations.blockSizes_[1] = identification.blockSizes[1];
    size_t first = framing - 1 - found * kModeBits;
    for (size_t mode = 0; mode < found; ++mode)
        durations.longWindow_.push_back(bits.bit(first + mode * kModeBits));
    durations.modeBits_ = bitsFor(uint32_t(found - 1));
    durations.restart();
    return durations;
}

std::optional<uint32_t> VorbisPacketDurations::next(const uint8_t* packet, size_t size)
{
    if (size == 0)
        return 0u;
    if (packet[0] & 1)
        return std::nullopt;  // a header packet
    // Type bit, mode number, then for a long window the previous window's
    // flag: all within the first byte, since there are at most 64 modes.
    uint32_t mode = (packet[0] >> 1) & ((1u << modeBits_) - 1);
    if (mode >= longWindow_.size())
        return std::nullopt;
    uint32_t previous = previous_;
    uint32_t current = blockSizes_[0];
    if (longWindow_[mode]) {
        current = blockSizes_[1];
        previous = blockSizes_[packet[0] >> (1 + modeBits_) & 1];
    }
    previous_ = current;
    return (previous + current) / 4;
}
