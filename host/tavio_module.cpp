#include "host/tavio_module.h"

#include <sys/stat.h>

#include "filter/TvFilter.h"

namespace {

// makeTavio2 is exported under its C++ name (Itanium mangling on POSIX).
constexpr const char* kMakeTavio2 = "_Z10makeTavio2PP8TvFilter";

bool exists(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

}  // namespace

std::string executableFolder()
{
    char path[4096];
    DWORD n = GetModuleFileNameA(nullptr, path, sizeof path);
    std::string full(path, n);
    size_t slash = full.find_last_of('/');
    return slash == std::string::npos ? std::string("./") : full.substr(0, slash + 1);
}

TavioModule::~TavioModule()
{
    if (module_)
        FreeLibrary(module_);
}

bool TavioModule::load(std::string& error)
{
    std::string here = executableFolder();
    for (const std::string& candidate : {here + "TavioDec2.ax", here + "../lib/tavio/TavioDec2.ax",
                                         std::string(TAVIO_MODULE_DIR "/TavioDec2.ax")})
        if (exists(candidate)) {
            path_ = candidate;
            break;
        }
    if (path_.empty()) {
        error = "the decoder module TavioDec2.ax was not found";
        return false;
    }
    module_ = LoadLibraryA(path_.c_str());
    if (!module_) {
        error = "the decoder module " + path_ + " could not be loaded";
        return false;
    }
    if (!platform::procAddress<void (*)(TvFilter**)>(module_, kMakeTavio2)) {
        error = "the decoder module " + path_ + " does not export makeTavio2";
        return false;
    }
    return true;
}

IBaseFilter* TavioModule::createFilter()
{
    auto makeTavio2 = platform::procAddress<void (*)(TvFilter**)>(module_, kMakeTavio2);
    TvFilter* filter = nullptr;
    if (makeTavio2)
        makeTavio2(&filter);
    if (!filter)
        return nullptr;
    // makeTavio2 hands the object over without a reference.
    auto* decoder = static_cast<IBaseFilter*>(filter);
    decoder->AddRef();
    return decoder;
}
