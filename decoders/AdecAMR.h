// AMR speech, narrow and wide band: every input sample is handed whole to the
// sibling library TvAmrDec.dll, which decodes the frames it carries.
#pragma once

#include <string>

#include "core/Adec.h"
#include "core/sibling_library.h"
#include "platform/kernel.h"

struct TvAmrDecoder;

class AdecAMR : public Adec {
public:
    // `libraryFolder`: where TvAmrDec.dll is loaded from (the module's folder).
    AdecAMR(std::ostream& log, const LibraryFolder& libraryFolder);
    ~AdecAMR() override;

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;

private:
    LibraryFolder _libraryFolder;
    CMediaType _mediaType;
    TvAmrDecoder* _decoder = nullptr;
    TvStatusAmr _status;
    HMODULE _module = nullptr;
};
