// The decoder interface: one class per stream format. The filter owns one
// instance of each, offers media types to them in a fixed order and hands the
// first that accepts the bytes of its input buffer.
#pragma once

#include <cstdint>
#include <ostream>

#include "core/TvStatus.h"
#include "platform/dshow/streams.h"

class Adec {
public:
    explicit Adec(std::ostream& log) : _log(log) {}
    Adec(const Adec&) = delete;
    Adec& operator=(const Adec&) = delete;

    // Whether this decoder handles the type; must not change any state.
    virtual bool accepts(const CMediaType& mediaType) = 0;
    // Starts the decoder afresh for the type; null when the type cannot be used.
    virtual TvStatus* init(const CMediaType& mediaType) = 0;
    // Decodes at most one frame from [*readPtr, end) into `out`. Returns the
    // frame's status, or null with `out` left empty; *readPtr moves past
    // skipped garbage and the frame.
    virtual TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) = 0;
    // Releases any decoder library the decoder loaded.
    virtual ~Adec() = default;
    // Switches S/PDIF pass-through; the status that now applies, or null when
    // the decoder has no pass-through and nothing changed.
    virtual TvStatus* setSpdif(bool on);
    // The remixer's mix type for stream kind `kind` and its target mask.
    virtual void setMixType(int kind, int mixType, uint32_t channelMask);
    // Whether each packet payload starts with a private-stream header.
    virtual bool wantsPrivateHeader();
    // Reads and consumes one packet's private header; false drops the payload.
    virtual bool parsePacketHeader(const uint8_t** readPtr, const uint8_t* end);
    // At the end of the stream: how many zero bytes after the held input show
    // the decoder that nothing extends the frame it holds, so that a whole
    // last frame still comes out; 0 when frames are known whole without them.
    virtual size_t zerosThatEndTheStream() { return 0; }

protected:
    std::ostream& _log;
};

// Fills frequency, channels, sample type and channel mask from the type's
// wave format (extensible formats give valid bits and mask). A format block
// shorter than a WAVEFORMATEX leaves the record untouched.
void readWaveFormat(const AM_MEDIA_TYPE& mediaType, TvStatus& status);
// Whether the type's payloads come in PES or DVD packs, each with a private
// header in front of its audio.
bool hasPacketHeaders(const AM_MEDIA_TYPE& mediaType);
