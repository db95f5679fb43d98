#include "windows/transport_stream_reader.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "host/parsers/program_stream_pes.h"

namespace {

constexpr uint8_t kSync = 0x47;

// 192 when every packet carries an arrival time before its sync byte.
size_t packetSize(const std::vector<uint8_t>& file)
{
    if (file.size() >= 2 * 192 && file[4] == kSync && file[196] == kSync)
        return 192;
    return 188;
}

// The payload of one 188-byte packet, after its adaptation field.
struct TsPacket {
    int pid = -1;
    bool unitStart = false;
    const uint8_t* payload = nullptr;
    size_t size = 0;
};

TsPacket parsePacket(const uint8_t* p)
{
    TsPacket packet;
    if (p[0] != kSync)
        return packet;
    packet.pid = ((p[1] & 0x1F) << 8) | p[2];
    packet.unitStart = p[1] & 0x40;
    size_t at = 4;
    int control = (p[3] >> 4) & 3;
    if (control & 2)
        at += 1 + size_t(p[4]);
    if (!(control & 1) || at >= 188)
        return packet;
    packet.payload = p + at;
    packet.size = 188 - at;
    return packet;
}

// The section a unit-start packet begins (after its pointer field), or null.
const uint8_t* sectionOf(const TsPacket& packet, size_t& size)
{
    if (!packet.unitStart || packet.size < 1 || 1 + size_t(packet.payload[0]) >= packet.size)
        return nullptr;
    size_t skip = 1 + size_t(packet.payload[0]);
    size = packet.size - skip;
    return packet.payload + skip;
}

// Where a section's entries end: before its CRC, within what the packet holds.
size_t sectionEnd(const uint8_t* s, size_t size)
{
    size_t length = 3 + size_t(((s[1] & 0x0F) << 8) | s[2]);
    return std::min(size, length) >= 4 ? std::min(size, length) - 4 : 0;
}

// The first program's map of a program association section (program 0
// names the network information instead).
int programMapPid(const uint8_t* s, size_t size)
{
    if (size < 12 || s[0] != 0x00)
        return -1;
    size_t end = sectionEnd(s, size);
    for (size_t at = 8; at + 4 <= end; at += 4)
        if ((s[at] << 8 | s[at + 1]) != 0)
            return ((s[at + 2] & 0x1F) << 8) | s[at + 3];
    return -1;
}

// The elementary streams of a program map section: the first of the type.
int streamPid(const uint8_t* s, size_t size, uint8_t streamType)
{
    if (size < 12 || s[0] != 0x02)
        return -1;
    size_t end = sectionEnd(s, size);
    size_t at = 12 + size_t(((s[10] & 0x0F) << 8) | s[11]);
    while (at + 5 <= end) {
        int pid = ((s[at + 1] & 0x1F) << 8) | s[at + 2];
        if (s[at] == streamType)
            return pid;
        at += 5 + size_t(((s[at + 3] & 0x0F) << 8) | s[at + 4]);
    }
    return -1;
}

}  // namespace

bool readTransportStreamFile(const std::string& path,
                             uint8_t streamType,
                             std::vector<PesPacket>& packets)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> file{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    size_t step = packetSize(file);
    size_t lead = step - 188;
    int mapPid = -1, audioPid = -1;
    std::vector<uint8_t> pes;
    auto finishPes = [&] {
        PesPacket packet;
        if (pes.size() >= 9 && parsePesPacket(pes.data(), pes.size(), packet))
            packets.push_back(std::move(packet));
        pes.clear();
    };
    for (size_t at = lead; at + 188 <= file.size(); at += step) {
        TsPacket packet = parsePacket(file.data() + at);
        if (!packet.payload)
            continue;
        size_t size = 0;
        const uint8_t* section = nullptr;
        if (packet.pid == 0 && mapPid < 0 && (section = sectionOf(packet, size))) {
            mapPid = programMapPid(section, size);
        } else if (packet.pid == mapPid && audioPid < 0 && (section = sectionOf(packet, size))) {
            audioPid = streamPid(section, size, streamType);
        } else if (packet.pid == audioPid) {
            if (packet.unitStart)
                finishPes();
            if (packet.unitStart || !pes.empty())
                pes.insert(pes.end(), packet.payload, packet.payload + packet.size);
        }
    }
    finishPes();
    return !packets.empty();
}
