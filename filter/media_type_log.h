// Media types as the logs describe them.
#pragma once

#include <ostream>

#include "platform/strmif.h"

// Two to four lines describing a media type.
void writeMediaTypeToLog(std::ostream& out, const AM_MEDIA_TYPE& mediaType);
// The same for a type that may be absent (then only a line end).
void writeMediaTypeToLog(std::ostream& out, const AM_MEDIA_TYPE* mediaType);
