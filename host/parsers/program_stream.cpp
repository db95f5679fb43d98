#include "host/parsers/program_stream.h"

#include <algorithm>
#include <fstream>

#include "host/parsers/program_stream_pes.h"

namespace {

// Start codes of a program stream (ISO/IEC 13818-1, 2.5.3.1 and the
// stream_id assignments of 2.4.3.7). Every system start code is 0xB9 or
// above; lower values are video start codes that may sit inside a payload.
constexpr uint8_t kProgramEnd = 0xB9;
constexpr uint8_t kPackStart = 0xBA;
constexpr uint8_t kPrivateStream1 = 0xBD;
constexpr uint8_t kExtendedStreamId = 0xFD;
constexpr size_t kStartCodeSize = 4;

// Pack headers: MPEG-2 (ISO/IEC 13818-1, 2.5.3.3) is 14 bytes plus up to 7
// stuffing bytes; MPEG-1 (ISO/IEC 11172-1, 2.4.3.2) is 12 bytes.
constexpr size_t kMpeg2PackSize = 14;
constexpr size_t kMpeg1PackSize = 12;

bool isAudio(uint8_t id)
{
    return id == kPrivateStream1 || (id >= 0xC0 && id <= 0xDF) || id == kExtendedStreamId;
}

bool isStartCode(const uint8_t* p)
{
    return p[0] == 0 && p[1] == 0 && p[2] == 1 && p[3] >= kProgramEnd;
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
    if (size > 0)
        buffer_.insert(buffer_.end(), data, data + size);
}

void ProgramStreamReader::finish()
{
    finished_ = true;
}

bool ProgramStreamReader::next(PesPacket& packet)
{
    // Every step other than NeedMore consumes input, so this ends.
    for (;;) {
        Step step = parseOne(packet);
        if (step == Step::Packet)
            return true;
        if (step == Step::NeedMore)
            return false;
    }
}

// Waits for the rest of the unit at position_; at the end of input there is
// no rest, and the partial unit is dropped.
ProgramStreamReader::Step ProgramStreamReader::waitForMore(size_t available)
{
    if (finished_) {
        dropped_ += available;
        position_ += available;
    }
    return Step::NeedMore;
}

// A start code whose unit cannot be right (a length of 0, a pack header of
// neither form): drop the code and look for the next one.
ProgramStreamReader::Step ProgramStreamReader::dropStartCode()
{
    dropped_ += kStartCodeSize;
    position_ += kStartCodeSize;
    return Step::Skipped;
}

ProgramStreamReader::Step ProgramStreamReader::parseOne(PesPacket& packet)
{
    const uint8_t* data = buffer_.data() + position_;
    size_t available = buffer_.size() - position_;

    size_t start = 0;
    while (start + kStartCodeSize <= available && !isStartCode(data + start))
        ++start;
    if (start + kStartCodeSize > available) {
        // Keep a possible partial start code for the next piece.
        size_t keep = finished_ ? 0 : std::min<size_t>(available, kStartCodeSize - 1);
        skipped_ += available - keep;
        position_ += available - keep;
        return Step::NeedMore;
    }
    skipped_ += start;
    position_ += start;
    data += start;
    available -= start;

    uint8_t id = data[3];
    if (id == kProgramEnd) {
        position_ += kStartCodeSize;
        return Step::Skipped;
    }
    size_t length = 0;
    if (id == kPackStart) {
        if (available < 5)
            return waitForMore(available);
        if ((data[4] & 0xC0) == 0x40) {
            if (available < kMpeg2PackSize)
                return waitForMore(available);
            length = kMpeg2PackSize + (data[13] & 7);  // pack_stuffing_length
        } else if ((data[4] & 0xF0) == 0x20) {
            length = kMpeg1PackSize;
        } else {
            return dropStartCode();
        }
    } else {
        // System header, stream map, padding and PES packets all carry a
        // 16-bit length after the start code (2.4.3.6, 2.5.3.5, 2.5.4.1).
        if (available < 6)
            return waitForMore(available);
        length = 6 + (size_t(data[4]) << 8 | data[5]);
        // A length of 0 ("unbounded") is only allowed for video in a
        // transport stream. For video the scan below passes over the payload,
        // whose start codes are all below kProgramEnd.
        if (length == 6 && isAudio(id))
            return dropStartCode();
    }
    if (available < length)
        return waitForMore(available);
    position_ += length;
    if (id == kPackStart || !isAudio(id))
        return Step::Skipped;
    if (!parsePesPacket(data, length, packet)) {
        dropped_ += length;
        return Step::Skipped;
    }
    return Step::Packet;
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
        file.read(reinterpret_cast<char*>(chunk.data()),
                  static_cast<std::streamsize>(chunk.size()));
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
