// The registry as the in-process store that registration writes to: keys by
// case-insensitive path and typed values (enumeration and deletion are
// checked through the module's registration round trip).
#include <gtest/gtest.h>

#include <string>

#include "platform/windows_api.h"
#include "support/registry_text.h"

namespace {

class RegistryTest : public ::testing::Test {
protected:
    void SetUp() override { platform::registryClear(); }
    void TearDown() override { platform::registryClear(); }

    HKEY create(const char* path, DWORD* disposition = nullptr)
    {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                  KEY_ALL_ACCESS, nullptr, &key, disposition),
                  ERROR_SUCCESS);
        return key;
    }
};

TEST_F(RegistryTest, CreateMakesIntermediateKeysAndReportsDisposition)
{
    DWORD disposition = 0;
    RegCloseKey(create("CLSID\\{A}\\InprocServer32", &disposition));
    EXPECT_EQ(disposition, DWORD(REG_CREATED_NEW_KEY));
    RegCloseKey(create("clsid\\{a}\\inprocserver32", &disposition));
    EXPECT_EQ(disposition, DWORD(REG_OPENED_EXISTING_KEY));
    HKEY key;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "CLSID\\{A}", 0, KEY_READ, &key), ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "CLSID\\{B}", 0, KEY_READ, &key),
              ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, ValuesKeepTypeAndBytesAndNamesIgnoreCase)
{
    HKEY key = create("CLSID\\{A}");
    DWORD one = 1;
    ASSERT_EQ(RegSetValueExA(key, "{374ac4df-7c98-4257-b13d-36087dbee458}", 0, REG_DWORD,
                             reinterpret_cast<const BYTE*>(&one), sizeof one),
              ERROR_SUCCESS);
    ASSERT_EQ(RegSetValueExA(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>("Name"), 5),
              ERROR_SUCCESS);
    DWORD value = 0;
    EXPECT_TRUE(registryDword("clsid\\{a}", "{374AC4DF-7C98-4257-B13D-36087DBEE458}", value));
    EXPECT_EQ(value, 1u);
    EXPECT_FALSE(registryDword("CLSID\\{A}", "", value));  // a string, not a DWORD
    EXPECT_EQ(registryString("CLSID\\{A}"), "Name");

    char small[2];
    DWORD size = sizeof small;
    EXPECT_EQ(RegQueryValueExA(key, "", nullptr, nullptr, reinterpret_cast<BYTE*>(small), &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(RegDeleteValueA(key, "{374AC4DF-7C98-4257-B13D-36087DBEE458}"), ERROR_SUCCESS);
    EXPECT_FALSE(registryDword("CLSID\\{A}", "{374ac4df-7c98-4257-b13d-36087dbee458}", value));
    RegCloseKey(key);
}

}  // namespace
