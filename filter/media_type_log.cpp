#include "filter/media_type_log.h"

#include <cstring>

#include "filter/guid_names.h"
#include "platform/media_guids.h"
#include "platform/mmreg.h"

void writeMediaTypeToLog(std::ostream& out, const AM_MEDIA_TYPE& mediaType)
{
    out << guidName(mediaType.majortype) << " " << guidName(mediaType.subtype) << std::endl;
    if (!IsEqualGUID(mediaType.formattype, FORMAT_WaveFormatEx) || !mediaType.pbFormat ||
        mediaType.cbFormat < sizeof(WAVEFORMATEX))
        return;
    WAVEFORMATEX wave;
    std::memcpy(&wave, mediaType.pbFormat, sizeof wave);
    out << "chan: " << wave.nChannels << " bits: " << wave.wBitsPerSample
        << " cbSize: " << wave.cbSize << " bytesPerS: " << wave.nAvgBytesPerSec
        << " Align: " << wave.nBlockAlign << " freq: " << wave.nSamplesPerSec << std::endl;
    out << "Format: ";
    // The S/PDIF tag is tested apart from the chain below, so it is followed
    // by the chain's own "unknown" line: two lines, as intended.
    if (wave.wFormatTag == WAVE_FORMAT_DOLBY_AC3_SPDIF)
        out << "WAVE_FORMAT_DOLBY_AC3_SPDIF" << std::endl;
    if (wave.wFormatTag == WAVE_FORMAT_MPEGLAYER3)
        out << "WAVE_FORMAT_MPEGLAYER3" << std::endl;
    else if (wave.wFormatTag == WAVE_FORMAT_EXTENSIBLE)
        out << "WAVE_FORMAT_EXTENSIBLE" << std::endl;
    else if (wave.wFormatTag == WAVE_FORMAT_MPEG)
        out << "WAVE_FORMAT_MPEG" << std::endl;
    else
        out << "unknown format Tag: " << wave.wFormatTag << std::endl;
    if (mediaType.cbFormat == sizeof(WAVEFORMATEXTENSIBLE)) {
        WAVEFORMATEXTENSIBLE extensible;
        std::memcpy(&extensible, mediaType.pbFormat, sizeof extensible);
        out << "valid: " << extensible.Samples.wValidBitsPerSample
            << " mask: " << extensible.dwChannelMask << " subf: " << guidName(extensible.SubFormat)
            << std::endl;
    }
}

void writeMediaTypeToLog(std::ostream& out, const AM_MEDIA_TYPE* mediaType)
{
    if (mediaType)
        writeMediaTypeToLog(out, *mediaType);
    else
        out << std::endl;
}
