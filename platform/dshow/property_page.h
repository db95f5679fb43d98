// The property page base: page site, the object the page edits, the dirty
// flag and Apply, and the page's dialog. On Windows the dialog is made from
// the module's dialog resource; on POSIX it is a headless dialog with the
// items the page names, so the page logic runs and is testable there too.
#pragma once

#include <string>

#include <vector>

#include "platform/dshow/unknown.h"
#include "platform/strings.h"
#include "platform/window.h"

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
#ifdef _WIN32
    // A message to the page's dialog; TRUE when the page handled it.
    virtual INT_PTR OnReceiveMessage(HWND, UINT, WPARAM, LPARAM)
    {
        return FALSE;
    }
#endif

    bool IsActive() const
    {
        return m_bActive;
    }
    // The page's dialog while it is active (null otherwise).
    HWND dialog() const
    {
        return m_hwnd;
    }

protected:
    // The items of the page's headless dialog (POSIX); the resource says it
    // on Windows.
    virtual std::vector<int> headlessItems() const
    {
        return {};
    }
    // The page's dialog for `parent` (null for a page without a dialog).
    HWND createDialog(HWND parent);
    void destroyDialog();
    // A control changed: the page is dirty and the site is told so.
    void SetDirty();

    IPropertyPageSite* m_pPageSite = nullptr;
    bool m_bObjectSet = false;
    bool m_bDirty = false;
    bool m_bActive = false;
    int m_DialogId;
    HWND m_hwnd = nullptr;
    platform::WideString m_title;
    SIZE m_size{};
};
