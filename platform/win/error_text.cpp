// On Windows the DirectX error-string function names the codes.
#include "platform/error_text.h"

#include <dxerr9.h>

namespace platform {

std::string errorName(HRESULT hr)
{
    return DXGetErrorString9A(hr);
}

}  // namespace platform
