#include "host/host_media_types.h"

#include <algorithm>
#include <cstring>

#include "core/media_subtypes.h"

namespace {

// Wave format tags of the compressed formats (mmreg.h values).
constexpr WORD kTagRawAac = 0x00FF;
constexpr WORD kTagAc3 = 0x2000;
constexpr WORD kTagDts = 0x2001;

void put32(std::vector<uint8_t>& out, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(uint8_t(v >> (8 * i)));
}

uint32_t get32(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// The VORBISFORMAT2 block: channels, rate, bits, the three header sizes, then
// the headers back to back. Channels and rate come from the identification
// header (Vorbis I, section 4.2.2), which the decoder goes by, rather
// than from the container, which may lack them.
std::optional<CMediaType> vorbisType(const AudioStreamParameters& stream, std::string& why)
{
    std::vector<std::vector<uint8_t>> headers;
    constexpr size_t kIdentificationSize = 30;
    if (!splitXiphHeaders(stream.extradata, headers) || headers[0].size() < kIdentificationSize) {
        why = "the Vorbis header packets are missing or malformed";
        return std::nullopt;
    }
    const uint8_t* identification = headers[0].data();
    std::vector<uint8_t> block;
    put32(block, identification[11]);
    put32(block, get32(identification + 12));
    put32(block, 16);
    for (const auto& header : headers)
        put32(block, uint32_t(header.size()));
    for (const auto& header : headers)
        block.insert(block.end(), header.begin(), header.end());
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&MEDIASUBTYPE_Vorbis2);
    type.SetFormatType(&FORMAT_VorbisFormat2);
    type.SetFormat(block.data(), ULONG(block.size()));
    return type;
}

// The DVD-Video LPCM packet header names a channel count but no speakers, and
// the decoder keeps the mask its media type gave it: above two channels the
// type is offered as WAVE_FORMAT_EXTENSIBLE with the decoders' default layout
// for the count (the lowest bits; five channels 3/2 without LFE).
CMediaType dvdVideoLpcmType(const GUID& major, const AudioStreamParameters& s)
{
    if (s.channels <= 2)
        return waveMediaType(major, MEDIASUBTYPE_DVD_LPCM_AUDIO, WAVE_FORMAT_PCM, s.sampleRate,
                             s.channels, s.bitsPerSample);
    std::vector<uint8_t> extra;
    extra.push_back(uint8_t(s.bitsPerSample));
    extra.push_back(uint8_t(s.bitsPerSample >> 8));
    put32(extra, s.channels == 5 ? 0x37u : 0xFFu >> (8 - std::min(s.channels, 8)));
    const GUID& pcm = KSDATAFORMAT_SUBTYPE_PCM;
    const auto* guidBytes = reinterpret_cast<const uint8_t*>(&pcm);
    extra.insert(extra.end(), guidBytes, guidBytes + sizeof(GUID));
    return waveMediaType(major, MEDIASUBTYPE_DVD_LPCM_AUDIO, WAVE_FORMAT_EXTENSIBLE, s.sampleRate,
                         s.channels, s.bitsPerSample, extra);
}

}  // namespace

CMediaType waveMediaType(const GUID& major,
                         const GUID& subtype,
                         WORD formatTag,
                         int sampleRate,
                         int channels,
                         int bitsPerSample,
                         const std::vector<uint8_t>& extra)
{
    WAVEFORMATEX wave{};
    wave.wFormatTag = formatTag;
    wave.nChannels = WORD(channels);
    wave.nSamplesPerSec = DWORD(sampleRate);
    wave.wBitsPerSample = WORD(bitsPerSample);
    wave.nBlockAlign = WORD(channels * ((bitsPerSample + 7) / 8));
    wave.nAvgBytesPerSec = wave.nSamplesPerSec * wave.nBlockAlign;
    wave.cbSize = WORD(extra.size());
    std::vector<uint8_t> block(sizeof wave + extra.size());
    std::memcpy(block.data(), &wave, sizeof wave);
    if (!extra.empty())
        std::memcpy(block.data() + sizeof wave, extra.data(), extra.size());

    CMediaType type(&major);
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    type.SetFormat(block.data(), ULONG(block.size()));
    return type;
}

bool splitXiphHeaders(const std::vector<uint8_t>& extradata,
                      std::vector<std::vector<uint8_t>>& headers)
{
    headers.clear();
    if (extradata.size() < 3 || extradata[0] != 2)
        return false;
    size_t position = 1;
    size_t sizes[3] = {0, 0, 0};
    for (int i = 0; i < 2; ++i) {
        while (position < extradata.size() && extradata[position] == 255)
            sizes[i] += extradata[position++];
        if (position >= extradata.size())
            return false;
        sizes[i] += extradata[position++];
    }
    size_t rest = extradata.size() - position;
    if (sizes[0] + sizes[1] >= rest)
        return false;
    sizes[2] = rest - sizes[0] - sizes[1];
    for (size_t size : sizes) {
        headers.emplace_back(extradata.begin() + long(position),
                             extradata.begin() + long(position + size));
        position += size;
    }
    // Identification, comment and setup headers are packet types 1, 3 and 5.
    return headers[0].size() >= 7 && headers[0][0] == 1 && headers[1].size() >= 7 &&
           headers[1][0] == 3 && headers[2].size() >= 7 && headers[2][0] == 5;
}

CMediaType ac3MediaType(int sampleRate, int channels)
{
    return waveMediaType(MEDIATYPE_Audio, MEDIASUBTYPE_DOLBY_AC3, kTagAc3, sampleRate, channels, 0);
}

std::optional<CMediaType> hostMediaType(const AudioStreamParameters& s, std::string& why)
{
    const GUID& major = s.inProgramStream ? MEDIATYPE_MPEG2_PES : MEDIATYPE_Audio;
    const std::string& c = s.codec;
    if (s.channels <= 0 && c != "vorbis") {
        why = "the channel count is unknown";
        return std::nullopt;
    }
    if (c == "ac3" || c == "eac3")
        return waveMediaType(
            major, s.fromAviOrWave && c == "ac3" ? MEDIASUBTYPE_AC3_AVI : MEDIASUBTYPE_DOLBY_AC3,
            kTagAc3, s.sampleRate, s.channels, 0);
    if (c == "dts")
        return waveMediaType(major, MEDIASUBTYPE_DTS, kTagDts, s.sampleRate, s.channels, 0);
    if (c == "mp1" || c == "mp2")
        return s.inProgramStream ? waveMediaType(major, MEDIASUBTYPE_MPEG2_AUDIO, WAVE_FORMAT_MPEG,
                                                 s.sampleRate, s.channels, 0)
                                 : waveMediaType(major, MEDIASUBTYPE_MPEG1AudioPayload,
                                                 WAVE_FORMAT_MPEG, s.sampleRate, s.channels, 0);
    if (c == "mp3")
        return waveMediaType(major, MEDIASUBTYPE_MP3, WAVE_FORMAT_MPEGLAYER3, s.sampleRate,
                             s.channels, 0);
    if (c == "aac") {
        if (s.extradata.size() < 2) {
            why = "AAC without an AudioSpecificConfig";
            return std::nullopt;
        }
        return waveMediaType(major, MEDIASUBTYPE_MPEG4_AUDIO, kTagRawAac, s.sampleRate, s.channels,
                             16, s.extradata);
    }
    if (c == "vorbis")
        return vorbisType(s, why);
    if (c == "amr-nb")
        return waveMediaType(major, MEDIASUBTYPE_SAMR_AUDIO, 0, s.sampleRate, s.channels, 16);
    if (c == "amr-wb")
        return waveMediaType(major, MEDIASUBTYPE_SAWB_AUDIO, 0, s.sampleRate, s.channels, 16);
    if (c == "bluray-lpcm")
        return waveMediaType(major, MEDIASUBTYPE_BDMV_LPCM_AUDIO, WAVE_FORMAT_PCM, s.sampleRate,
                             s.channels, s.bitsPerSample);
    if (c == "dvd-video-lpcm")
        return dvdVideoLpcmType(major, s);
    if (c == "dvd-audio-lpcm")
        return waveMediaType(major, MEDIASUBTYPE_DVDA_AUDIO_LPCM, WAVE_FORMAT_PCM, s.sampleRate,
                             s.channels, s.bitsPerSample);
    if (c == "dvd-audio-mlp")
        return waveMediaType(major, MEDIASUBTYPE_DVDA_AUDIO_MLP, 0, s.sampleRate, s.channels, 24);
    if (c == "truehd")
        return waveMediaType(major, MEDIASUBTYPE_HDDVD_AUDIO_MLP, 0, s.sampleRate, s.channels, 24);
    why = "the filter has no decoder for " + (c.empty() ? std::string("this codec") : c);
    return std::nullopt;
}
