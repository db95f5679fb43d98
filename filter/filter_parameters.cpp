#include "filter/filter_parameters.h"

// Applied to a new filter only when the parameter file names it (isSet).
Parameter<bool> Pspdif("spdif", false);
// Accepted in the parameter file; nothing reads it.
Parameter<std::string> PinputLog("inputLog", "");
Parameter<bool> PshowStat("showStat", false);
