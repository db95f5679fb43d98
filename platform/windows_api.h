// Everything the system uses of the Windows, COM and DirectShow API.
#pragma once

#include "platform/codecapi.h"
#include "platform/com.h"
#include "platform/guid.h"
#include "platform/hresult.h"
#include "platform/kernel.h"
#include "platform/media_guids.h"
#include "platform/mmreg.h"
#include "platform/paths.h"
#include "platform/registry.h"
#include "platform/strings.h"
#include "platform/strmif.h"
#include "platform/wintypes.h"
