// MLP streams of DVD-Audio and HD-DVD (TrueHD), decoded through the sibling
// library TvMlpDec.dll into 24-bit PCM: each output sample is filled with as
// many access units as fit, from the stream's two-channel or multichannel
// presentation.
#pragma once

#include <string>

#include "core/Adec.h"
#include "core/sibling_library.h"
#include "libs/TvMlpDec/tv_mlp_dec.h"
#include "platform/kernel.h"

class AdecMLP : public Adec {
public:
    // `libraryFolder`: where TvMlpDec.dll is loaded from (the module's folder).
    AdecMLP(std::ostream& log, const LibraryFolder& libraryFolder);
    ~AdecMLP() override;

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;
    void setMixType(int kind, int mixType, uint32_t channelMask) override;
    bool wantsPrivateHeader() override { return true; }
    bool parsePacketHeader(const uint8_t** readPtr, const uint8_t* end) override;

private:
    bool bindLibrary();
    void closeInstance();

    LibraryFolder _libraryFolder;
    CMediaType _mediaType;
    TvStatusMlp _status;
    HMODULE _module = nullptr;
    MlpDecoderInitFunction _init = nullptr;
    MlpDecoderRunFunction _run = nullptr;
    MlpDecoderCloseFunction _close = nullptr;
    MlpDecoder* _mlp = nullptr;
    bool _hdDvd = false;          // HD-DVD packing (5-byte private header)
    bool _stereoRequest = false;  // the remixer asked for a decoder downmix to stereo
    int _syncKind = 0;            // last major sync: 0 DVD-Audio, 1 the other
    MlpSampleRow _matrix[kMlpMaxSamples];
};
