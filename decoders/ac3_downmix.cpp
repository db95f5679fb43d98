#include "decoders/ac3_downmix.h"

#include "core/status_helpers.h"

namespace {

// Where the library's output channels go, per output acmod; streams with an
// LFE channel differ only for 3/2.
constexpr int32_t kRoutingRows[8][6] = {
    {0, 3, 1, 4, 5, 2}, {2, 0, 3, 4, 5, 1}, {0, 3, 1, 4, 5, 2}, {0, 1, 2, 4, 5, 3},
    {0, 4, 1, 2, 5, 3}, {0, 1, 2, 3, 5, 4}, {0, 5, 1, 2, 3, 4}, {0, 2, 1, 3, 4, 5},
};
constexpr int32_t kRoutingRow3F2RLfe[6] = {0, 2, 1, 4, 5, 3};

}  // namespace

void Ac3DownmixRequest::set(int kind, int mixType, uint32_t channelMask)
{
    if (kind != KindAc3)
        return;
    mask = 0;
    if ((mixType != RemixDecoderDownmix && mixType != RemixDecoderSurroundDownmix) ||
        channelMask == 0)
        return;
    int target;
    switch (channelMask & ~0x8u) {
        case 0x4:
            target = 1;
            break;
        case 0x3:
            target = mixType == RemixDecoderSurroundDownmix ? 0 : 2;
            break;
        case 0x7:
            target = 3;
            break;
        case 0x103:
            target = 4;
            break;
        case 0x107:
            target = 5;
            break;
        case 0x33:
            target = 6;
            break;
        case 0x37:
            target = 7;
            break;
        default:
            return;  // no AC-3 layout: no downmix
    }
    mask = channelMask;
    mode = target;
    lfe = (channelMask & 0x8) != 0;
}

void Ac3DownmixRequest::apply(TvStatusAc3& status) const
{
    status.remixMode = RemixNone;
    if (mask == 0 || maskChannelCount(mask) >= status.chan)
        return;
    status.codedAcmod = status.acmod;
    status.codedLfeon = status.lfeon;
    status.chan = maskChannelCount(mask);
    status.acmod = mode;
    status.channelMask = mask;
    status.lfeon = lfe ? 1 : 0;
    status.remixMode = mode == 0 ? RemixDecoderSurroundDownmix : RemixDecoderDownmix;
}

const int32_t* ac3RoutingRow(int acmod, bool lfe)
{
    acmod &= 7;
    return acmod == 7 && lfe ? kRoutingRow3F2RLfe : kRoutingRows[acmod];
}
