#include "engines/mpeg/mp3_decoder.h"

#include <mpg123.h>

#include <algorithm>
#include <cstring>

namespace {

// Our own error numbers: a decoder libmpg123 could not create, a resampler
// libswresample refused.
constexpr uint32_t kNoDecoder = 0xFFFF;
constexpr uint32_t kNoResampler = 0xFFFE;

// How mp3PRO encoders name themselves in the first frame's tag.
constexpr char kMp3ProMark[] = "mp3PRO";

bool containsMark(const uint8_t* data, size_t size)
{
    const uint8_t* mark = reinterpret_cast<const uint8_t*>(kMp3ProMark);
    return std::search(data, data + size, mark, mark + sizeof kMp3ProMark - 1) != data + size;
}

uint32_t errorCode(int number)
{
    return Mp3Decoder::kErrorBits | (uint32_t(number) & 0xFFFF);
}

}  // namespace

void Mp3Decoder::Reset()
{
    _freeFormatBytes = 0;
    _freeFormatBitrate = 0;
    _mpg123.setFreeFormatBytes(0);
    _mpg123.reopen();
    _info = Mp3Info();
    _pending.clear();
    _pendingOffset = 0;
    _mp3proSignalled = false;
    _audioSeen = false;
    _upsampler.reset();
}

void Mp3Decoder::SetFreeFormat(size_t bytes, int bitrate)
{
    _freeFormatBitrate = bitrate;
    if (bytes == _freeFormatBytes)
        return;
    _freeFormatBytes = bytes;
    _mpg123.setFreeFormatBytes(bytes);
    _mpg123.reopen();
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
    if (!_audioSeen && containsMark(input, size))
        _mp3proSignalled = true;
    _fed = FedFrame();
    int versionBits = size >= 4 ? (input[1] >> 3) & 3 : 1;
    int rateIndex = size >= 4 ? (input[2] >> 2) & 3 : 3;
    if (input[0] == 0xFF && versionBits != 1 && rateIndex != 3) {
        static constexpr long kRates[3] = {44100, 48000, 32000};
        _fed.layer = 4 - ((input[1] >> 1) & 3);
        _fed.version = versionBits == 3 ? 0 : versionBits == 2 ? 1 : 2;
        _fed.rate = kRates[rateIndex] >> _fed.version;
        _fed.mono = (input[3] & 0xC0) == 0xC0;
        _fed.size = size;
    }
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
        while (status == MPG123_NEW_FORMAT || (status == MPG123_OK && !decodedTheFedFrame()));
        if (status == MPG123_NEED_MORE || status == MPG123_DONE)
            return 0;
        if (status != MPG123_OK)
            return errorCode(mpg123_errcode(h));
        updateInfo();
        // A frame that fits goes straight out; only the rest of one that
        // does not is kept for the following calls.
        if (!_info.mp3pro && fitsWhole(bytes, capacity)) {
            if (bytes) {
                _audioSeen = true;
                std::memcpy(output, audio, bytes);
            }
            *written = bytes;
            return 0;
        }
        if (!keepPcm(audio, bytes))
            return errorCode(kNoResampler);
    }
    size_t n = std::min(capacity, _pending.size() - _pendingOffset);
    n -= n % frameBytes();
    if (n)
        std::memcpy(output, _pending.data() + _pendingOffset, n);
    _pendingOffset += n;
    *written = n;
    return 0;
}

bool Mp3Decoder::decodedTheFedFrame() const
{
    mpg123_frameinfo frame{};
    if (_fed.size == 0 || mpg123_info(_mpg123.handle(), &frame) != MPG123_OK)
        return true;
    return frame.layer == _fed.layer && int(frame.version) == _fed.version &&
           frame.rate == _fed.rate && (frame.mode == MPG123_M_MONO) == _fed.mono &&
           size_t(frame.framesize) == _fed.size;
}

size_t Mp3Decoder::frameBytes() const
{
    return size_t(std::max(_info.channels, 1)) * 2;
}

// Whole sample frames only, so channels never swap at a cut.
bool Mp3Decoder::fitsWhole(size_t bytes, size_t capacity) const
{
    return bytes <= capacity && bytes % frameBytes() == 0;
}

bool Mp3Decoder::keepPcm(const uint8_t* audio, size_t bytes)
{
    if (bytes)
        _audioSeen = true;
    if (!_info.mp3pro) {
        _pending.assign(audio, audio + bytes);
        return true;
    }
    size_t frames = bytes / (size_t(_info.channels) * 2);
    return _upsampler.upsample(reinterpret_cast<const int16_t*>(audio), frames, _info.channels,
                               _info.sampleRate, _pending);
}

void Mp3Decoder::updateInfo()
{
    mpg123_frameinfo frame{};
    if (mpg123_info(_mpg123.handle(), &frame) != MPG123_OK)
        return;
    _info.layer = frame.layer;
    _info.mpegVersion = frame.version == MPG123_1_0 ? 1 : frame.version == MPG123_2_0 ? 2 : 4;
    // libmpg123 reports free-format frames at 0 kbit/s.
    _info.bitrate =
        frame.bitrate == 0 && _freeFormatBytes ? _freeFormatBitrate : frame.bitrate * 1000;
    _info.channels = frame.mode == MPG123_M_MONO ? 1 : 2;
    _info.sampleRate = int(frame.rate);
    _info.mp3pro = _mp3proSignalled && _info.layer == 3;
    _info.effChannels = _info.channels;
    _info.effSampleRate = _info.mp3pro ? 2 * _info.sampleRate : _info.sampleRate;
    _info.outSampleRate = _info.effSampleRate;
}

const char* Mp3Decoder::errorText(uint32_t result)
{
    if ((result & 0xFFFF) == kNoDecoder)
        return "libmpg123 could not create a decoder";
    if ((result & 0xFFFF) == kNoResampler)
        return "libswresample refused to upsample the mp3PRO core";
    return mpg123_plain_strerror(int(result & 0xFFFF));
}
