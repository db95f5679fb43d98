// AAC in LATM inside LOAS (ISO/IEC 14496-3, 1.7), as MPEG-TS carries it
// (stream type 0x11): the bytes of the stream go in, raw access units and the
// AudioSpecificConfig of the StreamMuxConfig come out, which is what the AAC
// decoder takes. Only the layouts broadcasts use are read: one program with
// one layer and all streams on the same time framing; anything else is
// dropped frame by frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

class LatmParser {
public:
    // Appends stream bytes; frames may be cut anywhere.
    void push(const uint8_t* data, size_t size);
    // The next access unit, in stream order; false when none is complete.
    bool next(std::vector<uint8_t>& unit);
    // The AudioSpecificConfig of the last StreamMuxConfig; empty before the
    // first one.
    const std::vector<uint8_t>& audioSpecificConfig() const { return config_; }
    // LOAS frames that could not be read (unsupported or broken).
    size_t droppedFrames() const { return dropped_; }

private:
    void readFrames();
    bool readAudioMuxElement(const uint8_t* data, size_t size);

    std::vector<uint8_t> pending_;  // bytes not yet framed
    std::deque<std::vector<uint8_t>> units_;
    std::vector<uint8_t> config_;
    bool haveConfig_ = false;
    int numSubFrames_ = 0;
    int frameLengthType_ = 0;
    bool otherDataPresent_ = false;
    uint32_t otherDataBits_ = 0;
    size_t dropped_ = 0;
};
