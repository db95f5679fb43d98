#include "platform/dshow/unknown.h"

#include "platform/kernel.h"

namespace {
volatile LONG objectsActive = 0;
volatile LONG serverLocks = 0;
}  // namespace

CBaseObject::CBaseObject(const char* name) : name_(name)
{
    InterlockedIncrement(&objectsActive);
}
CBaseObject::~CBaseObject()
{
    InterlockedDecrement(&objectsActive);
}
LONG CBaseObject::ObjectsActive()
{
    return InterlockedExchangeAdd(&objectsActive, 0);
}

CUnknown::CUnknown(const char* name, IUnknown* outer, HRESULT*)
    : CBaseObject(name), nonDelegating_(this), owner_(outer ? outer : &nonDelegating_)
{
}

STDMETHODIMP CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualGUID(riid, IID_IUnknown)) {
        // The non-delegating IUnknown, so an aggregator can control us.
        NonDelegatingAddRef();
        *ppv = static_cast<IUnknown*>(&nonDelegating_);
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingAddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingRelease()
{
    LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0) {
        // Guards against a second destruction if the destructor re-enters
        // Release through an aggregator querying itself.
        m_cRef = 1;
        delete this;
        return 0;
    }
    return static_cast<ULONG>(count < 1 ? 1 : count);
}

HRESULT GetInterface(IUnknown* itf, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    *ppv = itf;
    itf->AddRef();
    return S_OK;
}

void LockModule(bool lock)
{
    if (lock)
        InterlockedIncrement(&serverLocks);
    else
        InterlockedDecrement(&serverLocks);
}

LONG ModuleLocks()
{
    return InterlockedExchangeAdd(&serverLocks, 0);
}
