// The decoder module as a host sees it: TavioDec2.ax loaded from beside the
// executable (or the build tree), and filters made with its makeTavio2 entry.
#pragma once

#include <string>

#include "platform/dshow/streams.h"

class TavioModule {
public:
    TavioModule() = default;
    ~TavioModule();
    TavioModule(const TavioModule&) = delete;
    TavioModule& operator=(const TavioModule&) = delete;

    // Finds and loads the module; false with `error` set when it cannot.
    bool load(std::string& error);
    // A new filter with one reference held by the caller, or null.
    IBaseFilter* createFilter();
    const std::string& path() const { return path_; }

private:
    std::string path_;
    HMODULE module_ = nullptr;
};

// The folder of the running executable, with a trailing slash.
std::string executableFolder();
