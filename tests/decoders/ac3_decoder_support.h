// Driving AdecDolby or AdecDDPlus as the filter's receive loop does: bytes appended to a
// buffer in pieces, frames taken until the decoder wants more.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "decoders/AdecDolby.h"
#include "support/decoder_run.h"
#include "support/wave_type.h"

inline CMediaType ac3Type(const GUID& subtype = MEDIASUBTYPE_DOLBY_AC3)
{
    return waveFormatType(&MEDIATYPE_Audio, &subtype, WAVEFORMATEX{0x2000, 2, 48000, 0, 0, 0, 0});
}

using Ac3Run = DecoderRun<TvStatusAc3>;

// Feeds `stream` in pieces whose sizes come from `nextPiece` and decodes all
// it can.
template <class NextPiece>
Ac3Run runAc3Pieces(Adec& decoder, const std::vector<uint8_t>& stream, NextPiece nextPiece,
                    size_t sampleSize = 18432)
{
    return runDecoder<TvStatusAc3>(decoder, stream, nextPiece, sampleSize);
}

// Feeds `stream` in pieces of `piece` bytes (0: whole) and decodes all it can.
inline Ac3Run runAc3(Adec& decoder,
                     const std::vector<uint8_t>& stream,
                     size_t piece = 0,
                     size_t sampleSize = 18432)
{
    return runAc3Pieces(
        decoder, stream, [&] { return piece ? piece : stream.size(); }, sampleSize);
}

inline std::string moduleFolder()
{
    return TAVIO_MODULE_DIR "/";
}
