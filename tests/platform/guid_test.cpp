#include <gtest/gtest.h>

#include "platform/windows_api.h"

namespace {

std::string text(REFGUID guid)
{
    LPOLESTR wide = nullptr;
    EXPECT_EQ(StringFromCLSID(guid, &wide), S_OK);
    std::string out = platform::toUtf8(wide);
    CoTaskMemFree(wide);
    return out;
}

TEST(Guid, PublishedValuesFormatAsRegistryText)
{
    struct Case {
        GUID guid;
        const char* expected;
    } cases[] = {
        {MEDIATYPE_Audio, "{73647561-0000-0010-8000-00AA00389B71}"},
        {MEDIASUBTYPE_DOLBY_AC3, "{E06D802C-DB46-11CF-B4D1-00805F6CBBEA}"},
        {MEDIATYPE_DVD_ENCRYPTED_PACK, "{ED0B916A-044D-11D1-AA78-00C04FC31D60}"},
        {FORMAT_WaveFormatEx, "{05589F81-C356-11CE-BF01-00AA0055595A}"},
        {IID_IMediaSample, "{56A8689A-0AD4-11CE-B03A-0020AF0BA770}"},
        {IID_ICodecAPI, "{901DB4C7-31CE-41A2-85DC-8FA0BF41B8DA}"},
        {MEDIASUBTYPE_HDDVD_LPCM, "{09BEC0CB-6A69-45C9-A9DC-17BA1511D283}"},
        {MEDIASUBTYPE_AC3_AVI, "{00002000-0000-0010-8000-00AA00389B71}"},
        {guidFromFourCC(0x55), "{00000055-0000-0010-8000-00AA00389B71}"},
        {GUID_NULL, "{00000000-0000-0000-0000-000000000000}"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(text(c.guid), c.expected);
}

TEST(Guid, ParsesWhatItPrintsInEitherCase)
{
    for (const char* s : {"{E06D802C-DB46-11CF-B4D1-00805F6CBBEA}",
                          "{e06d802c-db46-11cf-b4d1-00805f6cbbea}"}) {
        CLSID parsed;
        ASSERT_EQ(CLSIDFromString(platform::toWide(s).c_str(), &parsed), S_OK) << s;
        EXPECT_TRUE(IsEqualGUID(parsed, MEDIASUBTYPE_DOLBY_AC3));
    }
}

TEST(Guid, RejectsMalformedText)
{
    for (const char* s : {"", "E06D802C-DB46-11CF-B4D1-00805F6CBBEA",
                          "{E06D802C-DB46-11CF-B4D1-00805F6CBBEA", "{E06D802C-DB46-11CF-B4D1-00805F6CBBEAX}",
                          "{G06D802C-DB46-11CF-B4D1-00805F6CBBEA}", "{E06D802CDB46-11CF-B4D1-00805F6CBBEA0}"}) {
        CLSID parsed;
        EXPECT_EQ(CLSIDFromString(platform::toWide(s).c_str(), &parsed), CO_E_CLASSSTRING) << s;
    }
}

TEST(Guid, EqualityIsByteWise)
{
    GUID a = MEDIASUBTYPE_PCM;
    EXPECT_TRUE(IsEqualGUID(a, KSDATAFORMAT_SUBTYPE_PCM));
    a.Data4[7] ^= 1;
    EXPECT_FALSE(IsEqualGUID(a, MEDIASUBTYPE_PCM));
    EXPECT_TRUE(a != MEDIASUBTYPE_PCM);
}

TEST(WideStrings, RoundTripUtf8IncludingSurrogatePairs)
{
    const std::string samples[] = {"", "Tavio Audio Decoder 2", "Kl\xC3\xA4nge", "\xF0\x9F\x8E\xB5 music"};
    for (const auto& s : samples)
        EXPECT_EQ(platform::toUtf8(platform::toWide(s)), s);
    EXPECT_EQ(platform::toWide("\xF0\x9F\x8E\xB5").size(), 2u);
}

TEST(WideStrings, MalformedUtf8BecomesReplacementCharacters)
{
    auto wide = platform::toWide(std::string("a\xC3") + "b\xFF");
    ASSERT_EQ(wide.size(), 4u);
    EXPECT_EQ(wide[1], 0xFFFD);
    EXPECT_EQ(wide[3], 0xFFFD);
}

TEST(WideStrings, CopyWideTruncatesAndTerminates)
{
    WCHAR buffer[4];
    platform::copyWide(buffer, 4, WIDE("Output"));
    EXPECT_EQ(platform::toUtf8(buffer), "Out");
    platform::copyWide(buffer, 4, nullptr);
    EXPECT_EQ(buffer[0], 0);
}

}  // namespace
