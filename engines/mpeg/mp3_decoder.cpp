#include "engines/mpeg/mp3_decoder.h"

#include <mpg123.h>

#include <algorithm>
#include <cstring>

namespace {

// Our own error number for a decoder libmpg123 could not create.
constexpr uint32_t kNoDecoder = 0xFFFF;

uint32_t errorCode(int number)
{
    return Mp3Decoder::kErrorBits | (uint32_t(number) & 0xFFFF);
}

}  // namespace

void Mp3Decoder::Reset()
{
    _mpg123.reopen();
    _info = Mp3Info();
    _pending.clear();
    _pendingOffset = 0;
}

size_t Mp3Decoder::Feed(const uint8_t* input, size_t size)
{
    if (!_mpg123.handle() || !input || size == 0)
        return 0;
    // PCM of the last frame that did not fit its output is dropped rather
    // than let the stream run ahead of what was fed.
    _pending.clear();
    _pendingOffset = 0;
    return mpg123_feed(_mpg123.handle(), input, size) == MPG123_OK ? size : 0;
}

uint32_t Mp3Decoder::Decode(uint8_t* output, size_t capacity, size_t* written, int, int)
{
    *written = 0;
    mpg123_handle* h = _mpg123.handle();
    if (!h)
        return errorCode(kNoDecoder);
    if (_pendingOffset >= _pending.size()) {
        _pending.clear();
        _pendingOffset = 0;
        off_t frameNumber = 0;
        unsigned char* audio = nullptr;
        size_t bytes = 0;
        int status;
        do
            status = mpg123_decode_frame(h, &frameNumber, &audio, &bytes);
        while (status == MPG123_NEW_FORMAT);
        if (status == MPG123_NEED_MORE || status == MPG123_DONE)
            return 0;
        if (status != MPG123_OK)
            return errorCode(mpg123_errcode(h));
        updateInfo();
        _pending.assign(audio, audio + bytes);
    }
    size_t n = std::min(capacity, _pending.size() - _pendingOffset);
    // Whole sample frames only, so channels never swap at the cut.
    size_t frameBytes = size_t(std::max(_info.channels, 1)) * 2;
    n -= n % frameBytes;
    if (n)
        std::memcpy(output, _pending.data() + _pendingOffset, n);
    _pendingOffset += n;
    *written = n;
    return 0;
}

void Mp3Decoder::updateInfo()
{
    mpg123_frameinfo frame{};
    if (mpg123_info(_mpg123.handle(), &frame) != MPG123_OK)
        return;
    _info.layer = frame.layer;
    _info.mpegVersion = frame.version == MPG123_1_0 ? 1 : frame.version == MPG123_2_0 ? 2 : 4;
    _info.bitrate = frame.bitrate * 1000;
    _info.channels = frame.mode == MPG123_M_MONO ? 1 : 2;
    _info.sampleRate = int(frame.rate);
    _info.effChannels = _info.channels;
    _info.effSampleRate = _info.sampleRate;
    _info.outSampleRate = _info.sampleRate;
    _info.mp3pro = false;
}

const char* Mp3Decoder::errorText(uint32_t result)
{
    if ((result & 0xFFFF) == kNoDecoder)
        return "libmpg123 could not create a decoder";
    return mpg123_plain_strerror(int(result & 0xFFFF));
}
