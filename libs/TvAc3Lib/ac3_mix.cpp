#include "libs/TvAc3Lib/ac3_mix.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float kMinus3dB = 0.70710678f;
// Reserved codes count as the middle level (A/52 5.4.2.4, 5.4.2.5).
constexpr float kCentreLevels[4] = {0.70710678f, 0.59460356f, 0.5f, 0.59460356f};
constexpr float kSurroundLevels[4] = {0.70710678f, 0.5f, 0.0f, 0.5f};

Ac3Matrix identity()
{
    Ac3Matrix m{};
    for (int i = 0; i < kSpeakerCount; ++i)
        m[i][i] = 1.0f;
    return m;
}

Ac3Matrix multiply(const Ac3Matrix& a, const Ac3Matrix& b)
{
    Ac3Matrix m{};
    for (int o = 0; o < kSpeakerCount; ++o)
        for (int i = 0; i < kSpeakerCount; ++i)
            for (int k = 0; k < kSpeakerCount; ++k)
                m[o][i] += a[o][k] * b[k][i];
    return m;
}

// Karaoke vocals not asked for, and the dual-mono choice, applied to the
// decoded speakers before any downmix.
Ac3Matrix selection(const Ac3FrameInfo& frame, const Ac3MixRequest& request)
{
    Ac3Matrix m = identity();
    if (frame.bsmod == 7 && frame.acmod >= 2) {
        // Karaoke (A/52 Annex C): the surrounds carry the guide vocals.
        if (!(request.karaokeMode & 1)) {
            m[kSpeakerLs][kSpeakerLs] = 0;
            m[kSpeakerS][kSpeakerS] = 0;
        }
        if (!(request.karaokeMode & 2))
            m[kSpeakerRs][kSpeakerRs] = 0;
    }
    if (frame.acmod == 0) {
        int ch1 = kSpeakerL, ch2 = kSpeakerR;
        switch (request.dualMonoMode) {
            case 1:
                m[ch2][ch2] = 0;
                m[ch2][ch1] = 1;
                break;
            case 2:
                m[ch1][ch1] = 0;
                m[ch1][ch2] = 1;
                break;
            case 3:
                m[ch1][ch1] = m[ch1][ch2] = m[ch2][ch1] = m[ch2][ch2] = 0.5f;
                break;
            default:
                break;
        }
    }
    return m;
}

// Lt/Rt: a matrix-surround encode of the frame's speakers (A/52 7.8.2).
Ac3Matrix surroundEncode(bool lfe)
{
    Ac3Matrix m{};
    m[kSpeakerL][kSpeakerL] = 1;
    m[kSpeakerR][kSpeakerR] = 1;
    for (int side : {kSpeakerL, kSpeakerR}) {
        float sign = side == kSpeakerL ? -1.0f : 1.0f;
        m[side][kSpeakerC] = kMinus3dB;
        m[side][kSpeakerLs] = sign * kMinus3dB;
        m[side][kSpeakerRs] = sign * kMinus3dB;
        m[side][kSpeakerS] = sign * kMinus3dB;
    }
    if (lfe)
        m[kSpeakerLfe][kSpeakerLfe] = 1;
    return m;
}

// Each speaker the output lacks is folded into those it has (A/52 7.8.1).
Ac3Matrix fold(const Ac3FrameInfo& frame, const std::array<bool, kSpeakerCount>& out)
{
    Ac3Matrix m{};
    for (int s = 0; s < kSpeakerCount; ++s)
        if (out[s])
            m[s][s] = 1;
    float clev = frame.centreMixLevel;
    float slev = frame.surroundMixLevel;
    if (!out[kSpeakerC]) {
        m[kSpeakerL][kSpeakerC] = clev;
        m[kSpeakerR][kSpeakerC] = clev;
    }
    if (!out[kSpeakerLs]) {
        if (out[kSpeakerS]) {
            m[kSpeakerS][kSpeakerLs] = kMinus3dB;
            m[kSpeakerS][kSpeakerRs] = kMinus3dB;
        } else {
            m[kSpeakerL][kSpeakerLs] = slev;
            m[kSpeakerR][kSpeakerRs] = slev;
        }
    }
    if (!out[kSpeakerS]) {
        if (out[kSpeakerLs]) {
            m[kSpeakerLs][kSpeakerS] = kMinus3dB;
            m[kSpeakerRs][kSpeakerS] = kMinus3dB;
        } else {
            m[kSpeakerL][kSpeakerS] = slev * kMinus3dB;
            m[kSpeakerR][kSpeakerS] = slev * kMinus3dB;
        }
    }
    return m;
}

}  // namespace

bool readAc3FrameInfo(const uint8_t* frame, Ac3FrameInfo& info)
{
    // Bit-stream information starts at byte 5; fields are MSB first.
    uint64_t bits = 0;
    for (int i = 0; i < 3; ++i)
        bits = (bits << 8) | frame[5 + i];
    int position = 24;
    auto get = [&](int count) {
        position -= count;
        return static_cast<int>((bits >> position) & ((1u << count) - 1));
    };
    info = Ac3FrameInfo();
    info.bsid = get(5);
    info.bsmod = get(3);
    info.acmod = get(3);
    if (info.bsid > 10)
        return false;
    if ((info.acmod & 1) && info.acmod != 1)
        info.centreMixLevel = kCentreLevels[get(2)];
    if (info.acmod & 4)
        info.surroundMixLevel = kSurroundLevels[get(2)];
    if (info.acmod == 2)
        get(2);  // dsurmod
    info.lfeon = get(1) != 0;
    return true;
}

std::array<bool, kSpeakerCount> layoutSpeakers(int acmod, bool lfe)
{
    std::array<bool, kSpeakerCount> present{};
    bool centre = acmod & 1;
    present[kSpeakerC] = centre;
    present[kSpeakerL] = present[kSpeakerR] = acmod != 1;
    present[kSpeakerS] = acmod == 4 || acmod == 5;
    present[kSpeakerLs] = present[kSpeakerRs] = acmod == 6 || acmod == 7;
    present[kSpeakerLfe] = lfe;
    return present;
}

Ac3Matrix mixMatrix(const Ac3FrameInfo& frame, const Ac3MixRequest& request)
{
    Ac3Matrix downmix;
    if (request.outputMode == 0) {
        downmix = surroundEncode(request.outputLfe);
    } else if (request.outputMode == 1) {
        // Mono is the Lo/Ro pair summed.
        Ac3Matrix stereo = fold(frame, layoutSpeakers(2, request.outputLfe));
        downmix = Ac3Matrix{};
        for (int i = 0; i < kSpeakerCount; ++i) {
            downmix[kSpeakerC][i] = stereo[kSpeakerL][i] + stereo[kSpeakerR][i];
            downmix[kSpeakerLfe][i] = stereo[kSpeakerLfe][i];
        }
    } else {
        downmix = fold(frame, layoutSpeakers(request.outputMode, request.outputLfe));
    }
    // Only speakers the frame carries take part.
    std::array<bool, kSpeakerCount> present = layoutSpeakers(frame.acmod, frame.lfeon);
    Ac3Matrix m = multiply(downmix, selection(frame, request));
    float loudest = 0;
    for (int o = 0; o < kSpeakerCount; ++o) {
        float sum = 0;
        for (int i = 0; i < kSpeakerCount; ++i) {
            if (!present[i])
                m[o][i] = 0;
            sum += std::fabs(m[o][i]);
        }
        if (o != kSpeakerLfe)
            loudest = std::max(loudest, sum);
    }
    // The LFE channel is not part of the downmix and keeps its own level.
    if (loudest > 1.0f)
        for (int o = 0; o < kSpeakerCount; ++o)
            for (float& c : m[o])
                if (o != kSpeakerLfe)
                    c /= loudest;
    return m;
}
