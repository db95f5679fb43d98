// AC-3 streams: finds and measures the frames itself, decodes them to 16-bit
// PCM through the sibling library TvAc3Lib.dll, or wraps each frame
// unchanged into an IEC 61937 burst for S/PDIF pass-through.
#pragma once

#include <string>

#include "core/Adec.h"
#include "core/sibling_library.h"
#include "decoders/ac3_downmix.h"
#include "platform/kernel.h"

struct TvAc3Decoder;

class AdecDolby : public Adec {
public:
    // `libraryFolder`: where TvAc3Lib.dll is loaded from (the module's folder).
    AdecDolby(std::ostream& log, const LibraryFolder& libraryFolder);
    ~AdecDolby() override;

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;
    TvStatus* setSpdif(bool on) override;
    void setMixType(int kind, int mixType, uint32_t channelMask) override;
    // The library's defaults: line-mode dynamic range at full scale, no
    // dialogue normalisation, no karaoke vocals.
    virtual void setDefaultParams();

    // Which guide vocals of a karaoke stream to keep (0 none, 1, 2, 3 both).
    void setKaraokeMode(int mode);

private:
    // Finds a whole frame at or after *readPtr and fills the status from its
    // header; false when none is complete (*readPtr then stays at the header
    // of an incomplete frame, or past the garbage).
    bool findFrame(const uint8_t** readPtr, const uint8_t* end);
    TvStatus* wrapSpdif(uint8_t* frame, const uint8_t** readPtr, IMediaSample* out);
    TvStatus* decode(uint8_t* frame, const uint8_t** readPtr, IMediaSample* out);
    void setParam(int number, const void* value);
    void releaseLibrary();

    LibraryFolder _libraryFolder;
    CMediaType _mediaType;
    TvStatusAc3 _status;
    HMODULE _module = nullptr;
    TvAc3Decoder* _oldac3 = nullptr;
    bool _spdif = false;
    // Downmix requested through setMixType.
    Ac3DownmixRequest _downmix;
};
