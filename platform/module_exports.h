// Marking functions a module exports, and the process-attach call on POSIX.
#pragma once

#include "platform/wintypes.h"

#ifdef _WIN32
#define TV_EXPORT __declspec(dllexport)
#else
#define TV_EXPORT __attribute__((visibility("default")))
#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#endif
// A sibling library's C entry point (found by name with GetProcAddress).
#define TV_C_EXPORT extern "C" TV_EXPORT

namespace platform {

// Makes sure the module's DllMain has seen the process attach (on POSIX the
// first entry point called does it; on Windows the loader already has).
void ensureProcessAttached();

}  // namespace platform
