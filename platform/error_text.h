// The name of an HRESULT for log lines and exception messages.
#pragma once

#include <string>

#include "platform/wintypes.h"

namespace platform {

// "S_OK", "E_FAIL", "VFW_E_NOT_COMMITTED", ...; an unknown code gives its
// hexadecimal value.
std::string errorName(HRESULT hr);

}  // namespace platform
