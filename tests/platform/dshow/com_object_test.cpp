// Object identity, aggregation, reference counts, the class factory rules and
// registration through the filter mapper.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "platform/dshow/streams.h"
#include "platform/filter_registration.h"

namespace {

// {B4E2C7A1-5D3F-4E8B-9C61-0A7F2D4E8B13}
TV_DEFINE_GUID(CLSID_TestObject,
               0xB4E2C7A1,
               0x5D3F,
               0x4E8B,
               0x9C,
               0x61,
               0x0A,
               0x7F,
               0x2D,
               0x4E,
               0x8B,
               0x13);

// An inner object exposing IPersist, aggregatable.
class Inner : public CUnknown, public IPersist {
public:
    Inner(IUnknown* outer, HRESULT* phr) : CUnknown("Inner", outer, phr) {}
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
    static CUnknown* Create(IUnknown* outer, HRESULT* phr) { return new Inner(outer, phr); }
};

// An outer object that aggregates Inner and hands out its IPersist.
class Outer : public CUnknown {
public:
    Outer() : CUnknown("Outer", nullptr)
    {
        HRESULT hr = S_OK;
        inner = new Inner(GetOwner(), &hr);
        inner->NonDelegatingAddRef();
    }
    ~Outer() override { inner->NonDelegatingRelease(); }
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (IsEqualGUID(riid, IID_IPersist))
            return inner->NonDelegatingQueryInterface(riid, ppv);
        return CUnknown::NonDelegatingQueryInterface(riid, ppv);
    }
    LONG refs() const { return m_cRef; }
    Inner* inner;
};

TEST(ComObject, AggregatedInterfacesCountOnTheOuterObject)
{
    auto* outer = new Outer;
    outer->NonDelegatingAddRef();
    IPersist* persist = nullptr;
    ASSERT_EQ(outer->NonDelegatingQueryInterface(IID_IPersist, reinterpret_cast<void**>(&persist)),
              S_OK);
    EXPECT_EQ(outer->refs(), 2);
    // QueryInterface through the inner object's interface reaches the outer object.
    IUnknown* identity = nullptr;
    ASSERT_EQ(persist->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    EXPECT_EQ(identity, outer->GetOwner());
    identity->Release();
    persist->Release();
    EXPECT_EQ(outer->refs(), 1);
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(outer->NonDelegatingQueryInterface(IID_IPin, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(outer->NonDelegatingQueryInterface(IID_IUnknown, nullptr), E_POINTER);
    outer->NonDelegatingRelease();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

const CFactoryTemplate templates[] = {
    {WIDE("Test Object"), &CLSID_TestObject, Inner::Create, nullptr, nullptr},
};

TEST(ClassFactory, FollowsTheComRules)
{
    void* object = nullptr;
    EXPECT_EQ(
        GetClassObjectFromTemplates(templates, 1, MEDIATYPE_Audio, IID_IClassFactory, &object),
        CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(GetClassObjectFromTemplates(templates, 1, CLSID_TestObject, IID_IPin, &object),
              E_NOINTERFACE);
    IClassFactory* factory = nullptr;
    ASSERT_EQ(GetClassObjectFromTemplates(templates, 1, CLSID_TestObject, IID_IClassFactory,
                                          reinterpret_cast<void**>(&factory)),
              S_OK);
    EXPECT_EQ(CanUnloadModule(), S_FALSE);  // the factory itself is alive

    EXPECT_EQ(factory->CreateInstance(reinterpret_cast<IUnknown*>(factory), IID_IPersist, &object),
              E_NOINTERFACE);

    IPersist* persist = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IPersist, reinterpret_cast<void**>(&persist)),
              S_OK);
    CLSID clsid;
    persist->GetClassID(&clsid);
    EXPECT_TRUE(IsEqualGUID(clsid, CLSID_TestObject));
    // An interface the object lacks: refused, and the object is gone again.
    LONG before = CBaseObject::ObjectsActive();
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPin, &object), E_NOINTERFACE);
    EXPECT_EQ(CBaseObject::ObjectsActive(), before);

    factory->LockServer(TRUE);
    factory->Release();
    persist->Release();
    EXPECT_EQ(CanUnloadModule(), S_FALSE);  // the server lock still holds
    LockModule(false);
    EXPECT_EQ(CanUnloadModule(), S_OK);
}

// Creators that fail in the two ways a creator can.
CUnknown* createFailing(IUnknown* outer, HRESULT* phr)
{
    *phr = E_ACCESSDENIED;
    return new Inner(outer, phr);
}
CUnknown* createNothing(IUnknown*, HRESULT*)
{
    return nullptr;
}

std::vector<std::pair<BOOL, const CLSID*>> initCalls;
void recordInit(BOOL loading, const CLSID* clsid)
{
    initCalls.push_back({loading, clsid});
}

const CFactoryTemplate failingTemplates[] = {
    {WIDE("Failing"), &CLSID_TestObject, createFailing, recordInit, nullptr},
    {WIDE("Nothing"), &MEDIATYPE_Audio, createNothing, nullptr, nullptr},
};

TEST(ClassFactory, CreatorFailuresLeaveNoObjectBehind)
{
    struct Case {
        const CLSID* clsid;
        HRESULT expected;
    } cases[] = {{&CLSID_TestObject, E_ACCESSDENIED}, {&MEDIATYPE_Audio, E_OUTOFMEMORY}};
    for (const Case& c : cases) {
        IClassFactory* factory = nullptr;
        ASSERT_EQ(GetClassObjectFromTemplates(failingTemplates, 2, *c.clsid, IID_IUnknown,
                                              reinterpret_cast<void**>(&factory)),
                  S_OK);
        void* object = reinterpret_cast<void*>(1);
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, &object), c.expected);
        EXPECT_EQ(object, nullptr);
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
        factory->Release();
        EXPECT_EQ(CanUnloadModule(), S_OK);
    }
}

TEST(ClassFactory, AggregatedCreationHandsTheOuterObjectTheInnerUnknown)
{
    IClassFactory* factory = nullptr;
    ASSERT_EQ(GetClassObjectFromTemplates(templates, 1, CLSID_TestObject, IID_IClassFactory,
                                          reinterpret_cast<void**>(&factory)),
              S_OK);
    auto* outer = new Outer;  // stands in for any aggregating object
    outer->NonDelegatingAddRef();
    IUnknown* inner = nullptr;
    ASSERT_EQ(
        factory->CreateInstance(outer->GetOwner(), IID_IUnknown, reinterpret_cast<void**>(&inner)),
        S_OK);
    factory->Release();
    // The inner unknown is the non-delegating one: its QI finds the inner's
    // interface, whose own IUnknown methods go to the outer object.
    IPersist* persist = nullptr;
    ASSERT_EQ(inner->QueryInterface(IID_IPersist, reinterpret_cast<void**>(&persist)), S_OK);
    EXPECT_EQ(outer->refs(), 2);
    IUnknown* identity = nullptr;
    ASSERT_EQ(persist->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    EXPECT_EQ(identity, outer->GetOwner());
    identity->Release();
    persist->Release();
    inner->Release();  // the inner object goes, the outer stays
    EXPECT_EQ(outer->refs(), 1);
    outer->NonDelegatingRelease();
    EXPECT_EQ(CanUnloadModule(), S_OK);
}

TEST(ClassFactory, InitRoutinesRunOnLoadAndUnload)
{
    initCalls.clear();
    InitClassTemplates(failingTemplates, 2, true);
    InitClassTemplates(failingTemplates, 2, false);
    ASSERT_EQ(initCalls.size(), 2u);  // the second class has none
    EXPECT_EQ(initCalls[0], std::make_pair(BOOL(TRUE), &CLSID_TestObject));
    EXPECT_EQ(initCalls[1], std::make_pair(BOOL(FALSE), &CLSID_TestObject));
}

const AMOVIESETUP_MEDIATYPE inputTypes[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_DOLBY_AC3},
                                            {&MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_DTS}};
const AMOVIESETUP_MEDIATYPE outputTypes[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM}};
const AMOVIESETUP_PIN setupPins[] = {
    {nullptr, FALSE, FALSE, FALSE, FALSE, nullptr, nullptr, 2, inputTypes},
    {nullptr, FALSE, TRUE, FALSE, FALSE, nullptr, nullptr, 1, outputTypes}};
const AMOVIESETUP_FILTER setupFilter = {&CLSID_TestObject, WIDE("Test Object"), MERIT_NORMAL, 2,
                                        setupPins};
const CFactoryTemplate registeredTemplates[] = {
    {WIDE("Test Object"), &CLSID_TestObject, Inner::Create, nullptr, &setupFilter},
};

std::string readString(const char* path, const char* name)
{
    HKEY key;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return "<missing>";
    char value[512] = {};
    DWORD size = sizeof value;
    LSTATUS status =
        RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size);
    RegCloseKey(key);
    return status == ERROR_SUCCESS ? std::string(value) : "<missing>";
}

TEST(Registration, RegisterAndUnregisterRoundTrip)
{
    platform::registryClear();
    ASSERT_EQ(RegisterTemplates(registeredTemplates, 1, "/opt/tavio/TavioDec2.ax", true), S_OK);
    const char* server = "CLSID\\{B4E2C7A1-5D3F-4E8B-9C61-0A7F2D4E8B13}";
    EXPECT_EQ(readString(server, nullptr), "Test Object");
    std::string inproc = std::string(server) + "\\InprocServer32";
    EXPECT_EQ(readString(inproc.c_str(), nullptr), "/opt/tavio/TavioDec2.ax");
    EXPECT_EQ(readString(inproc.c_str(), "ThreadingModel"), "Both");

    platform::RegisteredFilter filter;
    ASSERT_TRUE(
        platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, CLSID_TestObject, filter));
    EXPECT_EQ(filter.friendlyName, "Test Object");
    EXPECT_EQ(filter.merit, DWORD(MERIT_NORMAL));
    ASSERT_EQ(filter.pins.size(), 2u);
    EXPECT_EQ(filter.pins[0].types.size(), 2u);
    EXPECT_TRUE(filter.pins[1].output);

    ASSERT_EQ(RegisterTemplates(registeredTemplates, 1, "", false), S_OK);
    EXPECT_EQ(readString(server, nullptr), "<missing>");
    EXPECT_FALSE(
        platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, CLSID_TestObject, filter));
    // Unregistering what is not registered is not an error.
    EXPECT_EQ(RegisterTemplates(registeredTemplates, 1, "", false), S_OK);
    platform::registryClear();
}

TEST(Registration, TheServerPathComesFromTheModuleHandle)
{
    platform::registryClear();
    HMODULE self = platform::moduleContaining(reinterpret_cast<const void*>(&Inner::Create));
    ASSERT_NE(self, nullptr);
    char expected[MAX_PATH] = {};
    ASSERT_GT(GetModuleFileNameA(self, expected, MAX_PATH), 0u);
    ASSERT_EQ(RegisterTemplates(templates, 1, self), S_OK);
    EXPECT_EQ(readString("CLSID\\{B4E2C7A1-5D3F-4E8B-9C61-0A7F2D4E8B13}\\InprocServer32", nullptr),
              expected);
    // No setup record: nothing for the filter mapper.
    platform::RegisteredFilter filter;
    EXPECT_FALSE(
        platform::readFilterRegistration(CLSID_LegacyAmFilterCategory, CLSID_TestObject, filter));
    EXPECT_EQ(UnregisterTemplates(templates, 1), S_OK);
    platform::registryClear();
}

}  // namespace
