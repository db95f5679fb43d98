#include "filter/karaoke_mode.h"

namespace {

bool bit(DWORD word, int n)
{
    return (word >> n) & 1;
}

// Two vocal channels: `first` keeps vocal 1, `second` vocal 2.
int twoVocals(bool first, bool second)
{
    if (first)
        return second ? 3 : 1;
    return second ? 2 : 0;
}

}  // namespace

int karaokeMode(const AM_DvdKaraokeData& data)
{
    DWORD downmix = data.dwDownmix;
    switch (data.dwSpeakerAssignment) {
        case 4:  // L R V1: channel 2 mixed to the left output
            return bit(downmix, 2) ? 1 : 0;
        case 5:  // L M R V1: channel 3 to the left
            return bit(downmix, 3) ? 1 : 0;
        case 6:  // L R V1 V2: channels 2 and 3 to the left
            return twoVocals(bit(downmix, 2), bit(downmix, 11));
        case 7:  // L M R V1 V2: channels 3 and 4
            return twoVocals(bit(downmix, 3), bit(downmix, 12));
        default:
            return -1;
    }
}
