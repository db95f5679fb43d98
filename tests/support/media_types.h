// The media types a source or splitter offers the filter: a plain
// WAVEFORMATEX block, optionally followed by the codec's set-up bytes. Shared
// by tests and fuzz targets.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/dshow/streams.h"

inline CMediaType waveType(const GUID& major,
                           const GUID& subtype,
                           WORD formatTag,
                           DWORD rate,
                           WORD channels,
                           WORD bits,
                           const std::vector<uint8_t>& extra = {})
{
    std::vector<uint8_t> block(sizeof(WAVEFORMATEX) + extra.size());
    WAVEFORMATEX wave{formatTag, channels, rate, 0, 0, bits, WORD(extra.size())};
    wave.nBlockAlign = WORD(channels * bits / 8);
    wave.nAvgBytesPerSec = rate * wave.nBlockAlign;
    std::memcpy(block.data(), &wave, sizeof wave);
    if (!extra.empty())
        std::memcpy(block.data() + sizeof wave, extra.data(), extra.size());
    CMediaType type(&major);
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    type.SetFormat(block.data(), ULONG(block.size()));
    return type;
}

// An audio type (MEDIATYPE_Audio) with only the subtype and a format tag.
inline CMediaType audioType(const GUID& subtype,
                            WORD formatTag = 0,
                            DWORD rate = 48000,
                            WORD channels = 2,
                            WORD bits = 16)
{
    return waveType(MEDIATYPE_Audio, subtype, formatTag, rate, channels, bits);
}
