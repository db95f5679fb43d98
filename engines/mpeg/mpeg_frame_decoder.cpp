#include "engines/mpeg/mpeg_frame_decoder.h"

#include <mpg123.h>

#include <cstring>
#include <vector>

#include "engines/mpeg/layer12_frame.h"

namespace {

// Layer I's padding slot is 4 bytes, layer II's and III's 1 byte; a caller
// counting 1 for every layer is at most 3 bytes short.
constexpr size_t kLayer1PaddingShortfall = 3;

}  // namespace

std::unique_ptr<MpegFrameDecoder> MpegFrameDecoder::create()
{
    std::unique_ptr<MpegFrameDecoder> decoder(new MpegFrameDecoder);
    if (!decoder->_mpg123.handle())
        return nullptr;
    return decoder;
}

void MpegFrameDecoder::setFreeFormatBytes(size_t bytes)
{
    if (bytes == _freeFormatBytes)
        return;
    _freeFormatBytes = bytes;
    // libmpg123 otherwise looks for the next header to measure the frame,
    // which a frame fed alone does not have.
    _mpg123.setFreeFormatBytes(bytes);
    _mpg123.reopen();
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
    Layer12Frame first = measureLayer12Frame(input, size);
    std::vector<uint8_t> padded;
    if (first.layer1 && first.size > size && first.size - size <= kLayer1PaddingShortfall) {
        padded.assign(first.size, 0);
        std::memcpy(padded.data(), input, size);
        input = padded.data();
        size = padded.size();
    }
    // Layer I goes to libmpg123 as handed over, a byte too many or not: one
    // frame per call, as the caller frames it; so does free format, which
    // only the caller measures.
    if (first.layer1 || (first.freeFormat && _freeFormatBytes))
        first.size = size;

    size_t offset = 0;
    size_t written = 0;
    for (Layer12Frame frame = first;
         frame.size != 0 && frame.size <= size - offset && frame.format == first.format;
         frame = measureLayer12Frame(input + offset, size - offset)) {
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
