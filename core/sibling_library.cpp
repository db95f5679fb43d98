#include "core/sibling_library.h"

#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"

HMODULE loadSiblingLibrary(const LibraryFolder& folder, const std::string& name)
{
    if (!folder) {
        logStream << "error: no folder for " << name << ": the module did not find itself"
                  << std::endl;
        return nullptr;
    }
    return LoadLibraryA((*folder + name).c_str());
}

bool OpenDll(const LibraryFolder& folder, const std::string& name, HMODULE* module, void** engine)
{
    logStream << "OpenDll: " << name << std::endl;
    if (!folder) {
        reportError("could not open " + name + ": the module did not find its folder");
        return false;
    }
    return startSiblingLibrary(*folder + name, module, engine);
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
