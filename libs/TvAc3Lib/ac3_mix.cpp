#include "libs/TvAc3Lib/ac3_mix.h"

#include "decoders/ac3_header.h"

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

bool readAc3FrameInfo(const uint8_t* frame, size_t size, Ac3FrameInfo& info)
{
    Ac3Header header;
    if (!parseAc3Header(frame, size, header) || !header.complete || header.bsid > 10)
        return false;
    info = Ac3FrameInfo();
    info.bsid = header.bsid;
    info.bsmod = header.bsmod;
    // The layout as coded: karaoke vocals are selected before any downmix.
    info.acmod = header.codedAcmod;
    info.lfeon = header.codedLfeon != 0;
    if (header.cmixlev >= 0)
        info.centreMixLevel = kCentreLevels[header.cmixlev];
    if (header.surmixlev >= 0)
        info.surroundMixLevel = kSurroundLevels[header.surmixlev];
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

namespace {
constexpr Ac3Speaker kNo = kSpeakerNone;
}  // namespace

const Ac3Speaker kLibrarySlots[8][2][6] = {
    {{kSpeakerL, kNo, kSpeakerR, kNo, kNo, kNo},
     {kSpeakerL, kNo, kSpeakerR, kNo, kNo, kSpeakerLfe}},
    {{kNo, kSpeakerC, kNo, kNo, kNo, kNo}, {kNo, kSpeakerC, kNo, kNo, kNo, kSpeakerLfe}},
    {{kSpeakerL, kNo, kSpeakerR, kNo, kNo, kNo},
     {kSpeakerL, kNo, kSpeakerR, kNo, kNo, kSpeakerLfe}},
    {{kSpeakerL, kSpeakerR, kSpeakerC, kNo, kNo, kNo},
     {kSpeakerL, kSpeakerR, kSpeakerC, kNo, kNo, kSpeakerLfe}},
    {{kSpeakerL, kNo, kSpeakerR, kSpeakerS, kNo, kNo},
     {kSpeakerL, kNo, kSpeakerR, kSpeakerLfe, kNo, kSpeakerS}},
    {{kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerS, kNo, kNo},
     {kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe, kNo, kSpeakerS}},
    {{kSpeakerL, kNo, kSpeakerR, kSpeakerLs, kSpeakerRs, kNo},
     {kSpeakerL, kNo, kSpeakerR, kSpeakerLfe, kSpeakerLs, kSpeakerRs}},
    {{kSpeakerL, kSpeakerC, kSpeakerR, kSpeakerLs, kSpeakerRs, kNo},
     {kSpeakerL, kSpeakerC, kSpeakerR, kSpeakerLs, kSpeakerRs, kSpeakerLfe}},
};
