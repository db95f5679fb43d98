#include <gtest/gtest.h>

#include <cstring>

#include "platform/filter_registration.h"
#include "platform/windows_api.h"

namespace {

TEST(Bstr, KeepsLengthIncludingEmbeddedNulls)
{
    const OLECHAR text[] = {'a', 0, 'b'};
    BSTR s = SysAllocStringLen(text, 3);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringLen(s), 3u);
    EXPECT_EQ(s[3], 0);
    SysFreeString(s);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    SysFreeString(nullptr);
}

TEST(Variant, CopyDuplicatesStringsAndClearFreesThem)
{
    VARIANT a, b;
    VariantInit(&a);
    VariantInit(&b);
    a.vt = VT_BSTR;
    a.bstrVal = SysAllocString(WIDE("{696E1D31-548F-4036-825F-7026C60011BD}"));
    ASSERT_EQ(VariantCopy(&b, &a), S_OK);
    EXPECT_NE(a.bstrVal, b.bstrVal);
    EXPECT_EQ(platform::toUtf8(b.bstrVal), platform::toUtf8(a.bstrVal));
    EXPECT_EQ(VariantClear(&a), S_OK);
    EXPECT_EQ(a.vt, VT_EMPTY);
    EXPECT_EQ(VariantClear(&b), S_OK);
    EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
}

TEST(CoCreateInstance, UnknownClassIsNotRegistered)
{
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(CoCreateInstance(MEDIATYPE_Audio, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
}

TEST(CoCreateInstance, RegisteredInProcessClassIsCreated)
{
    static int created = 0;
    platform::registerInProcessClass(MEDIATYPE_Video, [](IUnknown*, REFIID, void** ppv) -> HRESULT {
        ++created;
        *ppv = nullptr;
        return E_NOINTERFACE;
    });
    void* object;
    EXPECT_EQ(CoCreateInstance(MEDIATYPE_Video, nullptr, CLSCTX_INPROC, IID_IUnknown, &object),
              E_NOINTERFACE);
    EXPECT_EQ(created, 1);
    platform::unregisterInProcessClass(MEDIATYPE_Video);
    EXPECT_EQ(CoCreateInstance(MEDIATYPE_Video, nullptr, CLSCTX_INPROC, IID_IUnknown, &object),
              REGDB_E_CLASSNOTREG);
}

class FilterMapperTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        platform::registryClear();
        ASSERT_EQ(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_IFilterMapper2, reinterpret_cast<void**>(&mapper)),
                  S_OK);
    }
    void TearDown() override
    {
        mapper->Release();
        platform::registryClear();
    }
    IFilterMapper2* mapper = nullptr;
};

TEST_F(FilterMapperTest, RegistrationIsReadBackWithPinsAndTypes)
{
    const REGPINTYPES inTypes[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_DOLBY_AC3},
                                   {&MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_DTS}};
    const REGPINTYPES outTypes[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM}};
    const REGFILTERPINS pins[] = {
        {nullptr, FALSE, FALSE, FALSE, FALSE, nullptr, nullptr, 2, inTypes},
        {nullptr, FALSE, TRUE, FALSE, FALSE, nullptr, nullptr, 1, outTypes}};
    REGFILTER2 rf{};
    rf.dwVersion = 1;
    rf.dwMerit = MERIT_NORMAL;
    rf.cPins = 2;
    rf.rgPins = pins;
    ASSERT_EQ(mapper->RegisterFilter(MEDIASUBTYPE_SDDS, WIDE("Test Filter"), nullptr,
                                     &CLSID_LegacyAmFilterCategory, nullptr, &rf),
              S_OK);

    platform::RegisteredFilter found;
    ASSERT_TRUE(platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, MEDIASUBTYPE_SDDS, found));
    EXPECT_EQ(found.friendlyName, "Test Filter");
    EXPECT_TRUE(IsEqualGUID(found.clsid, MEDIASUBTYPE_SDDS));
    EXPECT_EQ(found.merit, DWORD(MERIT_NORMAL));
    ASSERT_EQ(found.pins.size(), 2u);
    EXPECT_FALSE(found.pins[0].output);
    ASSERT_EQ(found.pins[0].types.size(), 2u);
    EXPECT_TRUE(IsEqualGUID(found.pins[0].types[1].first, MEDIATYPE_MPEG2_PES));
    EXPECT_TRUE(IsEqualGUID(found.pins[0].types[1].second, MEDIASUBTYPE_DTS));
    EXPECT_TRUE(found.pins[1].output);

    EXPECT_EQ(mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, MEDIASUBTYPE_SDDS), S_OK);
    EXPECT_FALSE(platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, MEDIASUBTYPE_SDDS, found));
    EXPECT_EQ(mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, MEDIASUBTYPE_SDDS),
              HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
}

TEST_F(FilterMapperTest, UnregistrationLeavesAKeyThatHasSubkeys)
{
    REGFILTER2 rf{};
    rf.dwVersion = 1;
    ASSERT_EQ(mapper->RegisterFilter(MEDIASUBTYPE_SDDS, WIDE("F"), nullptr,
                                     &CLSID_LegacyAmFilterCategory, nullptr, &rf),
              S_OK);
    const char* sub =
        "CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\{E06D8034-DB46-11CF-B4D1-00805F6CBBEA}\\Capabilities";
    HKEY key;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, sub, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, MEDIASUBTYPE_SDDS), S_OK);
    platform::RegisteredFilter found;
    EXPECT_FALSE(platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, MEDIASUBTYPE_SDDS, found));
    EXPECT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, sub, 0, KEY_READ, &key), ERROR_SUCCESS);
    RegCloseKey(key);
}

}  // namespace
