// Parameter file grammar: any text must parse or stop cleanly.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "config/config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    resetParametersForTesting();
    std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
    readParameters(text);
    return 0;
}
