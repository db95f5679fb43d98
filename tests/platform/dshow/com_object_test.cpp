// The class factory rules behind DllGetClassObject and DllCanUnloadNow, and
// registering a module's classes with the filter mapper.
#include <gtest/gtest.h>

#include "platform/filter_registration.h"
#include "support/guid_text.h"
#include "support/registry_text.h"
#include "test_filters.h"

namespace {

// A class of our own for the tests, under a GUID nothing else registers.
const GUID& CLSID_TestObject = MEDIASUBTYPE_SDDS;

class Persist : public CUnknown, public IPersist {
public:
    explicit Persist(HRESULT* phr) : CUnknown("Persist", nullptr, phr) {}
    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (IsEqualGUID(riid, IID_IPersist))
            return GetInterface(static_cast<IPersist*>(this), ppv);
        return CUnknown::NonDelegatingQueryInterface(riid, ppv);
    }
    STDMETHODIMP GetClassID(CLSID* clsid) override
    {
        *clsid = CLSID_TestObject;
        return S_OK;
    }
};

// Creators as a module's class table has them: one that works, one that
// fails with a reason, one that makes nothing.
CUnknown* create(IUnknown*, HRESULT* phr)
{
    return new Persist(phr);
}
CUnknown* createFailing(IUnknown*, HRESULT* phr)
{
    *phr = E_ACCESSDENIED;
    return new Persist(phr);
}
CUnknown* createNothing(IUnknown*, HRESULT*)
{
    return nullptr;
}

const AMOVIESETUP_MEDIATYPE inputTypes[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_DOLBY_AC3},
                                            {&MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_DTS}};
const AMOVIESETUP_MEDIATYPE outputTypes[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM}};
const AMOVIESETUP_PIN setupPins[] = {
    {nullptr, FALSE, FALSE, FALSE, FALSE, nullptr, nullptr, 2, inputTypes},
    {nullptr, FALSE, TRUE, FALSE, FALSE, nullptr, nullptr, 1, outputTypes}};
const AMOVIESETUP_FILTER setupFilter = {&CLSID_TestObject, WIDE("Test Object"), MERIT_NORMAL, 2,
                                        setupPins};
const CFactoryTemplate templates[] = {
    {WIDE("Test Object"), &CLSID_TestObject, create, nullptr, &setupFilter},
    {WIDE("Failing"), &MEDIATYPE_Video, createFailing, nullptr, nullptr},
    {WIDE("Nothing"), &MEDIATYPE_Audio, createNothing, nullptr, nullptr},
};

IClassFactory* factoryFor(REFCLSID clsid)
{
    IClassFactory* factory = nullptr;
    EXPECT_EQ(GetClassObjectFromTemplates(templates, 3, clsid, IID_IClassFactory,
                                          reinterpret_cast<void**>(&factory)),
              S_OK);
    return factory;
}

TEST(ClassFactory, FollowsTheComRules)
{
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(GetClassObjectFromTemplates(templates, 3, IID_IPin, IID_IClassFactory, &object),
              CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(GetClassObjectFromTemplates(templates, 3, CLSID_TestObject, IID_IPin, &object),
              E_NOINTERFACE);
    IClassFactory* factory = factoryFor(CLSID_TestObject);
    EXPECT_EQ(CanUnloadModule(), S_FALSE);  // the factory itself is alive
    IPersist* persist = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IPersist, reinterpret_cast<void**>(&persist)),
              S_OK);
    CLSID clsid;
    persist->GetClassID(&clsid);
    EXPECT_TRUE(IsEqualGUID(clsid, CLSID_TestObject));
    // Refused interfaces leave no object behind; an aggregating caller may
    // only ask for IUnknown.
    LONG before = CBaseObject::ObjectsActive();
    Counted<IUnknown> outer;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPin, &object), E_NOINTERFACE);
    EXPECT_EQ(factory->CreateInstance(&outer, IID_IPersist, &object), E_NOINTERFACE);
    EXPECT_EQ(CBaseObject::ObjectsActive(), before);

    factory->LockServer(TRUE);
    factory->Release();
    persist->Release();
    EXPECT_EQ(CanUnloadModule(), S_FALSE);  // the server lock still holds
    LockModule(false);
    EXPECT_EQ(CanUnloadModule(), S_OK);
}

TEST(ClassFactory, CreatorFailuresLeaveNoObjectBehind)
{
    for (auto [clsid, expected] : {std::pair{&MEDIATYPE_Video, HRESULT(E_ACCESSDENIED)},
                                   {&MEDIATYPE_Audio, HRESULT(E_OUTOFMEMORY)}}) {
        IClassFactory* factory = factoryFor(*clsid);
        void* object = reinterpret_cast<void*>(1);
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, &object), expected);
        EXPECT_EQ(object, nullptr);
        factory->Release();
        EXPECT_EQ(CanUnloadModule(), S_OK);
    }
}

TEST(Registration, RegisterAndUnregisterRoundTrip)
{
    platform::registryClear();
    const std::string server = "CLSID\\" + guidText(CLSID_TestObject);
    ASSERT_EQ(RegisterTemplates(templates, 1, "/opt/tavio/TavioDec2.ax", true), S_OK);
    EXPECT_EQ(registryString(server), "Test Object");
    EXPECT_EQ(registryString(server + "\\InprocServer32"), "/opt/tavio/TavioDec2.ax");
    EXPECT_EQ(registryString(server + "\\InprocServer32", "ThreadingModel"), "Both");
    platform::RegisteredFilter filter;
    ASSERT_TRUE(
        platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, CLSID_TestObject, filter));
    EXPECT_EQ(filter.friendlyName, "Test Object");
    EXPECT_EQ(filter.merit, DWORD(MERIT_NORMAL));
    ASSERT_EQ(filter.pins.size(), 2u);
    ASSERT_EQ(filter.pins[0].types.size(), 2u);
    EXPECT_TRUE(IsEqualGUID(filter.pins[0].types[1].first, MEDIATYPE_MPEG2_PES));
    EXPECT_TRUE(IsEqualGUID(filter.pins[0].types[1].second, MEDIASUBTYPE_DTS));
    EXPECT_FALSE(filter.pins[0].output);
    EXPECT_TRUE(filter.pins[1].output);

    // Subkeys of our own below the server key go with it; one below the
    // filter's instance key stays, but the filter is unregistered.
    const std::string instance = "CLSID\\" + guidText(CLSID_LegacyAmFilterCategory) +
                                 "\\Instance\\" + guidText(CLSID_TestObject);
    for (const std::string& path : {server + "\\Deeper\\Still", instance + "\\Capabilities"}) {
        HKEY key;
        ASSERT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                  nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        RegCloseKey(key);
    }
    for (int twice = 0; twice < 2; ++twice) {  // what is not registered is not an error
        ASSERT_EQ(RegisterTemplates(templates, 1, "", false), S_OK);
        EXPECT_EQ(registryString(server), "<missing>");
        EXPECT_FALSE(platform::readFilterRegistration(CLSID_LegacyAmFilterCategory,
                                                      CLSID_TestObject, filter));
    }
    platform::registryClear();
}

}  // namespace
