// The COM runtime's text on POSIX: GUIDs as the registry and the codec API
// write them, and wide strings (BSTRs and variants are checked through the
// codec API's tests).
#include <gtest/gtest.h>

#include "platform/windows_api.h"
#include "support/guid_text.h"

namespace {

const char kDistinct[] = "{01234567-89AB-CDEF-0123-456789ABCDEF}";

TEST(GuidText, RoundTripsEveryFieldInRegistryOrder)
{
    // A known value pins the field order; parsing then must give it back.
    EXPECT_EQ(guidText(guidFromFourCC(0x55)), "{00000055-0000-0010-8000-00AA00389B71}");
    struct Case {
        const char* text;
        HRESULT expected;
    } cases[] = {
        {kDistinct, S_OK},
        {"{01234567-89ab-cdef-0123-456789abcdef}", S_OK},
        {"01234567-89AB-CDEF-0123-456789ABCDEF", CO_E_CLASSSTRING},
        {"{01234567-89AB-CDEF-0123-456789ABCDEF", CO_E_CLASSSTRING},
        {"{01234567-89AB-CDEF-0123-456789ABCDEF}X", CO_E_CLASSSTRING},
        {"{G1234567-89AB-CDEF-0123-456789ABCDEF}", CO_E_CLASSSTRING},
    };
    for (const Case& c : cases) {
        CLSID parsed;
        EXPECT_EQ(CLSIDFromString(platform::toWide(c.text).c_str(), &parsed), c.expected) << c.text;
        EXPECT_EQ(c.expected == S_OK ? guidText(parsed) : kDistinct, kDistinct) << c.text;
    }
    LPOLESTR text = nullptr;
    ASSERT_EQ(StringFromCLSID(guidFromFourCC(0x55), &text), S_OK);
    EXPECT_EQ(platform::toUtf8(text), guidText(guidFromFourCC(0x55)));
    CoTaskMemFree(text);
}

TEST(WideText, Utf8RoundTripsThroughUtf16)
{
    struct Case {
        std::string utf8;
        size_t units;
    } cases[] = {
        {"", 0},
        {"Tavio Audio Decoder 2", 21},
        {"Kl\xC3\xA4nge \xD0\x96", 8},  // two-byte sequences
        {"\xE2\x82\xAC", 1},            // three bytes
        {"\xF0\x9F\x8E\xB5 music", 8},  // beyond the BMP: a surrogate pair
    };
    for (const Case& c : cases) {
        platform::WideString wide = platform::toWide(c.utf8);
        EXPECT_EQ(wide.size(), c.units) << c.utf8;
        EXPECT_EQ(platform::toUtf8(wide), c.utf8);
    }
    // Malformed and cut-off sequences become one replacement character each.
    EXPECT_EQ(platform::toWide(std::string("a\xC3") + "b\xFF" + "c\xE2\x82"),
              (platform::WideString{u'a', 0xFFFD, u'b', 0xFFFD, u'c', 0xFFFD}));
}

}  // namespace
