// The few window functions of the property page and the level display. On
// Windows they are the user-interface functions themselves. On POSIX there is
// no display: a headless stand-in keeps each window's text, visibility and
// dialog items in memory, so the page and the level display run, and are
// tested, the same way.
#pragma once

#include <string>

#include "platform/wintypes.h"

#ifndef _WIN32
typedef intptr_t LPARAM;
typedef uintptr_t WPARAM;
typedef intptr_t LRESULT;

#define WM_SETTEXT 0x000C
#define WM_GETTEXT 0x000D
#define WM_GETTEXTLENGTH 0x000E
#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_SHOW 5

// WM_SETTEXT (lParam: a C string), WM_GETTEXT (wParam: room, lParam: the
// buffer; answers the characters copied) and WM_GETTEXTLENGTH; 0 otherwise.
LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
HWND GetDlgItem(HWND dialog, int item);
BOOL ShowWindow(HWND window, int command);
BOOL IsWindowVisible(HWND window);
BOOL DestroyWindow(HWND window);

namespace platform {
// A headless dialog holding the given items, each an empty visible text box.
HWND createHeadlessDialog(const int* items, int count);
}  // namespace platform
#endif

namespace platform {
// The text of a window, through WM_GETTEXT (empty for a null window).
std::string windowText(HWND window);
}  // namespace platform
