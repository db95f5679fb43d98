// What a module needs to serve its COM classes: the table of classes it
// makes, the class factory, and the steps behind DllGetClassObject and
// DllCanUnloadNow (registration is in registration.h).
#pragma once

#include "platform/dshow/unknown.h"
#include "platform/strmif.h"

typedef CUnknown* (*LPFNNewCOMObject)(IUnknown* outer, HRESULT* phr);
typedef void (*LPFNInitRoutine)(BOOL loading, const CLSID* clsid);

typedef REGPINTYPES AMOVIESETUP_MEDIATYPE;
typedef REGFILTERPINS AMOVIESETUP_PIN;

// The registration record of a filter: its class, name, merit and pins.
struct AMOVIESETUP_FILTER {
    const CLSID* clsID;
    const WCHAR* strName;
    DWORD dwMerit;
    UINT nPins;
    const AMOVIESETUP_PIN* lpPin;
};

class CFactoryTemplate {
public:
    const WCHAR* m_Name;
    const CLSID* m_ClsID;
    LPFNNewCOMObject m_lpfnNew;
    LPFNInitRoutine m_lpfnInit;
    const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;

    bool IsClassID(REFCLSID clsid) const { return IsEqualGUID(clsid, *m_ClsID); }
    CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr) const { return m_lpfnNew(outer, phr); }
};

class CClassFactory : public IClassFactory, public CBaseObject {
public:
    explicit CClassFactory(const CFactoryTemplate* factoryTemplate);

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override;
    STDMETHODIMP LockServer(WINBOOL lock) override;

private:
    const CFactoryTemplate* m_pTemplate;
    volatile LONG m_cRef = 0;
};

// DllGetClassObject over a class table.
HRESULT GetClassObjectFromTemplates(const CFactoryTemplate* templates,
                                    int count,
                                    REFCLSID clsid,
                                    REFIID riid,
                                    void** ppv);
// DllCanUnloadNow: S_OK only with no live objects and no server locks.
HRESULT CanUnloadModule();
