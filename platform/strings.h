// Conversions between our 8-bit strings and the platform's 16-bit wide strings.
#pragma once

#include <string>

#include "platform/wintypes.h"

namespace platform {

using WideString = std::basic_string<WCHAR>;

// UTF-8 in, UTF-16 out (code points above U+FFFF become surrogate pairs).
WideString toWide(const std::string& text);
// UTF-16 in, UTF-8 out; a null pointer gives an empty string.
std::string toUtf8(const WCHAR* text);
inline std::string toUtf8(const WideString& text)
{
    return toUtf8(text.c_str());
}
// Length of a null-terminated wide string.
size_t wideLength(const WCHAR* text);
// Copies a wide string into a fixed array, truncating, always terminated.
void copyWide(WCHAR* dest, size_t capacity, const WCHAR* src);

}  // namespace platform
