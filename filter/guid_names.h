// The names the logs give GUIDs: media types and subtypes (the platform's and
// ours), interfaces and codec-API properties.
#pragma once

#include <string>

#include "platform/guid.h"

// The well-known name of a GUID, or its braced text.
std::string guidName(REFGUID guid);
