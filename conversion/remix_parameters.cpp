#include "conversion/remix_parameters.h"

Parameter<int> PsingleChannel("singleChannel", 0);
// Target speaker mask; 0 means no target.
Parameter<unsigned> PremixMask("remixMask", 0);
Parameter<int> PupmixType("upmixType", 101);
Parameter<int> PdownmixType("downmixType", 101);
// Only convert to 16-bit, no channel remixing at all.
Parameter<bool> Px16("x16", false);
