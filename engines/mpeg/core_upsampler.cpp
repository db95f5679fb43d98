#include "engines/mpeg/core_upsampler.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

CoreUpsampler::~CoreUpsampler()
{
    reset();
}

void CoreUpsampler::reset()
{
    swr_free(&_swr);
    _channels = 0;
    _inRate = 0;
}

bool CoreUpsampler::upsample(const int16_t* in,
                             size_t frames,
                             int channels,
                             int inRate,
                             std::vector<uint8_t>& out)
{
    if (channels < 1 || channels > 2 || inRate <= 0)
        return false;
    if (!_swr || channels != _channels || inRate != _inRate) {
        reset();
        AVChannelLayout layout;
        av_channel_layout_default(&layout, channels);
        if (swr_alloc_set_opts2(&_swr, &layout, AV_SAMPLE_FMT_S16, 2 * inRate, &layout,
                                AV_SAMPLE_FMT_S16, inRate, 0, nullptr) < 0 ||
            swr_init(_swr) < 0) {
            reset();
            return false;
        }
        _channels = channels;
        _inRate = inRate;
    }
    int capacity = swr_get_out_samples(_swr, int(frames));
    if (capacity < 0)
        return false;
    size_t start = out.size();
    out.resize(start + size_t(capacity) * size_t(channels) * 2);
    uint8_t* outPlanes[1] = {out.data() + start};
    const uint8_t* inPlanes[1] = {reinterpret_cast<const uint8_t*>(in)};
    int got = swr_convert(_swr, outPlanes, capacity, inPlanes, int(frames));
    if (got < 0) {
        out.resize(start);
        return false;
    }
    out.resize(start + size_t(got) * size_t(channels) * 2);
    return true;
}
