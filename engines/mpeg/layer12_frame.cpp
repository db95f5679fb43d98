#include "engines/mpeg/layer12_frame.h"

Layer12Frame measureLayer12Frame(const uint8_t* p, size_t available)
{
    static const int kRates[3] = {44100, 48000, 32000};
    static const int kBitrates[4][15] = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // MPEG-1 I
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // MPEG-1 II
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},     // MPEG-2/2.5 I
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},          // MPEG-2/2.5 II
    };
    Layer12Frame frame;
    if (available < 4 || p[0] != 0xFF || (p[1] & 0xE0) != 0xE0)
        return frame;
    int version = (p[1] >> 3) & 3;
    int layerBits = (p[1] >> 1) & 3;
    int rateIndex = (p[2] >> 2) & 3;
    int bitrateIndex = p[2] >> 4;
    if (version == 1 || layerBits < 2 || rateIndex == 3 || bitrateIndex == 15)
        return frame;
    frame.layer1 = layerBits == 3;
    frame.format =
        uint32_t(p[1] & 0x1E) << 8 | uint32_t(p[2] & 0x0C) << 4 | ((p[3] & 0xC0) == 0xC0 ? 1 : 0);
    if (bitrateIndex == 0) {
        frame.freeFormat = true;
        return frame;
    }
    int rate = kRates[rateIndex] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    int bitrate = kBitrates[(version == 3 ? 0 : 2) + (frame.layer1 ? 0 : 1)][bitrateIndex];
    int padding = (p[2] >> 1) & 1;
    frame.size = frame.layer1 ? size_t((12 * bitrate * 1000 / rate + padding) * 4)
                              : size_t(144 * bitrate * 1000 / rate + padding);
    return frame;
}
