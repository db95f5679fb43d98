// The three LPCM packings each reach their own decoder, created in the fixed
// order DVD-Video, Blu-ray, DVD-Audio.
#include <gtest/gtest.h>

#include <sstream>

#include "core/decoder_factory.h"
#include "decoders/AdecLPCM.h"
#include "decoders/AdecLpcmBd.h"
#include "decoders/AdecLpcmDvd.h"
#include "support/wave_type.h"

namespace {

CMediaType typeOf(const GUID& subtype)
{
    return waveFormatType(&MEDIATYPE_MPEG2_PES, &subtype,
                          WAVEFORMATEX{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0});
}

TEST(LpcmSelection, EachSubtypeReachesItsDecoderInTheFixedOrder)
{
    std::ostringstream log;
    DecoderList decoders;
    createDecoders(decoders, log);
    std::string text = log.str();
    size_t dvd = text.find("successfully initialized Decoder: AdecLpcmDvd\n");
    size_t bd = text.find("successfully initialized Decoder: AdecLpcmBd\n");
    size_t dvda = text.find("successfully initialized Decoder: AdecLPCM\n");
    ASSERT_NE(dvd, std::string::npos);
    ASSERT_NE(bd, std::string::npos);
    ASSERT_NE(dvda, std::string::npos);
    EXPECT_LT(dvd, bd);
    EXPECT_LT(bd, dvda);

    EXPECT_NE(dynamic_cast<AdecLpcmDvd*>(chooseDecoder(decoders, typeOf(MEDIASUBTYPE_HDDVD_LPCM))),
              nullptr);
    EXPECT_NE(
        dynamic_cast<AdecLpcmBd*>(chooseDecoder(decoders, typeOf(MEDIASUBTYPE_BDMV_LPCM_AUDIO))),
        nullptr);
    EXPECT_NE(
        dynamic_cast<AdecLPCM*>(chooseDecoder(decoders, typeOf(MEDIASUBTYPE_DVDA_AUDIO_LPCM))),
        nullptr);
}

}  // namespace
