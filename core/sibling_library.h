// Loading the sibling decoder libraries that live beside the module.
#pragma once

#include <string>

#include "platform/kernel.h"

// Logs "OpenDll: <name>", loads `folder` + `name` and starts its engine
// through its exported "AUDIODEC_Create". True (module and engine stored) on
// success; a library that loads but does not start stays loaded, unstored.
bool OpenDll(const std::string& folder, const std::string& name, HMODULE* module, void** engine);

// The loading half of OpenDll, for callers that log the name themselves.
bool startSiblingLibrary(const std::string& path, HMODULE* module, void** engine);
