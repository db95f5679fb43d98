// A media type carrying a plain WAVEFORMATEX block, as a source or splitter
// offers one to the filter.
#pragma once

#include "platform/windows_api.h"

inline CMediaType waveFormatType(const GUID* major, const GUID* subtype, const WAVEFORMATEX& wave)
{
    CMediaType type(major);
    type.SetSubtype(subtype);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    return type;
}
