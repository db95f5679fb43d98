// One short valid stream for every decoder the factory can create: the media
// type a splitter (or the tavio host) offers and the first payloads it hands
// over. Streams come from ffmpeg's encoders or the shared vectors, read by the
// host's input layer; the disc packets get their private header here.
#pragma once

#include <string>
#include <vector>

#include "decoders/AdecDolby.h"
#include "filter/TvFilter.h"
#include "host/host_media_types.h"
#include "host/input_source.h"
#include "support/ffmpeg.h"

struct DecoderSeed {
    CMediaType type;
    std::vector<std::vector<uint8_t>> packets;  // at least one
};

struct DecoderRow {
    const char* name;
    // Samples are between half this and this many bytes, as splitters cut them.
    size_t sampleSize;
    // Leading bytes of the first payload that make a sync word (for disc
    // packets the start of the private header).
    size_t syncLength;
    // ffmpeg's output options and file name for a two-tone stream, or else a
    // shared vector; neither for disc LPCM, whose payload is a ramp.
    const char* encoded = nullptr;
    const char* vector = nullptr;
    // Disc packets: the PES subtype offered, its format and the private
    // header put before each payload.
    const GUID* discSubtype = nullptr;
    WORD channels = 2, bits = 16;
    std::vector<uint8_t> header = {};
    // The AC-3 decoder on its own library rather than the DD+ decoder.
    bool dolbyLibrary = false;
    // S/PDIF output: E-AC-3 plays only as AC-3 converted for pass-through.
    bool spdif = false;
};

// Skips the test without ffmpeg or the row's vector (fails it in CI).
#define REQUIRE_SEED_SOURCE(row)          \
    do {                                  \
        if ((row).encoded)                \
            REQUIRE_FFMPEG();             \
        if ((row).vector)                 \
            REQUIRE_VECTOR((row).vector); \
    } while (0)

// The media type the host's input layer offers for `path` and its first
// eight payloads.
inline bool seedFromFile(const std::string& path, DecoderSeed& seed, std::string& why)
{
    auto input = openInputSource(path, why);
    if (!input || input->streams().empty() || !input->streams()[0].mediaType || !input->select(0)) {
        why += " no usable stream in " + path;
        return false;
    }
    seed.type = *input->streams()[0].mediaType;
    for (HostPacket packet; seed.packets.size() < 8 && input->next(packet);)
        if (!packet.data.empty())
            seed.packets.push_back(packet.data);
    if (seed.packets.empty())
        why = "no payload in " + path;
    return !seed.packets.empty();
}

inline bool makeSeed(const DecoderRow& row, DecoderSeed& seed, std::string& why)
{
    TempFolder folder;
    if (row.encoded) {
        std::string recipe = row.encoded, path = folder.file(recipe.substr(recipe.rfind(' ') + 1));
        if (!encodeTones(path, {"FL+FR", 48000, 0.3}, recipe.substr(0, recipe.rfind(' ')))) {
            why = std::string("ffmpeg could not make ") + row.encoded;
            return false;
        }
        if (!seedFromFile(path, seed, why))
            return false;
    } else if (row.vector && !seedFromFile(vectorPath(row.vector), seed, why)) {
        return false;
    }
    if (!row.discSubtype)
        return true;
    // Disc LPCM: 1920 bytes of a ramp (480 stereo frames at 16 bits, 10 ms
    // at 48 kHz) in each of four packets.
    if (seed.packets.empty()) {
        std::vector<uint8_t> ramp(1920);
        for (size_t i = 0; i < ramp.size(); ++i)
            ramp[i] = uint8_t(i * 7);
        seed.packets.assign(4, ramp);
    }
    seed.type = waveMediaType(MEDIATYPE_MPEG2_PES, *row.discSubtype,
                              row.encoded ? 0 : WAVE_FORMAT_PCM, 48000, row.channels, row.bits);
    for (auto& packet : seed.packets)
        packet.insert(packet.begin(), row.header.begin(), row.header.end());
    return true;
}

// The row's decoder and output on a filter not yet connected.
inline void useRowsDecoder(TvFilter* filter, const DecoderRow& row)
{
    if (row.dolbyLibrary)
        filter->addDecoderFirst(std::make_unique<AdecDolby>(filter->log(), TAVIO_MODULE_DIR "/"));
    if (row.spdif)
        filter->setSpdif(true);
}

// Every decoder of the factory, the AC-3 one twice (the DD+ decoder takes
// AC-3 when its library is present), AAC in the three forms the host offers.
// Disc headers: DVD-Video substream, frame count, pointer 4, then 16 bits,
// 48 kHz, 2 channels; HD-DVD the same with pointer 10 and channel assignment
// 1; DVD-Audio header length 8, pointer 7, 16 bits and 48 kHz in both groups,
// channel assignment 17; Blu-ray payload size 1920, then 48 kHz stereo at 16
// bits; DVD-Audio MLP substream 0xA1 and four bytes of padding.
// clang-format off
inline const DecoderRow kDecoderRows[] = {
    {"DvdVideoLpcm", 2016, 2, nullptr, nullptr, &MEDIASUBTYPE_DVD_LPCM_AUDIO, 2, 16,
     {0xA0, 1, 0, 4, 0x00, 0x01, 0x80}},
    {"HdDvdLpcm", 2016, 2, nullptr, nullptr, &MEDIASUBTYPE_HDDVD_LPCM, 2, 16,
     {0xA0, 1, 0, 10, 0x00, 0x01, 0x00, 0x00, 0x01}},
    {"DvdAudioLpcm", 2016, 2, nullptr, nullptr, &MEDIASUBTYPE_DVDA_AUDIO_LPCM, 6, 16,
     {0xA0, 0, 0, 8, 0, 7, 0x00, 0x00, 0x00, 0, 17, 0}},
    {"BlurayLpcm", 2016, 2, nullptr, nullptr, &MEDIASUBTYPE_BDMV_LPCM_AUDIO, 2, 16,
     {0x07, 0x80, 0x31, 0x40}},
    {"Ac3ThroughDdPlus", 4096, 2, "-c:a ac3 -f ac3 s.ac3"},
    {"Ac3ThroughDolby", 4096, 2, "-c:a ac3 -f ac3 s.ac3", nullptr, nullptr, 2, 16, {}, true},
    {"Eac3", 4096, 2, "-c:a eac3 -f eac3 s.eac3", nullptr, nullptr, 2, 16, {}, false, true},
    {"Dts", 4096, 4, "-c:a dca -strict -2 -f dts s.dts"},
    {"MpegLayer2", 2048, 2, "-c:a mp2 -f mp2 s.mp2"},
    {"MpegLayer3", 2048, 2, "-c:a libmp3lame -f mp3 s.mp3"},
    {"AacRaw", 1024, 2, "-c:a aac -f mp4 s.m4a"},
    {"AacFromAdts", 1024, 2, "-c:a aac -f adts s.aac"},
    {"AacFromLatm", 1024, 2, "-c:a aac -f mpegts -mpegts_flags latm s.ts"},
    {"Vorbis", 512, 1, "-c:a libvorbis -f ogg s.ogg"},
    {"TrueHd", 4096, 8, "-c:a truehd -strict -2 -f truehd s.thd"},
    {"DvdAudioMlp", 4096, 16, "-c:a mlp -strict -2 -f mlp s.mlp", nullptr,
     &MEDIASUBTYPE_DVDA_AUDIO_MLP, 2, 24, {0xA1, 0, 0, 4, 0, 0, 0, 0}},
    {"AmrNarrowband", 320, 1, nullptr, "androidx_media/amr_sample_nb.amr"},
    {"AmrWideband", 610, 1, nullptr, "androidx_media/amr_sample_wb.amr"},
};
// clang-format on
