#include "platform/kernel.h"

namespace platform {

HMODULE moduleContaining(const void* address)
{
    HMODULE module = nullptr;
    if (!GetModuleHandleExA(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            static_cast<LPCSTR>(address), &module))
        return nullptr;
    return module;
}

}  // namespace platform
