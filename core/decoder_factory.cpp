#include "core/decoder_factory.h"

#include <type_traits>

#include "decoders/AdecAAC.h"
#include "decoders/AdecAMR.h"
#include "decoders/AdecDDPlus.h"
#include "decoders/AdecDTS.h"
#include "decoders/AdecDolby.h"
#include "decoders/AdecLPCM.h"
#include "decoders/AdecLpcmBd.h"
#include "decoders/AdecLpcmDvd.h"
#include "decoders/AdecMLP.h"
#include "decoders/AdecMPEG.h"
#include "decoders/AdecVorbis.h"
#include "platform/media_guids.h"

namespace {

// Decoders with a sibling library are told the folder it lives in.
template <class Decoder>
std::unique_ptr<Adec> create(std::ostream& log, const LibraryFolder& moduleFolder)
{
    if constexpr (std::is_constructible_v<Decoder, std::ostream&, const LibraryFolder&>)
        return std::make_unique<Decoder>(log, moduleFolder);
    else
        return std::make_unique<Decoder>(log);
}

// The order of the list is the order in which media types are offered.
// Adding a decoder class is one line here.
const DecoderCreationStep creationSteps[] = {
    {"AdecDDPlus", create<AdecDDPlus>, false},   {"AdecDolby", create<AdecDolby>, true},
    {"AdecDTS", create<AdecDTS>, false},         {"AdecAAC", create<AdecAAC>, false},
    {"AdecVorbis", create<AdecVorbis>, false},   {"AdecMLP", create<AdecMLP>, false},
    {"AdecLpcmDvd", create<AdecLpcmDvd>, false}, {"AdecLpcmBd", create<AdecLpcmBd>, false},
    {"AdecLPCM", create<AdecLPCM>, false},       {"AdecMPEG", create<AdecMPEG>, false},
    {"AdecAMR", create<AdecAMR>, false},
};

bool runStep(const DecoderCreationStep& step,
             DecoderList& decoders,
             std::ostream& log,
             const LibraryFolder& moduleFolder)
{
    try {
        decoders.push_back(step.create(log, moduleFolder));
    } catch (...) {
        log << "error initializing Audio decoder: " << step.className << std::endl;
        return false;
    }
    log << "successfully initialized Decoder: " << step.className << std::endl;
    return true;
}

}  // namespace

void runCreationSteps(const DecoderCreationStep* steps,
                      size_t count,
                      DecoderList& decoders,
                      std::ostream& log,
                      const LibraryFolder& moduleFolder)
{
    bool previousSucceeded = true;
    for (size_t i = 0; i < count; ++i) {
        if (steps[i].onlyIfPreviousFailed && previousSucceeded)
            continue;
        previousSucceeded = runStep(steps[i], decoders, log, moduleFolder);
    }
}

void createDecoders(DecoderList& decoders, std::ostream& log, const LibraryFolder& moduleFolder)
{
    runCreationSteps(creationSteps, sizeof creationSteps / sizeof creationSteps[0], decoders, log,
                     moduleFolder);
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
