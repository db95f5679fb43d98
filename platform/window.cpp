#include "platform/window.h"

#include <algorithm>
#include <vector>

namespace platform {

std::string windowText(HWND window)
{
    if (!window)
        return {};
    auto length = size_t(SendMessageA(window, WM_GETTEXTLENGTH, 0, 0));
    std::vector<char> text(length + 1);
    auto copied =
        size_t(SendMessageA(window, WM_GETTEXT, WPARAM(text.size()), LPARAM(text.data())));
    return std::string(text.data(), std::min(copied, length));
}

}  // namespace platform
