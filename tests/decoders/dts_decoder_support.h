// Driving AdecDTS as the filter's receive loop does: bytes appended to a
// buffer in pieces, frames taken until the decoder wants more.
#pragma once

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "decoders/AdecDTS.h"
#include "support/decoder_run.h"
#include "support/wave_type.h"

inline CMediaType dtsType()
{
    return waveFormatType(&MEDIATYPE_Audio, &MEDIASUBTYPE_DTS,
                          WAVEFORMATEX{0x2001, 2, 48000, 0, 0, 0, 0});
}

using DtsRun = DecoderRun<TvStatusDts>;

// Feeds `stream` in pieces (`nextPiece` gives each size; null: whole) and
// decodes all it can.
inline DtsRun runDts(AdecDTS& decoder, const std::vector<uint8_t>& stream,
                     const std::function<size_t()>& nextPiece = nullptr, size_t sampleSize = 65536)
{
    return runDecoder<TvStatusDts>(
        decoder, stream, [&] { return nextPiece ? nextPiece() : stream.size(); }, sampleSize);
}
