// Parameters of the output buffers.
#pragma once

#include "config/config.h"

extern Parameter<int> PoutputBufferSize;
extern Parameter<int> PoutputBufferCount;
