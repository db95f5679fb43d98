// A streaming reader of MPEG program streams (DVD-Video VOB, HD-DVD EVO,
// DVD-Audio AOB) that yields audio PES payloads untouched: for private stream
// 1 the payload still begins with the substream id and its private header,
// which the disc decoders need and generic demuxers strip.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct PesPacket {
    uint8_t streamId = 0;          // 0xBD private stream 1, 0xC0-0xDF MPEG audio, 0xFD extended
    int substreamId = -1;          // first payload byte of private stream 1, else -1
    int streamIdExtension = -1;    // stream_id_extension of an 0xFD packet, else -1
    std::vector<uint8_t> payload;  // everything after the PES header
    bool hasPts = false;
    int64_t pts = 0;               // 90 kHz, 33 bits
    int64_t ptsReferenceTime = 0;  // the PTS in 100 ns units
    bool hasDts = false;
    int64_t dts = 0;  // 90 kHz, 33 bits

    bool operator==(const PesPacket&) const = default;
};

// Corrupt input is skipped and counted, never fatal: the reader resynchronises
// on the next system start code. Memory stays bounded: after next() returns
// false the reader holds less than one packet (kMaxPacketSize), so it holds
// at most that plus whatever the caller appends before draining again.
class ProgramStreamReader {
public:
    // A 16-bit PES_packet_length after the 6-byte start of the packet.
    static constexpr size_t kMaxPacketSize = 6 + 65535;

    // Adds input; it may be cut anywhere. Call next() until it returns false
    // before appending more.
    void append(const uint8_t* data, size_t size);
    // The next audio packet, or false when more input is needed.
    bool next(PesPacket& packet);
    // No more input: a partial packet at the end is dropped and counted.
    void finish();

    // Bytes passed over while looking for a start code.
    size_t skippedBytes() const { return skipped_; }
    // Bytes of malformed or truncated packets thrown away.
    size_t droppedBytes() const { return dropped_; }
    // Input held and not yet read.
    size_t bufferedBytes() const { return buffer_.size() - position_; }

private:
    enum class Step { Packet, Skipped, NeedMore };
    Step parseOne(PesPacket& packet);
    Step waitForMore(size_t available);
    Step dropStartCode();

    std::vector<uint8_t> buffer_;
    size_t position_ = 0;
    bool finished_ = false;
    size_t skipped_ = 0;
    size_t dropped_ = 0;
};

// Every audio packet of a file; false if the file cannot be read.
bool readProgramStreamFile(const std::string& path, std::vector<PesPacket>& packets);
