// The DVD karaoke property set of IKsPropertySet (the dvdmedia.h names and
// values).
#pragma once

#include "platform/media_guids.h"  // AM_KSPROPSETID_DvdKaraoke

// MinGW-w64's dvdmedia.h lacks these two, so they are ours on every platform.
typedef enum {
    AM_PROPERTY_DVDKARAOKE_ENABLE = 0,  // BOOL
    AM_PROPERTY_DVDKARAOKE_DATA = 1,    // AM_DvdKaraokeData
} AM_PROPERTY_DVDKARAOKE;

typedef struct {
    DWORD dwDownmix;            // DVD_KARAOKE_DOWNMIX bits: which channel goes where
    DWORD dwSpeakerAssignment;  // DVD_KARAOKE_ASSIGNMENT
} AM_DvdKaraokeData;
