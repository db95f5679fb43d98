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
    ITavioMpegStreamInfo* mpeg = nullptr;
    if (type == KindMpeg && SUCCEEDED(info->QueryInterface(IID_ITavioMpegStreamInfo,
                                                           reinterpret_cast<void**>(&mpeg)))) {
        DWORD version = 0, layer = 0, mp3pro = 0;
        mpeg->GetMpeg(&version);
        mpeg->GetLayer(&layer);
        mpeg->GetMp3Pro(&mp3pro);
        text << "** MPEG: " << version << " layer " << layer << (mp3pro ? " MP3Pro" : "") << "\r\n";
        mpeg->Release();
    }
    ITavioAc3StreamInfo* ac3 = nullptr;
    if (type == KindAc3 &&
        SUCCEEDED(info->QueryInterface(IID_ITavioAc3StreamInfo, reinterpret_cast<void**>(&ac3)))) {
        DWORD acmod = 0, bsmod = 0, surmod = 0, lfe = 0, karaoke = 0;
        ac3->GetAcmod(&acmod);
        ac3->GetBsmod(&bsmod);
        ac3->GetDsurmod(&surmod);
        ac3->GetLfeon(&lfe);
        text << "** AC3 details: \r\n"
             << "acmod: " << acmod << "\r\n"
             << "bsmod: " << bsmod << "\r\n"
             << "surmod: " << surmod << "\r\n"
             << "lf: " << lfe << "\r\n";
        if (ac3->GetKaraokeMode(&karaoke) == S_OK)
            text << "karaoke mode: " << karaoke << "\r\n";
        ac3->Release();
    }
    ITavioAACStreamInfo* aac = nullptr;
    if (type == KindAac &&
        SUCCEEDED(info->QueryInterface(IID_ITavioAACStreamInfo, reinterpret_cast<void**>(&aac)))) {
        DWORD objectType = 0, sbr = 0, ps = 0;
        aac->GetObjectType(&objectType);
        aac->GetSbr(&sbr);
        aac->GetPs(&ps);
        text << "** AAC details: \r\n"
             << "MP4 object type:" << objectType << "\r\n"
             << "SBR: " << sbr << "\r\n"
             << "Parametric stereo: " << ps << "\r\n";
        aac->Release();
    }
    if (type == KindDts)
        text << "Streamtype: DTS\r\n";
    else if (type == KindVorbis)
        text << "Vorbis stream\r\n";
    return text.str();
}
