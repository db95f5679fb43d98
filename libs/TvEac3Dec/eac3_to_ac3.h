// E-AC-3 to AC-3 for S/PDIF receivers that know only AC-3: an access unit is
// decoded with libavcodec's E-AC-3 decoder, layouts beyond 5.1 are mixed down
// to 5.1, and the 1536 samples are encoded with libavcodec's AC-3 encoder at
// 640 kbit/s, one AC-3 frame per access unit. The encoder adds its fixed
// delay of 256 samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

class Eac3ToAc3 {
public:
    Eac3ToAc3();
    ~Eac3ToAc3();
    Eac3ToAc3(const Eac3ToAc3&) = delete;
    Eac3ToAc3& operator=(const Eac3ToAc3&) = delete;

    bool ready() const { return decoder_ && decoded_ && packet_ && input_; }

    enum class Result { Ok, DecodeError, EncodeError, TooSmall };
    // `unit`: a whole access unit in stream byte order. Writes the AC-3 frame
    // in stream byte order to `out` and its size to `written`.
    Result convert(const uint8_t* unit,
                   size_t size,
                   uint8_t* out,
                   size_t capacity,
                   size_t& written);

private:
    // Slots of the 5.1 mix: L R C LFE Ls Rs, and S for a single surround.
    static constexpr int kSlots = 7;
    static constexpr int kSamples = 1536;

    bool decodePiece(const uint8_t* piece, size_t size);
    void mixFrame();
    bool openEncoder(uint64_t mask, int rate);
    Result encode(uint8_t* out, size_t capacity, size_t& written);

    AVCodecContext* decoder_ = nullptr;
    AVCodecContext* encoder_ = nullptr;
    AVFrame* decoded_ = nullptr;
    AVFrame* input_ = nullptr;
    AVPacket* packet_ = nullptr;
    std::vector<uint8_t> piece_;  // one program's frames for the decoder
    uint64_t encoderMask_ = 0;
    int encoderRate_ = 0;
    float pcm_[kSlots][kSamples];
    bool present_[kSlots];
    int filled_ = 0;
    int rate_ = 0;
};
