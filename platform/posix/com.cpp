// POSIX implementations of the COM runtime pieces: task memory, GUID strings,
// BSTR, VARIANT and an in-process CoCreateInstance.
#include "platform/com.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/strings.h"

extern "C" {

void* CoTaskMemAlloc(size_t cb)
{
    return std::malloc(cb ? cb : 1);
}
void CoTaskMemFree(void* pv)
{
    std::free(pv);
}

int StringFromGUID2(REFGUID g, LPOLESTR out, int cchMax)
{
    char text[40];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", g.Data1,
                  g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
                  g.Data4[5], g.Data4[6], g.Data4[7]);
    if (!out || cchMax < 39)
        return 0;
    for (int i = 0; i < 39; ++i)
        out[i] = static_cast<OLECHAR>(text[i]);
    return 39;
}

HRESULT StringFromCLSID(REFCLSID rclsid, LPOLESTR* out)
{
    if (!out)
        return E_INVALIDARG;
    *out = static_cast<LPOLESTR>(CoTaskMemAlloc(39 * sizeof(OLECHAR)));
    if (!*out)
        return E_OUTOFMEMORY;
    StringFromGUID2(rclsid, *out, 39);
    return S_OK;
}

static int hexValue(OLECHAR c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Parses "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" exactly (braces required).
HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID out)
{
    if (!out)
        return E_INVALIDARG;
    *out = GUID_NULL;
    if (!text)
        return S_OK;  // a null string means CLSID_NULL
    static const char pattern[] = "{........-....-....-....-............}";
    uint8_t bytes[16];
    int nibble = 0;
    for (int i = 0; i < 38; ++i) {
        OLECHAR c = text[i];
        if (pattern[i] != '.') {
            if (c != static_cast<OLECHAR>(pattern[i]))
                return CO_E_CLASSSTRING;
            continue;
        }
        int v = hexValue(c);
        if (v < 0)
            return CO_E_CLASSSTRING;
        if (nibble % 2 == 0)
            bytes[nibble / 2] = static_cast<uint8_t>(v << 4);
        else
            bytes[nibble / 2] |= static_cast<uint8_t>(v);
        ++nibble;
    }
    if (text[38] != 0)
        return CO_E_CLASSSTRING;
    out->Data1 = (uint32_t(bytes[0]) << 24) | (uint32_t(bytes[1]) << 16) |
                 (uint32_t(bytes[2]) << 8) | bytes[3];
    out->Data2 = static_cast<uint16_t>((bytes[4] << 8) | bytes[5]);
    out->Data3 = static_cast<uint16_t>((bytes[6] << 8) | bytes[7]);
    std::memcpy(out->Data4, bytes + 8, 8);
    return S_OK;
}

// A BSTR is preceded by its length in bytes (32-bit) and ends with a null.
BSTR SysAllocStringLen(const OLECHAR* text, UINT length)
{
    auto* block = static_cast<uint8_t*>(
        std::malloc(sizeof(uint32_t) + (size_t(length) + 1) * sizeof(OLECHAR)));
    if (!block)
        return nullptr;
    uint32_t bytes = length * sizeof(OLECHAR);
    std::memcpy(block, &bytes, sizeof bytes);
    auto* str = reinterpret_cast<OLECHAR*>(block + sizeof(uint32_t));
    if (text)
        std::memcpy(str, text, length * sizeof(OLECHAR));
    else
        std::memset(str, 0, length * sizeof(OLECHAR));
    str[length] = 0;
    return str;
}

BSTR SysAllocString(const OLECHAR* text)
{
    if (!text)
        return nullptr;
    return SysAllocStringLen(text, static_cast<UINT>(platform::wideLength(text)));
}

void SysFreeString(BSTR str)
{
    if (str)
        std::free(reinterpret_cast<uint8_t*>(str) - sizeof(uint32_t));
}

UINT SysStringLen(BSTR str)
{
    if (!str)
        return 0;
    uint32_t bytes;
    std::memcpy(&bytes, reinterpret_cast<uint8_t*>(str) - sizeof(uint32_t), sizeof bytes);
    return bytes / sizeof(OLECHAR);
}

void VariantInit(VARIANT* v)
{
    if (v) {
        std::memset(v, 0, sizeof *v);
        v->vt = VT_EMPTY;
    }
}

HRESULT VariantClear(VARIANT* v)
{
    if (!v)
        return E_INVALIDARG;
    if (v->vt == VT_BSTR)
        SysFreeString(v->bstrVal);
    else if ((v->vt == VT_UNKNOWN || v->vt == VT_DISPATCH) && v->punkVal)
        v->punkVal->Release();
    VariantInit(v);
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG* dest, VARIANTARG* src)
{
    if (!dest || !src)
        return E_INVALIDARG;
    if (dest == src)
        return S_OK;
    VariantClear(dest);
    *dest = *src;
    if (src->vt == VT_BSTR && src->bstrVal) {
        dest->bstrVal = SysAllocStringLen(src->bstrVal, SysStringLen(src->bstrVal));
        if (!dest->bstrVal) {
            VariantInit(dest);
            return E_OUTOFMEMORY;
        }
    } else if ((src->vt == VT_UNKNOWN || src->vt == VT_DISPATCH) && src->punkVal) {
        src->punkVal->AddRef();
    }
    return S_OK;
}

HRESULT VariantChangeType(VARIANTARG* dest, VARIANTARG* src, USHORT, VARTYPE vt)
{
    if (!dest || !src)
        return E_INVALIDARG;
    if (src->vt == vt) {
        if (dest == src)
            return S_OK;
        return VariantCopy(dest, src);
    }
    if (vt != VT_BSTR)
        return DISP_E_TYPEMISMATCH;
    char text[32];
    switch (src->vt) {
        case VT_EMPTY:
            text[0] = 0;
            break;
        case VT_I1:
            std::snprintf(text, sizeof text, "%d", int(src->cVal));
            break;
        case VT_UI1:
            std::snprintf(text, sizeof text, "%u", unsigned(src->bVal));
            break;
        case VT_I2:
            std::snprintf(text, sizeof text, "%d", int(src->iVal));
            break;
        case VT_UI2:
            std::snprintf(text, sizeof text, "%u", unsigned(src->uiVal));
            break;
        case VT_I4:
            std::snprintf(text, sizeof text, "%ld", long(src->lVal));
            break;
        case VT_UI4:
            std::snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(src->ulVal));
            break;
        case VT_INT:
            std::snprintf(text, sizeof text, "%d", src->intVal);
            break;
        case VT_UINT:
            std::snprintf(text, sizeof text, "%u", src->uintVal);
            break;
        case VT_I8:
            std::snprintf(text, sizeof text, "%lld", static_cast<long long>(src->llVal));
            break;
        case VT_UI8:
            std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(src->ullVal));
            break;
        case VT_BOOL:
            std::snprintf(text, sizeof text, "%s", src->boolVal ? "True" : "False");
            break;
        default:
            return DISP_E_TYPEMISMATCH;
    }
    OLECHAR wide[32];
    size_t n = 0;
    for (; text[n]; ++n)
        wide[n] = static_cast<OLECHAR>(text[n]);
    wide[n] = 0;
    BSTR converted = SysAllocString(wide);
    if (!converted)
        return E_OUTOFMEMORY;
    VariantClear(dest);
    dest->vt = VT_BSTR;
    dest->bstrVal = converted;
    return S_OK;
}

HRESULT CoInitialize(LPVOID)
{
    return S_OK;
}
void CoUninitialize() {}

}  // extern "C"

namespace platform {

HRESULT createFilterMapper(IUnknown* outer, REFIID riid, void** ppv);  // filter_mapper.cpp

}  // namespace platform

#include "platform/strmif.h"

extern "C" HRESULT CoCreateInstance(REFCLSID clsid,
                                    LPUNKNOWN outer,
                                    DWORD,
                                    REFIID riid,
                                    LPVOID* ppv)
{
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    // The filter mapper is the one in-process server this platform provides.
    if (IsEqualGUID(clsid, CLSID_FilterMapper2))
        return platform::createFilterMapper(outer, riid, ppv);
    return REGDB_E_CLASSNOTREG;
}
