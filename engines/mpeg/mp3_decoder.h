// The layer III decoder object: frames are fed as they arrive and decoded in
// order, the bit reservoir spanning frames. Decode hands out the PCM of at
// most one frame per call (the rest of a frame that did not fit comes with
// the next call), so a caller loops until a call writes nothing.
//
// mp3PRO: the encoders of mp3PRO streams name themselves in the stream's
// first frame ("... mp3PRO Encoder" in its Info tag); the spectral band
// replication data travels in each frame's ancillary bits, which a plain
// layer III decoder passes over. Such a stream is reported as mp3PRO, its
// core decoded and upsampled to twice the core rate, the rate it stands for;
// the high band itself is not reconstructed.
//
// Result codes: 0 is success; a code with both top bits set is an error
// whose low 16 bits are libmpg123's error number (errorText gives its text).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engines/mpeg/core_upsampler.h"
#include "engines/mpeg/mpg123_handle.h"

// What the decoder knows of the stream after the last decoded frame.
class Mp3Info {
public:
    int GetLayer() const { return layer; }
    int GetMpegVersion() const { return mpegVersion; }  // 1 MPEG-1, 2 MPEG-2, 4 MPEG-2.5
    int GetBitrate() const { return bitrate; }          // bits per second
    int GetChannels() const { return channels; }
    int GetSFreq() const { return sampleRate; }
    // Channels and rate of the audio the stream stands for; with mp3PRO the
    // core is coded at half the rate.
    int GetEffChannels() const { return effChannels; }
    int GetEffSFreq() const { return effSampleRate; }
    // Rate of the PCM that decode delivers.
    int GetOutSFreq() const { return outSampleRate; }
    bool GetMp3Pro() const { return mp3pro; }

    int layer = 0;
    int mpegVersion = 0;
    int bitrate = 0;
    int channels = 0;
    int sampleRate = 0;
    int effChannels = 0;
    int effSampleRate = 0;
    int outSampleRate = 0;
    bool mp3pro = false;
};

class Mp3Decoder {
public:
    static constexpr uint32_t kErrorBits = 0xC0000000u;
    static bool isError(uint32_t result) { return (result & kErrorBits) == kErrorBits; }

    Mp3Decoder() = default;
    // Forgets fed bytes, pending output and the stream's state.
    void Reset();
    // The frames fed from now on are in free format, `bytes` long before
    // padding, at `bitrate` bits per second (what GetBitrate reports for
    // them). A length other than the one the stream was opened with starts
    // a fresh stream.
    void SetFreeFormat(size_t bytes, int bitrate);
    // Takes `size` bytes of the stream; returns how many were taken. PCM of
    // the previous frame not yet handed out is dropped.
    size_t Feed(const uint8_t* input, size_t size);
    // Writes the PCM of at most one frame (16-bit interleaved) into `output`
    // (`capacity` bytes); `written` gets the bytes written by this call. The
    // two reserved arguments must be 0.
    uint32_t Decode(uint8_t* output,
                    size_t capacity,
                    size_t* written,
                    int reserved1,
                    int reserved2);
    const Mp3Info* GetInfo() const { return &_info; }
    static const char* errorText(uint32_t result);

private:
    void updateInfo();
    bool keepPcm(const uint8_t* audio, size_t bytes);
    // Bytes of one sample frame (all channels) of the output.
    size_t frameBytes() const;
    bool fitsWhole(size_t bytes, size_t capacity) const;
    // Whether the frame libmpg123 decoded last is the one fed last.
    bool decodedTheFedFrame() const;

    Mpg123Handle _mpg123;
    Mp3Info _info;
    // PCM of the last frame not yet handed out.
    std::vector<uint8_t> _pending;
    size_t _pendingOffset = 0;
    // An mp3PRO encoder named itself before the first audio.
    bool _mp3proSignalled = false;
    bool _audioSeen = false;
    CoreUpsampler _upsampler;
    // The free-format length the stream was opened with, and the bit rate
    // its frames are reported at.
    size_t _freeFormatBytes = 0;
    int _freeFormatBitrate = 0;
    // The frame fed last, as its header describes it. libmpg123 resyncs past
    // what it cannot decode; a frame it finds that way among bytes fed
    // before is not the one fed, and its PCM is dropped.
    struct FedFrame {
        int layer = 0;
        int version = 0;  // libmpg123's: 0 MPEG-1, 1 MPEG-2, 2 MPEG-2.5
        long rate = 0;
        bool mono = false;
        size_t size = 0;  // 0: not a frame header, nothing to compare
    } _fed;
};
