// The karaoke mode of the AC-3 decoder from the DVD karaoke property: which
// guide vocals the host's downmix bits keep for the disc's speaker assignment.
#pragma once

#include "platform/dvdmedia.h"

// 0 none, 1 the first vocal, 2 the second, 3 both; -1 for speaker
// assignments without guide vocals (the mode stays as it is).
int karaokeMode(const AM_DvdKaraokeData& data);
