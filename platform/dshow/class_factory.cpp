#include "platform/dshow/class_factory.h"

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

STDMETHODIMP_(ULONG) CClassFactory::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

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
    // A creator that made nothing says why in `hr`; only one that failed
    // without saying is taken to have run out of memory.
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

HRESULT GetClassObjectFromTemplates(const CFactoryTemplate* templates,
                                    int count,
                                    REFCLSID clsid,
                                    REFIID riid,
                                    void** ppv)
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
