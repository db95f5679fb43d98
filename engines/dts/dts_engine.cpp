#include "engines/dts/dts_engine.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

struct DtsEngine {
    AVCodecContext* context = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    std::vector<int32_t> words;  // a frame's samples as 24-bit values, plane by plane
};

namespace {

constexpr int32_t kMax24 = (1 << 23) - 1;
constexpr int32_t kMin24 = -(1 << 23);

// libavcodec's native channel bits are WAVE's dwChannelMask bits for the
// speakers a DTS core can carry; anything else (an unordered layout) is
// given the first n WAVE speakers.
uint32_t waveMask(const AVChannelLayout& layout)
{
    if (layout.order == AV_CHANNEL_ORDER_NATIVE && layout.u.mask <= 0x3FFFF)
        return uint32_t(layout.u.mask);
    int n = layout.nb_channels;
    return n >= 1 && n <= 18 ? (1u << n) - 1 : 0;
}

void put24(uint8_t* p, int32_t v)
{
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
}

int32_t clip24(int64_t v)
{
    return v > kMax24 ? kMax24 : v < kMin24 ? kMin24 : int32_t(v);
}

// One plane of float samples as 24-bit values: scaled from full scale 1.0
// (a power of two, so exactly), clipped, rounded to nearest (ties to even)
// as lrintf rounds; four at a time where SSE2 is there.
void floatsToWords(const float* src, int n, int32_t* out)
{
    int i = 0;
#if defined(__SSE2__)
    const __m128 scale = _mm_set1_ps(8388608.0f);
    const __m128 low = _mm_set1_ps(-8388608.0f);
    const __m128 high = _mm_set1_ps(8388607.0f);
    for (; i + 4 <= n; i += 4) {
        __m128 v = _mm_mul_ps(_mm_loadu_ps(src + i), scale);
        // The sample is the second operand: a NaN passes both, as it passes
        // the clamp below, and converts as lrintf converts it.
        v = _mm_max_ps(low, _mm_min_ps(high, v));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_cvtps_epi32(v));
    }
#endif
    for (; i < n; ++i)
        out[i] = int32_t(std::lrintf(std::clamp(src[i] * 8388608.0f, -8388608.0f, 8388607.0f)));
}

// Planes of n 24-bit values interleaved into rows of three-byte samples,
// each stored with four bytes (little-endian: the low three first) whose
// spare byte the next sample overwrites; the last gets three, as the output
// ends there. A channel count known at compile time unrolls the row.
template <int Channels>
void packRows(const int32_t* words, int n, uint8_t* out)
{
    const int32_t* planes[Channels];
    for (int c = 0; c < Channels; ++c)
        planes[c] = words + size_t(c) * size_t(n);
    for (int i = 0; i + 1 < n; ++i)
        for (int c = 0; c < Channels; ++c, out += 3)
            std::memcpy(out, planes[c] + i, 4);
    for (int c = 0; c + 1 < Channels; ++c, out += 3)
        std::memcpy(out, planes[c] + n - 1, 4);
    put24(out, planes[Channels - 1][n - 1]);
}

// Planar decoder output to interleaved 24-bit: floats rounded from full scale
// 1.0, 32-bit integers from their top 24 bits, 16-bit integers widened. Each
// plane becomes 24-bit values first, then the rows are packed.
void interleave(const AVFrame* frame, int channels, uint8_t* out, std::vector<int32_t>& words)
{
    const int n = frame->nb_samples;
    if (channels <= 0 || n <= 0)
        return;
    words.resize(size_t(channels) * size_t(n));
    for (int c = 0; c < channels; ++c) {
        int32_t* plane = words.data() + size_t(c) * size_t(n);
        switch (frame->format) {
            case AV_SAMPLE_FMT_FLTP:
                floatsToWords(reinterpret_cast<const float*>(frame->extended_data[c]), n, plane);
                break;
            case AV_SAMPLE_FMT_S32P: {
                const int32_t* src = reinterpret_cast<const int32_t*>(frame->extended_data[c]);
                for (int i = 0; i < n; ++i)
                    plane[i] = clip24((int64_t(src[i]) + 128) >> 8);
                break;
            }
            default: {  // AV_SAMPLE_FMT_S16P
                const int16_t* src = reinterpret_cast<const int16_t*>(frame->extended_data[c]);
                for (int i = 0; i < n; ++i)
                    plane[i] = int32_t(src[i]) * 256;
                break;
            }
        }
    }
    switch (channels) {
        case 1:
            packRows<1>(words.data(), n, out);
            break;
        case 2:
            packRows<2>(words.data(), n, out);
            break;
        case 3:
            packRows<3>(words.data(), n, out);
            break;
        case 4:
            packRows<4>(words.data(), n, out);
            break;
        case 5:
            packRows<5>(words.data(), n, out);
            break;
        case 6:
            packRows<6>(words.data(), n, out);
            break;
        case 7:
            packRows<7>(words.data(), n, out);
            break;
        case 8:
            packRows<8>(words.data(), n, out);
            break;
        default: {
            uint8_t* dst = out;
            for (int i = 0; i < n; ++i)
                for (int c = 0; c < channels; ++c, dst += 3)
                    put24(dst, words[size_t(c) * size_t(n) + size_t(i)]);
        }
    }
}

bool knownFormat(int format)
{
    return format == AV_SAMPLE_FMT_FLTP || format == AV_SAMPLE_FMT_S32P ||
           format == AV_SAMPLE_FMT_S16P;
}

}  // namespace

DtsEngine* dtsEngineCreate()
{
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_DTS);
    if (!codec)
        return nullptr;
    auto* engine = new DtsEngine;
    engine->context = avcodec_alloc_context3(codec);
    engine->packet = av_packet_alloc();
    engine->frame = av_frame_alloc();
    // A decoder inside a media filter has no console: libavcodec's messages
    // about damaged frames stay below any level a host would print.
    if (engine->context)
        engine->context->log_level_offset = AV_LOG_TRACE;
    if (!engine->context || !engine->packet || !engine->frame ||
        av_opt_set_int(engine->context->priv_data, "core_only", 1, 0) < 0 ||
        avcodec_open2(engine->context, codec, nullptr) < 0) {
        dtsEngineDestroy(engine);
        return nullptr;
    }
    return engine;
}

void dtsEngineDestroy(DtsEngine* engine)
{
    if (!engine)
        return;
    av_frame_free(&engine->frame);
    av_packet_free(&engine->packet);
    avcodec_free_context(&engine->context);
    delete engine;
}

DtsFrameInfo dtsEngineDecode(DtsEngine* engine,
                             const uint8_t* frame,
                             size_t size,
                             uint8_t* output,
                             size_t capacity)
{
    DtsFrameInfo info;
    if (!engine || !frame || size == 0 || size > size_t(INT32_MAX) - AV_INPUT_BUFFER_PADDING_SIZE) {
        info.error = kDtsEngineBadFrame;
        return info;
    }
    // libavcodec reads a little past a packet's end: give it a padded copy.
    if (av_new_packet(engine->packet, int(size)) < 0) {
        info.error = kDtsEngineBadFrame;
        return info;
    }
    std::copy(frame, frame + size, engine->packet->data);
    int sent = avcodec_send_packet(engine->context, engine->packet);
    av_packet_unref(engine->packet);
    if (sent < 0) {
        info.error = kDtsEngineBadFrame;
        return info;
    }
    if (avcodec_receive_frame(engine->context, engine->frame) < 0) {
        info.error = kDtsEngineNoOutput;
        return info;
    }
    const AVFrame* decoded = engine->frame;
    int channels = decoded->ch_layout.nb_channels;
    uint32_t mask = waveMask(decoded->ch_layout);
    size_t bytes = size_t(channels) * size_t(decoded->nb_samples) * 3;
    if (channels <= 0 || mask == 0 || !knownFormat(decoded->format))
        info.error = kDtsEngineBadLayout;
    else if (!output || bytes > capacity)
        info.error = kDtsEngineOutputTooSmall;
    if (info.error == 0) {
        interleave(decoded, channels, output, engine->words);
        info.channels = channels;
        info.samples = channels * decoded->nb_samples;
        info.samplerate = decoded->sample_rate;
        info.bitspersample = 24;
        info.channelMask = mask;
    }
    av_frame_unref(engine->frame);
    return info;
}
