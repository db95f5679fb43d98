#include "windows/page_window.h"

#include <cstdio>
#include <fstream>
#include <vector>

namespace {

std::string failed(const char* what, HRESULT hr)
{
    char text[96];
    std::snprintf(text, sizeof text, "%s: 0x%08lX", what, static_cast<unsigned long>(hr));
    return text;
}

// The least a page needs of its site.
class Site final : public IPropertyPageSite {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        if (riid == IID_IUnknown || riid == IID_IPropertyPageSite) {
            *ppv = static_cast<IPropertyPageSite*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ULONG(InterlockedIncrement(&_references)); }
    STDMETHODIMP_(ULONG) Release() override
    {
        LONG left = InterlockedDecrement(&_references);
        if (left == 0)
            delete this;
        return ULONG(left);
    }
    STDMETHODIMP OnStatusChange(DWORD) override { return S_OK; }
    STDMETHODIMP GetLocaleID(LCID* locale) override
    {
        *locale = LOCALE_USER_DEFAULT;
        return S_OK;
    }
    STDMETHODIMP GetPageContainer(IUnknown** container) override
    {
        *container = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP TranslateAccelerator(MSG*) override { return S_FALSE; }

private:
    volatile LONG _references = 1;
};

}  // namespace

PageWindow::PageWindow(IUnknown* filter) : _filter(filter)
{
    ISpecifyPropertyPages* specify = nullptr;
    HRESULT hr =
        filter->QueryInterface(IID_ISpecifyPropertyPages, reinterpret_cast<void**>(&specify));
    if (FAILED(hr)) {
        _failure = failed("ISpecifyPropertyPages", hr);
        return;
    }
    CAUUID pages{};
    hr = specify->GetPages(&pages);
    specify->Release();
    if (FAILED(hr) || pages.cElems == 0) {
        _failure = failed("GetPages", hr);
        return;
    }
    hr = CoCreateInstance(pages.pElems[0], nullptr, CLSCTX_INPROC_SERVER, IID_IPropertyPage,
                          reinterpret_cast<void**>(&_page));
    CoTaskMemFree(pages.pElems);
    if (FAILED(hr)) {
        _failure = failed("creating the page", hr);
        return;
    }
    _site = new Site;
    _page->SetPageSite(_site);
    _page->SetObjects(1, &_filter);
    PROPPAGEINFO info{};
    info.cb = sizeof info;
    if (SUCCEEDED(_page->GetPageInfo(&info))) {
        _pageRect = RECT{0, 0, info.size.cx, info.size.cy};
        CoTaskMemFree(info.pszTitle);
    }
    if (_pageRect.right <= 0 || _pageRect.bottom <= 0)
        _pageRect = RECT{0, 0, 400, 300};
    RECT frame = _pageRect;
    AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, FALSE);
    _frame = CreateWindowExW(0, L"STATIC", L"Tavio2 Properties", WS_OVERLAPPEDWINDOW | WS_VISIBLE,
                             0, 0, frame.right - frame.left, frame.bottom - frame.top, nullptr,
                             nullptr, GetModuleHandleW(nullptr), nullptr);
    if (_frame)
        activate();
    else
        _failure = failed("creating the frame window", HRESULT_FROM_WIN32(GetLastError()));
}

void PageWindow::activate()
{
    HRESULT hr = _page->Activate(_frame, &_pageRect, FALSE);
    if (FAILED(hr)) {
        _failure = failed("IPropertyPage::Activate", hr);
        return;
    }
    _page->Show(SW_SHOW);
    // The page's dialog is the frame's only child window.
    _dialog = FindWindowExW(_frame, nullptr, nullptr, nullptr);
    if (!_dialog)
        _failure = "the page made no dialog";
    pumpMessages();
}

void PageWindow::reactivate()
{
    if (_dialog)
        _page->Deactivate();
    _dialog = nullptr;
    activate();
}

PageWindow::~PageWindow()
{
    if (_page) {
        if (_dialog)
            _page->Deactivate();
        _page->SetObjects(0, nullptr);
        _page->SetPageSite(nullptr);
        _page->Release();
    }
    if (_site)
        _site->Release();
    if (_frame)
        DestroyWindow(_frame);
}

void PageWindow::pumpMessages() const
{
    UpdateWindow(_frame);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

std::string PageWindow::itemText(int item) const
{
    HWND window = _dialog ? GetDlgItem(_dialog, item) : nullptr;
    if (!window)
        return {};
    pumpMessages();  // the levels arrive as a posted message
    std::vector<char> text(size_t(GetWindowTextLengthA(window)) + 1);
    int copied = GetWindowTextA(window, text.data(), int(text.size()));
    return std::string(text.data(), size_t(copied > 0 ? copied : 0));
}

bool PageWindow::itemVisible(int item) const
{
    HWND window = _dialog ? GetDlgItem(_dialog, item) : nullptr;
    return window && (GetWindowLongW(window, GWL_STYLE) & WS_VISIBLE);
}

bool PageWindow::saveScreenshot(const std::string& path) const
{
    if (!_frame)
        return false;
    pumpMessages();
    RECT r;
    GetWindowRect(_frame, &r);
    int width = r.right - r.left, height = r.bottom - r.top;
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, width, height);
    HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, screen, r.left, r.top, SRCCOPY);
    SelectObject(memory, old);

    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biCompression = BI_RGB;
    size_t stride = (size_t(width) * 3 + 3) & ~size_t(3);
    std::vector<char> pixels(stride * size_t(height));
    int rows = GetDIBits(memory, bitmap, 0, UINT(height), pixels.data(),
                         reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    if (rows != height)
        return false;

    BITMAPFILEHEADER file{};
    file.bfType = 0x4D42;  // "BM"
    file.bfOffBits = sizeof file + sizeof header;
    file.bfSize = DWORD(file.bfOffBits + pixels.size());
    header.biSizeImage = DWORD(pixels.size());
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(&file), sizeof file);
    out.write(reinterpret_cast<const char*>(&header), sizeof header);
    out.write(pixels.data(), std::streamsize(pixels.size()));
    return bool(out);
}
