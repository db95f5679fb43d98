// Input subtypes that are not platform GUIDs: four-character-code subtypes of
// MPEG-4 audio and AMR, and the alternative wide-band AMR subtype.
#pragma once

#include "platform/media_guids.h"

constexpr uint32_t fourCC(char a, char b, char c, char d)
{
    return uint32_t(uint8_t(a)) | (uint32_t(uint8_t(b)) << 8) | (uint32_t(uint8_t(c)) << 16) |
           (uint32_t(uint8_t(d)) << 24);
}

inline constexpr GUID MEDIASUBTYPE_MPEG4_AUDIO = guidFromFourCC(fourCC('M', 'P', '4', 'A'));
inline constexpr GUID MEDIASUBTYPE_MP4_AUDIO = guidFromFourCC(fourCC('m', 'p', '4', 'a'));
inline constexpr GUID MEDIASUBTYPE_SAMR_AUDIO = guidFromFourCC(fourCC('s', 'a', 'm', 'r'));
inline constexpr GUID MEDIASUBTYPE_SAWB_AUDIO = guidFromFourCC(fourCC('s', 'a', 'w', 'b'));
// clang-format off
TV_DEFINE_GUID(MEDIASUBTYPE_AMR_WB_AUDIO, 0xCA9A0EDC, 0x38B0, 0x4FA6, 0xB3, 0x4A, 0x30, 0x19, 0x54, 0x3A, 0x0C, 0x57);
// MPEG audio in HD DVD packs. No value for it is published where we could
// confirm one; this one is ours, so only our own logs name it.
TV_DEFINE_GUID(MEDIASUBTYPE_HDDVD_AUDIO_MPEG, 0x5E7B3C21, 0x8A4D, 0x4F06, 0x9B, 0x2E, 0x41, 0xC7, 0xD0, 0x65, 0x93, 0xF8);
// clang-format on
