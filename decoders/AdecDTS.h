// DTS Coherent Acoustics streams: finds core frames and reads their header
// itself, decodes them to 24-bit PCM through the in-process DTS engine, or
// wraps each frame into an IEC 61937 burst for S/PDIF pass-through.
#pragma once

#include <vector>

#include "core/Adec.h"

struct DtsEngine;

class AdecDTS : public Adec {
public:
    explicit AdecDTS(std::ostream& log);
    ~AdecDTS() override;

    bool accepts(const CMediaType& mediaType) override;
    // Creates a new engine instance every time; the ones it replaces stay
    // alive until the decoder is destroyed.
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;
    TvStatus* setSpdif(bool on) override;

private:
    // Finds a whole frame at or after *readPtr and fills the status from its
    // header; false when none is there (*readPtr then stays at the sync of
    // an incomplete frame, or moves past the garbage).
    bool findFrame(const uint8_t** readPtr, const uint8_t* end);
    bool decode(const uint8_t* frame, uint8_t* out, long outSize);
    bool buildBurst(const uint8_t* frame, uint8_t* out, long outSize);

    CMediaType _mediaType;
    TvStatusDts _status;
    bool _spdif = false;
    DtsEngine* _engine = nullptr;
    // Instances replaced by a later init, released with the decoder.
    std::vector<DtsEngine*> _replacedEngines;
};
