#include <gtest/gtest.h>

#include "platform/dshow/streams.h"

namespace {

class CountingSite : public IPropertyPageSite {
public:
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override
    {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++refs); }
    STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--refs); }
    STDMETHODIMP OnStatusChange(DWORD flags) override
    {
        lastStatus = flags;
        return S_OK;
    }
    STDMETHODIMP GetLocaleID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(MSG*) override { return E_NOTIMPL; }
    LONG refs = 1;
    DWORD lastStatus = 0;
};

class TestPage : public CBasePropertyPage {
public:
    TestPage() : CBasePropertyPage("TestPage", nullptr, 0, WIDE("Tavio")) {}
    HRESULT OnConnect(IUnknown* object) override
    {
        connected = object;
        return S_OK;
    }
    HRESULT OnDisconnect() override
    {
        connected = nullptr;
        return S_OK;
    }
    HRESULT OnApplyChanges() override
    {
        ++applied;
        return S_OK;
    }
    void change() { SetDirty(); }
    IUnknown* connected = nullptr;
    int applied = 0;
};

TEST(PropertyPage, SiteObjectsDirtyAndApply)
{
    auto* page = new TestPage;
    page->NonDelegatingAddRef();
    CountingSite site;
    EXPECT_EQ(page->SetPageSite(nullptr), E_UNEXPECTED);
    ASSERT_EQ(page->SetPageSite(&site), S_OK);
    EXPECT_EQ(page->SetPageSite(&site), E_UNEXPECTED);

    EXPECT_EQ(page->Apply(), E_UNEXPECTED);  // no object yet
    IUnknown* object = page->GetOwner();
    EXPECT_EQ(page->SetObjects(1, nullptr), E_POINTER);
    ASSERT_EQ(page->SetObjects(1, &object), S_OK);
    EXPECT_EQ(page->connected, object);
    EXPECT_EQ(page->SetObjects(2, &object), E_UNEXPECTED);

    EXPECT_EQ(page->IsPageDirty(), S_FALSE);
    EXPECT_EQ(page->Apply(), S_OK);
    EXPECT_EQ(page->applied, 0);  // nothing to apply
    page->change();
    EXPECT_EQ(site.lastStatus, DWORD(PROPPAGESTATUS_DIRTY));
    EXPECT_EQ(page->IsPageDirty(), S_OK);
    EXPECT_EQ(page->Apply(), S_OK);
    EXPECT_EQ(page->applied, 1);
    EXPECT_EQ(page->IsPageDirty(), S_FALSE);

    RECT rect{0, 0, 100, 100};
    EXPECT_EQ(page->Show(SW_SHOW), E_UNEXPECTED);
    EXPECT_EQ(page->Activate(nullptr, nullptr, FALSE), E_POINTER);
    ASSERT_EQ(page->Activate(nullptr, &rect, FALSE), S_OK);
    EXPECT_EQ(page->Activate(nullptr, &rect, FALSE), E_UNEXPECTED);
    EXPECT_EQ(page->Show(3), E_INVALIDARG);
    EXPECT_EQ(page->Deactivate(), S_OK);
    EXPECT_EQ(page->Deactivate(), E_UNEXPECTED);

    PROPPAGEINFO info;
    ASSERT_EQ(page->GetPageInfo(&info), S_OK);
    EXPECT_EQ(platform::toUtf8(info.pszTitle), "Tavio");
    CoTaskMemFree(info.pszTitle);

    ASSERT_EQ(page->SetObjects(0, nullptr), S_OK);
    EXPECT_EQ(page->connected, nullptr);
    ASSERT_EQ(page->SetPageSite(nullptr), S_OK);
    EXPECT_EQ(site.refs, 1);
    page->NonDelegatingRelease();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST(PropertyPage, AFailedApplyKeepsThePageDirty)
{
    class Refusing : public TestPage {
    public:
        HRESULT OnApplyChanges() override { return E_FAIL; }
    };
    auto* page = new Refusing;
    page->NonDelegatingAddRef();
    IUnknown* object = page->GetOwner();
    ASSERT_EQ(page->SetObjects(1, &object), S_OK);
    page->change();
    EXPECT_EQ(page->Apply(), E_UNEXPECTED);  // no site yet
    CountingSite site;
    ASSERT_EQ(page->SetPageSite(&site), S_OK);
    EXPECT_EQ(page->Apply(), E_FAIL);
    EXPECT_EQ(page->IsPageDirty(), S_OK);
    EXPECT_EQ(page->GetPageInfo(nullptr), E_POINTER);
    RECT rect{0, 0, 10, 10};
    EXPECT_EQ(page->Move(&rect), E_UNEXPECTED);  // not active
    EXPECT_EQ(page->Move(nullptr), E_POINTER);
    page->SetObjects(0, nullptr);
    page->SetPageSite(nullptr);
    page->NonDelegatingRelease();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

}  // namespace
