// POSIX implementations of the Win32 kernel services the system uses.
#include "platform/kernel.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <new>
#include <thread>

#include "platform/hresult.h"

namespace {

thread_local DWORD lastError = 0;

std::recursive_mutex& mutexOf(LPCRITICAL_SECTION cs)
{
    return *std::launder(reinterpret_cast<std::recursive_mutex*>(cs->storage));
}

struct Event {
    std::mutex lock;
    std::condition_variable signalled;
    bool manualReset;
    bool state;
};

DWORD copyPath(const char* path, LPSTR out, DWORD size)
{
    if (!out || size == 0) {
        lastError = ERROR_INSUFFICIENT_BUFFER;
        return 0;
    }
    size_t length = std::strlen(path);
    if (length >= size) {
        // Win32 truncates, terminates and reports the buffer size.
        std::memcpy(out, path, size - 1);
        out[size - 1] = 0;
        lastError = ERROR_INSUFFICIENT_BUFFER;
        return size;
    }
    std::memcpy(out, path, length + 1);
    return static_cast<DWORD>(length);
}

}  // namespace

extern "C" {

void InitializeCriticalSection(LPCRITICAL_SECTION cs)
{
    new (cs->storage) std::recursive_mutex;
}
void DeleteCriticalSection(LPCRITICAL_SECTION cs)
{
    using Mutex = std::recursive_mutex;
    mutexOf(cs).~Mutex();
}
void EnterCriticalSection(LPCRITICAL_SECTION cs)
{
    mutexOf(cs).lock();
}
BOOL TryEnterCriticalSection(LPCRITICAL_SECTION cs)
{
    return mutexOf(cs).try_lock() ? TRUE : FALSE;
}
void LeaveCriticalSection(LPCRITICAL_SECTION cs)
{
    mutexOf(cs).unlock();
}

LONG InterlockedIncrement(LONG volatile* p)
{
    return __atomic_add_fetch(p, 1, __ATOMIC_SEQ_CST);
}
LONG InterlockedDecrement(LONG volatile* p)
{
    return __atomic_sub_fetch(p, 1, __ATOMIC_SEQ_CST);
}
LONG InterlockedExchangeAdd(LONG volatile* p, LONG v)
{
    return __atomic_fetch_add(p, v, __ATOMIC_SEQ_CST);
}
HANDLE CreateEventA(void*, BOOL manualReset, BOOL initialState, LPCSTR)
{
    auto* event = new (std::nothrow) Event;
    if (!event) {
        lastError = ERROR_NOT_ENOUGH_MEMORY;
        return nullptr;
    }
    event->manualReset = manualReset != FALSE;
    event->state = initialState != FALSE;
    return event;
}

BOOL SetEvent(HANDLE handle)
{
    auto* event = static_cast<Event*>(handle);
    if (!event)
        return FALSE;
    {
        std::lock_guard<std::mutex> guard(event->lock);
        event->state = true;
    }
    event->signalled.notify_all();
    return TRUE;
}

BOOL ResetEvent(HANDLE handle)
{
    auto* event = static_cast<Event*>(handle);
    if (!event)
        return FALSE;
    std::lock_guard<std::mutex> guard(event->lock);
    event->state = false;
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    auto* event = static_cast<Event*>(handle);
    if (!event) {
        lastError = ERROR_INVALID_HANDLE;
        return WAIT_FAILED;
    }
    std::unique_lock<std::mutex> guard(event->lock);
    auto isSet = [event] { return event->state; };
    if (milliseconds == INFINITE)
        event->signalled.wait(guard, isSet);
    else if (!event->signalled.wait_for(guard, std::chrono::milliseconds(milliseconds), isSet))
        return WAIT_TIMEOUT;
    if (!event->manualReset)
        event->state = false;
    return WAIT_OBJECT_0;
}

BOOL CloseHandle(HANDLE handle)
{
    delete static_cast<Event*>(handle);
    return TRUE;
}

void Sleep(DWORD milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

HMODULE LoadLibraryA(LPCSTR fileName)
{
    if (!fileName) {
        lastError = ERROR_INVALID_PARAMETER;
        return nullptr;
    }
    void* handle = dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        lastError = ERROR_MOD_NOT_FOUND;
    return handle;
}

FARPROC GetProcAddress(HMODULE module, LPCSTR procName)
{
    if (!module || !procName) {
        lastError = ERROR_INVALID_HANDLE;
        return nullptr;
    }
    void* symbol = dlsym(module, procName);
    if (!symbol) {
        lastError = ERROR_PROC_NOT_FOUND;
        return nullptr;
    }
    return reinterpret_cast<FARPROC>(symbol);
}

BOOL FreeLibrary(HMODULE module)
{
    if (!module || dlclose(module) != 0) {
        lastError = ERROR_INVALID_HANDLE;
        return FALSE;
    }
    return TRUE;
}

// Like Win32, the handle of an already loaded module is not counted: the
// reference dlopen adds is given back at once.
HMODULE GetModuleHandleA(LPCSTR moduleName)
{
    void* handle = dlopen(moduleName, RTLD_LAZY | RTLD_NOLOAD);
    if (!handle) {
        lastError = ERROR_MOD_NOT_FOUND;
        return nullptr;
    }
    if (moduleName)
        dlclose(handle);
    return handle;
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR fileName, DWORD size)
{
    if (!module) {
        char path[4096];
        ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
        if (n < 0) {
            lastError = ERROR_FILE_NOT_FOUND;
            return 0;
        }
        path[n] = 0;
        return copyPath(path, fileName, size);
    }
    struct link_map* map = nullptr;
    if (dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || !map || !map->l_name) {
        lastError = ERROR_INVALID_HANDLE;
        return 0;
    }
    if (map->l_name[0] == 0)  // the main program
        return GetModuleFileNameA(nullptr, fileName, size);
    return copyPath(map->l_name, fileName, size);
}

DWORD GetLastError()
{
    return lastError;
}
void SetLastError(DWORD errorCode)
{
    lastError = errorCode;
}

BOOL GetVersionExA(LPOSVERSIONINFOA info)
{
    if (!info || info->dwOSVersionInfoSize < sizeof(OSVERSIONINFOA)) {
        lastError = ERROR_INSUFFICIENT_BUFFER;
        return FALSE;
    }
    // A POSIX host behaves like the NT family (no Windows 9x scheduling quirks).
    info->dwMajorVersion = 10;
    info->dwMinorVersion = 0;
    info->dwBuildNumber = 0;
    info->dwPlatformId = VER_PLATFORM_WIN32_NT;
    info->szCSDVersion[0] = 0;
    return TRUE;
}

}  // extern "C"

namespace platform {

HMODULE moduleContaining(const void* address)
{
    Dl_info info;
    if (!dladdr(address, &info) || !info.dli_fname)
        return nullptr;
    // The main program's dli_fname is its path too; dlopen(NULL) names it.
    void* self = dlopen(nullptr, RTLD_LAZY | RTLD_NOLOAD);
    void* handle = dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    if (handle) {
        dlclose(handle);
        struct link_map* map = nullptr;
        if (dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 && map &&
            reinterpret_cast<void*>(map->l_addr) == info.dli_fbase)
            return handle;
    }
    return self;
}

}  // namespace platform
