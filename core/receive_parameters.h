// Parameters of the receive loop's time stamps.
#pragma once

#include "config/config.h"

extern Parameter<bool> PenableTimeStamps;
extern Parameter<bool> PallTimeStamps;
