// Which decoder class the factory picks for a proposed media type: every
// registered input type, the pre-check's refusals, and AC-3 falling back to
// the AC-3 decoder when the DD+ library is missing.
#include <gtest/gtest.h>

#include <sstream>
#include <typeinfo>

#include "core/decoder_factory.h"
#include "core/media_subtypes.h"
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
#include "filter/guid_names.h"
#include "filter/registered_types.h"
#include "support/media_types.h"

namespace {

// AAC LC, 48 kHz, two channels: the AudioSpecificConfig an AAC offer carries.
const std::vector<uint8_t> kAacConfig = {0x11, 0x90};

DecoderList decoders(bool ddPlusLibrary)
{
    // Decoders keep the log they were made with: it outlives every list.
    static std::ostringstream log;
    DecoderList list;
    createDecoders(list, log, ddPlusLibrary ? TAVIO_MODULE_DIR "/" : "/nonexistent/");
    return list;
}

const std::type_info* chosen(const DecoderList& list, const CMediaType& type)
{
    Adec* decoder = chooseDecoder(list, type);
    return decoder ? &typeid(*decoder) : nullptr;
}

const char* nameOf(const std::type_info* type)
{
    return type ? type->name() : "none";
}

// The type a splitter offers for a subtype: a wave format with the AAC
// configuration after it (ignored by the others); Vorbis in its own format.
CMediaType offer(const GUID& major, const GUID& subtype)
{
    CMediaType type = waveType(major, subtype, 0, 48000, 2, 16, kAacConfig);
    if (IsEqualGUID(subtype, MEDIASUBTYPE_Vorbis2))
        type.SetFormatType(&FORMAT_VorbisFormat2);
    return type;
}

// The decoder for each registered subtype; PES and DVD-pack majors change
// nothing but MPEG-1 packets, which only DVD packs carry as MPEG audio.
const std::type_info* expectedFor(const GUID& major, const GUID& subtype, bool ddPlusLibrary)
{
    struct Entry {
        const GUID& subtype;
        const std::type_info& decoder;
    };
    static const Entry entries[] = {
        {MEDIASUBTYPE_MPEG1AudioPayload, typeid(AdecMPEG)},
        {MEDIASUBTYPE_MPEG1Payload, typeid(AdecMPEG)},
        {MEDIASUBTYPE_MPEG2_AUDIO, typeid(AdecMPEG)},
        {MEDIASUBTYPE_MPEG3, typeid(AdecMPEG)},
        {MEDIASUBTYPE_MPEG4_AUDIO, typeid(AdecAAC)},
        {MEDIASUBTYPE_MP4_AUDIO, typeid(AdecAAC)},
        {MEDIASUBTYPE_DVD_LPCM_AUDIO, typeid(AdecLpcmDvd)},
        {MEDIASUBTYPE_DVDA_AUDIO_LPCM, typeid(AdecLPCM)},
        {MEDIASUBTYPE_BDMV_LPCM_AUDIO, typeid(AdecLpcmBd)},
        {MEDIASUBTYPE_DTS, typeid(AdecDTS)},
        {MEDIASUBTYPE_SAWB_AUDIO, typeid(AdecAMR)},
        {MEDIASUBTYPE_SAMR_AUDIO, typeid(AdecAMR)},
        {MEDIASUBTYPE_AMR_WB_AUDIO, typeid(AdecAMR)},
        {MEDIASUBTYPE_Vorbis2, typeid(AdecVorbis)},
        {MEDIASUBTYPE_DVDA_AUDIO_MLP, typeid(AdecMLP)},
    };
    if (IsEqualGUID(subtype, MEDIASUBTYPE_DOLBY_AC3) || IsEqualGUID(subtype, MEDIASUBTYPE_AC3_AVI))
        return ddPlusLibrary ? &typeid(AdecDDPlus) : &typeid(AdecDolby);
    if (IsEqualGUID(subtype, MEDIASUBTYPE_MPEG1Packet))
        return IsEqualGUID(major, MEDIATYPE_DVD_ENCRYPTED_PACK) ? &typeid(AdecMPEG) : nullptr;
    for (const Entry& e : entries)
        if (IsEqualGUID(subtype, e.subtype))
            return &e.decoder;
    ADD_FAILURE() << "registered subtype without an expected decoder: " << guidName(subtype);
    return nullptr;
}

TEST(DecoderFactory, EveryRegisteredInputTypeReachesItsDecoder)
{
    for (bool ddPlusLibrary : {true, false}) {
        DecoderList list = decoders(ddPlusLibrary);
        for (const AMOVIESETUP_MEDIATYPE& registered : registeredInputTypes.types) {
            const GUID& major = *registered.clsMajorType;
            const GUID& subtype = *registered.clsMinorType;
            EXPECT_STREQ(nameOf(chosen(list, offer(major, subtype))),
                         nameOf(expectedFor(major, subtype, ddPlusLibrary)))
                << guidName(major) << " " << guidName(subtype) << " DD+ library " << ddPlusLibrary;
        }
    }
}

TEST(DecoderFactory, TypesOutsideTheRegisteredOnes)
{
    CMediaType shortFormat = offer(MEDIATYPE_Audio, MEDIASUBTYPE_DVD_LPCM_AUDIO);
    shortFormat.cbFormat = sizeof(WAVEFORMATEX) - 1;
    CMediaType noFormat = offer(MEDIATYPE_Audio, MEDIASUBTYPE_DVD_LPCM_AUDIO);
    noFormat.SetFormatType(&FORMAT_None);
    struct Row {
        const char* what;
        CMediaType type;
        const std::type_info* decoder;
    } rows[] = {
        {"HD DVD LPCM", offer(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_HDDVD_LPCM), &typeid(AdecLpcmDvd)},
        {"HD DVD AC-3", offer(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_HDDVD_AUDIO_AC3),
         &typeid(AdecDDPlus)},
        {"HD DVD TrueHD", offer(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_HDDVD_AUDIO_MLP),
         &typeid(AdecMLP)},
        {"a video major", offer(MEDIATYPE_Video, MEDIASUBTYPE_DVD_LPCM_AUDIO), nullptr},
        {"wave format a byte short", shortFormat, nullptr},
        {"no wave format", noFormat, nullptr},
        {"Vorbis in a wave format",
         waveType(MEDIATYPE_Audio, MEDIASUBTYPE_Vorbis2, 0, 48000, 2, 16), nullptr},
        {"AAC without its configuration",
         waveType(MEDIATYPE_Audio, MEDIASUBTYPE_MPEG4_AUDIO, 0, 48000, 2, 16), nullptr},
        {"plain PCM", offer(MEDIATYPE_Audio, MEDIASUBTYPE_PCM), nullptr},
    };
    DecoderList list = decoders(true);
    for (const Row& row : rows)
        EXPECT_STREQ(nameOf(chosen(list, row.type)), nameOf(row.decoder)) << row.what;
}

}  // namespace
