#include "platform/module_exports.h"

namespace platform {

// Windows calls DllMain itself when the module is loaded.
void ensureProcessAttached() {}

}  // namespace platform
