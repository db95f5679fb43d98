#include "core/receive_parameters.h"

Parameter<bool> PenableTimeStamps("enableTimeStamps", true);
// Check each output stamp against the running expected time.
Parameter<bool> PallTimeStamps("allTimeStamps", true);
