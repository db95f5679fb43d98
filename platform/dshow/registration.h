// The steps behind DllRegisterServer and DllUnregisterServer for a module's
// class table: the COM server keys every class needs to be created, and, for
// classes with a setup record, the filter registration through the filter
// mapper that lets the graph builder find the filter.
#pragma once

#include <string>

#include "platform/dshow/class_factory.h"
#include "platform/kernel.h"

// Registers every class (name, InprocServer32 = modulePath, ThreadingModel
// Both) and every setup record in the legacy DirectShow filter category.
// Returns the first failure: SELFREG_E_CLASS for the server keys, the
// mapper's error for the filter data.
HRESULT RegisterTemplates(const CFactoryTemplate* templates,
                          int count,
                          const std::string& modulePath);
// Removes the filter registrations, then the server keys. What is not
// registered is not an error.
HRESULT UnregisterTemplates(const CFactoryTemplate* templates, int count);
// Both directions behind one entry point, as a module's two exports share it.
HRESULT RegisterTemplates(const CFactoryTemplate* templates,
                          int count,
                          const std::string& modulePath,
                          bool registering);
