// TvMlpDec's entry points: any bytes, offered in pieces whose size the first
// byte picks (each piece's unused bytes offered again with the next, as the
// filter's buffer does), with or without the two-channel presentation.
#include <cstddef>
#include <cstdint>

#include "libs/TvMlpDec/tv_mlp_dec.h"

extern "C" MlpDecoder* mlpDecoderInit(const MlpInitRecord* init, int version);
extern "C" const MlpResult* mlpDecoderRun(MlpDecoder* instance,
                                          const uint8_t* input,
                                          MlpSampleRow* matrix);
extern "C" void mlpDecoderClose(MlpDecoder* instance);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    MlpInitRecord init;
    init.twoChannelPresentation = data[1] & 1;
    MlpDecoder* mlp = mlpDecoderInit(&init, kMlpRecordVersion);
    if (!mlp)
        return 0;
    static MlpSampleRow matrix[kMlpMaxSamples];
    size_t piece = 1 + size_t(data[0]) * 37;
    const uint8_t* stream = data + 2;
    size_t total = size - 2, begin = 0, available = 0;
    while (available < total) {
        available = available + piece < total ? available + piece : total;
        mlp->intface.inbufEnd = int32_t(available - begin);
        mlp->intface.consumed = 0;
        while (mlpDecoderRun(mlp, stream + begin, matrix)->samplesDecoded > 0) {
        }
        begin += size_t(mlp->intface.consumed);
    }
    mlpDecoderClose(mlp);
    return 0;
}
