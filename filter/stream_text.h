// The text the property page shows for a stream-information snapshot. It
// reads the snapshot only through its interface, so a host can show the
// same text for a filter it loaded.
#pragma once

#include <string>

#include "filter/tavio_interfaces.h"

// Lines end with "\r\n"; "no info available" without a snapshot.
std::string streamText(ITavioStreamInfo* info);
