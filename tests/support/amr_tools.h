// AMR streams for tests: a speech-like test signal, the encoders of
// opencore-amrnb and vo-amrwbenc writing storage-format frames, and
// opencore's decoder called frame by frame, the bit-exact reference of the
// library built on it. ffmpeg's own AMR decoders are the independent one.
#pragma once

#include <cmath>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrnb/interf_enc.h>
#include <opencore-amrwb/dec_if.h>
#include <vo-amrwbenc/enc_if.h>

#include "support/reference_tools.h"

struct AmrStream {
    bool wideband = false;
    std::vector<std::vector<uint8_t>> frames;  // each with its table-of-contents byte

    int frameSamples() const { return wideband ? 320 : 160; }
    std::vector<uint8_t> body() const
    {
        std::vector<uint8_t> bytes;
        for (const auto& frame : frames)
            bytes.insert(bytes.end(), frame.begin(), frame.end());
        return bytes;
    }
    // The .amr/.awb file: the magic line, then the frames.
    std::vector<uint8_t> file() const
    {
        std::string magic = wideband ? "#!AMR-WB\n" : "#!AMR\n";
        std::vector<uint8_t> bytes(magic.begin(), magic.end());
        std::vector<uint8_t> frames = body();
        bytes.insert(bytes.end(), frames.begin(), frames.end());
        return bytes;
    }
    int frameType(size_t i) const { return (frames[i][0] >> 3) & 0x0F; }
};

// Three steady tones where the first formants of a vowel lie, loud and soft
// in turns; `pauseAt` starts a second of silence (what DTX turns into comfort
// noise). Two speech decoders agree on it well enough for their waveforms to
// be compared.
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
    AmrStream stream;
    stream.wideband = wideband;
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

// Speech bytes after the table-of-contents byte per frame type (RFC 4867
// section 5.3). At namespace scope: as function-local statics of the inline
// function below they were read wrongly in the sanitizer build (GCC 12, -O0).
inline constexpr uint8_t kAmrNarrowbandSpeechBytes[16] = {12, 13, 15, 17, 19, 20, 26, 31,
                                                          5,  6,  5,  5,  0,  0,  0,  0};
inline constexpr uint8_t kAmrWidebandSpeechBytes[16] = {17, 23, 32, 36, 40, 46, 50, 58,
                                                        60, 5,  0,  0,  0,  0,  0,  0};

// Splits a storage-format body back into its frames.
inline AmrStream splitAmrFrames(bool wideband, const std::vector<uint8_t>& body)
{
    const uint8_t* speechBytes = wideband ? kAmrWidebandSpeechBytes : kAmrNarrowbandSpeechBytes;
    AmrStream stream;
    stream.wideband = wideband;
    size_t at = 0;
    while (at < body.size()) {
        size_t bytes = 1 + size_t(speechBytes[(body[at] >> 3) & 0x0F]);
        if (at + bytes > body.size())
            break;
        stream.frames.emplace_back(body.begin() + long(at), body.begin() + long(at + bytes));
        at += bytes;
    }
    return stream;
}

inline void writeFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

// ffmpeg's own (independent) AMR decoder on a .amr/.awb file.
inline std::vector<int16_t> ffmpegAmrDecode(const std::string& path)
{
    std::vector<uint8_t> bytes = commandOutput("ffmpeg -v error -i " + path + " -f s16le -");
    std::vector<int16_t> pcm(bytes.size() / 2);
    std::memcpy(pcm.data(), bytes.data(), pcm.size() * 2);
    return pcm;
}
