#include "platform/paths.h"

namespace platform {

std::string driveRoot()
{
    return "C:\\";
}

}  // namespace platform
