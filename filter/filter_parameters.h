// Parameters of the filter object, its input pin and its property page.
#pragma once

#include "config/config.h"

extern Parameter<bool> Pspdif;
extern Parameter<std::string> PinputLog;
extern Parameter<bool> PshowStat;
