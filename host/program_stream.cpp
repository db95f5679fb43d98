#include "host/program_stream.h"

#include <algorithm>
#include <fstream>

namespace {

// Stream ids (ISO/IEC 13818-1, 2.5.3 and table 2-18).
constexpr uint8_t kPackStart = 0xBA;
constexpr uint8_t kProgramEnd = 0xB9;
constexpr uint8_t kPrivateStream1 = 0xBD;
constexpr uint8_t kExtendedStreamId = 0xFD;

bool isAudio(uint8_t id)
{
    return id == kPrivateStream1 || (id >= 0xC0 && id <= 0xDF) || id == kExtendedStreamId;
}

int64_t readTimeStamp(const uint8_t* p)
{
    return (int64_t(p[0] >> 1) & 7) << 30 | int64_t(p[1]) << 22 | int64_t(p[2] >> 1) << 15 |
           int64_t(p[3]) << 7 | int64_t(p[4] >> 1);
}

}  // namespace

void ProgramStreamReader::append(const uint8_t* data, size_t size)
{
    // Drop what was consumed before growing: the buffer stays about one
    // packet plus the new piece.
    if (position_ > 0) {
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(position_));
        position_ = 0;
    }
    buffer_.insert(buffer_.end(), data, data + size);
}

void ProgramStreamReader::finish() { finished_ = true; }

bool ProgramStreamReader::next(PesPacket& packet)
{
    for (;;) {
        Step step = parseOne(packet);
        if (step == Step::Packet)
            return true;
        if (step == Step::NeedMore)
            return false;
    }
}

ProgramStreamReader::Step ProgramStreamReader::parseOne(PesPacket& packet)
{
    const uint8_t* data = buffer_.data() + position_;
    size_t available = buffer_.size() - position_;

    // Resynchronise on a start code prefix 00 00 01 followed by a system id.
    size_t start = 0;
    while (start + 4 <= available &&
           !(data[start] == 0 && data[start + 1] == 0 && data[start + 2] == 1 && data[start + 3] >= 0xB9))
        ++start;
    if (start + 4 > available) {
        // Keep a possible partial start code for the next piece.
        size_t keep = finished_ ? 0 : std::min<size_t>(available, 3);
        skipped_ += available - keep;
        position_ += available - keep;
        return Step::NeedMore;
    }
    skipped_ += start;
    position_ += start;
    data += start;
    available -= start;

    // Waits for more input; at the end of input the partial packet is dropped.
    auto incomplete = [this, available] {
        if (finished_) {
            dropped_ += available;
            position_ = buffer_.size();
        }
        return Step::NeedMore;
    };
    uint8_t id = data[3];
    if (id == kProgramEnd) {
        position_ += 4;
        return Step::Skipped;
    }
    size_t length = 0;
    if (id == kPackStart) {
        if (available < 5)
            return incomplete();
        if ((data[4] & 0xC0) == 0x40) {  // MPEG-2 pack header, 2.5.3.3
            if (available < 14)
                return incomplete();
            length = 14 + (data[13] & 7);
        } else {  // MPEG-1 pack header (ISO/IEC 11172-1, 2.4.3.2)
            length = 12;
        }
    } else {
        if (available < 6)
            return incomplete();
        length = 6 + ((size_t(data[4]) << 8) | data[5]);
        if (length == 6 && isAudio(id)) {
            // An unbounded length is only allowed for video; resynchronise.
            dropped_ += 4;
            position_ += 4;
            return Step::Skipped;
        }
    }
    if (available < length)
        return incomplete();
    position_ += length;
    if (id == kPackStart || !isAudio(id))
        return Step::Skipped;
    if (!parsePes(data, length, packet)) {
        dropped_ += length;
        return Step::Skipped;
    }
    return Step::Packet;
}

bool ProgramStreamReader::parsePes(const uint8_t* data, size_t size, PesPacket& packet)
{
    packet = PesPacket();
    packet.streamId = data[3];
    size_t pos = 6;
    if (size > pos && (data[pos] & 0xC0) == 0x80) {
        // MPEG-2 PES header (2.4.3.7): flags, header length, optional fields.
        if (size < 9)
            return false;
        uint8_t flags = data[7];
        size_t headerEnd = 9 + size_t(data[8]);
        if (headerEnd > size)
            return false;
        if ((flags & 0x80) && headerEnd >= 14) {
            packet.hasPts = true;
            packet.pts = readTimeStamp(data + 9);
        }
        if ((flags & 0xC0) == 0xC0 && headerEnd >= 19) {
            packet.hasDts = true;
            packet.dts = readTimeStamp(data + 14);
        }
        pos = headerEnd;
    } else {
        // MPEG-1 packet header (ISO/IEC 11172-1, 2.4.3.3).
        int stuffing = 0;
        while (pos < size && data[pos] == 0xFF && stuffing++ < 16)
            ++pos;
        if (pos < size && (data[pos] & 0xC0) == 0x40)
            pos += 2;  // STD buffer scale and size
        if (pos >= size)
            return false;
        if ((data[pos] & 0xF0) == 0x20) {
            if (pos + 5 > size)
                return false;
            packet.hasPts = true;
            packet.pts = readTimeStamp(data + pos);
            pos += 5;
        } else if ((data[pos] & 0xF0) == 0x30) {
            if (pos + 10 > size)
                return false;
            packet.hasPts = true;
            packet.pts = readTimeStamp(data + pos);
            packet.hasDts = true;
            packet.dts = readTimeStamp(data + pos + 5);
            pos += 10;
        } else if (data[pos] == 0x0F) {
            pos += 1;
        } else {
            return false;
        }
    }
    if (packet.hasPts)
        packet.ptsReferenceTime = packet.pts * 1000 / 9;
    packet.payload.assign(data + pos, data + size);
    if (packet.streamId == kPrivateStream1 && !packet.payload.empty())
        packet.substreamId = packet.payload[0];
    return true;
}

bool readProgramStreamFile(const std::string& path, std::vector<PesPacket>& packets)
{
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open())
        return false;
    ProgramStreamReader reader;
    std::vector<uint8_t> chunk(64 * 1024);
    PesPacket packet;
    while (file) {
        file.read(reinterpret_cast<char*>(chunk.data()), static_cast<std::streamsize>(chunk.size()));
        size_t got = static_cast<size_t>(file.gcount());
        if (got == 0)
            break;
        reader.append(chunk.data(), got);
        while (reader.next(packet))
            packets.push_back(packet);
    }
    reader.finish();
    while (reader.next(packet))
        packets.push_back(packet);
    return true;
}
