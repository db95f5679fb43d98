// Where the tavio host gets its compressed audio: a container or elementary
// stream, opened once, listing its audio streams with the media type the
// decoder filter expects for each, then yielding one stream's payloads with
// their time stamps.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/parsers/audio_stream_parameters.h"
#include "platform/dshow/streams.h"

struct HostStream {
    std::string codec;        // short codec name, e.g. "ac3", "dvd-video lpcm"
    std::string description;  // one line: codec, rate, channels, bits
    // The media type offered to the filter; empty when the filter has no
    // decoder for this codec (then `unsupported` says why).
    std::optional<CMediaType> mediaType;
    std::string unsupported;
    // Set for a stream the filter accepts but cannot make sound of (DTS
    // Express, which has no core): why nothing would be decoded.
    std::string noAudio;
};

struct HostPacket {
    std::vector<uint8_t> data;
    bool hasTime = false;
    REFERENCE_TIME start = 0;  // 100 ns
    // How long the packet's audio lasts, when the container says; 0 when
    // it does not.
    REFERENCE_TIME duration = 0;
    // Frames at the end of this packet's decoded audio that the container
    // marks as padding (Matroska's DiscardPadding, the granule position of
    // Ogg's last page, an MP3's LAME/Info tag).
    uint32_t paddingFrames = 0;
    // Frames at the start of this packet's decoded audio that the encoder
    // announces as its priming, when the container marks none (FAAC's
    // name in the first AAC access unit).
    uint32_t primingFrames = 0;
};

class InputSource {
public:
    virtual ~InputSource() = default;
    // E.g. "MPEG program stream", "matroska,webm".
    virtual std::string containerName() const = 0;
    // The audio streams, in the container's order.
    virtual const std::vector<HostStream>& streams() const = 0;
    // Chooses the stream whose packets next() returns; false if out of range.
    virtual bool select(size_t stream) = 0;
    // The next payload of the chosen stream; false at the end of the input.
    virtual bool next(HostPacket& packet) = 0;
    // How far through the input reading has come, 0..1 (for a progress bar).
    virtual double progress() const = 0;
    // Whether times count from the presentation's start, so that audio
    // stamped before zero is priming the container cuts (MP4 edit lists).
    virtual bool timesFromPresentationStart() const { return false; }
    // Moves reading back to a point at or before `time` (counted from the
    // stream's start), from where next() goes on with timed packets; false
    // when the stream has nothing there (past its end).
    virtual bool seek(REFERENCE_TIME time) = 0;
    // How long the chosen stream lasts, when the input knows.
    virtual std::optional<REFERENCE_TIME> duration() const { return std::nullopt; }
};

// An input of one audio stream whose times count from the presentation's
// start: the host's own readers of elementary streams and Ogg.
class SingleStreamInput : public InputSource {
public:
    SingleStreamInput(const AudioStreamParameters& parameters, const std::string& description);
    const std::vector<HostStream>& streams() const override { return streams_; }
    bool select(size_t stream) override { return stream == 0; }
    bool timesFromPresentationStart() const override { return true; }

private:
    std::vector<HostStream> streams_;
};

// Opens a file: MPEG program streams (DVD-Video VOB, DVD-Audio AOB, HD-DVD
// EVO) through our own reader, which keeps the private-stream headers the
// disc decoders need; everything else through libavformat. Null with a
// one-line reason in `error` when the file cannot be read.
std::unique_ptr<InputSource> openInputSource(const std::string& path, std::string& error);
