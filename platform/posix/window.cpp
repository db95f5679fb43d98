#include "platform/window.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace {

// A headless window: its text, whether it is shown, and, for a dialog, its
// items by number. The text is guarded because the level display writes it
// from the streaming thread while a page may read it.
struct HeadlessWindow {
    std::mutex lock;
    std::string text;
    bool visible = true;
    std::map<int, std::unique_ptr<HeadlessWindow>> items;
};

HeadlessWindow* headless(HWND window)
{
    return static_cast<HeadlessWindow*>(window);
}

}  // namespace

LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    HeadlessWindow* w = headless(window);
    if (!w)
        return 0;
    std::lock_guard<std::mutex> guard(w->lock);
    switch (message) {
        case WM_SETTEXT:
            w->text = lParam ? reinterpret_cast<const char*>(lParam) : "";
            return 1;
        case WM_GETTEXT: {
            if (wParam == 0 || !lParam)
                return 0;
            size_t copied = std::min<size_t>(w->text.size(), wParam - 1);
            char* buffer = reinterpret_cast<char*>(lParam);
            std::memcpy(buffer, w->text.data(), copied);
            buffer[copied] = 0;
            return LRESULT(copied);
        }
        case WM_GETTEXTLENGTH:
            return LRESULT(w->text.size());
        default:
            return 0;
    }
}

HWND GetDlgItem(HWND dialog, int item)
{
    HeadlessWindow* w = headless(dialog);
    if (!w)
        return nullptr;
    auto found = w->items.find(item);
    return found == w->items.end() ? nullptr : found->second.get();
}

BOOL ShowWindow(HWND window, int command)
{
    HeadlessWindow* w = headless(window);
    if (!w)
        return FALSE;
    BOOL was = w->visible;
    w->visible = command != SW_HIDE;
    return was;
}

BOOL IsWindowVisible(HWND window)
{
    return headless(window) && headless(window)->visible;
}

BOOL DestroyWindow(HWND window)
{
    delete headless(window);
    return window ? TRUE : FALSE;
}

namespace platform {

HWND createHeadlessDialog(const int* items, int count)
{
    auto* dialog = new HeadlessWindow;
    for (int i = 0; i < count; ++i)
        dialog->items[items[i]] = std::make_unique<HeadlessWindow>();
    return dialog;
}

}  // namespace platform
