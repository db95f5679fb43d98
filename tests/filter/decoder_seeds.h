// One short valid stream for every decoder the factory can create: the media
// type a splitter (or the tavio host) offers and the first payloads it hands
// over. Streams come from ffmpeg's encoders and the AMR encoders; the disc
// LPCM packets are built here, private header and all.
#pragma once

#include <string>
#include <vector>

#include "host/host_media_types.h"
#include "host/input_source.h"
#include "support/amr_tools.h"
#include "support/av_packets.h"
#include "support/reference_tools.h"

struct DecoderSeed {
    CMediaType type;
    std::vector<std::vector<uint8_t>> packets;  // at least one
};

// A file of a two-tone signal encoded by ffmpeg.
inline bool encodeTones(const std::string& encoderArgs, const std::string& path, std::string& why)
{
    if (!haveFfmpeg()) {
        why = "ffmpeg not installed";
        return false;
    }
    std::string make =
        "ffmpeg -v error " + sineSource(2, 48000, 0.3) + " " + encoderArgs + " -y " + path;
    if (std::system(make.c_str()) != 0) {
        why = "failed: " + make;
        return false;
    }
    return true;
}

// A stream made by ffmpeg and opened by the host's input layer, which gives
// the media type the filter is offered; the first eight payloads.
inline bool seedFromEncoder(const std::string& encoderArgs,
                            const std::string& fileName,
                            DecoderSeed& seed,
                            std::string& why)
{
    TempFolder folder;
    std::string path = folder.file(fileName);
    if (!encodeTones(encoderArgs, path, why))
        return false;
    auto input = openInputSource(path, why);
    if (!input || input->streams().empty() || !input->streams()[0].mediaType || !input->select(0)) {
        why += " no usable stream in " + fileName;
        return false;
    }
    seed.type = *input->streams()[0].mediaType;
    HostPacket packet;
    while (seed.packets.size() < 8 && input->next(packet))
        if (!packet.data.empty())
            seed.packets.push_back(packet.data);
    if (seed.packets.empty())
        why = "no payload in " + fileName;
    return !seed.packets.empty();
}

inline CMediaType pesLpcmType(const GUID& subtype, WORD channels, WORD bits)
{
    return waveMediaType(MEDIATYPE_MPEG2_PES, subtype, WAVE_FORMAT_PCM, 48000, channels, bits);
}

// Disc LPCM packets: the private header, then 1920 bytes of a ramp (480
// stereo frames at 16 bits, 10 ms at 48 kHz); four of them.
inline DecoderSeed lpcmSeed(const CMediaType& type, const std::vector<uint8_t>& header)
{
    std::vector<uint8_t> packet = header;
    for (int i = 0; i < 1920; ++i)
        packet.push_back(uint8_t(i * 7));
    return DecoderSeed{type, {packet, packet, packet, packet}};
}

inline bool dvdVideoLpcmSeed(DecoderSeed& seed, std::string&)
{
    // Substream, frame count, pointer 4; 16 bits, 48 kHz, 2 channels.
    seed = lpcmSeed(pesLpcmType(MEDIASUBTYPE_DVD_LPCM_AUDIO, 2, 16),
                    {0xA0, 1, 0, 4, 0x00, 0x01, 0x80});
    return true;
}

inline bool hdDvdLpcmSeed(DecoderSeed& seed, std::string&)
{
    // Substream, frame count, pointer 10; 16 bits, 48 kHz, 2 channels,
    // channel assignment 1 (stereo).
    seed = lpcmSeed(pesLpcmType(MEDIASUBTYPE_HDDVD_LPCM, 2, 16),
                    {0xA0, 1, 0, 10, 0x00, 0x01, 0x00, 0x00, 0x01});
    return true;
}

inline bool dvdAudioLpcmSeed(DecoderSeed& seed, std::string&)
{
    // Header length 8, pointer 7, 16 bits and 48 kHz in both groups,
    // channel assignment 17.
    seed = lpcmSeed(pesLpcmType(MEDIASUBTYPE_DVDA_AUDIO_LPCM, 6, 16),
                    {0xA0, 0, 0, 8, 0, 7, 0x00, 0x00, 0x00, 0, 17, 0});
    return true;
}

inline bool blurayLpcmSeed(DecoderSeed& seed, std::string&)
{
    // Payload size 1920, then 48 kHz stereo at 16 bits.
    seed = lpcmSeed(pesLpcmType(MEDIASUBTYPE_BDMV_LPCM_AUDIO, 2, 16), {0x07, 0x80, 0x31, 0x40});
    return true;
}

// DVD-Audio MLP as a program-stream splitter hands it over: each access unit
// behind a private header (substream 0xA1, two bytes, the length of the rest
// of the header, here four bytes of padding).
inline bool dvdAudioMlpSeed(DecoderSeed& seed, std::string& why)
{
    TempFolder folder;
    std::string path = folder.file("s.mlp");
    if (!encodeTones("-c:a mlp -strict -2 -f mlp", path, why))
        return false;
    std::vector<DemuxedPacket> packets;
    if (!readAudioPackets(path, packets, why))
        return false;
    seed.type = waveMediaType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DVDA_AUDIO_MLP, 0, 48000, 2, 24);
    seed.packets.clear();
    for (size_t i = 0; i < 8 && i < packets.size(); ++i) {
        std::vector<uint8_t> packet = {0xA1, 0, 0, 4, 0, 0, 0, 0};
        packet.insert(packet.end(), packets[i].data.begin(), packets[i].data.end());
        seed.packets.push_back(packet);
    }
    if (seed.packets.empty())
        why = "no MLP packets";
    return !seed.packets.empty();
}

// Ten AMR frames of a vowel-like signal in one sample, as the host delivers
// them from an .amr file.
inline bool amrSeed(bool wideband, DecoderSeed& seed, std::string& why)
{
    AudioStreamParameters parameters;
    parameters.codec = wideband ? "amr-wb" : "amr-nb";
    parameters.sampleRate = wideband ? 16000 : 8000;
    parameters.channels = 1;
    auto type = hostMediaType(parameters, why);
    if (!type)
        return false;
    seed.type = *type;
    AmrStream stream = encodeAmr(wideband, 7, false, vowelLikeSignal(parameters.sampleRate, 0.2));
    std::vector<uint8_t> sample;
    for (size_t i = 0; i < 10 && i < stream.frames.size(); ++i)
        sample.insert(sample.end(), stream.frames[i].begin(), stream.frames[i].end());
    seed.packets = {sample};
    return true;
}

struct DecoderRow {
    const char* name;
    // The seed made here, or else a file ffmpeg encodes with `encoder`.
    bool (*makeSeed)(DecoderSeed&, std::string&);
    const char* encoder;
    const char* file;
    // Samples are between half this and this many bytes, as splitters cut them.
    size_t sampleSize;
    // Leading bytes of the first payload that make a sync word (for disc
    // packets the start of the private header).
    size_t syncLength;
    // The AC-3 decoder on its own library rather than the DD+ decoder.
    bool dolbyLibrary = false;
    // S/PDIF output: E-AC-3 plays only as AC-3 converted for pass-through.
    bool spdif = false;

    bool seed(DecoderSeed& seed, std::string& why) const
    {
        return makeSeed ? makeSeed(seed, why) : seedFromEncoder(encoder, file, seed, why);
    }
};

inline bool amrNarrowbandSeed(DecoderSeed& s, std::string& why)
{
    return amrSeed(false, s, why);
}
inline bool amrWidebandSeed(DecoderSeed& s, std::string& why)
{
    return amrSeed(true, s, why);
}

// Every decoder of the factory, the AC-3 one twice (the DD+ decoder takes
// AC-3 when its library is present), AAC in the three forms the host offers.
inline const DecoderRow kDecoderRows[] = {
    {"DvdVideoLpcm", dvdVideoLpcmSeed, nullptr, nullptr, 2016, 2},
    {"HdDvdLpcm", hdDvdLpcmSeed, nullptr, nullptr, 2016, 2},
    {"DvdAudioLpcm", dvdAudioLpcmSeed, nullptr, nullptr, 2016, 2},
    {"BlurayLpcm", blurayLpcmSeed, nullptr, nullptr, 2016, 2},
    {"Ac3ThroughDdPlus", nullptr, "-c:a ac3 -f ac3", "s.ac3", 4096, 2},
    {"Ac3ThroughDolby", nullptr, "-c:a ac3 -f ac3", "s.ac3", 4096, 2, true},
    {"Eac3", nullptr, "-c:a eac3 -f eac3", "s.eac3", 4096, 2, false, true},
    {"Dts", nullptr, "-c:a dca -strict -2 -f dts", "s.dts", 4096, 4},
    {"MpegLayer2", nullptr, "-c:a mp2 -f mp2", "s.mp2", 2048, 2},
    {"MpegLayer3", nullptr, "-c:a libmp3lame -f mp3", "s.mp3", 2048, 2},
    {"AacRaw", nullptr, "-c:a aac -f mp4", "s.m4a", 1024, 2},
    {"AacFromAdts", nullptr, "-c:a aac -f adts", "s.aac", 1024, 2},
    {"AacFromLatm", nullptr, "-c:a aac -f mpegts -mpegts_flags latm", "s.ts", 1024, 2},
    {"Vorbis", nullptr, "-c:a libvorbis -f ogg", "s.ogg", 512, 1},
    {"TrueHd", nullptr, "-c:a truehd -strict -2 -f truehd", "s.thd", 4096, 8},
    {"DvdAudioMlp", dvdAudioMlpSeed, nullptr, nullptr, 4096, 16},
    {"AmrNarrowband", amrNarrowbandSeed, nullptr, nullptr, 320, 1},
    {"AmrWideband", amrWidebandSeed, nullptr, nullptr, 610, 1},
};
