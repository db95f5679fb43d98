#include "platform/dshow/property_page.h"

#include <cstring>

#include "platform/kernel.h"

#ifdef _WIN32
namespace {

// The dialog keeps its page, so that messages for the page reach it.
INT_PTR CALLBACK pageDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrW(dialog, DWLP_USER, lParam);
        return TRUE;
    }
    auto* page = reinterpret_cast<CBasePropertyPage*>(GetWindowLongPtrW(dialog, DWLP_USER));
    return page ? page->OnReceiveMessage(dialog, message, wParam, lParam) : FALSE;
}

}  // namespace
#endif

HWND CBasePropertyPage::createDialog(HWND parent)
{
    if (m_DialogId == 0)
        return nullptr;
#ifdef _WIN32
    HMODULE module = platform::moduleContaining(reinterpret_cast<const void*>(&pageDialogProc));
    return CreateDialogParamW(module, MAKEINTRESOURCEW(m_DialogId), parent, pageDialogProc,
                              LPARAM(this));
#else
    (void)parent;
    std::vector<int> items = headlessItems();
    return platform::createHeadlessDialog(items.data(), int(items.size()));
#endif
}

CBasePropertyPage::CBasePropertyPage(const char* name,
                                     IUnknown* outer,
                                     int dialogId,
                                     const WCHAR* title)
    : CUnknown(name, outer),
      m_DialogId(dialogId),
      m_title(title ? platform::WideString(title) : platform::WideString())
{
}

CBasePropertyPage::~CBasePropertyPage()
{
    destroyDialog();
    if (m_pPageSite)
        m_pPageSite->Release();
}

STDMETHODIMP CBasePropertyPage::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (IsEqualGUID(riid, IID_IPropertyPage))
        return GetInterface(static_cast<IPropertyPage*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBasePropertyPage::SetPageSite(IPropertyPageSite* site)
{
    if (site) {
        if (m_pPageSite)
            return E_UNEXPECTED;
        m_pPageSite = site;
        m_pPageSite->AddRef();
    } else {
        if (!m_pPageSite)
            return E_UNEXPECTED;
        m_pPageSite->Release();
        m_pPageSite = nullptr;
    }
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::Activate(HWND parent, LPCRECT rect, WINBOOL)
{
    if (!rect)
        return E_POINTER;
    if (m_bActive)
        return E_UNEXPECTED;
    m_hwnd = createDialog(parent);
    if (m_DialogId != 0 && !m_hwnd)
        return E_OUTOFMEMORY;
    m_bActive = true;
    HRESULT hr = OnActivate();
    if (FAILED(hr)) {
        m_bActive = false;
        destroyDialog();
        return hr;
    }
    Move(rect);
    return Show(SW_SHOWNORMAL);
}

void CBasePropertyPage::destroyDialog()
{
    if (m_hwnd)
        DestroyWindow(m_hwnd);
    m_hwnd = nullptr;
}

STDMETHODIMP CBasePropertyPage::Deactivate()
{
    if (!m_bActive)
        return E_UNEXPECTED;
    HRESULT hr = OnDeactivate();
    m_bActive = false;
    destroyDialog();
    return hr;
}

STDMETHODIMP CBasePropertyPage::GetPageInfo(PROPPAGEINFO* info)
{
    if (!info)
        return E_POINTER;
    size_t bytes = (m_title.size() + 1) * sizeof(WCHAR);
    auto* title = static_cast<LPOLESTR>(CoTaskMemAlloc(bytes));
    if (!title)
        return E_OUTOFMEMORY;
    std::memcpy(title, m_title.c_str(), bytes);
#ifdef _WIN32
    // The size the dialog resource gives, measured on a hidden instance.
    if (HWND measured = createDialog(GetDesktopWindow())) {
        RECT r{};
        GetWindowRect(measured, &r);
        m_size = SIZE{r.right - r.left, r.bottom - r.top};
        DestroyWindow(measured);
    }
#endif
    info->cb = sizeof(PROPPAGEINFO);
    info->pszTitle = title;
    info->size = m_size;
    info->pszDocString = nullptr;
    info->pszHelpFile = nullptr;
    info->dwHelpContext = 0;
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::SetObjects(ULONG count, IUnknown** objects)
{
    if (count == 1) {
        if (!objects || !objects[0])
            return E_POINTER;
        m_bObjectSet = true;
        return OnConnect(objects[0]);
    }
    if (count == 0) {
        m_bObjectSet = false;
        return OnDisconnect();
    }
    return E_UNEXPECTED;
}

STDMETHODIMP CBasePropertyPage::Show(UINT cmdShow)
{
    if (!m_bActive)
        return E_UNEXPECTED;
    if (cmdShow != SW_SHOW && cmdShow != SW_SHOWNORMAL && cmdShow != SW_HIDE)
        return E_INVALIDARG;
    if (m_hwnd)
        ShowWindow(m_hwnd, int(cmdShow));
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::Move(LPCRECT rect)
{
    if (!rect)
        return E_POINTER;
    if (!m_bActive)
        return E_UNEXPECTED;
#ifdef _WIN32
    if (m_hwnd)
        MoveWindow(m_hwnd, rect->left, rect->top, rect->right - rect->left,
                   rect->bottom - rect->top, TRUE);
#endif
    return S_OK;
}

STDMETHODIMP CBasePropertyPage::IsPageDirty()
{
    return m_bDirty ? S_OK : S_FALSE;
}

STDMETHODIMP CBasePropertyPage::Apply()
{
    if (!m_bObjectSet || !m_pPageSite)
        return E_UNEXPECTED;
    if (!m_bDirty)
        return S_OK;
    HRESULT hr = OnApplyChanges();
    if (SUCCEEDED(hr))
        m_bDirty = false;
    return hr;
}

STDMETHODIMP CBasePropertyPage::Help(LPCOLESTR)
{
    return E_NOTIMPL;
}
STDMETHODIMP CBasePropertyPage::TranslateAccelerator(MSG*)
{
    return E_NOTIMPL;
}

HRESULT CBasePropertyPage::OnConnect(IUnknown*)
{
    return S_OK;
}
HRESULT CBasePropertyPage::OnDisconnect()
{
    return S_OK;
}
HRESULT CBasePropertyPage::OnActivate()
{
    return S_OK;
}
HRESULT CBasePropertyPage::OnDeactivate()
{
    return S_OK;
}
HRESULT CBasePropertyPage::OnApplyChanges()
{
    return S_OK;
}

void CBasePropertyPage::SetDirty()
{
    m_bDirty = true;
    if (m_pPageSite)
        m_pPageSite->OnStatusChange(PROPPAGESTATUS_DIRTY);
}
