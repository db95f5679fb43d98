#include "engines/mpeg/mpeg_frame_decoder.h"

#include <mpg123.h>

#include <cstring>
#include <vector>

namespace {

// Layer I's padding slot is 4 bytes, layer II's and III's 1 byte; a caller
// counting 1 for every layer is at most 3 bytes short.
constexpr size_t kLayer1PaddingShortfall = 3;

// A layer I or II frame as its header measures it with the standards' own
// tables (ISO/IEC 11172-3, ISO/IEC 13818-3), whatever the caller's framing.
struct FrameHeader {
    size_t size = 0;  // bytes, padding included; 0 when no frame starts here
    bool layer1 = false;
    // Version, layer, sample rate and single channel or not: what must stay
    // the same for all frames of one call, whose PCM shares one format.
    uint32_t format = 0;
};

FrameHeader frameAt(const uint8_t* p, size_t available)
{
    static const int kRates[3] = {44100, 48000, 32000};
    static const int kBitrates[4][15] = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // MPEG-1 I
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // MPEG-1 II
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},     // MPEG-2/2.5 I
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},          // MPEG-2/2.5 II
    };
    FrameHeader frame;
    if (available < 4 || p[0] != 0xFF || (p[1] & 0xE0) != 0xE0)
        return frame;
    int version = (p[1] >> 3) & 3;
    int layerBits = (p[1] >> 1) & 3;
    int rateIndex = (p[2] >> 2) & 3;
    int bitrateIndex = p[2] >> 4;
    if (version == 1 || layerBits < 2 || rateIndex == 3 || bitrateIndex == 0 || bitrateIndex == 15)
        return frame;
    frame.layer1 = layerBits == 3;
    int rate = kRates[rateIndex] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    int bitrate = kBitrates[(version == 3 ? 0 : 2) + (frame.layer1 ? 0 : 1)][bitrateIndex];
    int padding = (p[2] >> 1) & 1;
    frame.size = frame.layer1 ? size_t((12 * bitrate * 1000 / rate + padding) * 4)
                              : size_t(144 * bitrate * 1000 / rate + padding);
    frame.format =
        uint32_t(p[1] & 0x1E) << 8 | uint32_t(p[2] & 0x0C) << 4 | ((p[3] & 0xC0) == 0xC0 ? 1 : 0);
    return frame;
}

}  // namespace

std::unique_ptr<MpegFrameDecoder> MpegFrameDecoder::create()
{
    std::unique_ptr<MpegFrameDecoder> decoder(new MpegFrameDecoder);
    if (!decoder->_mpg123.handle())
        return nullptr;
    return decoder;
}

const int16_t* MpegFrameDecoder::decodeOne(const uint8_t* frame, size_t size, size_t& words)
{
    mpg123_handle* h = _mpg123.handle();
    off_t frameNumber = 0;
    unsigned char* audio = nullptr;
    size_t bytes = 0;
    int status = mpg123_feed(h, frame, size);
    while (status == MPG123_OK || status == MPG123_NEW_FORMAT) {
        status = mpg123_decode_frame(h, &frameNumber, &audio, &bytes);
        if (status == MPG123_OK)
            break;
    }
    if (status != MPG123_OK) {
        // Whatever was fed of a bad frame must not prefix the next one.
        _mpg123.reopen();
        return nullptr;
    }
    words = bytes / 2;
    return reinterpret_cast<const int16_t*>(audio);
}

bool MpegFrameDecoder::decode(const uint8_t* input,
                              size_t size,
                              int16_t* output,
                              size_t capacityWords,
                              MpegFrameOutput& result)
{
    result = MpegFrameOutput();
    if (!_mpg123.handle() || !input)
        return true;
    FrameHeader first = frameAt(input, size);
    std::vector<uint8_t> padded;
    if (first.layer1 && first.size > size && first.size - size <= kLayer1PaddingShortfall) {
        padded.assign(first.size, 0);
        std::memcpy(padded.data(), input, size);
        input = padded.data();
        size = padded.size();
    }
    // Layer I goes to libmpg123 as handed over, a byte too many or not: one
    // frame per call, as the caller frames it.
    if (first.layer1)
        first.size = size;

    size_t offset = 0;
    size_t written = 0;
    for (FrameHeader frame = first;
         frame.size != 0 && frame.size <= size - offset && frame.format == first.format;
         frame = frameAt(input + offset, size - offset)) {
        size_t words = 0;
        const int16_t* pcm = decodeOne(input + offset, frame.size, words);
        bool isFirst = offset == 0;
        if (isFirst && (!pcm || words > capacityWords)) {
            _mpg123.reopen();
            return true;
        }
        if (!pcm)
            break;  // the frames before it stand
        offset += frame.size;
        if (words > capacityWords - written) {
            ++result.droppedFrames;
            continue;
        }
        if (words)
            std::memcpy(output + written, pcm, words * 2);
        written += words;
    }
    if (offset == 0)
        return true;  // not even the first frame is whole
    long rate = 0;
    int channels = 0;
    int encoding = 0;
    mpg123_getformat(_mpg123.handle(), &rate, &channels, &encoding);
    result.totalSamples = int(written);
    result.channels = channels;
    result.sampleRate = int(rate);
    return result.totalSamples == 0 || channels <= 0;
}
