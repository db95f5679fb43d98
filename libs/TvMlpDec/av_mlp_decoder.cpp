#include "libs/TvMlpDec/av_mlp_decoder.h"

#include <algorithm>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
}

namespace {

// Enough for the access units of common streams, so that the buffer is
// rarely made again as their sizes vary.
constexpr size_t kFirstBufferBytes = 8192;

}  // namespace

bool AvMlpDecoder::available()
{
    return avcodec_find_decoder(AV_CODEC_ID_MLP) && avcodec_find_decoder(AV_CODEC_ID_TRUEHD);
}

AvMlpDecoder::AvMlpDecoder(bool trueHd, bool stereo, int channels) : trueHd_(trueHd)
{
    frame_ = av_frame_alloc();
    packet_ = av_packet_alloc();
    const AVCodec* codec = avcodec_find_decoder(trueHd ? AV_CODEC_ID_TRUEHD : AV_CODEC_ID_MLP);
    context_ = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (!context_)
        return;
    // A library inside a media filter has no console: libavcodec's own
    // messages about damaged units stay below any level a host would print.
    context_->log_level_offset = AV_LOG_TRACE;
    if (channels > 0)
        av_channel_layout_default(&context_->ch_layout, channels);
    if (stereo)
        av_opt_set(context_->priv_data, "downmix", "stereo", 0);
    if (avcodec_open2(context_, codec, nullptr) < 0)
        avcodec_free_context(&context_);
}

AvMlpDecoder::~AvMlpDecoder()
{
    av_packet_free(&packet_);
    av_frame_free(&frame_);
    avcodec_free_context(&context_);
}

bool AvMlpDecoder::decode(const uint8_t* unit,
                          size_t length,
                          MlpSampleRow* rows,
                          int column,
                          int& channels,
                          int& samples,
                          uint32_t& mask)
{
    channels = samples = 0;
    mask = 0;
    if (!ready())
        return false;
    // One buffer serves every unit: a new one only when a unit outgrows it or
    // libavcodec still holds a reference to it.
    if (!packet_->buf || packet_->buf->size < length + AV_INPUT_BUFFER_PADDING_SIZE ||
        !av_buffer_is_writable(packet_->buf)) {
        av_packet_unref(packet_);
        if (av_new_packet(packet_, int(std::max(length, kFirstBufferBytes))) < 0)
            return false;
    }
    packet_->size = int(length);
    std::copy(unit, unit + length, packet_->data);
    // libavcodec reads a little past the end of a packet: zeroed padding.
    std::fill_n(packet_->data + length, AV_INPUT_BUFFER_PADDING_SIZE, uint8_t(0));
    int sent = avcodec_send_packet(context_, packet_);
    if (sent < 0 || avcodec_receive_frame(context_, frame_) < 0)
        return false;
    int n = frame_->nb_samples;
    int c = frame_->ch_layout.nb_channels;
    bool ok = n > 0 && n <= kMlpMaxSamples && c > 0 && column + c <= kMlpColumns;
    if (ok && frame_->format == AV_SAMPLE_FMT_S32) {
        // 24-bit samples in the top bits of each word.
        const int32_t* in = reinterpret_cast<const int32_t*>(frame_->data[0]);
        for (int i = 0; i < n; ++i)
            for (int k = 0; k < c; ++k)
                rows[i][column + k] = in[i * c + k] >> 8;
    } else if (ok && frame_->format == AV_SAMPLE_FMT_S16) {
        const int16_t* in = reinterpret_cast<const int16_t*>(frame_->data[0]);
        for (int i = 0; i < n; ++i)
            for (int k = 0; k < c; ++k)
                rows[i][column + k] = int32_t(in[i * c + k]) * 256;
    } else {
        ok = false;
    }
    if (ok) {
        channels = c;
        samples = n;
        if (frame_->ch_layout.order == AV_CHANNEL_ORDER_NATIVE)
            mask = uint32_t(frame_->ch_layout.u.mask);
    }
    av_frame_unref(frame_);
    return ok;
}
