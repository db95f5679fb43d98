// Our DirectShow base classes, all in one include.
#pragma once

#include "platform/dshow/allocator.h"
#include "platform/dshow/base_filter.h"
#include "platform/dshow/base_pin.h"
#include "platform/dshow/class_factory.h"
#include "platform/dshow/crit_sec.h"
#include "platform/dshow/enumerators.h"
#include "platform/dshow/input_pin.h"
#include "platform/dshow/media_sample.h"
#include "platform/dshow/media_type.h"
#include "platform/dshow/output_pin.h"
#include "platform/dshow/pos_pass_thru.h"
#include "platform/dshow/property_page.h"
#include "platform/dshow/registration.h"
#include "platform/dshow/unknown.h"
#include "platform/windows_api.h"
