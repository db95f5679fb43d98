#define TV_ASSERT_SOURCE "util"  // assertion lines name the helpers' common source
#include "conversion/output_types.h"

#include <cstring>

#include "core/status_helpers.h"
#include "diagnostics/assertions.h"
#include "platform/media_guids.h"
#include "platform/mmreg.h"

namespace {

template <class Field, class Value>
void assign(Field& field, Value value, bool& changed)
{
    if (field != static_cast<Field>(value)) {
        field = static_cast<Field>(value);
        changed = true;
    }
}

}  // namespace

CMediaType initialOutputType()
{
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&MEDIASUBTYPE_PCM);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEXTENSIBLE format{};
    format.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    format.Format.cbSize = 22;
    format.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
    type.SetFormat(reinterpret_cast<const BYTE*>(&format), sizeof format);
    return type;
}

bool updateTypeFromStatus(CMediaType& m, const TvStatus& status)
{
    if (!TvAssert(m.cbFormat == sizeof(WAVEFORMATEXTENSIBLE)) || !m.pbFormat)
        return false;
    WAVEFORMATEXTENSIBLE format;
    std::memcpy(&format, m.pbFormat, sizeof format);

    GUID subtype = MEDIASUBTYPE_PCM;
    GUID subFormat = KSDATAFORMAT_SUBTYPE_PCM;
    WORD tag = WAVE_FORMAT_EXTENSIBLE;
    int channels = status.chan;
    uint32_t mask = status.channelMask ? status.channelMask : defaultChannelMask(status.chan);
    int validBits = bitsPerSample(status.stype);
    if (status.spdif) {
        subtype = MEDIASUBTYPE_DOLBY_AC3_SPDIF;
        tag = WAVE_FORMAT_DOLBY_AC3_SPDIF;
        channels = 2;
        mask = 0x3;
        validBits = 16;
    } else if (status.stype == STFloat) {
        subtype = MEDIASUBTYPE_IEEE_FLOAT;
        subFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
    }

    bool changed = false;
    if (!IsEqualGUID(m.subtype, subtype)) {
        m.subtype = subtype;
        changed = true;
    }
    if (!IsEqualGUID(format.SubFormat, subFormat)) {
        format.SubFormat = subFormat;
        changed = true;
    }
    assign(format.Format.wFormatTag, tag, changed);
    assign(format.Samples.wValidBitsPerSample, validBits, changed);
    assign(format.Format.nChannels, channels, changed);
    assign(format.dwChannelMask, mask, changed);
    assign(format.Format.nSamplesPerSec, status.freq, changed);
    if (!changed)
        return false;
    format.Format.wBitsPerSample = static_cast<WORD>((validBits + 7) / 8 * 8);
    format.Format.nBlockAlign =
        static_cast<WORD>(format.Format.wBitsPerSample / 8 * format.Format.nChannels);
    format.Format.nAvgBytesPerSec = format.Format.nBlockAlign * format.Format.nSamplesPerSec;
    std::memcpy(m.pbFormat, &format, sizeof format);
    return true;
}

CMediaType typeWithBits(const CMediaType& type, int n)
{
    CMediaType copy = type;
    if (IsEqualGUID(copy.subtype, MEDIASUBTYPE_DOLBY_AC3_SPDIF) || !copy.pbFormat ||
        copy.cbFormat < sizeof(WAVEFORMATEX))
        return copy;
    copy.subtype = MEDIASUBTYPE_PCM;
    WAVEFORMATEX format;
    std::memcpy(&format, copy.pbFormat, sizeof format);
    int bits = n < format.wBitsPerSample ? n : format.wBitsPerSample;
    format.nBlockAlign = static_cast<WORD>(format.nChannels * bits / 8);
    format.nAvgBytesPerSec = format.nBlockAlign * format.nSamplesPerSec;
    format.wBitsPerSample = static_cast<WORD>(bits);
    std::memcpy(copy.pbFormat, &format, sizeof format);
    if (format.cbSize == 22 && copy.cbFormat >= sizeof(WAVEFORMATEXTENSIBLE)) {
        WAVEFORMATEXTENSIBLE extensible;
        std::memcpy(&extensible, copy.pbFormat, sizeof extensible);
        extensible.Samples.wValidBitsPerSample = static_cast<WORD>(bits);
        extensible.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
        std::memcpy(copy.pbFormat, &extensible, sizeof extensible);
    }
    return copy;
}
