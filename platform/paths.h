// Where the system's fixed files live: the parameter file and the logs.
#pragma once

#include <string>

namespace platform {

// The drive root of the system's fixed paths: "C:\" on Windows; on POSIX
// a folder fixed at build time (TAVIO_DRIVE_ROOT), ending in a separator.
std::string driveRoot();

}  // namespace platform
