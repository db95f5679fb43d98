// Loading the sibling decoder libraries that live beside the module.
#pragma once

#include <optional>
#include <string>

#include "platform/kernel.h"

// Where the sibling libraries live: the module's own folder, or none when the
// module could not find itself by its file name (a renamed module file); then
// no sibling library loads, and the decoders that need one fail on their own.
using LibraryFolder = std::optional<std::string>;

// Loads `folder` + `name`; null, logged, without a folder.
HMODULE loadSiblingLibrary(const LibraryFolder& folder, const std::string& name);

// Logs "OpenDll: <name>", loads `folder` + `name` and starts its engine
// through its exported "AUDIODEC_Create". True (module and engine stored) on
// success; a library that loads but does not start stays loaded, unstored.
bool OpenDll(const LibraryFolder& folder, const std::string& name, HMODULE* module, void** engine);

// The loading half of OpenDll, for callers that log the name themselves.
bool startSiblingLibrary(const std::string& path, HMODULE* module, void** engine);
