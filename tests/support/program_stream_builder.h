// Hand-built MPEG program streams: packs, PES packets and their headers, and
// the disc private-stream packings of LPCM and MLP.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace psbuild {

using Bytes = std::vector<uint8_t>;

inline Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// A 33-bit time stamp between marker bits, after a 4-bit prefix.
inline Bytes timeStamp(int prefix, int64_t value)
{
    return {uint8_t((prefix << 4) | ((value >> 29) & 0x0E) | 1), uint8_t(value >> 22),
            uint8_t(((value >> 14) & 0xFE) | 1), uint8_t(value >> 7), uint8_t((value << 1) | 1)};
}

// Start code, length and header, then the payload.
inline Bytes pes(uint8_t id, const Bytes& header, const Bytes& payload)
{
    size_t length = header.size() + payload.size();
    return concat({{0, 0, 1, id, uint8_t(length >> 8), uint8_t(length)}, header, payload});
}

// An MPEG-2 PES header. `moreFlags` (ESCR ... extension) announce
// `moreFields`, which follow the time stamps; `stuffing` 0xFF bytes end it.
inline Bytes mpeg2Header(const int64_t* pts,
                         const int64_t* dts = nullptr,
                         uint8_t moreFlags = 0,
                         const Bytes& moreFields = {},
                         size_t stuffing = 0)
{
    uint8_t timeFlags = pts ? (dts ? 0xC0 : 0x80) : 0x00;
    Bytes header = {0x81, uint8_t(timeFlags | moreFlags), 0};
    if (pts)
        header = concat({header, timeStamp(dts ? 3 : 2, *pts)});
    if (dts)
        header = concat({header, timeStamp(1, *dts)});
    header = concat({header, moreFields, Bytes(stuffing, 0xFF)});
    header[2] = uint8_t(header.size() - 3);
    return header;
}

// An MPEG-1 packet header with stuffing and the STD buffer fields.
inline Bytes mpeg1Header(const int64_t* pts, const int64_t* dts = nullptr, size_t stuffing = 0)
{
    Bytes header = concat({Bytes(stuffing, 0xFF), {0x40 | 0x20, 0x00}});
    if (pts && dts)
        return concat({header, timeStamp(3, *pts), timeStamp(1, *dts)});
    if (pts)
        return concat({header, timeStamp(2, *pts)});
    return concat({header, {0x0F}});
}

inline Bytes mpeg2Pack(uint8_t stuffing = 0)
{
    Bytes pack = {0, 0, 1, 0xBA, 0x44, 0, 4, 0, 4, 1, 0x01, 0x89, 0xC3, uint8_t(0xF8 | stuffing)};
    return concat({pack, Bytes(stuffing, 0xFF)});
}

inline Bytes mpeg1Pack()
{
    return {0, 0, 1, 0xBA, 0x21, 0, 1, 0, 1, 0x80, 0x04, 0x23};
}

inline Bytes systemHeader()
{
    return pes(0xBB, {}, {0x80, 0x1F, 0xB3, 0x04, 0x20, 0xFF, 0xBD, 0xC0, 0x20});
}

inline Bytes programEnd()
{
    return {0, 0, 1, 0xB9};
}

// MLP as discs carry it, one private stream 1 packet per pack: DVD-Audio
// (substream 0xA1 behind a header of 4 + 3 bytes) or HD-DVD (substream 0xB0
// behind 5 bytes), the payload cut wherever the pack ends.
template <bool hdDvd>
Bytes discMlpProgramStream(const Bytes& mlp)
{
    Bytes stream;
    constexpr size_t kPayload = 2000;
    for (size_t offset = 0, n = 0; offset < mlp.size(); offset += kPayload, ++n) {
        Bytes payload =
            hdDvd ? Bytes{0xB0, uint8_t(n), 0, 0, 0} : Bytes{0xA1, uint8_t(n), 0, 3, 0, 0, 0};
        payload.insert(payload.end(), mlp.begin() + long(offset),
                       mlp.begin() + long(std::min(mlp.size(), offset + kPayload)));
        int64_t pts = 90000;
        stream =
            concat({stream, mpeg2Pack(), pes(0xBD, mpeg2Header(n == 0 ? &pts : nullptr), payload)});
    }
    return stream;
}

// DVD-Audio LPCM (substream 0xA0, header length 8) of `samples` in their
// coded order, `payloadBytes` per packet. `quantisation` is the header's byte
// of the two groups' word sizes (0x00: 16-bit, 0x22: 24-bit), `assignment`
// its channel assignment; 48 kHz, `frameBytes` to a sample frame. A packet's
// first access unit is the first pair of frames that starts in it, and its
// stamp, on every `stampEvery`th packet, is that pair's.
inline Bytes dvdAudioLpcmProgramStream(const Bytes& samples,
                                       size_t payloadBytes,
                                       uint8_t quantisation,
                                       uint8_t assignment,
                                       size_t frameBytes,
                                       size_t stampEvery = 1)
{
    Bytes stream;
    const size_t pairBytes = 2 * frameBytes;
    for (size_t at = 0; at < samples.size(); at += payloadBytes) {
        size_t leadIn = (pairBytes - at % pairBytes) % pairBytes;
        int64_t pts = 90000 + int64_t((at + leadIn) / frameBytes) * 90000 / 48000;
        uint8_t pointer = uint8_t(7 + leadIn);  // the lead-in is pointer - header length + 1
        Bytes payload = {0xA0, 0, 0, 8, 0, pointer, 0, quantisation, 0x00, 0, assignment, 0};
        payload.insert(payload.end(), samples.begin() + long(at),
                       samples.begin() + long(std::min(samples.size(), at + payloadBytes)));
        bool stamped = at / payloadBytes % stampEvery == 0;
        stream = concat(
            {stream, mpeg2Pack(), pes(0xBD, mpeg2Header(stamped ? &pts : nullptr), payload)});
    }
    return stream;
}

// DVD-Video 20-bit LPCM at 48 kHz from 32-bit little-endian `samples` of
// `channels` (1, or an even count): each pair of frames as the upper 16 bits
// of its samples in fours (twos for one channel), big-endian, each four
// followed by their next 4 bits two to a byte; `payloadBytes` of that per
// packet, cut wherever the packet ends.
inline Bytes dvdVideoLpcm20ProgramStream(const Bytes& samples, int channels, size_t payloadBytes)
{
    auto sample = [&](size_t i) {
        return uint32_t(samples[4 * i] | samples[4 * i + 1] << 8 | samples[4 * i + 2] << 16 |
                        samples[4 * i + 3] << 24);
    };
    size_t perGroup = channels == 1 ? 2 : 4;
    Bytes coded;
    for (size_t first = 0; first + 2 * size_t(channels) <= samples.size() / 4;
         first += 2 * size_t(channels))
        for (size_t group = first; group < first + 2 * size_t(channels); group += perGroup) {
            for (size_t i = group; i < group + perGroup; ++i)
                coded.insert(coded.end(), {uint8_t(sample(i) >> 24), uint8_t(sample(i) >> 16)});
            for (size_t i = group; i < group + perGroup; i += 2)
                coded.push_back(uint8_t((sample(i) >> 8 & 0xF0) | (sample(i + 1) >> 12 & 0x0F)));
        }
    Bytes stream;
    size_t frameBytes = 5 * size_t(channels) / 2;  // 2.5 bytes a sample
    for (size_t at = 0; at < coded.size(); at += payloadBytes) {
        int64_t pts = 90000 + int64_t(at / frameBytes) * 90000 / 48000;
        // Substream 0xA0, one frame header, first access unit at the start,
        // then 20-bit (quantisation 1), 48 kHz, channels - 1; dynamic range.
        Bytes payload = {0xA0, 1, 0, 1, 0, uint8_t(0x40 | (channels - 1)), 0x80};
        payload.insert(payload.end(), coded.begin() + long(at),
                       coded.begin() + long(std::min(coded.size(), at + payloadBytes)));
        stream = concat({stream, mpeg2Pack(), pes(0xBD, mpeg2Header(&pts), payload)});
    }
    return stream;
}

}  // namespace psbuild
