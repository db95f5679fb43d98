// The class factory rules behind DllGetClassObject and DllCanUnloadNow (a
// failing creator and registration are checked through the module's own).
#include <gtest/gtest.h>

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

// An aggregating caller, never asked anything.
class Outer : public IUnknown {
public:
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
};

CUnknown* create(IUnknown*, HRESULT* phr)
{
    return new Persist(phr);
}

const CFactoryTemplate templates[] = {
    {WIDE("Test Object"), &CLSID_TestObject, create, nullptr, nullptr}};

TEST(ClassFactory, FollowsTheComRules)
{
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(GetClassObjectFromTemplates(templates, 1, IID_IPin, IID_IClassFactory, &object),
              CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(GetClassObjectFromTemplates(templates, 1, CLSID_TestObject, IID_IPin, &object),
              E_NOINTERFACE);
    IClassFactory* factory = nullptr;
    ASSERT_EQ(GetClassObjectFromTemplates(templates, 1, CLSID_TestObject, IID_IClassFactory,
                                          reinterpret_cast<void**>(&factory)),
              S_OK);
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
    Outer outer;
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

}  // namespace
