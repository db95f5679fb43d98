#include "libs/TvEac3Dec/eac3_to_ac3.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

#include "libs/TvEac3Dec/access_unit.h"

namespace {

enum Slot { kL, kR, kC, kLfe, kLs, kRs, kS };
constexpr float kMinus3dB = 0.70710678f;

struct Contribution {
    int slot;
    float level;
};

// Where a decoded speaker goes in the 5.1 mix. Back surrounds join the side
// ones at -3 dB when both are there (7.1), as do the extra front and height
// speakers of the E-AC-3 extended layouts with their nearest 5.1 speaker.
int contributions(AVChannel channel, bool sides, bool backs, Contribution out[2])
{
    switch (channel) {
        case AV_CHAN_FRONT_LEFT:
            out[0] = {kL, 1};
            return 1;
        case AV_CHAN_FRONT_RIGHT:
            out[0] = {kR, 1};
            return 1;
        case AV_CHAN_FRONT_CENTER:
            out[0] = {kC, 1};
            return 1;
        case AV_CHAN_LOW_FREQUENCY:
        case AV_CHAN_LOW_FREQUENCY_2:
            out[0] = {kLfe, 1};
            return 1;
        case AV_CHAN_SIDE_LEFT:
            out[0] = {kLs, 1};
            return 1;
        case AV_CHAN_SIDE_RIGHT:
            out[0] = {kRs, 1};
            return 1;
        case AV_CHAN_BACK_LEFT:
            out[0] = {kLs, sides ? kMinus3dB : 1};
            return 1;
        case AV_CHAN_BACK_RIGHT:
            out[0] = {kRs, sides ? kMinus3dB : 1};
            return 1;
        case AV_CHAN_BACK_CENTER:
            if (!sides && !backs) {
                out[0] = {kS, 1};
                return 1;
            }
            out[0] = {kLs, kMinus3dB};
            out[1] = {kRs, kMinus3dB};
            return 2;
        case AV_CHAN_FRONT_LEFT_OF_CENTER:
        case AV_CHAN_WIDE_LEFT:
        case AV_CHAN_TOP_FRONT_LEFT:
        case AV_CHAN_SURROUND_DIRECT_LEFT:
            out[0] = {kL, kMinus3dB};
            return 1;
        case AV_CHAN_FRONT_RIGHT_OF_CENTER:
        case AV_CHAN_WIDE_RIGHT:
        case AV_CHAN_TOP_FRONT_RIGHT:
        case AV_CHAN_SURROUND_DIRECT_RIGHT:
            out[0] = {kR, kMinus3dB};
            return 1;
        case AV_CHAN_TOP_FRONT_CENTER:
        case AV_CHAN_TOP_CENTER:
            out[0] = {kC, kMinus3dB};
            return 1;
        default:
            return 0;
    }
}

}  // namespace

Eac3ToAc3::Eac3ToAc3()
{
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_EAC3);
    decoder_ = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (decoder_) {
        // A library inside a media filter has no console: libavcodec's own
        // messages about damaged frames stay below any level a host would print.
        decoder_->log_level_offset = AV_LOG_TRACE;
        decoder_->request_sample_fmt = AV_SAMPLE_FMT_FLTP;
        if (avcodec_open2(decoder_, codec, nullptr) < 0)
            avcodec_free_context(&decoder_);
    }
    decoded_ = av_frame_alloc();
    input_ = av_frame_alloc();
    packet_ = av_packet_alloc();
}

Eac3ToAc3::~Eac3ToAc3()
{
    av_packet_free(&packet_);
    av_frame_free(&input_);
    av_frame_free(&decoded_);
    avcodec_free_context(&encoder_);
    avcodec_free_context(&decoder_);
}

Eac3ToAc3::Result Eac3ToAc3::convert(const uint8_t* unit,
                                     size_t size,
                                     uint8_t* out,
                                     size_t capacity,
                                     size_t& written)
{
    written = 0;
    if (!ready())
        return Result::DecodeError;
    filled_ = 0;
    std::fill(std::begin(present_), std::end(present_), false);
    // Program 0 only: each independent substream 0 frame goes to the decoder
    // with the dependent frame that extends it; other programs are left out.
    // libavcodec decodes one dependent substream per program and refuses a
    // frame followed by a second, so further ones (channels beyond those the
    // first adds, which 5.1 could not carry anyway) are left out too.
    bool inProgram = false, ok = true;
    piece_.clear();
    forEachSyncFrame(unit, size, [&](size_t offset, const DolbySyncFrame& frame) {
        bool independent = frame.strmtyp != kEac3Dependent;
        if (independent) {
            if (inProgram && !piece_.empty())
                ok = ok && decodePiece(piece_.data(), piece_.size());
            piece_.clear();
            inProgram = frame.substreamid == 0;
        }
        if (inProgram && (independent || frame.substreamid == 0))
            piece_.insert(piece_.end(), unit + offset,
                          unit + offset + static_cast<size_t>(frame.frameSize));
    });
    if (inProgram && !piece_.empty())
        ok = ok && decodePiece(piece_.data(), piece_.size());
    if (!ok || filled_ != kSamples)
        return Result::DecodeError;
    return encode(out, capacity, written);
}

bool Eac3ToAc3::decodePiece(const uint8_t* piece, size_t size)
{
    // libavcodec reads a little past the end of a packet: give it its padding.
    if (av_new_packet(packet_, static_cast<int>(size)) < 0)
        return false;
    std::memcpy(packet_->data, piece, size);
    int sent = avcodec_send_packet(decoder_, packet_);
    av_packet_unref(packet_);
    if (sent < 0)
        return false;
    while (avcodec_receive_frame(decoder_, decoded_) >= 0) {
        bool usable = decoded_->format == AV_SAMPLE_FMT_FLTP &&
                      filled_ + decoded_->nb_samples <= kSamples &&
                      (rate_ == 0 || filled_ == 0 || decoded_->sample_rate == rate_);
        if (!usable) {
            av_frame_unref(decoded_);
            return false;
        }
        rate_ = decoded_->sample_rate;
        mixFrame();
        filled_ += decoded_->nb_samples;
        av_frame_unref(decoded_);
    }
    return true;
}

void Eac3ToAc3::mixFrame()
{
    const AVChannelLayout& layout = decoded_->ch_layout;
    int count = layout.nb_channels;
    bool sides = av_channel_layout_index_from_channel(&layout, AV_CHAN_SIDE_LEFT) >= 0;
    bool backs = av_channel_layout_index_from_channel(&layout, AV_CHAN_BACK_LEFT) >= 0;
    int n = decoded_->nb_samples;
    if (filled_ == 0)
        for (auto& slot : pcm_)
            std::fill(slot, slot + kSamples, 0.0f);
    for (int c = 0; c < count; ++c) {
        Contribution to[2];
        int targets =
            contributions(av_channel_layout_channel_from_index(&layout, c), sides, backs, to);
        const float* in = reinterpret_cast<const float*>(decoded_->extended_data[c]);
        for (int t = 0; t < targets; ++t) {
            present_[to[t].slot] = true;
            float* dst = pcm_[to[t].slot] + filled_;
            for (int i = 0; i < n; ++i)
                dst[i] += to[t].level * in[i];
        }
    }
}

bool Eac3ToAc3::openEncoder(uint64_t mask, int rate)
{
    if (encoder_ && mask == encoderMask_ && rate == encoderRate_)
        return true;
    avcodec_free_context(&encoder_);
    encoderMask_ = 0;
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AC3);
    encoder_ = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (!encoder_)
        return false;
    encoder_->log_level_offset = AV_LOG_TRACE;
    encoder_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    encoder_->sample_rate = rate;
    encoder_->bit_rate = 640000;
    av_channel_layout_from_mask(&encoder_->ch_layout, mask);
    if (avcodec_open2(encoder_, codec, nullptr) < 0) {
        avcodec_free_context(&encoder_);
        return false;
    }
    encoderMask_ = mask;
    encoderRate_ = rate;
    return true;
}

Eac3ToAc3::Result Eac3ToAc3::encode(uint8_t* out, size_t capacity, size_t& written)
{
    // The AC-3 layout nearest the decoded speakers; a lone centre is mono.
    bool stereo = present_[kL] || present_[kR];
    uint64_t mask = 0;
    std::pair<uint64_t, int> order[] = {
        {AV_CH_FRONT_LEFT, kL},      {AV_CH_FRONT_RIGHT, kR}, {AV_CH_FRONT_CENTER, kC},
        {AV_CH_LOW_FREQUENCY, kLfe}, {AV_CH_BACK_CENTER, kS}, {AV_CH_SIDE_LEFT, kLs},
        {AV_CH_SIDE_RIGHT, kRs},
    };
    bool wanted[kSlots] = {stereo,
                           stereo,
                           present_[kC],
                           present_[kLfe],
                           present_[kLs] || present_[kRs],
                           present_[kLs] || present_[kRs],
                           present_[kS] && !(present_[kLs] || present_[kRs])};
    if (!stereo && !present_[kC])
        return Result::DecodeError;
    for (const auto& [bit, slot] : order)
        if (wanted[slot])
            mask |= bit;
    if (!openEncoder(mask, rate_))
        return Result::EncodeError;

    av_frame_unref(input_);
    input_->format = AV_SAMPLE_FMT_FLTP;
    input_->sample_rate = rate_;
    input_->nb_samples = kSamples;
    if (av_channel_layout_copy(&input_->ch_layout, &encoder_->ch_layout) < 0 ||
        av_frame_get_buffer(input_, 0) < 0)
        return Result::EncodeError;
    // Planes in the order of the mask's bits, which is the order above.
    int plane = 0;
    for (const auto& [bit, slot] : order)
        if (mask & bit)
            std::memcpy(input_->extended_data[plane++], pcm_[slot], sizeof(float) * kSamples);
    if (avcodec_send_frame(encoder_, input_) < 0)
        return Result::EncodeError;
    if (avcodec_receive_packet(encoder_, packet_) < 0)
        return Result::EncodeError;
    Result result = Result::Ok;
    if (static_cast<size_t>(packet_->size) > capacity) {
        result = Result::TooSmall;
    } else {
        std::memcpy(out, packet_->data, static_cast<size_t>(packet_->size));
        written = static_cast<size_t>(packet_->size);
    }
    av_packet_unref(packet_);
    return result;
}
