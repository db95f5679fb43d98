#include "support/av_packets.h"

#include "host/input_source.h"

// The host's own input layer does the demuxing, so tests feed decoders
// exactly what the tavio host would.
bool readAudioPackets(const std::string& path, std::vector<DemuxedPacket>& packets, std::string& error)
{
    auto input = openInputSource(path, error);
    if (!input)
        return false;
    if (!input->select(0)) {
        error = "no audio stream";
        return false;
    }
    HostPacket packet;
    while (input->next(packet))
        packets.push_back({packet.data, packet.hasTime, packet.start});
    return true;
}
