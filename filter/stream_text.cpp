#include "filter/stream_text.h"

#include <sstream>

#include "core/status_helpers.h"

std::string streamText(ITavioStreamInfo* info)
{
    if (!info)
        return "no info available";
    DWORD bitRate = 0, frameSize = 0, rate = 0, mask = 0, remix = 0, type = 0;
    WORD bits = 0, channels = 0;
    info->GetBitRate(&bitRate);
    info->GetFrameSize(&frameSize);
    info->GetSampleRate(&rate);
    info->GetBitsPerSample(&bits);
    info->GetChannelMask(&mask);
    info->GetChannels(&channels);
    info->GetRemixMode(&remix);
    info->GetStreamType(&type);
    std::ostringstream text;
    text << "bitrate: " << bitRate << "\r\n"
         << "framesize: " << frameSize << "\r\n"
         << "Frequency:" << rate << "\r\n"
         << "Bits: " << bits << " mask: 0x" << std::hex << mask << std::dec << "\r\n"
         << "Channels: " << channels;
    if (remix >= RemixProLogicUpmix && remix <= RemixDecoderSurroundDownmix)
        text << " " << remixModeText(TvRemixMode(remix));
    text << "\r\n";
    if (type == KindDts)
        text << "Streamtype: DTS\r\n";
    else if (type == KindVorbis)
        text << "Vorbis stream\r\n";
    return text.str();
}
