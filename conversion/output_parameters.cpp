#include "conversion/output_parameters.h"

// Payload bytes per buffer; the allocator is asked for 4 more (a guard word).
Parameter<int> PoutputBufferSize("outputBufferSize", 65536);
Parameter<int> PoutputBufferCount("outputBufferCount", 4);
