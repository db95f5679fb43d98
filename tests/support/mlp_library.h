// The MLP decoder library's exports, for tests that link it directly rather
// than load it by name as the decoder does.
#pragma once

#include "libs/TvMlpDec/mlp_access_unit.h"

extern "C" MlpDecoder* mlpDecoderInit(const MlpInitRecord* init, int version);
extern "C" const MlpResult* mlpDecoderRun(MlpDecoder* instance,
                                          const uint8_t* input,
                                          MlpSampleRow* matrix);
extern "C" void mlpDecoderClose(MlpDecoder* instance);
