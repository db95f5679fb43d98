// The filter's property page shown the way a player shows it: in a top-level
// window of ours, through IPropertyPage (a modal property frame would block
// the test). Used by the graph test under a virtual display.
#pragma once

#include <ocidl.h>
#include <windows.h>

#include <string>

class PageWindow {
public:
    // Opens the first page `filter` names through ISpecifyPropertyPages.
    explicit PageWindow(IUnknown* filter);
    ~PageWindow();
    PageWindow(const PageWindow&) = delete;
    PageWindow& operator=(const PageWindow&) = delete;

    bool isOpen() const { return _dialog != nullptr; }
    // What went wrong opening it, when it is not open.
    const std::string& failure() const { return _failure; }
    std::string itemText(int item) const;
    bool itemVisible(int item) const;
    // Closes and opens the page again: its text is built at activation.
    void reactivate();
    // The frame as it is on the screen, as a 24-bit BMP file.
    bool saveScreenshot(const std::string& path) const;

private:
    void activate();
    void pumpMessages() const;

    IUnknown* _filter;
    IPropertyPage* _page = nullptr;
    IPropertyPageSite* _site = nullptr;
    HWND _frame = nullptr;
    HWND _dialog = nullptr;
    RECT _pageRect{};
    std::string _failure;
};
