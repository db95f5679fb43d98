// MPEG-4 AAC (LC, HE-AAC with SBR, parametric stereo) through FAAD2: each
// input sample is exactly one raw access unit, configured by the
// AudioSpecificConfig that follows the WAVEFORMATEX in the media type. Output
// is 16-bit PCM in WAVE channel order; the library folds 5.1 to stereo when
// the remixer asks for a decoder downmix to front left and right.
#pragma once

#include <cstdint>

#include "core/Adec.h"

struct NeAACDecFrameInfo;

class AdecAAC : public Adec {
public:
    explicit AdecAAC(std::ostream& log) : Adec(log) {}
    ~AdecAAC() override;

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;
    void setMixType(int kind, int mixType, uint32_t channelMask) override;

private:
    // A library decoder configured from `mediaType`'s AudioSpecificConfig,
    // which also receives the rate and channel count the library derived;
    // null (logged) when the type or its configuration cannot be used.
    void* open(CMediaType& mediaType);
    void close();
    // Copies `count` interleaved samples of the library's output to `out` in
    // WAVE channel order by the library's channel positions (in library
    // order when a position is unknown or the unit is over the limit);
    // returns the speaker mask gathered.
    uint32_t copyInWaveOrder(int16_t* out,
                             const int16_t* pcm,
                             size_t count,
                             const NeAACDecFrameInfo& inf);

    TvStatusAac _status;
    void* _decoder = nullptr;  // NeAACDecHandle
    bool downmix = false;      // 5.1-to-stereo folding requested
    CMediaType _mediaType;
};
