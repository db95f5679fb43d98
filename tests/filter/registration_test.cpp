// What registering the module writes, and what unregistering leaves.
#include <gtest/gtest.h>

#include "config/config_test_support.h"
#include "core/media_subtypes.h"
#include "filter/TvFilter.h"
#include "filter/TvDllMain.h"
#include "platform/filter_registration.h"

extern "C" HRESULT STDAPICALLTYPE DllRegisterServer();
extern "C" HRESULT STDAPICALLTYPE DllUnregisterServer();
extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID riid, void** ppv);

namespace {

std::string readString(const std::string& path, const char* name)
{
    HKEY key;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return "<missing>";
    char value[1024] = {};
    DWORD size = sizeof value;
    LSTATUS status = RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size);
    RegCloseKey(key);
    return status == ERROR_SUCCESS ? std::string(value) : "<missing>";
}

bool readDword(const std::string& path, const char* name, DWORD& value)
{
    HKEY key;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    DWORD size = sizeof value, type = 0;
    LSTATUS status = RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
    RegCloseKey(key);
    return status == ERROR_SUCCESS && type == REG_DWORD;
}

std::string guidText(const GUID& guid)
{
    OLECHAR text[39];
    StringFromGUID2(guid, text, 39);
    return platform::toUtf8(reinterpret_cast<const WCHAR*>(text));
}

std::string clsidText() { return guidText(CLSID_Tavio2); }

// The eighteen input subtypes in their registered order, as the platform and
// the stream formats define them (the last column of each comment: where
// the value comes from).
const std::string kInputSubtypes[18] = {
    "{00000050-0000-0010-8000-00AA00389B71}",  // MPEG1AudioPayload: wave format tag 0x50
    "{E436EB81-524F-11CE-9F53-0020AF0BA770}",  // MPEG1Payload
    "{E06D802B-DB46-11CF-B4D1-00805F6CBBEA}",  // MPEG2_AUDIO
    "{E436EB80-524F-11CE-9F53-0020AF0BA770}",  // MPEG1Packet
    "{00000055-0000-0010-8000-00AA00389B71}",  // MPEG3: wave format tag 0x55
    "{4134504D-0000-0010-8000-00AA00389B71}",  // MPEG-4 audio: code MP4A
    "{6134706D-0000-0010-8000-00AA00389B71}",  // MPEG-4 audio: code mp4a
    "{E06D802C-DB46-11CF-B4D1-00805F6CBBEA}",  // DOLBY_AC3
    "{00002000-0000-0010-8000-00AA00389B71}",  // AC3_AVI: wave format tag 0x2000
    "{E06D8032-DB46-11CF-B4D1-00805F6CBBEA}",  // DVD_LPCM_AUDIO
    guidText(MEDIASUBTYPE_DVDA_AUDIO_LPCM),    // the DVD-Audio LPCM decoder's
    guidText(MEDIASUBTYPE_BDMV_LPCM_AUDIO),    // the Blu-ray LPCM decoder's
    "{E06D8033-DB46-11CF-B4D1-00805F6CBBEA}",  // DTS
    "{62776173-0000-0010-8000-00AA00389B71}",  // AMR-WB: code sawb
    "{726D6173-0000-0010-8000-00AA00389B71}",  // AMR: code samr
    guidText(MEDIASUBTYPE_AMR_WB_AUDIO),       // the AMR decoder's second subtype
    guidText(MEDIASUBTYPE_Vorbis2),            // the Vorbis decoder's
    guidText(MEDIASUBTYPE_DVDA_AUDIO_MLP),     // the MLP decoder's
};

TEST(Registration, WritesServerKeysFilterDataAndCapabilities)
{
    platform::registryClear();
    ASSERT_EQ(DllRegisterServer(), S_OK);
    std::string server = "CLSID\\" + clsidText();
    EXPECT_EQ(readString(server, nullptr), "Tavio2");
    EXPECT_EQ(readString(server + "\\InprocServer32", "ThreadingModel"), "Both");
    EXPECT_NE(readString(server + "\\InprocServer32", nullptr), "<missing>");
    // The two property pages are served too.
    for (const auto& [clsid, name] : {std::pair{&CLSID_TavioPropertyPage, "Tavio2 Properties"},
                                      std::pair{&CLSID_TavioAboutPage, "Tavio2 About"}}) {
        OLECHAR text[39];
        StringFromGUID2(*clsid, text, 39);
        std::string page = "CLSID\\" + platform::toUtf8(reinterpret_cast<const WCHAR*>(text));
        EXPECT_EQ(readString(page, nullptr), name);
        EXPECT_EQ(readString(page + "\\InprocServer32", "ThreadingModel"), "Both");
    }

    platform::RegisteredFilter filter;
    ASSERT_TRUE(platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, CLSID_Tavio2, filter));
    EXPECT_EQ(filter.friendlyName, "Tavio Audio Decoder 2");
    EXPECT_EQ(filter.merit, 0x600000u);
    ASSERT_EQ(filter.pins.size(), 2u);
    const auto& input = filter.pins[0].types;
    ASSERT_EQ(input.size(), 54u);
    // Subtype by subtype, each with the three major types in order.
    const char* const majors[3] = {"{73647561-0000-0010-8000-00AA00389B71}",   // Audio
                                   "{E06D8020-DB46-11CF-B4D1-00805F6CBBEA}",   // MPEG-2 PES
                                   "{ED0B916A-044D-11D1-AA78-00C04FC31D60}"};  // DVD pack
    for (size_t i = 0; i < input.size(); ++i) {
        EXPECT_EQ(guidText(input[i].first), majors[i % 3]) << "input type " << i;
        EXPECT_EQ(guidText(input[i].second), kInputSubtypes[i / 3]) << "input type " << i;
    }
    EXPECT_TRUE(filter.pins[1].output);
    ASSERT_EQ(filter.pins[1].types.size(), 1u);
    EXPECT_TRUE(IsEqualGUID(filter.pins[1].types[0].second, MEDIASUBTYPE_PCM));

    std::string capabilities =
        "CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\" + clsidText() + "\\Capabilities";
    DWORD value = 0;
    ASSERT_TRUE(readDword(capabilities, "{374ac4df-7c98-4257-b13d-36087dbee458}", value));
    EXPECT_EQ(value, 1u);

    ASSERT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_EQ(readString(server, nullptr), "<missing>");
    EXPECT_EQ(readString("CLSID\\{9B4C1E73-2A6F-4D85-B317-6E0AC9582D41}", nullptr), "<missing>");
    EXPECT_FALSE(platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, CLSID_Tavio2, filter));
    // Everything but the capabilities value goes.
    value = 0;
    EXPECT_TRUE(readDword(capabilities, "{374ac4df-7c98-4257-b13d-36087dbee458}", value));
    platform::registryClear();
}

TEST(Registration, ClassFactoryOutsideTheModuleReportsTheMissingModule)
{
    // Linked into a test, the module file is not loaded under its name, so
    // the filter cannot find its folder: creation fails cleanly, and the
    // factory passes on the creator's own E_FAIL.
    TempRoot root;
    CapturedLog log(root);
    IClassFactory* factory = nullptr;
    ASSERT_EQ(DllGetClassObject(CLSID_Tavio2, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
    IUnknown* object = nullptr;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(&object)), E_FAIL);
    EXPECT_EQ(object, nullptr);
    factory->Release();
    std::vector<std::string> written;
    for (const auto& line : log.lines())
        if (line.rfind("error", 0) == 0)
            written.push_back(line);
    ASSERT_EQ(written.size(), 3u);
    EXPECT_EQ(written[0], "error: Exception: No handle for module TavioDec2.ax");
    EXPECT_EQ(written[1].rfind("error: TvAssert: TvDllMain ", 0), 0u) << written[1];
    EXPECT_EQ(written[1].substr(written[1].size() - 3), "'0'") << written[1];
    EXPECT_EQ(written[2], "error instantiating Tavio2");

    TvFilter* filter = reinterpret_cast<TvFilter*>(1);
    makeTavio2(&filter);
    EXPECT_EQ(filter, nullptr);
}

}  // namespace
