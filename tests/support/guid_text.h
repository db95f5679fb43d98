// A GUID as the registry and the logs write it: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
#pragma once

#include <string>

#include "platform/windows_api.h"

inline std::string guidText(const GUID& guid)
{
    OLECHAR text[39];
    StringFromGUID2(guid, text, 39);
    return platform::toUtf8(reinterpret_cast<const WCHAR*>(text));
}
