// Driving AdecVorbis as the filter does: the media type the host builds for a
// file, then one demuxed packet per call.
#pragma once

#include <cmath>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "decoders/AdecVorbis.h"
#include "host/input_source.h"
#include "support/memory_sample.h"

struct VorbisStream {
    CMediaType type;
    std::vector<HostPacket> packets;
};

// The first audio stream of a file as the host reads it; nothing when the
// host has no media type for it.
inline std::optional<VorbisStream> readVorbisStream(const std::string& path)
{
    std::string error;
    auto input = openInputSource(path, error);
    if (!input || input->streams().empty() || !input->streams()[0].mediaType || !input->select(0))
        return std::nullopt;
    VorbisStream stream{*input->streams()[0].mediaType, {}};
    HostPacket packet;
    while (input->next(packet))
        stream.packets.push_back(packet);
    return stream;
}

struct VorbisRun {
    std::vector<float> output;
    std::vector<TvStatusVorbis> frames;
    size_t silentPackets = 0;  // consumed without output
};

// Decodes every packet into samples of `sampleSize` bytes (the filter's
// output buffers hold 65536 bytes and 4 spare).
inline VorbisRun runVorbis(AdecVorbis& decoder,
                           const std::vector<HostPacket>& packets,
                           size_t sampleSize = 65540)
{
    VorbisRun run;
    for (const HostPacket& packet : packets) {
        MemorySample out(sampleSize);
        const uint8_t* p = packet.data.data();
        const uint8_t* end = p + packet.data.size();
        TvStatus* status = decoder.process(&p, end, &out);
        EXPECT_EQ(p, end);  // the whole input is the packet
        if (!status) {
            EXPECT_EQ(out.GetActualDataLength(), 0);
            ++run.silentPackets;
            continue;
        }
        run.frames.push_back(static_cast<TvStatusVorbis&>(*status));
        auto data = out.data();
        size_t at = run.output.size();
        run.output.resize(at + data.size() / 4);
        std::memcpy(run.output.data() + at, data.data(), data.size() / 4 * 4);
    }
    return run;
}

// The frames a reference decoder drops from the end: the last packet's
// padding, when it is no longer than the audio that packet produced
// (libavcodec ignores longer padding).
inline size_t paddingDropped(const VorbisStream& stream, const VorbisRun& run)
{
    uint32_t padding = stream.packets.empty() ? 0 : stream.packets.back().paddingFrames;
    return !run.frames.empty() && padding <= uint32_t(run.frames.back().samples) ? padding : 0;
}

inline std::vector<float> asFloats(const std::vector<uint8_t>& bytes)
{
    std::vector<float> out(bytes.size() / 4);
    std::memcpy(out.data(), bytes.data(), out.size() * 4);
    return out;
}

// Signal-to-noise ratio in dB of `test` against `reference`, over channel
// `channel` of `channels` interleaved (or all samples when channel < 0),
// on the samples both have; infinite when they are equal.
inline double snrFloat(const std::vector<float>& reference,
                       const std::vector<float>& test,
                       int channels = 1,
                       int channel = -1)
{
    double signal = 0, noise = 0;
    size_t n = std::min(reference.size(), test.size());
    for (size_t i = 0; i < n; ++i) {
        if (channel >= 0 && int(i % size_t(channels)) != channel)
            continue;
        double d = double(reference[i]) - double(test[i]);
        signal += double(reference[i]) * reference[i];
        noise += d * d;
    }
    return noise == 0 ? INFINITY : 10 * std::log10(signal / noise);
}
