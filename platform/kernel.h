// Win32 kernel services: critical sections, interlocked counters, events,
// module loading by file and export name, last-error, OS version.
#pragma once

#include "platform/wintypes.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <mutex>

typedef struct _RTL_CRITICAL_SECTION {
    alignas(std::recursive_mutex) unsigned char storage[sizeof(std::recursive_mutex)];
} CRITICAL_SECTION, *LPCRITICAL_SECTION;

#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0x00000000u
#define WAIT_TIMEOUT 0x00000102u
#define WAIT_FAILED 0xFFFFFFFFu
#define VER_PLATFORM_WIN32s 0
#define VER_PLATFORM_WIN32_WINDOWS 1
#define VER_PLATFORM_WIN32_NT 2

typedef struct _OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
} OSVERSIONINFOA, *LPOSVERSIONINFOA;

extern "C" {
void InitializeCriticalSection(LPCRITICAL_SECTION cs);
void DeleteCriticalSection(LPCRITICAL_SECTION cs);
void EnterCriticalSection(LPCRITICAL_SECTION cs);
BOOL TryEnterCriticalSection(LPCRITICAL_SECTION cs);
void LeaveCriticalSection(LPCRITICAL_SECTION cs);

LONG InterlockedIncrement(LONG volatile* addend);
LONG InterlockedDecrement(LONG volatile* addend);
LONG InterlockedExchangeAdd(LONG volatile* addend, LONG value);

// Events: manual- or auto-reset, waited on with WaitForSingleObject.
HANDLE CreateEventA(void* security, BOOL manualReset, BOOL initialState, LPCSTR name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
BOOL CloseHandle(HANDLE handle);
void Sleep(DWORD milliseconds);

// Modules: dlopen/dlsym/dladdr. A module handle is the dlopen handle.
HMODULE LoadLibraryA(LPCSTR fileName);
FARPROC GetProcAddress(HMODULE module, LPCSTR procName);
BOOL FreeLibrary(HMODULE module);
HMODULE GetModuleHandleA(LPCSTR moduleName);
DWORD GetModuleFileNameA(HMODULE module, LPSTR fileName, DWORD size);
DWORD GetLastError();
void SetLastError(DWORD errorCode);
BOOL GetVersionExA(LPOSVERSIONINFOA info);
}
#endif  // _WIN32

namespace platform {

// The module (shared library or executable) that contains the given address,
// as a handle for GetModuleFileNameA; null if none does. Lets a library find
// its own file without a DllMain-supplied instance handle.
HMODULE moduleContaining(const void* address);

// GetProcAddress typed as the export's function type (through void(*)(), the
// one cast between function types compilers accept without a warning).
template <class Function>
Function procAddress(HMODULE module, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

}  // namespace platform
