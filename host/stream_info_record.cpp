#include "host/stream_info_record.h"

#include "core/TvStatus.h"

namespace {

// The details interface of a snapshot, or null.
template <class Details>
Details* detailsOf(ITavioStreamInfo& info, REFIID iid)
{
    Details* details = nullptr;
    if (FAILED(info.QueryInterface(iid, reinterpret_cast<void**>(&details))))
        return nullptr;
    return details;
}

}  // namespace

StreamInfoRecord readStreamInfo(ITavioStreamInfo& info)
{
    StreamInfoRecord r;
    DWORD type = 0, bitRate = 0, frameSize = 0, rate = 0, mask = 0, remix = 0;
    WORD bits = 0, channels = 0;
    info.GetStreamType(&type);
    info.GetBitRate(&bitRate);
    info.GetFrameSize(&frameSize);
    info.GetSampleRate(&rate);
    info.GetBitsPerSample(&bits);
    info.GetChannelMask(&mask);
    info.GetChannels(&channels);
    info.GetRemixMode(&remix);
    r = {type, bitRate, frameSize, rate, bits, mask, channels, remix, {}, {}, {}};
    if (type == KindMpeg) {
        if (auto* mpeg = detailsOf<ITavioMpegStreamInfo>(info, IID_ITavioMpegStreamInfo)) {
            DWORD version = 0, layer = 0, mp3Pro = 0;
            mpeg->GetMpeg(&version);
            mpeg->GetLayer(&layer);
            mpeg->GetMp3Pro(&mp3Pro);
            r.mpeg = StreamInfoRecord::Mpeg{version, layer, mp3Pro != 0};
            mpeg->Release();
        }
    } else if (type == KindAc3) {
        if (auto* ac3 = detailsOf<ITavioAc3StreamInfo>(info, IID_ITavioAc3StreamInfo)) {
            DWORD acmod = 0, bsmod = 0, dsurmod = 0, lfe = 0, karaoke = 0;
            ac3->GetAcmod(&acmod);
            ac3->GetBsmod(&bsmod);
            ac3->GetDsurmod(&dsurmod);
            ac3->GetLfeon(&lfe);
            r.ac3 = StreamInfoRecord::Ac3{acmod, bsmod, dsurmod, lfe != 0, std::nullopt};
            if (ac3->GetKaraokeMode(&karaoke) == S_OK)
                r.ac3->karaokeMode = karaoke;
            ac3->Release();
        }
    } else if (type == KindAac) {
        if (auto* aac = detailsOf<ITavioAACStreamInfo>(info, IID_ITavioAACStreamInfo)) {
            DWORD objectType = 0, sbr = 0, ps = 0;
            aac->GetObjectType(&objectType);
            aac->GetSbr(&sbr);
            aac->GetPs(&ps);
            r.aac = StreamInfoRecord::Aac{objectType, sbr, ps != 0};
            aac->Release();
        }
    }
    return r;
}

const char* streamKindName(uint32_t streamType)
{
    switch (streamType) {
        case KindMpeg:
            return "mpeg";
        case KindAc3:
            return "ac3";
        case KindAmr:
            return "amr";
        case KindAac:
            return "aac";
        case KindDts:
            return "dts";
        case KindMlp:
            return "mlp";
        case KindLpcm:
            return "lpcm";
        case KindVorbis:
            return "vorbis";
        default:
            return "";
    }
}
