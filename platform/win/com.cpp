#include "platform/com.h"

namespace platform {

// On Windows COM finds in-process servers through the registry.
void registerInProcessClass(REFCLSID, ClassCreator) {}
void unregisterInProcessClass(REFCLSID) {}

}  // namespace platform
