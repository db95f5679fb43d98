// The registry calls of COM registration. On POSIX the registry is an
// in-process store (nothing persists between processes), which tests inspect
// with the same calls.
#pragma once

#include "platform/hresult.h"

#ifdef _WIN32
#include <windows.h>
#else
#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)0x80000000u)
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)0x80000001u)
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)0x80000002u)

#define REG_NONE 0
#define REG_SZ 1
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_OPTION_NON_VOLATILE 0
#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2
#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_ALL_ACCESS 0xF003F

extern "C" {
LSTATUS RegCreateKeyExA(HKEY key,
                        LPCSTR subKey,
                        DWORD reserved,
                        LPSTR className,
                        DWORD options,
                        REGSAM desired,
                        void* security,
                        HKEY* result,
                        DWORD* disposition);
LSTATUS RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM desired, HKEY* result);
LSTATUS RegSetValueExA(HKEY key,
                       LPCSTR valueName,
                       DWORD reserved,
                       DWORD type,
                       const BYTE* data,
                       DWORD size);
LSTATUS RegQueryValueExA(HKEY key,
                         LPCSTR valueName,
                         DWORD* reserved,
                         DWORD* type,
                         BYTE* data,
                         DWORD* size);
LSTATUS RegEnumKeyExA(HKEY key,
                      DWORD index,
                      LPSTR name,
                      DWORD* nameSize,
                      DWORD* reserved,
                      LPSTR className,
                      DWORD* classSize,
                      FILETIME* lastWrite);
LSTATUS RegDeleteKeyA(HKEY key, LPCSTR subKey);
LSTATUS RegDeleteValueA(HKEY key, LPCSTR valueName);
LSTATUS RegCloseKey(HKEY key);
}

namespace platform {
// Empties the in-process registry (test isolation).
void registryClear();
}  // namespace platform
#endif  // _WIN32
