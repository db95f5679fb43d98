#include "filter/TvPropPage.h"

#include <new>

#include "diagnostics/assertions.h"
#include "filter/TvFilter.h"
#include "filter/filter_parameters.h"
#include "filter/stream_text.h"

CUnknown* TvProp::CreateInstance(IUnknown* outer, HRESULT* phr)
{
    auto* page = new (std::nothrow) TvProp(outer);
    if (!page && phr)
        *phr = E_OUTOFMEMORY;
    return page;
}

TvProp::TvProp(IUnknown* outer)
    : CBasePropertyPage("TvProp", outer, IDD_STREAM_PAGE, WIDE("Tavio2"))
{
}

TvProp::~TvProp()
{
    attachLevelWindow(nullptr);
    if (_filter)
        _filter->Release();
}

void TvProp::attachLevelWindow(HWND window)
{
    // Only our own filter keeps a level window; another object answering
    // the control interface gets none.
    if (auto* filter = dynamic_cast<TvFilter*>(_filter))
        filter->setLevelWindow(window);
}

HRESULT TvProp::OnConnect(IUnknown* object)
{
    // clang-format off
    TvAssert(_filter == NULL);
    // clang-format on
    if (_filter) {
        _filter->Release();
        _filter = nullptr;
    }
    HRESULT hr = object
                     ? object->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&_filter))
                     : E_POINTER;
    // clang-format off
    TvAssert(hr == S_OK);
    // clang-format on
    return hr;
}

HRESULT TvProp::OnDisconnect()
{
    attachLevelWindow(nullptr);
    if (_filter)
        _filter->Release();
    _filter = nullptr;
    return S_OK;
}

// The snapshot of a format with details of its own answers that format's
// interface; the text above has read it.
static void checkFormatInterface(ITavioStreamInfo* ps)
{
    DWORD type = 0;
    ps->GetStreamType(&type);
    if (type == KindMpeg) {
        ITavioMpegStreamInfo* pmpeg = nullptr;
        // clang-format off
        TvAssert(ps->QueryInterface( IID_ITavioMpegStreamInfo, (void**)&pmpeg )==0);
        // clang-format on
        if (pmpeg)
            pmpeg->Release();
    }
    if (type == KindAc3) {
        ITavioAc3StreamInfo* pac3 = nullptr;
        // clang-format off
        TvAssert(ps->QueryInterface( IID_ITavioAc3StreamInfo, (void**)&pac3 )==0);
        // clang-format on
        if (pac3)
            pac3->Release();
    }
    if (type == KindAac) {
        ITavioAACStreamInfo* aac = nullptr;
        // clang-format off
        TvAssert(ps->QueryInterface( IID_ITavioAACStreamInfo, (void**)&aac )==0);
        // clang-format on
        if (aac)
            aac->Release();
    }
}

HRESULT TvProp::OnActivate()
{
    ITavioStreamInfo* ps = nullptr;
    if (!_filter || FAILED(_filter->GetOutputStreamInfo(&ps)))
        ps = nullptr;
    _text = streamText(ps);
    if (ps)
        checkFormatInterface(ps);
    // The page holds the snapshot's last reference.
    // clang-format off
    if (ps)
        TvAssert(!ps->Release());
    // clang-format on
    HWND win = GetDlgItem(m_hwnd, kStreamTextItem);
    // clang-format off
    TvAssert(win);
    // clang-format on
    if (win)
        SendMessageA(win, WM_SETTEXT, 0, LPARAM(_text.c_str()));
    // The statistics box shows the level display, when asked for.
    _statisticsShown = PshowStat();
    HWND statistics = GetDlgItem(m_hwnd, kStatisticsItem);
    if (statistics)
        ShowWindow(statistics, _statisticsShown ? SW_SHOW : SW_HIDE);
    attachLevelWindow(_statisticsShown ? statistics : nullptr);
    return S_OK;
}

// The box goes with the dialog: the filter must not write to it afterwards.
HRESULT TvProp::OnDeactivate()
{
    attachLevelWindow(nullptr);
    return S_OK;
}

#ifdef _WIN32
// The streaming thread posts when new levels wait; they are written here, on
// the dialog's own thread.
INT_PTR TvProp::OnReceiveMessage(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto* filter = dynamic_cast<TvFilter*>(_filter);
    if (message != kLevelTextMessage || !filter)
        return CBasePropertyPage::OnReceiveMessage(dialog, message, wParam, lParam);
    std::string text = filter->levels().take();
    if (HWND box = filter->levelWindow())
        SendMessageA(box, WM_SETTEXT, 0, LPARAM(text.c_str()));
    return TRUE;
}
#endif

CUnknown* TvAbout::CreateInstance(IUnknown* outer, HRESULT* phr)
{
    auto* page = new (std::nothrow) TvAbout(outer);
    if (!page && phr)
        *phr = E_OUTOFMEMORY;
    return page;
}

TvAbout::TvAbout(IUnknown* outer)
    : CBasePropertyPage("TvAbout", outer, IDD_ABOUT_PAGE, WIDE("About"))
{
}

HRESULT TvAbout::OnActivate()
{
    if (HWND item = GetDlgItem(m_hwnd, IDC_ABOUT_TEXT))
        SendMessageA(item, WM_SETTEXT, 0, LPARAM(text()));
    return S_OK;
}

const char* TvAbout::text()
{
    return "Tavio Audio Decoder 2\r\n"
           "AC-3, E-AC-3, DTS, MLP, MPEG audio, AAC, Vorbis, AMR and disc LPCM to PCM or S/PDIF.\r\n";
}
