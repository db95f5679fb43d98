// MPEG-1, MPEG-2 and MPEG-2.5 audio, layers I to III: finds and measures the
// frames itself, decodes layer I/II frames one at a time with the frame
// decoder and feeds layer III frames to the layer III decoder object, whose
// bit reservoir spans frames. Output is 16-bit interleaved PCM.
#pragma once

#include <memory>

#include "core/Adec.h"
#include "engines/mpeg/mp3_decoder.h"
#include "engines/mpeg/mpeg_frame_decoder.h"

class AdecMPEG : public Adec {
public:
    explicit AdecMPEG(std::ostream& log);
    ~AdecMPEG() override;

    bool accepts(const CMediaType& mediaType) override;
    TvStatus* init(const CMediaType& mediaType) override;
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override;

private:
    // Skips to the next frame header and fills the status from it; false
    // when no header lies in the window. A frame not yet whole leaves
    // samples and iFrameSize 0 and the cursor on its header.
    bool updateStatus(const uint8_t** readPtr, const uint8_t* end);
    // The length before padding of the free-format frame at `p`: measured
    // on the stream's first, kept for the rest (free format is one constant
    // bit rate). 0 when the buffer does not show it.
    uint32_t freeFormatLength(const uint8_t* p, const uint8_t* end);
    TvStatus* decodeLayer12(const uint8_t** readPtr, IMediaSample* out);
    TvStatus* decodeLayer3(const uint8_t** readPtr, IMediaSample* out);
    TvStatus* finish(IMediaSample* out, long bytes);

    CMediaType _mediaType;
    TvStatusMpeg _status;
    std::unique_ptr<Mp3Decoder> _mp3;
    std::unique_ptr<MpegFrameDecoder> _mpeg;
    // The free-format length found, and the header bytes 1-2 (without CRC
    // and padding bits) of the stream it was found in.
    uint32_t _freeFormatBytes = 0;
    uint8_t _freeFormatHeader[4] = {};  // the header the kept length was measured at
    // A frame was found since init: from then on a header that looks like
    // free format but shows no length is passed over, not waited on.
    bool _frameFound = false;
    bool _freeFormatFrame = false;  // the frame the status describes
};
