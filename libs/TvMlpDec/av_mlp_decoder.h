// libavcodec's MLP or TrueHD decoder behind a small interface: one access
// unit in, 24-bit samples out into rows of the library's sample matrix.
#pragma once

#include <cstddef>
#include <cstdint>

#include "libs/TvMlpDec/tv_mlp_dec.h"

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

class AvMlpDecoder {
public:
    // `stereo`: ask for the stream's two-channel presentation (libavcodec's
    // "downmix" option), which stops decoding after the first substream.
    // `channels`: what the major sync announces; libavcodec's TrueHD decoder
    // takes a single substream's layout only when told there are more than two
    // channels (as a demuxer's parser would have told it).
    AvMlpDecoder(bool trueHd, bool stereo, int channels);
    ~AvMlpDecoder();
    AvMlpDecoder(const AvMlpDecoder&) = delete;
    AvMlpDecoder& operator=(const AvMlpDecoder&) = delete;

    // Whether libavcodec has both decoders.
    static bool available();

    bool ready() const { return context_ && frame_ && packet_; }
    bool trueHd() const { return trueHd_; }

    // Decodes one whole access unit and writes its samples, sign-extended
    // 24-bit, into `rows` from column `column` on. False when libavcodec
    // refuses the unit or gives more than kMlpMaxSamples samples or more
    // channels than fit; `channels`, `samples` and `mask` (the layout's
    // speaker mask, 0 when it has none) describe what was written.
    bool decode(const uint8_t* unit,
                size_t length,
                MlpSampleRow* rows,
                int column,
                int& channels,
                int& samples,
                uint32_t& mask);

private:
    AVCodecContext* context_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    bool trueHd_;
};
