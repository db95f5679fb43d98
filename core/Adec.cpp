#include "core/Adec.h"

#include <cstring>

#include "core/status_helpers.h"
#include "platform/media_guids.h"

TvStatus* Adec::setSpdif(bool)
{
    return nullptr;
}
void Adec::setMixType(int, int, uint32_t) {}
bool Adec::wantsPrivateHeader()
{
    return false;
}
bool Adec::parsePacketHeader(const uint8_t**, const uint8_t*)
{
    return true;
}

bool hasPacketHeaders(const AM_MEDIA_TYPE& mediaType)
{
    return IsEqualGUID(mediaType.majortype, MEDIATYPE_MPEG2_PES) ||
           IsEqualGUID(mediaType.majortype, MEDIATYPE_DVD_ENCRYPTED_PACK);
}

void readWaveFormat(const AM_MEDIA_TYPE& mediaType, TvStatus& status)
{
    if (!mediaType.pbFormat || mediaType.cbFormat < sizeof(WAVEFORMATEX))
        return;
    WAVEFORMATEX wave;
    std::memcpy(&wave, mediaType.pbFormat, sizeof wave);
    status.freq = static_cast<int32_t>(wave.nSamplesPerSec);
    status.chan = wave.nChannels;
    status.stype = sampleTypeFromBits(wave.wBitsPerSample);
    if (wave.wFormatTag == WAVE_FORMAT_EXTENSIBLE && wave.cbSize >= 22 &&
        mediaType.cbFormat >= sizeof(WAVEFORMATEXTENSIBLE)) {
        WAVEFORMATEXTENSIBLE extensible;
        std::memcpy(&extensible, mediaType.pbFormat, sizeof extensible);
        status.stype = sampleTypeFromBits(extensible.Samples.wValidBitsPerSample);
        status.channelMask = extensible.dwChannelMask;
    } else if (status.chan == 1) {
        status.channelMask = 0x4;
    } else if (status.chan == 2) {
        status.channelMask = 0x3;
    }
}
