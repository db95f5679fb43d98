#include "filter/TvDllMain.h"

#include <exception>
#include <new>

#include "config/util.h"
#include "core/sibling_library.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "filter/TvFilter.h"
#include "filter/TvPropPage.h"
#include "filter/registered_types.h"
#include "platform/module_exports.h"

namespace {

const char kModuleName[] = "TavioDec2.ax";

HINSTANCE moduleInstance = nullptr;

const AMOVIESETUP_MEDIATYPE outputType = {&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM};

const AMOVIESETUP_PIN setupPins[2] = {
    {const_cast<LPWSTR>(WIDE("Input")), FALSE, FALSE, FALSE, FALSE, &CLSID_NULL, nullptr,
     kRegisteredInputTypeCount, registeredInputTypes.types},
    {const_cast<LPWSTR>(WIDE("Output")), FALSE, TRUE, FALSE, FALSE, &CLSID_NULL, nullptr, 1,
     &outputType},
};

const AMOVIESETUP_FILTER setupFilter = {&CLSID_Tavio2, WIDE("Tavio Audio Decoder 2"), MERIT_NORMAL,
                                        2, setupPins};

const CFactoryTemplate classTable[] = {
    {WIDE("Tavio2"), &CLSID_Tavio2, createFilterInstance, nullptr, &setupFilter},
    {WIDE("Tavio2 Properties"), &CLSID_TavioPropertyPage, TvProp::CreateInstance, nullptr, nullptr},
    {WIDE("Tavio2 About"), &CLSID_TavioAboutPage, TvAbout::CreateInstance, nullptr, nullptr},
};
const int classCount = sizeof classTable / sizeof classTable[0];

std::string modulePath()
{
    char path[1024];
    DWORD n = GetModuleFileNameA(moduleInstance, path, sizeof path);
    return n > 0 && n < sizeof path ? std::string(path, n) : std::string();
}

// The capabilities value under the filter's instance key; unregistration
// leaves it in place.
HRESULT writeCapabilities()
{
    OLECHAR clsid[39];
    StringFromGUID2(CLSID_Tavio2, clsid, 39);
    std::string path = "CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\" +
                       platform::toUtf8(reinterpret_cast<const WCHAR*>(clsid)) + "\\Capabilities";
    HKEY key;
    if (RegCreateKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &key, nullptr) != ERROR_SUCCESS)
        return E_FAIL;
    DWORD one = 1;
    LSTATUS status = RegSetValueExA(key, "{374ac4df-7c98-4257-b13d-36087dbee458}", 0, REG_DWORD,
                                    reinterpret_cast<const BYTE*>(&one), sizeof one);
    RegCloseKey(key);
    return status == ERROR_SUCCESS ? S_OK : E_FAIL;
}

// The folder of the sibling libraries. A module file under another name does
// not find itself: the filter is still made, and only the sibling libraries
// fail to load.
LibraryFolder siblingFolder()
{
    try {
        return getModuleFolder();
    } catch (const TvException& e) {
        logStream << e.what() << std::endl;
        return std::nullopt;
    }
}

}  // namespace

CUnknown* createFilterInstance(IUnknown* outer, HRESULT* result)
{
    *result = S_OK;
    try {
        return new TvFilter(outer, result, siblingFolder());
    } catch (const std::exception&) {
        // clang-format off
        TvAssert(0);
        // clang-format on
        *result = E_FAIL;
        logStream << "error instantiating Tavio2" << std::endl;
        return nullptr;
    }
}

TV_EXPORT void makeTavio2(TvFilter** filter)
{
    platform::ensureProcessAttached();
    if (!filter)
        return;
    *filter = nullptr;
    try {
        HRESULT hr = S_OK;
        *filter = new TvFilter(nullptr, &hr, siblingFolder());
    } catch (...) {
        *filter = nullptr;
    }
}

std::string getModuleFolder()
{
    static const std::string folder = [] {
        HMODULE module = GetModuleHandleA(kModuleName);
        if (!module)
            throw TvException(std::string("No handle for module ") + kModuleName);
        char modulePath[1024];
        DWORD n = GetModuleFileNameA(module, modulePath, sizeof modulePath);
        // clang-format off
        TvAssert(n<sizeof(modulePath));
        // clang-format on
        if (n == 0 || n >= sizeof modulePath)
            return std::string();
        std::string path(modulePath, n);
        size_t separator = path.find_last_of("/\\");
        return separator == std::string::npos ? std::string() : path.substr(0, separator + 1);
    }();
    return folder;
}

bool OpenDll(const std::string& name, HMODULE* module, void** engine)
{
    logStream << "OpenDll: " << name << std::endl;
    return startSiblingLibrary(getModuleFolder() + name, module, engine);
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    moduleInstance = instance;
    if (reason == DLL_PROCESS_ATTACH)
        initializeModule();
    return TRUE;
}

extern "C" TV_EXPORT HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid,
                                                              REFIID riid,
                                                              void** ppv)
{
    platform::ensureProcessAttached();
    return GetClassObjectFromTemplates(classTable, classCount, clsid, riid, ppv);
}

extern "C" TV_EXPORT HRESULT STDAPICALLTYPE DllCanUnloadNow()
{
    platform::ensureProcessAttached();
    return CanUnloadModule();
}

extern "C" TV_EXPORT HRESULT STDAPICALLTYPE DllRegisterServer()
{
    platform::ensureProcessAttached();
    HRESULT hr = RegisterTemplates(classTable, classCount, modulePath(), true);
    if (FAILED(hr))
        return hr;
    writeCapabilities();  // a failure here does not fail registration
    return hr;
}

extern "C" TV_EXPORT HRESULT STDAPICALLTYPE DllUnregisterServer()
{
    platform::ensureProcessAttached();
    return RegisterTemplates(classTable, classCount, modulePath(), false);
}
