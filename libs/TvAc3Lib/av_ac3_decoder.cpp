#include "libs/TvAc3Lib/av_ac3_decoder.h"

#include <algorithm>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

namespace {

Ac3Speaker speakerOf(AVChannel channel)
{
    switch (channel) {
        case AV_CHAN_FRONT_LEFT:
            return kSpeakerL;
        case AV_CHAN_FRONT_RIGHT:
            return kSpeakerR;
        case AV_CHAN_FRONT_CENTER:
            return kSpeakerC;
        case AV_CHAN_LOW_FREQUENCY:
            return kSpeakerLfe;
        case AV_CHAN_SIDE_LEFT:
        case AV_CHAN_BACK_LEFT:
            return kSpeakerLs;
        case AV_CHAN_SIDE_RIGHT:
        case AV_CHAN_BACK_RIGHT:
            return kSpeakerRs;
        case AV_CHAN_BACK_CENTER:
            return kSpeakerS;
        default:
            return kSpeakerNone;
    }
}

}  // namespace

AvAc3Decoder::AvAc3Decoder(bool eac3, bool checkCrc) : eac3_(eac3), checkCrc_(checkCrc)
{
    frame_ = av_frame_alloc();
    packet_ = av_packet_alloc();
    open();
}

void AvAc3Decoder::open()
{
    avcodec_free_context(&context_);
    const AVCodec* codec = avcodec_find_decoder(eac3_ ? AV_CODEC_ID_EAC3 : AV_CODEC_ID_AC3);
    context_ = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (!context_)
        return;
    // A library inside a media filter has no console: libavcodec's own
    // messages about damaged frames stay below any level a host would print.
    context_->log_level_offset = AV_LOG_TRACE;
    // A frame whose checksums fail is refused rather than concealed, so the
    // caller can resynchronise.
    context_->err_recognition = checkCrc_ ? AV_EF_CRCCHECK | AV_EF_EXPLODE : AV_EF_EXPLODE;
    context_->request_sample_fmt = AV_SAMPLE_FMT_FLTP;
    if (avcodec_open2(context_, codec, nullptr) < 0) {
        avcodec_free_context(&context_);
        return;
    }
    setDynamicRange(drcScale_, heavy_);
    setDialogueTarget(dialogueTarget_);
}

AvAc3Decoder::~AvAc3Decoder()
{
    av_buffer_unref(&input_);
    av_packet_free(&packet_);
    av_frame_free(&frame_);
    avcodec_free_context(&context_);
}

// A fresh context, not a flush: flushing keeps the dither generator's state,
// and a reset decoder must give the output of a new one.
void AvAc3Decoder::reset()
{
    open();
}

void AvAc3Decoder::setDynamicRange(float scale, bool heavy)
{
    drcScale_ = scale;
    heavy_ = heavy;
    if (!context_)
        return;
    av_opt_set_double(context_->priv_data, "drc_scale", scale, 0);
    av_opt_set_int(context_->priv_data, "heavy_compr", heavy ? 1 : 0, 0);
}

void AvAc3Decoder::setDialogueTarget(int dBFS)
{
    dialogueTarget_ = dBFS;
    if (context_)
        av_opt_set_int(context_->priv_data, "target_level", dBFS, 0);
}

bool AvAc3Decoder::decode(const uint8_t* frame,
                          size_t size,
                          std::array<const float*, kSpeakerCount>& speakers)
{
    if (!ready())
        return false;
    // libavcodec reads a little past the end of a packet: the frame goes into
    // a buffer with that padding, kept from frame to frame once the decoder
    // has let go of it (as it does when it has decoded the frame).
    size_t padded = size + AV_INPUT_BUFFER_PADDING_SIZE;
    if (!input_ || !av_buffer_is_writable(input_) || input_->size < padded) {
        av_buffer_unref(&input_);
        input_ = av_buffer_alloc(std::max<size_t>(padded, 4096 + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!input_)
            return false;
    }
    std::copy(frame, frame + size, input_->data);
    std::fill(input_->data + size, input_->data + padded, uint8_t(0));
    packet_->buf = av_buffer_ref(input_);
    if (!packet_->buf)
        return false;
    packet_->data = input_->data;
    packet_->size = static_cast<int>(size);
    int sent = avcodec_send_packet(context_, packet_);
    av_packet_unref(packet_);
    if (sent < 0)
        return false;
    if (avcodec_receive_frame(context_, frame_) < 0)
        return false;
    bool ok = frame_->nb_samples == 1536 && frame_->format == AV_SAMPLE_FMT_FLTP;
    speakers.fill(nullptr);
    for (int c = 0; ok && c < frame_->ch_layout.nb_channels; ++c) {
        Ac3Speaker speaker = speakerOf(av_channel_layout_channel_from_index(&frame_->ch_layout, c));
        if (speaker != kSpeakerNone)
            speakers[speaker] = reinterpret_cast<const float*>(frame_->extended_data[c]);
    }
    return ok;
}
