// Parameters of the output buffers.
#pragma once

#include "config/config.h"

extern Parameter<unsigned> PoutputBufferSize;
extern Parameter<unsigned> PoutputBufferCount;
