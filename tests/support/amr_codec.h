// AMR made and decoded with the codec libraries TvAmrDec is built on:
// opencore-amrnb and vo-amrwbenc write storage-format frames, and opencore's
// decoding of each frame is the library's bit-exact reference.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrnb/interf_enc.h>
#include <opencore-amrwb/dec_if.h>
#include <vo-amrwbenc/enc_if.h>

struct AmrStream {
    bool wideband = false;
    std::vector<std::vector<uint8_t>> frames;  // each with its table-of-contents byte

    int frameSamples() const { return wideband ? 320 : 160; }
    int frameType(size_t i) const { return (frames[i][0] >> 3) & 0x0F; }
    // The frames from `from` on, `count` of them at most, one after the other.
    std::vector<uint8_t> body(size_t from = 0, size_t count = SIZE_MAX) const
    {
        std::vector<uint8_t> bytes;
        for (size_t i = from; i < frames.size() && i - from < count; ++i)
            bytes.insert(bytes.end(), frames[i].begin(), frames[i].end());
        return bytes;
    }
};

// Three steady tones where the first formants of a vowel lie, loud and soft
// in turns; `pauseAt` starts a second of silence (what DTX turns into comfort
// noise).
inline std::vector<int16_t> vowelLikeSignal(int rate, double seconds, double pauseAt = 1e9)
{
    std::vector<int16_t> signal(size_t(rate * seconds));
    for (size_t n = 0; n < signal.size(); ++n) {
        double t = double(n) / rate;
        if (t >= pauseAt && t < pauseAt + 1)
            continue;
        double v = 0.25 * std::sin(2 * M_PI * 300 * t) + 0.15 * std::sin(2 * M_PI * 1100 * t) +
                   0.1 * std::sin(2 * M_PI * 2300 * t);
        signal[n] = int16_t(32767 * v * (0.7 + 0.3 * std::sin(2 * M_PI * 2 * t)));
    }
    return signal;
}

// Narrow band: modes 0-7 (4.75 .. 12.2 kbit/s); wide band: modes 0-8
// (6.60 .. 23.85 kbit/s). A last part frame of the signal is left out.
inline AmrStream encodeAmr(bool wideband, int mode, bool dtx, const std::vector<int16_t>& signal)
{
    AmrStream stream{wideband, {}};
    size_t frame = size_t(stream.frameSamples());
    void* state = wideband ? E_IF_init() : Encoder_Interface_init(dtx ? 1 : 0);
    for (size_t at = 0; at + frame <= signal.size(); at += frame) {
        unsigned char out[64];
        int bytes = wideband
                        ? E_IF_encode(state, mode, signal.data() + at, out, dtx ? 1 : 0)
                        : Encoder_Interface_Encode(state, Mode(mode), signal.data() + at, out, 0);
        stream.frames.emplace_back(out, out + bytes);
    }
    if (wideband)
        E_IF_exit(state);
    else
        Encoder_Interface_exit(state);
    return stream;
}

// opencore's decoding of each frame; narrow-band frame types 9-14, which
// opencore refuses, give nothing.
inline std::vector<int16_t> opencoreDecode(const AmrStream& stream)
{
    std::vector<int16_t> pcm;
    void* state = stream.wideband ? D_IF_init() : Decoder_Interface_init();
    for (size_t i = 0; i < stream.frames.size(); ++i) {
        int type = stream.frameType(i);
        if (!stream.wideband && type >= 9 && type <= 14)
            continue;
        unsigned char padded[64] = {};
        std::memcpy(padded, stream.frames[i].data(), std::min<size_t>(stream.frames[i].size(), 64));
        int16_t out[320];
        if (stream.wideband)
            D_IF_decode(state, padded, out, _good_frame);
        else
            Decoder_Interface_Decode(state, padded, out, 0);
        pcm.insert(pcm.end(), out, out + stream.frameSamples());
    }
    if (stream.wideband)
        D_IF_exit(state);
    else
        Decoder_Interface_exit(state);
    return pcm;
}
