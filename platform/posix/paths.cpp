#include "platform/paths.h"

#ifndef TAVIO_DRIVE_ROOT
#define TAVIO_DRIVE_ROOT "/var/lib/tavio/"
#endif

namespace platform {

std::string driveRoot()
{
    std::string root = TAVIO_DRIVE_ROOT;
    if (root.empty() || root.back() != '/')
        root.push_back('/');
    return root;
}

}  // namespace platform
