#include "platform/dshow/registration.h"

#include "platform/registry.h"
#include "platform/strings.h"

namespace {

std::string guidText(REFGUID guid)
{
    OLECHAR text[39];
    StringFromGUID2(guid, text, 39);
    return platform::toUtf8(reinterpret_cast<const WCHAR*>(text));
}

std::string serverKey(const CFactoryTemplate& entry)
{
    return "CLSID\\" + guidText(*entry.m_ClsID);
}

LSTATUS setString(HKEY key, const char* name, const std::string& value)
{
    return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>(value.size() + 1));
}

// Deletes a key with everything below it; a missing key is not an error.
LSTATUS deleteTree(HKEY root, const std::string& path)
{
    HKEY key;
    LSTATUS status = RegOpenKeyExA(root, path.c_str(), 0, KEY_ALL_ACCESS, &key);
    if (status == ERROR_FILE_NOT_FOUND)
        return ERROR_SUCCESS;
    if (status != ERROR_SUCCESS)
        return status;
    for (;;) {
        char name[260];
        DWORD size = sizeof name;
        // Always index 0: each pass deletes the first child.
        if (RegEnumKeyExA(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        status = deleteTree(root, path + "\\" + name);
        if (status != ERROR_SUCCESS)
            break;
    }
    RegCloseKey(key);
    return RegDeleteKeyA(root, path.c_str());
}

HRESULT registerServer(const CFactoryTemplate& entry, const std::string& modulePath)
{
    std::string path = serverKey(entry);
    HKEY key;
    if (RegCreateKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &key, nullptr) != ERROR_SUCCESS)
        return SELFREG_E_CLASS;
    bool ok = setString(key, nullptr, platform::toUtf8(entry.m_Name)) == ERROR_SUCCESS;
    RegCloseKey(key);
    if (RegCreateKeyExA(HKEY_CLASSES_ROOT, (path + "\\InprocServer32").c_str(), 0, nullptr, 0,
                        KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS)
        return SELFREG_E_CLASS;
    ok = ok && setString(key, nullptr, modulePath) == ERROR_SUCCESS &&
         setString(key, "ThreadingModel", "Both") == ERROR_SUCCESS;
    RegCloseKey(key);
    return ok ? S_OK : SELFREG_E_CLASS;
}

// A filter's instance key that holds subkeys of its own (a decoder's
// capabilities, say) cannot be deleted by every system's filter mapper,
// which then refuses the whole unregistration. Its registration values go
// all the same, so no mapper offers the filter any more; the subkeys stay.
HRESULT removeFilterValues(REFCLSID clsid)
{
    std::string path =
        "CLSID\\" + guidText(CLSID_LegacyAmFilterCategory) + "\\Instance\\" + guidText(clsid);
    HKEY key;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS)
        return S_OK;
    for (const char* name : {"CLSID", "FriendlyName", "FilterData"})
        RegDeleteValueA(key, name);
    RegCloseKey(key);
    return S_OK;
}

bool notRegistered(HRESULT hr)
{
    return hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ||
           hr == HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
}

// Runs `step` on the filter mapper for every class with a setup record;
// returns the first failure.
template <class Step>
HRESULT forEachSetupRecord(const CFactoryTemplate* templates, int count, Step step)
{
    bool any = false;
    for (int i = 0; i < count; ++i)
        any = any || templates[i].m_pAMovieSetup_Filter;
    if (!any)
        return S_OK;
    IFilterMapper2* mapper = nullptr;
    HRESULT hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER,
                                  IID_IFilterMapper2, reinterpret_cast<void**>(&mapper));
    if (FAILED(hr))
        return hr;
    for (int i = 0; i < count && SUCCEEDED(hr); ++i)
        if (templates[i].m_pAMovieSetup_Filter)
            hr = step(mapper, *templates[i].m_pAMovieSetup_Filter);
    mapper->Release();
    return hr;
}

// COM is started for the registration and stopped again only if we started it.
class ComScope {
public:
    ComScope() : started_(SUCCEEDED(CoInitialize(nullptr))) {}
    ~ComScope()
    {
        if (started_)
            CoUninitialize();
    }
    ComScope(const ComScope&) = delete;
    ComScope& operator=(const ComScope&) = delete;

private:
    bool started_;
};

}  // namespace

HRESULT RegisterTemplates(const CFactoryTemplate* templates,
                          int count,
                          const std::string& modulePath)
{
    ComScope com;
    for (int i = 0; i < count; ++i) {
        HRESULT hr = registerServer(templates[i], modulePath);
        if (FAILED(hr))
            return hr;
    }
    return forEachSetupRecord(
        templates, count, [](IFilterMapper2* mapper, const AMOVIESETUP_FILTER& setup) {
            REGFILTER2 filter{};
            filter.dwVersion = 1;
            filter.dwMerit = setup.dwMerit;
            filter.cPins = setup.nPins;
            filter.rgPins = setup.lpPin;
            // The category is named: a null one means a GUID
            // we have not confirmed to be the same.
            return mapper->RegisterFilter(*setup.clsID, setup.strName, nullptr,
                                          &CLSID_LegacyAmFilterCategory, nullptr, &filter);
        });
}

HRESULT UnregisterTemplates(const CFactoryTemplate* templates, int count)
{
    ComScope com;
    HRESULT result = forEachSetupRecord(
        templates, count, [](IFilterMapper2* mapper, const AMOVIESETUP_FILTER& setup) {
            HRESULT hr =
                mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, *setup.clsID);
            if (hr == HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED))
                return removeFilterValues(*setup.clsID);
            return notRegistered(hr) ? S_OK : hr;
        });
    for (int i = 0; i < count; ++i) {
        LSTATUS status = deleteTree(HKEY_CLASSES_ROOT, serverKey(templates[i]));
        if (status != ERROR_SUCCESS && SUCCEEDED(result))
            result = HRESULT_FROM_WIN32(status);
    }
    return result;
}

HRESULT RegisterTemplates(const CFactoryTemplate* templates,
                          int count,
                          const std::string& modulePath,
                          bool registering)
{
    return registering ? RegisterTemplates(templates, count, modulePath)
                       : UnregisterTemplates(templates, count);
}
