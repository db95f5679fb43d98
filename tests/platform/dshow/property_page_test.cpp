// The property page protocol as a property frame drives it: site, objects,
// activation, dirty state and Apply, with calls out of order refused.
#include <gtest/gtest.h>

#include <functional>

#include "test_filters.h"

namespace {

class CountingSite : public Counted<IPropertyPageSite> {
public:
    STDMETHODIMP OnStatusChange(DWORD flags) override
    {
        lastStatus = flags;
        return S_OK;
    }
    STDMETHODIMP GetLocaleID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(MSG*) override { return E_NOTIMPL; }
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
        return applyResult;
    }
    using CBasePropertyPage::SetDirty;
    IUnknown* connected = nullptr;
    int applied = 0;
    HRESULT applyResult = S_OK;
};

TEST(PropertyPage, TheFrameProtocolInOrder)
{
    auto* page = new TestPage;
    page->NonDelegatingAddRef();
    CountingSite site;
    IUnknown* object = page->GetOwner();
    RECT rect{0, 0, 100, 100};
    struct Step {
        const char* what;
        std::function<HRESULT()> call;
        HRESULT expected;
    } steps[] = {
        {"no site to clear", [&] { return page->SetPageSite(nullptr); }, E_UNEXPECTED},
        {"site", [&] { return page->SetPageSite(&site); }, S_OK},
        {"second site", [&] { return page->SetPageSite(&site); }, E_UNEXPECTED},
        {"apply without an object", [&] { return page->Apply(); }, E_UNEXPECTED},
        {"object", [&] { return page->SetObjects(1, &object); }, S_OK},
        {"two objects", [&] { return page->SetObjects(2, &object); }, E_UNEXPECTED},
        {"clean", [&] { return page->IsPageDirty(); }, S_FALSE},
        {"apply when clean", [&] { return page->Apply(); }, S_OK},
        {"show inactive", [&] { return page->Show(SW_SHOW); }, E_UNEXPECTED},
        {"move inactive", [&] { return page->Move(&rect); }, E_UNEXPECTED},
        {"activate", [&] { return page->Activate(nullptr, &rect, FALSE); }, S_OK},
        {"activate again", [&] { return page->Activate(nullptr, &rect, FALSE); }, E_UNEXPECTED},
        {"unknown show command", [&] { return page->Show(3); }, E_INVALIDARG},
        {"show", [&] { return page->Show(SW_SHOW); }, S_OK},
        {"move nowhere", [&] { return page->Move(nullptr); }, E_POINTER},
        {"move", [&] { return page->Move(&rect); }, S_OK},
        {"deactivate", [&] { return page->Deactivate(); }, S_OK},
        {"deactivate again", [&] { return page->Deactivate(); }, E_UNEXPECTED},
    };
    for (const Step& step : steps)
        EXPECT_EQ(step.call(), step.expected) << step.what;
    EXPECT_EQ(page->connected, object);
    EXPECT_EQ(page->applied, 0);  // nothing to apply

    // A failed Apply keeps the page dirty; a successful one cleans it.
    page->SetDirty();
    EXPECT_EQ(site.lastStatus, DWORD(PROPPAGESTATUS_DIRTY));
    page->applyResult = E_FAIL;
    EXPECT_EQ(page->Apply(), E_FAIL);
    EXPECT_EQ(page->IsPageDirty(), S_OK);
    page->applyResult = S_OK;
    EXPECT_EQ(page->Apply(), S_OK);
    EXPECT_EQ(page->IsPageDirty(), S_FALSE);
    EXPECT_EQ(page->applied, 2);

    ASSERT_EQ(page->SetObjects(0, nullptr), S_OK);
    EXPECT_EQ(page->connected, nullptr);
    ASSERT_EQ(page->SetPageSite(nullptr), S_OK);
    EXPECT_EQ(site.refs, 1);
    page->NonDelegatingRelease();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

}  // namespace
