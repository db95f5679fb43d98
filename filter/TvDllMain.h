// The module as a COM server: its class table, registration, the direct
// creation entry point, and the loader of its sibling libraries.
#pragma once

#include <string>

#include "platform/dshow/streams.h"
#include "platform/module_exports.h"

class TvFilter;

// The filter's creation function in the class table; null and E_FAIL when
// the construction throws.
CUnknown* createFilterInstance(IUnknown* outer, HRESULT* result);
// The folder of the loaded TavioDec2.ax, with a trailing separator.
std::string getModuleFolder();
// Loads a sibling library from the module's folder and starts its engine
// through "AUDIODEC_Create"; false (logged) when either fails.
bool OpenDll(const std::string& name, HMODULE* module, void** engine);

// Creates the filter without COM and without taking a reference; null on
// failure. Exported under its C++ name.
TV_EXPORT void makeTavio2(TvFilter** filter);
