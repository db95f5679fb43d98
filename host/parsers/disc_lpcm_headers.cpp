#include "host/parsers/disc_lpcm_headers.h"

#include <map>

#include "decoders/dvd_audio_assignments.h"

// The DVD-Video LPCM private header: substream id, frame count, first
// access unit pointer, emphasis/mute/frame number, then quantisation (2
// bits), frequency (2), one reserved bit and channels - 1 (3).
bool dvdVideoLpcm(const std::vector<uint8_t>& payload,
                  AudioStreamParameters& s,
                  std::string& description)
{
    if (payload.size() < 7)
        return false;
    int quantisation = payload[5] >> 6;
    int frequency = (payload[5] >> 4) & 3;
    if (quantisation == 3 || frequency > 1)
        return false;
    s.codec = "dvd-video-lpcm";
    s.channels = (payload[5] & 7) + 1;
    s.sampleRate = frequency ? 96000 : 48000;
    s.bitsPerSample = 16 + 4 * quantisation;
    description = "DVD-Video LPCM, " + std::to_string(s.sampleRate) + " Hz, " +
                  std::to_string(s.channels) + " channels, " + std::to_string(s.bitsPerSample) +
                  "-bit";
    return true;
}

// The DVD-Audio LPCM private header: substream id 0xA0, continuity counter,
// two reserved bytes... byte 3 the header length, bytes 7 and 8 the
// quantisation and frequency nibbles of the two channel groups, byte 10 the
// channel assignment (low 5 bits).
bool dvdAudioLpcm(const std::vector<uint8_t>& payload,
                  AudioStreamParameters& s,
                  std::string& description)
{
    if (payload.size() < 11 || payload[0] != 0xA0)
        return false;
    int quantisation = payload[7] >> 4;
    int frequency = payload[8] >> 4;
    int assignment = payload[10] & 0x1F;
    if (assignment >= kDvdAudioAssignmentCount || quantisation > 2)
        return false;
    static const std::map<int, int> rates = {{0, 48000}, {1, 96000}, {2, 192000},
                                             {8, 44100}, {9, 88200}, {10, 176400}};
    auto rate = rates.find(frequency);
    if (rate == rates.end())
        return false;
    s.codec = "dvd-audio-lpcm";
    s.sampleRate = rate->second;
    s.channels = kDvdAudioAssignments[assignment].channels;
    s.bitsPerSample = 16 + 4 * quantisation;
    description = "DVD-Audio LPCM, " + std::to_string(s.sampleRate) + " Hz, " +
                  std::to_string(s.channels) + " channels (assignment " +
                  std::to_string(assignment) + "), " + std::to_string(s.bitsPerSample) + "-bit";
    return true;
}
