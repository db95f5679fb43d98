#include "engines/mpeg/mpeg_frame_decoder.h"

#include <mpg123.h>

#include <cstring>
#include <vector>

namespace {

// Layer I's padding slot is 4 bytes, layer II's and III's 1 byte; a caller
// counting 1 for every layer is at most 3 bytes short.
constexpr size_t kLayer1PaddingShortfall = 3;

// The true length of the layer I frame at `p` (4 bytes readable), or 0.
size_t layer1FrameSize(const uint8_t* p)
{
    static const int kRates[3] = {44100, 48000, 32000};
    static const int kBitrates[2][15] = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    };
    if (p[0] != 0xFF || (p[1] & 0xE6) != 0xE6)
        return 0;
    int version = (p[1] >> 3) & 3;
    int rateIndex = (p[2] >> 2) & 3;
    int bitrateIndex = p[2] >> 4;
    if (version == 1 || rateIndex == 3 || bitrateIndex == 0 || bitrateIndex == 15)
        return 0;
    int rate = kRates[rateIndex] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    int bitrate = kBitrates[version == 3 ? 0 : 1][bitrateIndex];
    return size_t((12 * bitrate * 1000 / rate + ((p[2] >> 1) & 1)) * 4);
}

}  // namespace

std::unique_ptr<MpegFrameDecoder> MpegFrameDecoder::create()
{
    std::unique_ptr<MpegFrameDecoder> decoder(new MpegFrameDecoder);
    if (!decoder->_mpg123.handle())
        return nullptr;
    return decoder;
}

bool MpegFrameDecoder::decode(const uint8_t* input,
                              size_t size,
                              int16_t* output,
                              size_t capacityWords,
                              MpegFrameOutput& result)
{
    mpg123_handle* h = _mpg123.handle();
    if (!h || !input || size < 4)
        return true;
    size_t whole = layer1FrameSize(input);
    if (whole > size && whole - size <= kLayer1PaddingShortfall) {
        std::vector<uint8_t> frame(whole, 0);
        std::memcpy(frame.data(), input, size);
        if (mpg123_feed(h, frame.data(), frame.size()) != MPG123_OK)
            return true;
    } else if (mpg123_feed(h, input, size) != MPG123_OK) {
        return true;
    }

    off_t frameNumber = 0;
    unsigned char* audio = nullptr;
    size_t bytes = 0;
    int status;
    do
        status = mpg123_decode_frame(h, &frameNumber, &audio, &bytes);
    while (status == MPG123_NEW_FORMAT);
    if (status != MPG123_OK || bytes > capacityWords * 2) {
        // Whatever was fed of a bad frame must not prefix the next one.
        _mpg123.reopen();
        return true;
    }
    long rate = 0;
    int channels = 0;
    int encoding = 0;
    mpg123_getformat(h, &rate, &channels, &encoding);
    if (bytes)
        std::memcpy(output, audio, bytes);
    result.totalSamples = int(bytes / 2);
    result.channels = channels;
    result.sampleRate = int(rate);
    return result.totalSamples == 0 || channels <= 0;
}
