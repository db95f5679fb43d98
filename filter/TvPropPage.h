// The filter's two property pages: the stream page, which shows what is being
// decoded, and the about page with fixed text. The page's window belongs to
// the platform; the text it shows is built here and kept for it.
#pragma once

#include <string>

#include "filter/TavioControl.h"
#include "platform/dshow/streams.h"

#include "filter/page_resources.h"

// Dialog items of the stream page: the stream text and the statistics box.
constexpr int kStreamTextItem = IDC_STREAM_TEXT;
constexpr int kStatisticsItem = IDC_STATISTICS;

class TvProp : public CBasePropertyPage {
public:
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);
    ~TvProp() override;

    HRESULT OnConnect(IUnknown* object) override;
    HRESULT OnDisconnect() override;
    HRESULT OnActivate() override;
    HRESULT OnDeactivate() override;
#ifdef _WIN32
    INT_PTR OnReceiveMessage(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) override;
#endif

    // What item 1004 shows since the last activation.
    const std::string& text() const
    {
        return _text;
    }
    // Whether the statistics box is shown (the showStat parameter).
    bool statisticsShown() const
    {
        return _statisticsShown;
    }

protected:
    std::vector<int> headlessItems() const override
    {
        return {kStreamTextItem, kStatisticsItem};
    }

private:
    explicit TvProp(IUnknown* outer);
    // Attaches the statistics box to the filter as its level window, or detaches it.
    void attachLevelWindow(HWND window);

    ITavioControl* _filter = nullptr;
    std::string _text;
    bool _statisticsShown = false;
};

class TvAbout : public CBasePropertyPage {
public:
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);
    static const char* text();
    HRESULT OnActivate() override;

protected:
    std::vector<int> headlessItems() const override { return {IDC_ABOUT_TEXT}; }

private:
    explicit TvAbout(IUnknown* outer);
};
