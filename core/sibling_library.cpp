#include "core/sibling_library.h"

#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"

bool OpenDll(const std::string& folder, const std::string& name, HMODULE* module, void** engine)
{
    logStream << "OpenDll: " << name << std::endl;
    return startSiblingLibrary(folder + name, module, engine);
}

bool startSiblingLibrary(const std::string& path, HMODULE* module, void** engine)
{
    HMODULE library = LoadLibraryA(path.c_str());
    if (!library) {
        logStream << "error: " << GetLastError() << std::endl;
        reportError("could not open " + path);
        return false;
    }
    using Create = int (*)(void** engine);
    auto create = platform::procAddress<Create>(library, "AUDIODEC_Create");
    if (!create || create(engine) != 0) {
        reportError("Error starting " + path);
        return false;
    }
    *module = library;
    return true;
}
