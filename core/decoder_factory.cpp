#include "core/decoder_factory.h"

#include "decoders/AdecLpcmBd.h"
#include "decoders/AdecLpcmDvd.h"
#include "decoders/adeclpcm.h"
#include "platform/media_guids.h"

namespace {

template <class Decoder>
std::unique_ptr<Adec> create(std::ostream& log)
{
    return std::make_unique<Decoder>(log);
}

// The order of the list is the order in which media types are offered.
// Adding a decoder class is one line here.
const DecoderCreationStep creationSteps[] = {
    {"AdecLpcmDvd", create<AdecLpcmDvd>, false},
    {"AdecLpcmBd", create<AdecLpcmBd>, false},
    {"AdecLPCM", create<AdecLPCM>, false},
};

bool runStep(const DecoderCreationStep& step, DecoderList& decoders, std::ostream& log)
{
    try {
        decoders.push_back(step.create(log));
    } catch (...) {
        log << "error initializing Audio decoder: " << step.className << std::endl;
        return false;
    }
    log << "successfully initialized Decoder: " << step.className << std::endl;
    return true;
}

}  // namespace

void runCreationSteps(const DecoderCreationStep* steps, size_t count, DecoderList& decoders,
                      std::ostream& log)
{
    bool previousSucceeded = true;
    for (size_t i = 0; i < count; ++i) {
        if (steps[i].onlyIfPreviousFailed && previousSucceeded)
            continue;
        previousSucceeded = runStep(steps[i], decoders, log);
    }
}

void createDecoders(DecoderList& decoders, std::ostream& log)
{
    runCreationSteps(creationSteps, sizeof creationSteps / sizeof creationSteps[0], decoders, log);
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
