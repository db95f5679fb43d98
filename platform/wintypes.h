// Windows scalar types, calling-convention and COM method macros.
// On Windows the SDK provides them; on POSIX we declare the same names with the
// Windows sizes (LONG and DWORD stay 32-bit on LP64, WCHAR stays 16-bit).
#pragma once

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <objbase.h>
#include <windows.h>
// Wide literals: wchar_t on Windows, char16_t on POSIX; both 16-bit.
#define WIDE(s) L##s
#else

#include <cstddef>
#include <cstdint>

typedef int32_t HRESULT;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef uint32_t DWORD;
typedef uint32_t UINT;
typedef int32_t INT;
typedef int32_t BOOL;
typedef int32_t WINBOOL;
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef int16_t SHORT;
typedef uint16_t USHORT;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t DWORD_PTR;
typedef uintptr_t UINT_PTR;
typedef intptr_t INT_PTR;
typedef uint32_t LCID;
typedef int32_t DISPID;
typedef char CHAR;
typedef char16_t WCHAR;
typedef WCHAR OLECHAR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* LPCWSTR;
typedef OLECHAR* LPOLESTR;
typedef const OLECHAR* LPCOLESTR;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef void* HANDLE;
typedef HANDLE HWND;
typedef HANDLE HMODULE;
typedef HANDLE HINSTANCE;
typedef HANDLE HKEY;
typedef DWORD_PTR HEVENT;
typedef DWORD_PTR HSEMAPHORE;
typedef DWORD REGSAM;
typedef LONG LSTATUS;
typedef intptr_t (*FARPROC)();

typedef union _LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
} LARGE_INTEGER;
typedef union _ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
} ULARGE_INTEGER;
typedef struct tagSIZE {
    LONG cx;
    LONG cy;
} SIZE;
typedef struct tagPOINT {
    LONG x;
    LONG y;
} POINT;
typedef struct tagRECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
} RECT;
typedef const RECT* LPCRECT;
typedef struct tagMSG {
    HWND hwnd;
    UINT message;
    UINT_PTR wParam;
    LONG_PTR lParam;
    DWORD time;
    POINT pt;
} MSG;
typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME;

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

#define WINAPI
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define STDMETHOD(method) virtual HRESULT STDMETHODCALLTYPE method
#define STDMETHOD_(type, method) virtual type STDMETHODCALLTYPE method
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE
#define STDAPI extern "C" HRESULT STDAPICALLTYPE
#define PURE = 0
#define MAX_PATH 260

#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)
#define MAKE_HRESULT(sev, fac, code) \
    ((HRESULT)(((uint32_t)(sev) << 31) | ((uint32_t)(fac) << 16) | ((uint32_t)(code))))
#define HRESULT_FROM_WIN32(x)           \
    ((HRESULT)(x) <= 0 ? ((HRESULT)(x)) \
                       : ((HRESULT)(((uint32_t)(x)&0x0000FFFF) | (7u << 16) | 0x80000000u)))

#define WIDE(s) u##s
#endif  // _WIN32
