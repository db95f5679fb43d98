// GUIDs: the 16-byte identifiers of COM classes, interfaces and media types.
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

#ifdef _WIN32
#include <guiddef.h>
#else
#include <cstring>

typedef struct _GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
} GUID;
typedef GUID IID;
typedef GUID CLSID;
typedef const GUID& REFGUID;
typedef const IID& REFIID;
typedef const CLSID& REFCLSID;
typedef GUID* LPGUID;
typedef CLSID* LPCLSID;

// On POSIX every GUID is an inline constant: no INITGUID translation unit needed.
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    inline constexpr GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}

inline bool IsEqualGUID(REFGUID a, REFGUID b)
{
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline bool IsEqualIID(REFIID a, REFIID b)
{
    return IsEqualGUID(a, b);
}
inline bool IsEqualCLSID(REFCLSID a, REFCLSID b)
{
    return IsEqualGUID(a, b);
}
inline bool operator==(REFGUID a, REFGUID b)
{
    return IsEqualGUID(a, b);
}
inline bool operator!=(REFGUID a, REFGUID b)
{
    return !IsEqualGUID(a, b);
}

DEFINE_GUID(GUID_NULL, 0x00000000, 0x0000, 0x0000, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00);
#define CLSID_NULL GUID_NULL
#define IID_NULL GUID_NULL
#endif

// GUIDs of our own (and platform GUIDs some SDK headers lack) are defined with
// this macro on every platform, so no translation unit has to instantiate them.
#define TV_DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    inline constexpr GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}

// The GUID of a WAVE format tag or FOURCC: {XXXXXXXX-0000-0010-8000-00AA00389B71}.
constexpr GUID guidFromFourCC(uint32_t fourcc)
{
    return GUID{fourcc, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}
