// libavcodec's AC-3 decoder behind a small interface: one frame in, planar
// float speakers out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "libs/TvAc3Lib/ac3_mix.h"

struct AVCodecContext;
struct AVFrame;
struct AVPacket;
struct AVBufferRef;

class AvAc3Decoder {
public:
    // `eac3`: libavcodec's E-AC-3 decoder, which decodes AC-3 frames alike;
    // `checkCrc`: refuse frames whose checksums fail (off when the caller
    // has checked them already).
    explicit AvAc3Decoder(bool eac3 = false, bool checkCrc = true);
    ~AvAc3Decoder();
    AvAc3Decoder(const AvAc3Decoder&) = delete;
    AvAc3Decoder& operator=(const AvAc3Decoder&) = delete;

    bool ready() const { return context_ && frame_ && packet_; }
    // Decodes one frame given in stream byte order. On success `speakers`
    // points each speaker the frame carries at its 1536 samples (null for
    // speakers it lacks), valid until the next call.
    bool decode(const uint8_t* frame,
                size_t size,
                std::array<const float*, kSpeakerCount>& speakers);
    // Makes the decoder as new (its options kept).
    void reset();

    // Dynamic range: scale of the coded gain words (0 ignores them), and RF
    // ("heavy") compression; dialogue target in dBFS (0 = off).
    void setDynamicRange(float scale, bool heavy);
    void setDialogueTarget(int dBFS);

private:
    void open();

    AVCodecContext* context_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    AVBufferRef* input_ = nullptr;  // the padded copy of the frame decoded
    float drcScale_ = 1.0f;
    bool heavy_ = false;
    int dialogueTarget_ = 0;
    bool eac3_ = false;
    bool checkCrc_ = true;
};
