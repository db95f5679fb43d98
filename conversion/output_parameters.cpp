#include "conversion/output_parameters.h"

// Payload bytes per buffer; the allocator is asked for 4 more (a guard word).
Parameter<unsigned> PoutputBufferSize("outputBufferSize", 65536);
Parameter<unsigned> PoutputBufferCount("outputBufferCount", 4);
