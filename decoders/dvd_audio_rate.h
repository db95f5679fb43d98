// The sample-rate code that DVD-Audio LPCM headers and MLP major syncs share:
// 0-2 the 48 kHz family, 8-10 the 44.1 kHz family.
#pragma once

inline int dvdAudioFrequency(int code)
{
    switch (code) {
        case 0:
            return 48000;
        case 1:
            return 96000;
        case 2:
            return 192000;
        case 8:
            return 44100;
        case 9:
            return 88200;
        case 10:
            return 176400;
        default:
            return 0;
    }
}
