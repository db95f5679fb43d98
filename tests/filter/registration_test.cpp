// What registering the module writes, and what unregistering leaves.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/media_subtypes.h"
#include "filter/TvDllMain.h"
#include "filter/TvFilter.h"
#include "platform/filter_registration.h"
#include "support/assertion_guard.h"
#include "support/guid_text.h"
#include "support/registry_text.h"

extern "C" HRESULT STDAPICALLTYPE DllRegisterServer();
extern "C" HRESULT STDAPICALLTYPE DllUnregisterServer();
extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID riid, void** ppv);

namespace {

TEST(Registration, WritesServerKeysFilterDataAndCapabilities)
{
    platform::registryClear();
    ASSERT_EQ(DllRegisterServer(), S_OK);
    std::string server = "CLSID\\" + guidText(CLSID_Tavio2);
    EXPECT_EQ(registryString(server, nullptr), "Tavio2");
    EXPECT_EQ(registryString(server + "\\InprocServer32", "ThreadingModel"), "Both");
    EXPECT_NE(registryString(server + "\\InprocServer32", nullptr), "<missing>");
    // The two property pages are served too.
    for (const auto& [clsid, name] : {std::pair{&CLSID_TavioPropertyPage, "Tavio2 Properties"},
                                      std::pair{&CLSID_TavioAboutPage, "Tavio2 About"}}) {
        std::string page = "CLSID\\" + guidText(*clsid);
        EXPECT_EQ(registryString(page, nullptr), name);
        EXPECT_EQ(registryString(page + "\\InprocServer32", "ThreadingModel"), "Both");
    }

    platform::RegisteredFilter filter;
    ASSERT_TRUE(
        platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, CLSID_Tavio2, filter));
    EXPECT_EQ(filter.friendlyName, "Tavio Audio Decoder 2");
    EXPECT_EQ(filter.merit, 0x600000u);
    ASSERT_EQ(filter.pins.size(), 2u);
    // Each of the eighteen subtypes under the three major types a source
    // may use, so that intelligent connect finds the filter for all of them.
    const auto& input = filter.pins[0].types;
    ASSERT_EQ(input.size(), 54u);
    const GUID* majors[3] = {&MEDIATYPE_Audio, &MEDIATYPE_MPEG2_PES, &MEDIATYPE_DVD_ENCRYPTED_PACK};
    for (size_t i = 0; i < input.size(); ++i) {
        EXPECT_TRUE(IsEqualGUID(input[i].first, *majors[i % 3])) << "input type " << i;
        EXPECT_TRUE(IsEqualGUID(input[i].second, input[i - i % 3].second)) << "input type " << i;
    }
    for (const GUID* subtype :
         {&MEDIASUBTYPE_DVD_LPCM_AUDIO, &MEDIASUBTYPE_DOLBY_AC3, &MEDIASUBTYPE_BDMV_LPCM_AUDIO,
          &MEDIASUBTYPE_DVDA_AUDIO_MLP, &MEDIASUBTYPE_Vorbis2, &MEDIASUBTYPE_AMR_WB_AUDIO})
        EXPECT_TRUE(std::any_of(input.begin(), input.end(), [&](const auto& type) {
            return IsEqualGUID(type.second, *subtype);
        })) << guidText(*subtype);
    EXPECT_TRUE(filter.pins[1].output);
    ASSERT_EQ(filter.pins[1].types.size(), 1u);
    EXPECT_TRUE(IsEqualGUID(filter.pins[1].types[0].second, MEDIASUBTYPE_PCM));

    std::string capabilities = "CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\" +
                               guidText(CLSID_Tavio2) + "\\Capabilities";
    DWORD value = 0;
    ASSERT_TRUE(registryDword(capabilities, "{374ac4df-7c98-4257-b13d-36087dbee458}", value));
    EXPECT_EQ(value, 1u);

    ASSERT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_EQ(registryString(server, nullptr), "<missing>");
    EXPECT_EQ(registryString("CLSID\\{9B4C1E73-2A6F-4D85-B317-6E0AC9582D41}", nullptr),
              "<missing>");
    EXPECT_FALSE(
        platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, CLSID_Tavio2, filter));
    // Everything but the capabilities value goes.
    value = 0;
    EXPECT_TRUE(registryDword(capabilities, "{374ac4df-7c98-4257-b13d-36087dbee458}", value));
    platform::registryClear();
}

TEST(Registration, ClassFactoryOutsideTheModuleStillMakesTheFilter)
{
    // Linked into a test, the module file is not loaded under its name, as
    // with a renamed module file: the filter cannot find its folder, so its
    // sibling libraries will not load, but the filter itself is made.
    IClassFactory* factory = nullptr;
    ASSERT_EQ(
        DllGetClassObject(CLSID_Tavio2, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
        S_OK);
    IUnknown* object = nullptr;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(&object)),
              S_OK);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->Release(), 0u);
    factory->Release();
    TvFilter* filter = nullptr;
    makeTavio2(&filter);
    ASSERT_NE(filter, nullptr);
    filter->AddRef();
    EXPECT_EQ(filter->Release(), 0u);
}

}  // namespace
