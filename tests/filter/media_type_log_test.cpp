// Media types and GUIDs as the logs name them.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "filter/guid_names.h"
#include "filter/media_type_log.h"
#include "platform/media_guids.h"
#include "platform/mmreg.h"

namespace {

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::stringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        out.push_back(line);
    return out;
}

AM_MEDIA_TYPE waveType(const GUID& subtype, const void* format, ULONG length)
{
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Audio;
    type.subtype = subtype;
    type.formattype = FORMAT_WaveFormatEx;
    type.cbFormat = length;
    type.pbFormat = static_cast<BYTE*>(const_cast<void*>(format));
    return type;
}

std::vector<std::string> dump(const AM_MEDIA_TYPE& type)
{
    std::ostringstream out;
    writeMediaTypeToLog(out, type);
    return lines(out.str());
}

TEST(MediaTypeDump, PcmExtensibleAndSpdif)
{
    WAVEFORMATEX pcm{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
    EXPECT_EQ(dump(waveType(MEDIASUBTYPE_PCM, &pcm, sizeof pcm)),
              (std::vector<std::string>{"MEDIATYPE_Audio MEDIASUBTYPE_PCM",
                                        "chan: 2 bits: 16 cbSize: 0 bytesPerS: 192000 Align: 4 freq: 48000",
                                        "Format: unknown format Tag: 1"}));

    WAVEFORMATEXTENSIBLE extensible{};
    extensible.Format = {WAVE_FORMAT_EXTENSIBLE, 6, 48000, 864000, 18, 24, 22};
    extensible.Samples.wValidBitsPerSample = 24;
    extensible.dwChannelMask = 0x3F;
    extensible.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
    EXPECT_EQ(dump(waveType(MEDIASUBTYPE_PCM, &extensible, sizeof extensible)),
              (std::vector<std::string>{"MEDIATYPE_Audio MEDIASUBTYPE_PCM",
                                        "chan: 6 bits: 24 cbSize: 22 bytesPerS: 864000 Align: 18 freq: 48000",
                                        "Format: WAVE_FORMAT_EXTENSIBLE",
                                        "valid: 24 mask: 63 subf: MEDIASUBTYPE_PCM"}));

    WAVEFORMATEX spdif{WAVE_FORMAT_DOLBY_AC3_SPDIF, 2, 48000, 192000, 4, 16, 0};
    EXPECT_EQ(dump(waveType(MEDIASUBTYPE_DOLBY_AC3_SPDIF, &spdif, sizeof spdif)),
              (std::vector<std::string>{"MEDIATYPE_Audio MEDIASUBTYPE_DOLBY_AC3_SPDIF",
                                        "chan: 2 bits: 16 cbSize: 0 bytesPerS: 192000 Align: 4 freq: 48000",
                                        "Format: WAVE_FORMAT_DOLBY_AC3_SPDIF",
                                        "unknown format Tag: 146"}));

    // Another format type: the names alone.
    AM_MEDIA_TYPE other{};
    other.majortype = MEDIATYPE_MPEG2_PES;
    other.subtype = MEDIASUBTYPE_DVD_LPCM_AUDIO;
    EXPECT_EQ(dump(other), (std::vector<std::string>{"MEDIATYPE_MPEG2_PES MEDIASUBTYPE_DVD_LPCM_AUDIO"}));
}

TEST(GuidNames, KnownNamesFirstMatchAndBracedText)
{
    struct Case {
        GUID guid;
        const char* name;
    } cases[] = {
        {MEDIATYPE_DVD_ENCRYPTED_PACK, "MEDIATYPE_DVD_ENCRYPTED_PACK"},
        {KSDATAFORMAT_SUBTYPE_PCM, "MEDIASUBTYPE_PCM"},  // the same GUID: the first name wins
        {MEDIASUBTYPE_MP3, "MEDIASUBTYPE_MPEG3"},
        {MEDIASUBTYPE_HDDVD_LPCM, "MEDIASUBTYPE_HDDVD_LPCM"},
        {IID_IKsPropertySet, "IID_IKsPropertySet"},
        {guidFromFourCC(0x726D6173), "MEDIASUBTYPE_SAMR_AUDIO"},
        {guidFromFourCC(0x1234), "{00001234-0000-0010-8000-00AA00389B71}"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(guidName(c.guid), c.name);
}

}  // namespace
