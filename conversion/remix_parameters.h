// Parameters the remixer reads when it is created.
#pragma once

#include "config/config.h"

extern Parameter<int> PsingleChannel;
extern Parameter<unsigned> PremixMask;
extern Parameter<int> PupmixType;
extern Parameter<int> PdownmixType;
extern Parameter<bool> Px16;
