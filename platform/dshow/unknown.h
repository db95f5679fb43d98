// The COM object base: a non-delegating IUnknown that supports aggregation,
// and the module-wide object and server-lock counts that decide whether the
// module may be unloaded.
#pragma once

#include "platform/com.h"
#include "platform/kernel.h"

// The object's own reference counting and interface lookup, which an
// aggregating object reaches through the IUnknown the object hands it.
struct INonDelegatingUnknown {
    virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;
};

class CBaseObject {
public:
    explicit CBaseObject(const char* name);
    virtual ~CBaseObject();
    CBaseObject(const CBaseObject&) = delete;
    CBaseObject& operator=(const CBaseObject&) = delete;

    // Objects alive in this module.
    static LONG ObjectsActive();
    // The name given at construction, for diagnostics.
    const char* ObjectName() const { return name_; }

private:
    const char* name_;
};

class CUnknown : public INonDelegatingUnknown, public CBaseObject {
public:
    CUnknown(const char* name, IUnknown* outer, HRESULT* phr = nullptr);
    ~CUnknown() override = default;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

    // The controlling unknown: the aggregating object, or our own.
    IUnknown* GetOwner() const { return owner_; }

protected:
    volatile LONG m_cRef = 0;

private:
    // The IUnknown that an aggregating object (or, without one, every
    // interface of ours) calls: it forwards to the non-delegating methods.
    class NonDelegatingIUnknown final : public IUnknown {
    public:
        explicit NonDelegatingIUnknown(CUnknown* self) : self_(self) {}
        STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
        {
            return self_->NonDelegatingQueryInterface(riid, ppv);
        }
        STDMETHODIMP_(ULONG) AddRef() override { return self_->NonDelegatingAddRef(); }
        STDMETHODIMP_(ULONG) Release() override { return self_->NonDelegatingRelease(); }

    private:
        CUnknown* self_;
    };

    NonDelegatingIUnknown nonDelegating_;
    IUnknown* owner_;
};

// Hands out `itf` through `ppv`, counted on the object's owner.
HRESULT GetInterface(IUnknown* itf, void** ppv);

// Server locks of IClassFactory::LockServer.
void LockModule(bool lock);
LONG ModuleLocks();

// The three IUnknown methods of every interface an object exposes forward to
// its controlling unknown.
#define DECLARE_IUNKNOWN                                          \
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override \
    {                                                             \
        return GetOwner()->QueryInterface(riid, ppv);             \
    }                                                             \
    STDMETHODIMP_(ULONG) AddRef() override                        \
    {                                                             \
        return GetOwner()->AddRef();                              \
    }                                                             \
    STDMETHODIMP_(ULONG) Release() override                       \
    {                                                             \
        return GetOwner()->Release();                             \
    }
