// The layouts that cross module boundaries must match the Windows ones.
#include <gtest/gtest.h>

#include <cstddef>

#include "platform/windows_api.h"

namespace {

TEST(Abi, ScalarSizesAreTheWindowsOnes)
{
    EXPECT_EQ(sizeof(LONG), 4u);
    EXPECT_EQ(sizeof(DWORD), 4u);
    EXPECT_EQ(sizeof(WCHAR), 2u);
    EXPECT_EQ(sizeof(REFERENCE_TIME), 8u);
    EXPECT_EQ(sizeof(GUID), 16u);
    EXPECT_EQ(sizeof(HRESULT), 4u);
}

TEST(Abi, StructureLayoutsMatchThe64BitWindowsOnes)
{
    EXPECT_EQ(sizeof(AM_MEDIA_TYPE), 88u);
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, formattype), 44u);
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, pUnk), 64u);
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, pbFormat), 80u);
    EXPECT_EQ(sizeof(ALLOCATOR_PROPERTIES), 16u);
    EXPECT_EQ(sizeof(WAVEFORMATEX), 18u);
    EXPECT_EQ(sizeof(WAVEFORMATEXTENSIBLE), 40u);
    EXPECT_EQ(offsetof(WAVEFORMATEXTENSIBLE, dwChannelMask), 20u);
    EXPECT_EQ(offsetof(WAVEFORMATEXTENSIBLE, SubFormat), 24u);
    EXPECT_EQ(sizeof(VARIANT), 24u);
    EXPECT_EQ(offsetof(VARIANT, bstrVal), 8u);
    EXPECT_EQ(sizeof(PIN_INFO), 8u + 4u + 4u + 256u);
}

TEST(Abi, HresultHelpersClassifyLikeWindows)
{
    EXPECT_TRUE(SUCCEEDED(S_FALSE));
    EXPECT_TRUE(SUCCEEDED(VFW_S_NO_MORE_ITEMS));
    EXPECT_TRUE(FAILED(VFW_E_NOT_COMMITTED));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), HRESULT(0x80070002));
    EXPECT_EQ(HRESULT_FROM_WIN32(0), S_OK);
    EXPECT_EQ(HRESULT(E_PROP_ID_UNSUPPORTED), HRESULT_FROM_WIN32(1168));
}

}  // namespace
