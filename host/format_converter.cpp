#include "host/format_converter.h"

#include <cstring>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace {

AVSampleFormat sampleFormat(const PcmFormat& format)
{
    if (format.kind == PcmFormat::Kind::Float)
        return AV_SAMPLE_FMT_FLT;
    switch (format.bits) {
        case 8:
            return AV_SAMPLE_FMT_U8;
        case 16:
            return AV_SAMPLE_FMT_S16;
        default:  // 24-bit travels as 32-bit
            return AV_SAMPLE_FMT_S32;
    }
}

int bytesPerSample(const PcmFormat& format)
{
    return av_get_bytes_per_sample(sampleFormat(format));
}

AVChannelLayout layoutOf(const PcmFormat& format)
{
    AVChannelLayout layout{};
    if (format.mask && __builtin_popcount(format.mask) == format.channels &&
        av_channel_layout_from_mask(&layout, format.mask) == 0)
        return layout;
    av_channel_layout_default(&layout, format.channels);
    return layout;
}

}  // namespace

FormatConverter::~FormatConverter()
{
    swr_free(&swr_);
}

bool FormatConverter::configure(const PcmFormat& from, const PcmFormat& to)
{
    swr_free(&swr_);
    if (!from.isConvertible() || !to.isConvertible())
        return false;
    AVChannelLayout inLayout = layoutOf(from), outLayout = layoutOf(to);
    int result = swr_alloc_set_opts2(&swr_, &outLayout, sampleFormat(to), int(to.rate), &inLayout,
                                     sampleFormat(from), int(from.rate), 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    av_channel_layout_uninit(&outLayout);
    if (result < 0 || swr_init(swr_) < 0) {
        swr_free(&swr_);
        return false;
    }
    from_ = from;
    to_ = to;
    return true;
}

void FormatConverter::convert(const uint8_t* data, size_t size, std::vector<uint8_t>& out)
{
    if (!swr_ || !from_.blockAlign)
        return;
    int frames = int(size / from_.blockAlign);
    if (from_.kind == PcmFormat::Kind::Integer && from_.bits == 24) {
        size_t count = size_t(frames) * from_.channels;
        unpacked_.resize(count * 4);
        for (size_t i = 0; i < count; ++i) {
            const uint8_t* s = data + 3 * i;
            uint32_t v = uint32_t(s[0]) << 8 | uint32_t(s[1]) << 16 | uint32_t(s[2]) << 24;
            std::memcpy(&unpacked_[4 * i], &v, 4);
        }
        data = unpacked_.data();
    }
    run(data, frames, out);
}

void FormatConverter::drain(std::vector<uint8_t>& out)
{
    if (swr_)
        run(nullptr, 0, out);
    swr_free(&swr_);
}

void FormatConverter::run(const uint8_t* in, int frames, std::vector<uint8_t>& out)
{
    int capacity = swr_get_out_samples(swr_, frames);
    if (capacity <= 0)
        return;
    int outSample = bytesPerSample(to_);
    converted_.resize(size_t(capacity) * to_.channels * outSample);
    uint8_t* outPlanes[1] = {converted_.data()};
    const uint8_t* inPlanes[1] = {in};
    int made = swr_convert(swr_, outPlanes, capacity, in ? inPlanes : nullptr, frames);
    if (made <= 0)
        return;
    size_t count = size_t(made) * to_.channels;
    if (to_.kind == PcmFormat::Kind::Integer && to_.bits == 24) {
        // The top three bytes of each 32-bit sample; libswresample already
        // rounded and clipped at 32 bits, truncation keeps the 24-bit value.
        size_t base = out.size();
        out.resize(base + count * 3);
        for (size_t i = 0; i < count; ++i)
            std::memcpy(&out[base + 3 * i], &converted_[4 * i + 1], 3);
        return;
    }
    out.insert(out.end(), converted_.begin(), converted_.begin() + ptrdiff_t(count * outSample));
}
