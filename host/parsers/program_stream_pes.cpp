#include "host/parsers/program_stream_pes.h"

namespace {

constexpr uint8_t kPrivateStream1 = 0xBD;

// A time stamp's 33 bits spread over 5 bytes between marker bits
// (ISO/IEC 13818-1, 2.4.3.6; the same layout in ISO/IEC 11172-1, 2.4.3.3).
int64_t readTimeStamp(const uint8_t* p)
{
    return (int64_t(p[0] >> 1) & 7) << 30 | int64_t(p[1]) << 22 | int64_t(p[2] >> 1) << 15 |
           int64_t(p[3]) << 7 | int64_t(p[4] >> 1);
}

// Walks the optional fields inside PES_header_data_length, refusing any that
// would run past it: a header that does not hold what its flags announce is
// corrupt, and its time stamps cannot be trusted.
class HeaderFields {
public:
    HeaderFields(const uint8_t* data, size_t begin, size_t end)
        : data_(data), pos_(begin), end_(end)
    {
    }

    bool has(size_t count) const { return end_ - pos_ >= count; }
    // The next `count` bytes, or nullptr if the header is too short.
    const uint8_t* take(size_t count)
    {
        if (!has(count))
            return nullptr;
        pos_ += count;
        return data_ + pos_ - count;
    }
    bool skip(size_t count) { return take(count) != nullptr; }

private:
    const uint8_t* data_;
    size_t pos_;
    size_t end_;
};

// PES_extension (ISO/IEC 13818-1, 2.4.3.7): only stream_id_extension is kept,
// which tells the audio streams of an extended (0xFD) stream apart.
bool readExtension(HeaderFields& fields, PesPacket& packet)
{
    const uint8_t* flags = fields.take(1);
    if (!flags)
        return false;
    if ((*flags & 0x80) && !fields.skip(16))  // PES_private_data
        return false;
    if (*flags & 0x40) {  // pack_header_field
        const uint8_t* length = fields.take(1);
        if (!length || !fields.skip(*length))
            return false;
    }
    if ((*flags & 0x20) && !fields.skip(2))  // program_packet_sequence_counter
        return false;
    if ((*flags & 0x10) && !fields.skip(2))  // P-STD buffer
        return false;
    if (*flags & 0x01) {  // PES_extension_flag_2
        const uint8_t* length = fields.take(1);
        if (!length)
            return false;
        const uint8_t* extension = fields.take(*length & 0x7F);
        if (!extension)
            return false;
        // stream_id_extension_flag 0 means the byte carries the id.
        if ((*length & 0x7F) >= 1 && !(extension[0] & 0x80))
            packet.streamIdExtension = extension[0] & 0x7F;
    }
    return true;
}

// MPEG-2 PES header (ISO/IEC 13818-1, 2.4.3.6): '10', two flag bytes,
// PES_header_data_length, then the optional fields in flag order and stuffing.
bool readMpeg2Header(const uint8_t* data, size_t size, PesPacket& packet, size_t& payloadStart)
{
    if (size < 9)
        return false;
    uint8_t flags = data[7];
    size_t headerEnd = 9 + size_t(data[8]);
    if (headerEnd > size)
        return false;
    HeaderFields fields(data, 9, headerEnd);
    switch (flags >> 6) {
        case 1:  // a DTS without a PTS is forbidden
            return false;
        case 2:
            if (!fields.has(5))
                return false;
            packet.hasPts = true;
            packet.pts = readTimeStamp(fields.take(5));
            break;
        case 3:
            if (!fields.has(10))
                return false;
            packet.hasPts = true;
            packet.pts = readTimeStamp(fields.take(5));
            packet.hasDts = true;
            packet.dts = readTimeStamp(fields.take(5));
            break;
        default:
            break;
    }
    // ESCR, ES_rate, DSM_trick_mode, additional_copy_info, previous_PES_CRC.
    const size_t skippedFieldSizes[] = {6, 3, 1, 1, 2};
    for (int i = 0; i < 5; ++i) {
        if ((flags & (0x20 >> i)) && !fields.skip(skippedFieldSizes[i]))
            return false;
    }
    if ((flags & 0x01) && !readExtension(fields, packet))
        return false;
    payloadStart = headerEnd;
    return true;
}

// MPEG-1 packet header (ISO/IEC 11172-1, 2.4.3.3): up to 16 stuffing bytes,
// optional STD buffer fields, then a PTS, a PTS and DTS, or 0x0F.
bool readMpeg1Header(const uint8_t* data, size_t size, PesPacket& packet, size_t& payloadStart)
{
    size_t pos = 6;
    for (int stuffing = 0; pos < size && data[pos] == 0xFF && stuffing < 16; ++stuffing)
        ++pos;
    if (pos < size && (data[pos] & 0xC0) == 0x40)
        pos += 2;  // STD_buffer_scale and STD_buffer_size
    if (pos >= size)
        return false;
    uint8_t prefix = data[pos] >> 4;
    if (prefix == 0x2 || prefix == 0x3) {
        size_t stamps = prefix == 0x3 ? 2 : 1;
        if (size - pos < 5 * stamps)
            return false;
        packet.hasPts = true;
        packet.pts = readTimeStamp(data + pos);
        if (stamps == 2) {
            packet.hasDts = true;
            packet.dts = readTimeStamp(data + pos + 5);
        }
        pos += 5 * stamps;
    } else if (data[pos] == 0x0F) {
        pos += 1;
    } else {
        return false;
    }
    payloadStart = pos;
    return true;
}

}  // namespace

bool parsePesPacket(const uint8_t* data, size_t size, PesPacket& packet)
{
    packet = PesPacket();
    packet.streamId = data[3];
    size_t payloadStart = 0;
    // '10' cannot begin an MPEG-1 header: there it would be neither
    // stuffing (11), STD fields (01) nor a time stamp prefix (00).
    bool mpeg2 = size > 6 && (data[6] & 0xC0) == 0x80;
    bool ok = mpeg2 ? readMpeg2Header(data, size, packet, payloadStart)
                    : readMpeg1Header(data, size, packet, payloadStart);
    if (!ok)
        return false;
    if (packet.hasPts)
        packet.ptsReferenceTime = packet.pts * 1000 / 9;
    packet.payload.assign(data + payloadStart, data + size);
    if (packet.streamId == kPrivateStream1 && !packet.payload.empty())
        packet.substreamId = packet.payload[0];
    return true;
}
