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
    TvStatus* decodeLayer12(const uint8_t** readPtr, IMediaSample* out);
    TvStatus* decodeLayer3(const uint8_t** readPtr, IMediaSample* out);
    TvStatus* finish(IMediaSample* out, long bytes);

    CMediaType _mediaType;
    TvStatusMpeg _status;
    std::unique_ptr<Mp3Decoder> _mp3;
    std::unique_ptr<MpegFrameDecoder> _mpeg;
};
