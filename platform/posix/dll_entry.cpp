// On POSIX nothing calls a shared object's DllMain. The module's entry points
// call platform::ensureProcessAttached() first, which calls DllMain once with
// the module's own handle. A load-time constructor would run before the
// static objects of the libraries linked into the module exist, so the call
// waits for the first entry instead.
#include "platform/kernel.h"
#include "platform/module_exports.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace {

void anchor() {}

}  // namespace

namespace platform {

void ensureProcessAttached()
{
    static const bool attached = [] {
        DllMain(moduleContaining(reinterpret_cast<const void*>(&anchor)), DLL_PROCESS_ATTACH,
                nullptr);
        return true;
    }();
    (void)attached;
}

}  // namespace platform
