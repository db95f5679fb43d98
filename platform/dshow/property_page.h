// The property page base: page site, the object the page edits, the dirty
// flag and Apply. The window itself belongs to the platform; without one
// (POSIX) the page logic still runs and is testable.
#pragma once

#include <string>

#include "platform/dshow/unknown.h"
#include "platform/strings.h"

#ifndef SW_HIDE
#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_SHOW 5
#endif

class CBasePropertyPage : public CUnknown, public IPropertyPage {
public:
    CBasePropertyPage(const char* name, IUnknown* outer, int dialogId, const WCHAR* title);
    ~CBasePropertyPage() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    STDMETHODIMP SetPageSite(IPropertyPageSite* site) override;
    STDMETHODIMP Activate(HWND parent, LPCRECT rect, WINBOOL modal) override;
    STDMETHODIMP Deactivate() override;
    STDMETHODIMP GetPageInfo(PROPPAGEINFO* info) override;
    STDMETHODIMP SetObjects(ULONG count, IUnknown** objects) override;
    STDMETHODIMP Show(UINT cmdShow) override;
    STDMETHODIMP Move(LPCRECT rect) override;
    STDMETHODIMP IsPageDirty() override;
    STDMETHODIMP Apply() override;
    STDMETHODIMP Help(LPCOLESTR helpDir) override;
    STDMETHODIMP TranslateAccelerator(MSG* msg) override;

    // Hooks for the derived page.
    virtual HRESULT OnConnect(IUnknown* object);
    virtual HRESULT OnDisconnect();
    virtual HRESULT OnActivate();
    virtual HRESULT OnDeactivate();
    virtual HRESULT OnApplyChanges();

    bool IsActive() const { return m_bActive; }

protected:
    // A control changed: the page is dirty and the site is told so.
    void SetDirty();

    IPropertyPageSite* m_pPageSite = nullptr;
    bool m_bObjectSet = false;
    bool m_bDirty = false;
    bool m_bActive = false;
    int m_DialogId;
    platform::WideString m_title;
    SIZE m_size{};
};
