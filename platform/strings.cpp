#include "platform/strings.h"

namespace platform {

WideString toWide(const std::string& text)
{
    WideString out;
    out.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        auto byte = static_cast<unsigned char>(text[i]);
        uint32_t codePoint = 0xFFFD;
        size_t length = 1;
        if (byte < 0x80) {
            codePoint = byte;
        } else if ((byte & 0xE0) == 0xC0) {
            length = 2;
            codePoint = byte & 0x1F;
        } else if ((byte & 0xF0) == 0xE0) {
            length = 3;
            codePoint = byte & 0x0F;
        } else if ((byte & 0xF8) == 0xF0) {
            length = 4;
            codePoint = byte & 0x07;
        }
        if (length > 1) {
            if (i + length > text.size()) {
                codePoint = 0xFFFD;
                length = text.size() - i;
            } else {
                for (size_t k = 1; k < length; ++k) {
                    auto next = static_cast<unsigned char>(text[i + k]);
                    if ((next & 0xC0) != 0x80) {
                        codePoint = 0xFFFD;
                        length = k;
                        break;
                    }
                    codePoint = (codePoint << 6) | (next & 0x3F);
                }
            }
        }
        i += length;
        if (codePoint >= 0x10000 && codePoint <= 0x10FFFF) {
            codePoint -= 0x10000;
            out.push_back(static_cast<WCHAR>(0xD800 + (codePoint >> 10)));
            out.push_back(static_cast<WCHAR>(0xDC00 + (codePoint & 0x3FF)));
        } else {
            out.push_back(static_cast<WCHAR>(codePoint > 0x10FFFF ? 0xFFFD : codePoint));
        }
    }
    return out;
}

std::string toUtf8(const WCHAR* text)
{
    std::string out;
    if (!text)
        return out;
    for (size_t i = 0; text[i]; ++i) {
        uint32_t codePoint = static_cast<uint16_t>(text[i]);
        if (codePoint >= 0xD800 && codePoint <= 0xDBFF && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10) +
                        (static_cast<uint16_t>(text[i + 1]) - 0xDC00);
            ++i;
        }
        if (codePoint < 0x80) {
            out.push_back(static_cast<char>(codePoint));
        } else if (codePoint < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
            out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
        } else if (codePoint < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
            out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
            out.push_back(static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
        }
    }
    return out;
}

size_t wideLength(const WCHAR* text)
{
    size_t n = 0;
    if (text)
        while (text[n])
            ++n;
    return n;
}

void copyWide(WCHAR* dest, size_t capacity, const WCHAR* src)
{
    if (!dest || capacity == 0)
        return;
    size_t n = 0;
    if (src)
        for (; n + 1 < capacity && src[n]; ++n)
            dest[n] = src[n];
    dest[n] = 0;
}

}  // namespace platform
