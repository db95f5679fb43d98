#include "core/decoder_factory.h"

#include "decoders/AdecLpcmDvd.h"
#include "platform/media_guids.h"

namespace {

using Creator = std::unique_ptr<Adec> (*)(std::ostream& log);

template <class Decoder>
std::unique_ptr<Adec> create(std::ostream& log)
{
    return std::make_unique<Decoder>(log);
}

struct CreationStep {
    const char* className;
    Creator creator;
    // When set, this step runs only if the previous step failed: the two
    // decoders handle the same streams.
    bool onlyIfPreviousFailed;
};

// The order of the list is the order in which media types are offered.
// Adding a decoder class is one line here.
const CreationStep creationSteps[] = {
    {"AdecLpcmDvd", create<AdecLpcmDvd>, false},
};

bool runStep(const CreationStep& step, DecoderList& decoders, std::ostream& log)
{
    try {
        decoders.push_back(step.creator(log));
    } catch (...) {
        log << "error initializing Audio decoder: " << step.className << std::endl;
        return false;
    }
    log << "successfully initialized Decoder: " << step.className << std::endl;
    return true;
}

}  // namespace

void createDecoders(DecoderList& decoders, std::ostream& log)
{
    bool previousSucceeded = true;
    for (const CreationStep& step : creationSteps) {
        if (step.onlyIfPreviousFailed && previousSucceeded)
            continue;
        previousSucceeded = runStep(step, decoders, log);
    }
}

bool isCandidateInputType(const AM_MEDIA_TYPE& mediaType)
{
    bool majorOk = IsEqualGUID(mediaType.majortype, MEDIATYPE_Audio) ||
                   IsEqualGUID(mediaType.majortype, MEDIATYPE_DVD_ENCRYPTED_PACK) ||
                   IsEqualGUID(mediaType.majortype, MEDIATYPE_MPEG2_PES);
    if (!majorOk)
        return false;
    if (IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_Vorbis2))
        return true;
    return IsEqualGUID(mediaType.formattype, FORMAT_WaveFormatEx) && mediaType.pbFormat &&
           mediaType.cbFormat >= sizeof(WAVEFORMATEX);
}

Adec* chooseDecoder(const DecoderList& decoders, const CMediaType& mediaType)
{
    if (!isCandidateInputType(mediaType))
        return nullptr;
    for (const auto& decoder : decoders)
        if (decoder->accepts(mediaType))
            return decoder.get();
    return nullptr;
}
