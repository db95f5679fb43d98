#include "platform/dshow/class_factory.h"

#include "platform/registry.h"
#include "platform/strings.h"

namespace {

std::string guidText(REFGUID guid)
{
    OLECHAR text[39];
    StringFromGUID2(guid, text, 39);
    return platform::toUtf8(reinterpret_cast<const WCHAR*>(text));
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
    std::string path = "CLSID\\" + guidText(*entry.m_ClsID);
    HKEY key;
    if (RegCreateKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                        nullptr) != ERROR_SUCCESS)
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

HRESULT registerFilter(IFilterMapper2* mapper, const AMOVIESETUP_FILTER& setup, bool registering)
{
    if (!registering) {
        HRESULT hr = mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, *setup.clsID);
        // Not being registered is what unregistration wants anyway.
        return hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ? S_OK : hr;
    }
    REGFILTER2 rf2{};
    rf2.dwVersion = 1;
    rf2.dwMerit = setup.dwMerit;
    rf2.cPins = setup.nPins;
    rf2.rgPins = setup.lpPin;
    return mapper->RegisterFilter(*setup.clsID, setup.strName, nullptr,
                                  &CLSID_LegacyAmFilterCategory, nullptr, &rf2);
}

}  // namespace

CClassFactory::CClassFactory(const CFactoryTemplate* factoryTemplate)
    : CBaseObject("Class factory"), m_pTemplate(factoryTemplate)
{
}

STDMETHODIMP CClassFactory::QueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IClassFactory)) {
        *ppv = static_cast<IClassFactory*>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CClassFactory::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&m_cRef)); }

STDMETHODIMP_(ULONG) CClassFactory::Release()
{
    LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0)
        delete this;
    return static_cast<ULONG>(count);
}

STDMETHODIMP CClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    // An aggregated object may only be asked for its controlling IUnknown.
    if (outer && !IsEqualGUID(riid, IID_IUnknown))
        return E_NOINTERFACE;
    HRESULT hr = S_OK;
    CUnknown* object = m_pTemplate->CreateInstance(outer, &hr);
    if (!object)
        return FAILED(hr) ? hr : E_OUTOFMEMORY;
    if (FAILED(hr)) {
        delete object;
        return hr;
    }
    object->NonDelegatingAddRef();
    hr = object->NonDelegatingQueryInterface(riid, ppv);
    // Destroys the object when the interface was refused.
    object->NonDelegatingRelease();
    return hr;
}

STDMETHODIMP CClassFactory::LockServer(WINBOOL lock)
{
    LockModule(lock != FALSE);
    return S_OK;
}

HRESULT GetClassObjectFromTemplates(const CFactoryTemplate* templates, int count, REFCLSID clsid,
                                    REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IClassFactory))
        return E_NOINTERFACE;
    for (int i = 0; i < count; ++i) {
        if (!templates[i].IsClassID(clsid))
            continue;
        auto* factory = new CClassFactory(&templates[i]);
        factory->AddRef();
        HRESULT hr = factory->QueryInterface(riid, ppv);
        factory->Release();
        return hr;
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT CanUnloadModule()
{
    return CBaseObject::ObjectsActive() == 0 && ModuleLocks() == 0 ? S_OK : S_FALSE;
}

HRESULT RegisterTemplates(const CFactoryTemplate* templates, int count,
                          const std::string& modulePath, bool registering)
{
    bool comStarted = SUCCEEDED(CoInitialize(nullptr));
    HRESULT result = S_OK;
    if (registering) {
        for (int i = 0; i < count && SUCCEEDED(result); ++i)
            result = registerServer(templates[i], modulePath);
    }
    if (SUCCEEDED(result)) {
        IFilterMapper2* mapper = nullptr;
        HRESULT hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER,
                                      IID_IFilterMapper2, reinterpret_cast<void**>(&mapper));
        if (FAILED(hr)) {
            result = hr;
        } else {
            for (int i = 0; i < count && SUCCEEDED(result); ++i)
                if (templates[i].m_pAMovieSetup_Filter)
                    result = registerFilter(mapper, *templates[i].m_pAMovieSetup_Filter, registering);
            mapper->Release();
        }
    }
    if (!registering) {
        for (int i = 0; i < count; ++i) {
            LSTATUS status = deleteTree(HKEY_CLASSES_ROOT, "CLSID\\" + guidText(*templates[i].m_ClsID));
            if (status != ERROR_SUCCESS && SUCCEEDED(result))
                result = HRESULT_FROM_WIN32(status);
        }
    }
    if (comStarted)
        CoUninitialize();
    return result;
}
