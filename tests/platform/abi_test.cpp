// The structures that cross module boundaries have the 64-bit Windows layout
// (the interfaces' slot order is checked against the SDK headers by
// check_interface_layout.py).
#include <gtest/gtest.h>

#include <cstddef>

#include "platform/windows_api.h"

namespace {

TEST(Abi, LayoutsAreTheWindowsOnes)
{
    struct Case {
        const char* what;
        size_t ours, windows;
    } cases[] = {
        {"LONG", sizeof(LONG), 4},
        {"WCHAR", sizeof(WCHAR), 2},
        {"AM_MEDIA_TYPE", sizeof(AM_MEDIA_TYPE), 88},
        {"AM_MEDIA_TYPE::formattype", offsetof(AM_MEDIA_TYPE, formattype), 44},
        {"AM_MEDIA_TYPE::pUnk", offsetof(AM_MEDIA_TYPE, pUnk), 64},
        {"AM_MEDIA_TYPE::pbFormat", offsetof(AM_MEDIA_TYPE, pbFormat), 80},
        {"ALLOCATOR_PROPERTIES", sizeof(ALLOCATOR_PROPERTIES), 16},
        {"WAVEFORMATEX", sizeof(WAVEFORMATEX), 18},
        {"WAVEFORMATEXTENSIBLE", sizeof(WAVEFORMATEXTENSIBLE), 40},
        {"WAVEFORMATEXTENSIBLE::dwChannelMask", offsetof(WAVEFORMATEXTENSIBLE, dwChannelMask), 20},
        {"WAVEFORMATEXTENSIBLE::SubFormat", offsetof(WAVEFORMATEXTENSIBLE, SubFormat), 24},
        {"VARIANT", sizeof(VARIANT), 24},
        {"VARIANT::bstrVal", offsetof(VARIANT, bstrVal), 8},
        {"PIN_INFO", sizeof(PIN_INFO), 8 + 4 + 4 + 256},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.ours, c.windows) << c.what;
}

}  // namespace
