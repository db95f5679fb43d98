// Vorbis: raw Vorbis packets, one per input sample, decoded by libvorbis.
// The three header packets (identification, comment, setup) come in the
// media type's VORBISFORMAT2 block; output is 32-bit float, interleaved in
// the WAVE speaker order.
#pragma once

#include <cstdint>
#include <vector>

#include "core/Adec.h"

struct vorbis_info;
struct vorbis_comment;
struct vorbis_dsp_state;
struct vorbis_block;

// The VORBISFORMAT2 format block (little-endian); the three header packets
// follow it back to back.
struct VORBISFORMAT2 {
    DWORD Channels;
    DWORD SamplesPerSec;
    DWORD BitsPerSample;
    DWORD HeaderSize[3];  // identification, comment, setup
};
static_assert(sizeof(VORBISFORMAT2) == 24);

class AdecVorbis : public Adec {
public:
    explicit AdecVorbis(std::ostream& log) : Adec(log) {}
    ~AdecVorbis() override;

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;

private:
    // Hands one header packet of `size` bytes at `p` to the library and
    // moves `p` past it; false when the library (or the signature) refuses it.
    bool readHeader(const uint8_t*& p, uint32_t size);
    void releaseLibraryObjects();
    // Whether the media type carries the headers the library objects were
    // made from.
    bool sameHeaders(const CMediaType& mediaType) const;
    // The stream's channels and rate, checked against the identification
    // header, once the library is ready.
    TvStatus* finishInit(const VORBISFORMAT2& format);

    int32_t _packetNumber = 0;
    TvStatusVorbis _status;
    vorbis_info* _pvi = nullptr;
    vorbis_comment* _pvc = nullptr;
    vorbis_dsp_state* _pvd = nullptr;
    vorbis_block* _pvb = nullptr;
    // The format block the objects above were made from.
    std::vector<uint8_t> _headers;
};
