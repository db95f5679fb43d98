#include "host/pcm_format.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

bool PcmFormat::isConvertible() const
{
    bool integer = kind == Kind::Integer && (bits == 8 || bits == 16 || bits == 24 || bits == 32);
    bool floating = kind == Kind::Float && bits == 32;
    return (integer || floating) && rate > 0 && channels > 0 && blockAlign == channels * (bits / 8);
}

PcmFormat pcmFormatOf(const CMediaType& type)
{
    PcmFormat format;
    WAVEFORMATEX wave{};
    if (!type.pbFormat || type.cbFormat < sizeof(WAVEFORMATEX) - 2)
        return format;
    std::memcpy(&wave, type.pbFormat, std::min<size_t>(sizeof wave, type.cbFormat));
    format.rate = wave.nSamplesPerSec;
    format.channels = wave.nChannels;
    format.bits = wave.wBitsPerSample;
    format.blockAlign = wave.nBlockAlign;
    GUID sub = type.subtype;
    if (wave.wFormatTag == WAVE_FORMAT_EXTENSIBLE &&
        type.cbFormat >= sizeof(WAVEFORMATEXTENSIBLE)) {
        WAVEFORMATEXTENSIBLE extensible;
        std::memcpy(&extensible, type.pbFormat, sizeof extensible);
        format.mask = extensible.dwChannelMask;
        sub = IsEqualGUID(extensible.SubFormat, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT)
                  ? MEDIASUBTYPE_IEEE_FLOAT
                  : MEDIASUBTYPE_PCM;
    }
    if (wave.wFormatTag == WAVE_FORMAT_DOLBY_AC3_SPDIF)
        format.kind = PcmFormat::Kind::Spdif;
    else if (IsEqualGUID(sub, MEDIASUBTYPE_IEEE_FLOAT) || wave.wFormatTag == WAVE_FORMAT_IEEE_FLOAT)
        format.kind = PcmFormat::Kind::Float;
    else if (IsEqualGUID(sub, MEDIASUBTYPE_PCM))
        format.kind = PcmFormat::Kind::Integer;
    return format;
}

std::string describe(const PcmFormat& format)
{
    if (format.kind == PcmFormat::Kind::Spdif)
        return "S/PDIF bursts, " + std::to_string(format.rate) + " Hz";
    std::string text = format.kind == PcmFormat::Kind::Float
                           ? std::string("32-bit float")
                           : std::to_string(format.bits) + "-bit PCM";
    text += ", " + std::to_string(format.rate) + " Hz, " + std::to_string(format.channels) +
            (format.channels == 1 ? " channel" : " channels");
    if (format.mask) {
        char hex[32];
        std::snprintf(hex, sizeof hex, " (mask 0x%x)", unsigned(format.mask));
        text += hex;
    }
    return text;
}
