// The libav functions the module and the host call, defined here so that
// neither links libavcodec, libavformat, libavutil or libswresample: each
// library, with the hundred-odd libraries libavcodec needs, is loaded on the
// first call into it. A run that decodes MPEG audio, AMR or LPCM never loads
// them; `tavio --version` starts in a few milliseconds instead of 80.
//
// Each forwarder restates its function's signature, so the compiler checks it
// against libav's own declaration (a different one would be a second C
// function of the same name). The library is the one whose major version the
// headers carry, as the link would have picked. When it cannot be loaded, one
// line goes to standard error and the call fails as libav reports failure:
// a null pointer, a negative AVERROR, or nothing done. Freeing nothing (a
// null pointer, as destructors do whether or not they used libav) loads
// nothing.
//
// Built with hidden visibility: the module and the host bind to these, while
// libav's own calls among its libraries go on binding to one another.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/channel_layout.h>
#include <libavutil/crc.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include "platform/posix/libav_on_demand.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>

namespace {

enum class Library { Util, Codec, Format, Resample };

constexpr const char* fileName(Library library)
{
    switch (library) {
        case Library::Util:
            return "libavutil.so." AV_STRINGIFY(LIBAVUTIL_VERSION_MAJOR);
        case Library::Codec:
            return "libavcodec.so." AV_STRINGIFY(LIBAVCODEC_VERSION_MAJOR);
        case Library::Format:
            return "libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR);
        case Library::Resample:
            return "libswresample.so." AV_STRINGIFY(LIBSWRESAMPLE_VERSION_MAJOR);
    }
    return "";
}

void* open(Library library)
{
    void* handle = dlopen(fileName(library), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        std::fprintf(stderr, "tavio: %s could not be loaded (%s); its formats cannot be read\n",
                     fileName(library), dlerror());
    return handle;
}

// Each library's handle, loaded once by whichever thread asks first (a
// function-local static is initialised exactly once; the others wait).
void* handleOf(Library library)
{
    switch (library) {
        case Library::Util: {
            static void* handle = open(Library::Util);
            return handle;
        }
        case Library::Codec: {
            static void* handle = open(Library::Codec);
            return handle;
        }
        case Library::Format: {
            static void* handle = open(Library::Format);
            return handle;
        }
        case Library::Resample: {
            static void* handle = open(Library::Resample);
            return handle;
        }
    }
    return nullptr;
}

void* symbolOf(Library library, const char* name)
{
    void* handle = handleOf(library);
    if (!handle)
        return nullptr;
    void* symbol = dlsym(handle, name);
    if (!symbol)
        std::fprintf(stderr, "tavio: %s has no %s\n", fileName(library), name);
    return symbol;
}

}  // namespace

bool libavformatLoads()
{
    return handleOf(Library::Format) != nullptr;
}

// The real function behind a forwarder, looked up once.
#define REAL(library, name)                                     \
    static const auto real = reinterpret_cast<decltype(&name)>( \
        reinterpret_cast<uintptr_t>(symbolOf(Library::library, #name)));

extern "C" {

// libavutil
AVFrame* av_frame_alloc(void)
{
    REAL(Util, av_frame_alloc);
    return real ? real() : nullptr;
}
void av_frame_free(AVFrame** frame)
{
    if (!frame || !*frame)
        return;
    REAL(Util, av_frame_free);
    if (real)
        real(frame);
}
void av_frame_unref(AVFrame* frame)
{
    REAL(Util, av_frame_unref);
    if (real)
        real(frame);
}
int av_opt_set_int(void* obj, const char* name, int64_t val, int search_flags)
{
    REAL(Util, av_opt_set_int);
    return real ? real(obj, name, val, search_flags) : AVERROR(ENOSYS);
}
void av_channel_layout_default(AVChannelLayout* ch_layout, int nb_channels)
{
    REAL(Util, av_channel_layout_default);
    if (real)
        real(ch_layout, nb_channels);
}
int av_channel_layout_describe(const AVChannelLayout* channel_layout, char* buf, size_t buf_size)
{
    REAL(Util, av_channel_layout_describe);
    return real ? real(channel_layout, buf, buf_size) : AVERROR(ENOSYS);
}
int av_channel_layout_from_mask(AVChannelLayout* channel_layout, uint64_t mask)
{
    REAL(Util, av_channel_layout_from_mask);
    return real ? real(channel_layout, mask) : AVERROR(ENOSYS);
}
void av_channel_layout_uninit(AVChannelLayout* channel_layout)
{
    REAL(Util, av_channel_layout_uninit);
    if (real)
        real(channel_layout);
}
int av_get_bytes_per_sample(enum AVSampleFormat sample_fmt)
{
    REAL(Util, av_get_bytes_per_sample);
    return real ? real(sample_fmt) : 0;
}
void av_log_set_level(int level)
{
    REAL(Util, av_log_set_level);
    if (real)
        real(level);
}
int64_t av_rescale_q(int64_t a, AVRational bq, AVRational cq)
{
    REAL(Util, av_rescale_q);
    return real ? real(a, bq, cq) : AV_NOPTS_VALUE;
}
char* av_strdup(const char* s)
{
    REAL(Util, av_strdup);
    return real ? real(s) : nullptr;
}
int av_strerror(int errnum, char* errbuf, size_t errbuf_size)
{
    REAL(Util, av_strerror);
    if (real)
        return real(errnum, errbuf, errbuf_size);
    if (errbuf_size > 0)
        std::snprintf(errbuf, errbuf_size, "error %d (libavutil not loaded)", errnum);
    return -1;
}

int av_frame_get_buffer(AVFrame* frame, int align)
{
    REAL(Util, av_frame_get_buffer);
    return real ? real(frame, align) : AVERROR(ENOMEM);
}
AVBufferRef* av_buffer_alloc(size_t size)
{
    REAL(Util, av_buffer_alloc);
    return real ? real(size) : nullptr;
}
AVBufferRef* av_buffer_ref(const AVBufferRef* buf)
{
    REAL(Util, av_buffer_ref);
    return real ? real(buf) : nullptr;
}
void av_buffer_unref(AVBufferRef** buf)
{
    if (!buf || !*buf)
        return;
    REAL(Util, av_buffer_unref);
    if (real)
        real(buf);
}
int av_buffer_is_writable(const AVBufferRef* buf)
{
    REAL(Util, av_buffer_is_writable);
    return real ? real(buf) : 0;
}
int av_opt_set(void* obj, const char* name, const char* val, int search_flags)
{
    REAL(Util, av_opt_set);
    return real ? real(obj, name, val, search_flags) : AVERROR(ENOSYS);
}
int av_opt_set_double(void* obj, const char* name, double val, int search_flags)
{
    REAL(Util, av_opt_set_double);
    return real ? real(obj, name, val, search_flags) : AVERROR(ENOSYS);
}
int av_channel_layout_copy(AVChannelLayout* dst, const AVChannelLayout* src)
{
    REAL(Util, av_channel_layout_copy);
    return real ? real(dst, src) : AVERROR(ENOSYS);
}
enum AVChannel av_channel_layout_channel_from_index(const AVChannelLayout* channel_layout,
                                                    unsigned int idx)
{
    REAL(Util, av_channel_layout_channel_from_index);
    return real ? real(channel_layout, idx) : AV_CHAN_NONE;
}
int av_channel_layout_index_from_channel(const AVChannelLayout* channel_layout,
                                         enum AVChannel channel)
{
    REAL(Util, av_channel_layout_index_from_channel);
    return real ? real(channel_layout, channel) : AVERROR(ENOSYS);
}
const AVCRC* av_crc_get_table(AVCRCId crc_id)
{
    REAL(Util, av_crc_get_table);
    return real ? real(crc_id) : nullptr;
}
uint32_t av_crc(const AVCRC* ctx, uint32_t crc, const uint8_t* buffer, size_t length)
{
    REAL(Util, av_crc);
    return real && ctx ? real(ctx, crc, buffer, length) : crc;
}

// libavcodec
AVPacket* av_packet_alloc(void)
{
    REAL(Codec, av_packet_alloc);
    return real ? real() : nullptr;
}
void av_packet_free(AVPacket** pkt)
{
    if (!pkt || !*pkt)
        return;
    REAL(Codec, av_packet_free);
    if (real)
        real(pkt);
}
void av_packet_unref(AVPacket* pkt)
{
    REAL(Codec, av_packet_unref);
    if (real)
        real(pkt);
}
int av_new_packet(AVPacket* pkt, int size)
{
    REAL(Codec, av_new_packet);
    return real ? real(pkt, size) : AVERROR(ENOMEM);
}
uint8_t* av_packet_get_side_data(const AVPacket* pkt, enum AVPacketSideDataType type, size_t* size)
{
    REAL(Codec, av_packet_get_side_data);
    return real ? real(pkt, type, size) : nullptr;
}
AVCodecContext* avcodec_alloc_context3(const AVCodec* codec)
{
    REAL(Codec, avcodec_alloc_context3);
    return real ? real(codec) : nullptr;
}
const AVCodec* avcodec_find_decoder(enum AVCodecID id)
{
    REAL(Codec, avcodec_find_decoder);
    return real ? real(id) : nullptr;
}
void avcodec_free_context(AVCodecContext** avctx)
{
    if (!avctx || !*avctx)
        return;
    REAL(Codec, avcodec_free_context);
    if (real)
        real(avctx);
}
int avcodec_open2(AVCodecContext* avctx, const AVCodec* codec, AVDictionary** options)
{
    REAL(Codec, avcodec_open2);
    return real ? real(avctx, codec, options) : AVERROR(ENOSYS);
}
int avcodec_send_packet(AVCodecContext* avctx, const AVPacket* avpkt)
{
    REAL(Codec, avcodec_send_packet);
    return real ? real(avctx, avpkt) : AVERROR(ENOSYS);
}
int avcodec_receive_frame(AVCodecContext* avctx, AVFrame* frame)
{
    REAL(Codec, avcodec_receive_frame);
    return real ? real(avctx, frame) : AVERROR(ENOSYS);
}
const char* avcodec_get_name(enum AVCodecID id)
{
    REAL(Codec, avcodec_get_name);
    return real ? real(id) : nullptr;
}

const AVCodec* avcodec_find_encoder(enum AVCodecID id)
{
    REAL(Codec, avcodec_find_encoder);
    return real ? real(id) : nullptr;
}
int avcodec_send_frame(AVCodecContext* avctx, const AVFrame* frame)
{
    REAL(Codec, avcodec_send_frame);
    return real ? real(avctx, frame) : AVERROR(ENOSYS);
}
int avcodec_receive_packet(AVCodecContext* avctx, AVPacket* avpkt)
{
    REAL(Codec, avcodec_receive_packet);
    return real ? real(avctx, avpkt) : AVERROR(ENOSYS);
}

// libavformat
const AVInputFormat* av_find_input_format(const char* short_name)
{
    REAL(Format, av_find_input_format);
    return real ? real(short_name) : nullptr;
}
const AVInputFormat* av_probe_input_format2(const AVProbeData* pd, int is_opened, int* score_max)
{
    REAL(Format, av_probe_input_format2);
    return real ? real(pd, is_opened, score_max) : nullptr;
}
AVFormatContext* avformat_alloc_context(void)
{
    REAL(Format, avformat_alloc_context);
    return real ? real() : nullptr;
}
int avformat_open_input(AVFormatContext** ps,
                        const char* url,
                        const AVInputFormat* fmt,
                        AVDictionary** options)
{
    REAL(Format, avformat_open_input);
    return real ? real(ps, url, fmt, options) : AVERROR(ENOSYS);
}
int avformat_find_stream_info(AVFormatContext* ic, AVDictionary** options)
{
    REAL(Format, avformat_find_stream_info);
    return real ? real(ic, options) : AVERROR(ENOSYS);
}
void avformat_close_input(AVFormatContext** s)
{
    if (!s || !*s)
        return;
    REAL(Format, avformat_close_input);
    if (real)
        real(s);
}
int av_read_frame(AVFormatContext* s, AVPacket* pkt)
{
    REAL(Format, av_read_frame);
    return real ? real(s, pkt) : AVERROR(ENOSYS);
}
int av_seek_frame(AVFormatContext* s, int stream_index, int64_t timestamp, int flags)
{
    REAL(Format, av_seek_frame);
    return real ? real(s, stream_index, timestamp, flags) : AVERROR(ENOSYS);
}
int avformat_seek_file(AVFormatContext* s,
                       int stream_index,
                       int64_t min_ts,
                       int64_t ts,
                       int64_t max_ts,
                       int flags)
{
    REAL(Format, avformat_seek_file);
    return real ? real(s, stream_index, min_ts, ts, max_ts, flags) : AVERROR(ENOSYS);
}
int64_t avio_seek(AVIOContext* s, int64_t offset, int whence)
{
    REAL(Format, avio_seek);
    return real ? real(s, offset, whence) : AVERROR(ENOSYS);
}
int64_t avio_size(AVIOContext* s)
{
    REAL(Format, avio_size);
    return real ? real(s) : AVERROR(ENOSYS);
}

// libswresample
int swr_alloc_set_opts2(struct SwrContext** ps,
                        AVChannelLayout* out_ch_layout,
                        enum AVSampleFormat out_sample_fmt,
                        int out_sample_rate,
                        AVChannelLayout* in_ch_layout,
                        enum AVSampleFormat in_sample_fmt,
                        int in_sample_rate,
                        int log_offset,
                        void* log_ctx)
{
    REAL(Resample, swr_alloc_set_opts2);
    return real ? real(ps, out_ch_layout, out_sample_fmt, out_sample_rate, in_ch_layout,
                       in_sample_fmt, in_sample_rate, log_offset, log_ctx)
                : AVERROR(ENOSYS);
}
int swr_init(struct SwrContext* s)
{
    REAL(Resample, swr_init);
    return real ? real(s) : AVERROR(ENOSYS);
}
int swr_get_out_samples(struct SwrContext* s, int in_samples)
{
    REAL(Resample, swr_get_out_samples);
    return real ? real(s, in_samples) : AVERROR(ENOSYS);
}
int swr_convert(struct SwrContext* s,
                uint8_t** out,
                int out_count,
                const uint8_t** in,
                int in_count)
{
    REAL(Resample, swr_convert);
    return real ? real(s, out, out_count, in, in_count) : AVERROR(ENOSYS);
}
void swr_free(struct SwrContext** s)
{
    if (!s || !*s)
        return;
    REAL(Resample, swr_free);
    if (real)
        real(s);
}

}  // extern "C"
