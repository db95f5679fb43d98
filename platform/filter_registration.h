// What the filter mapper recorded for a registered filter. On POSIX the
// platform's in-process mapper stores the registration in its own format under
// the category's Instance key; this reads it back for hosts and tests.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/strmif.h"

namespace platform {

struct RegisteredPin {
    bool output = false;
    bool zero = false;
    bool many = false;
    bool rendered = false;
    std::vector<std::pair<GUID, GUID>> types;  // (major type, subtype)
};

struct RegisteredFilter {
    std::string friendlyName;
    GUID clsid{};
    DWORD merit = 0;
    std::vector<RegisteredPin> pins;
};

// False if no filter is registered under that category and instance.
bool readFilterRegistration(REFCLSID category, REFCLSID instance, RegisteredFilter& out);

}  // namespace platform
