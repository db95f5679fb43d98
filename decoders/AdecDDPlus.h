// AC-3 and Dolby Digital Plus (E-AC-3) streams through the sibling library
// TvEac3Dec.dll, bound by its exported names when the decoder is made (the
// factory uses AdecDolby when that fails). AC-3 frames are decoded to 32-bit
// float PCM; E-AC-3 reaches the output only through S/PDIF pass-through, as
// AC-3 frames the library converts it into.
#pragma once

#include <string>
#include <vector>

#include "core/Adec.h"
#include "core/sibling_library.h"
#include "decoders/ac3_downmix.h"
#include "libs/TvEac3Dec/tv_eac3_dec.h"
#include "platform/kernel.h"

class AdecDDPlus : public Adec {
public:
    // `libraryFolder`: where TvEac3Dec.dll is loaded from (the module's
    // folder). Throws when the library or one of its functions is missing.
    AdecDDPlus(std::ostream& log, const LibraryFolder& libraryFolder);
    ~AdecDDPlus() override;

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;
    TvStatus* setSpdif(bool on) override;
    void setMixType(int kind, int mixType, uint32_t channelMask) override;
    // In pass-through an E-AC-3 access unit is whole only once the header
    // after it could be read (a dependent substream may follow): the stream's
    // last unit needs the bytes of one header after it.
    size_t zerosThatEndTheStream() override;

    // Which guide vocals of a karaoke stream to keep (0 none, 1, 2, 3 both).
    void setKaraokeMode(int mode);

private:
    bool bind();
    void unbind();
    void releaseInstance();
    // Finds a whole, checked frame at or after *readPtr, leaves it in
    // little-endian words and fills the status from the library's frame
    // parameters; false when none is complete.
    bool findFrame(const uint8_t** readPtr, const uint8_t* end);
    // E-AC-3 by the frame's bsid (above 10; above 8 under compatQuirks, which
    // counts half- and quarter-rate AC-3 as E-AC-3).
    bool isEac3() const;
    TvStatus* processSpdif(uint8_t* frame, const uint8_t** readPtr, IMediaSample* sample);
    TvStatus* decode(uint8_t* frame, const uint8_t** readPtr, IMediaSample* sample);
    void setParam(int32_t number, const void* value);

    LibraryFolder _libraryFolder;
    CMediaType _mediaType;
    TvStatusAc3 _status;
    HMODULE _module = nullptr;
    // The entry points, in the order they are bound.
    DdpiQuery _query = nullptr;
    DdpiSetProcessParam _setProcessParam = nullptr;
    DdpiGetProcessParam _getProcessParam = nullptr;
    DdpiGetFrameParam _getFrameParam = nullptr;
    DdpiProcessFrame _processFrame = nullptr;
    DdpiClose _close = nullptr;
    DdpiOpen _open = nullptr;
    DdpiCheckFrame _checkFrame = nullptr;
    // Instance memory: asked for once, kept across init.
    void* _instance = nullptr;
    bool _instanceOpen = false;
    bool _spdif = false;
    Ac3DownmixRequest _downmix;
    int _karaokeMode = 0;
    // Scratch for a frame that cannot be decoded in place, interleaved;
    // room for every routing position at every stride.
    std::vector<float> _pcm;
};
