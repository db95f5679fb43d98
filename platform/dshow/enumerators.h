// Enumerators over a filter's pins and over a pin's preferred media types.
// Both notice when the list changed under them (version numbers).
#pragma once

#include "platform/kernel.h"
#include "platform/strmif.h"

class CBaseFilter;
class CBasePin;

// A COM object with one interface and its own reference count (enumerators
// are not aggregated and belong to whoever asked for them).
template <class Interface, const IID& InterfaceId>
class SingleInterfaceObject : public Interface {
public:
    virtual ~SingleInterfaceObject() = default;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        if (!ppv)
            return E_POINTER;
        if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, InterfaceId)) {
            *ppv = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override
    {
        return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
    }
    STDMETHODIMP_(ULONG) Release() override
    {
        LONG count = InterlockedDecrement(&m_cRef);
        if (count == 0)
            delete this;
        return static_cast<ULONG>(count);
    }

private:
    volatile LONG m_cRef = 1;
};

class CEnumPins : public SingleInterfaceObject<IEnumPins, IID_IEnumPins> {
public:
    CEnumPins(CBaseFilter* filter, const CEnumPins* toCopy);
    ~CEnumPins() override;
    CEnumPins(const CEnumPins&) = delete;
    CEnumPins& operator=(const CEnumPins&) = delete;

    STDMETHODIMP Next(ULONG count, IPin** pins, ULONG* fetched) override;
    STDMETHODIMP Skip(ULONG count) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumPins** ppEnum) override;

private:
    bool OutOfSync() const;

    CBaseFilter* m_pFilter;
    int m_Position = 0;
    int m_PinCount = 0;
    LONG m_Version = 0;
};

class CEnumMediaTypes : public SingleInterfaceObject<IEnumMediaTypes, IID_IEnumMediaTypes> {
public:
    CEnumMediaTypes(CBasePin* pin, const CEnumMediaTypes* toCopy);
    ~CEnumMediaTypes() override;
    CEnumMediaTypes(const CEnumMediaTypes&) = delete;
    CEnumMediaTypes& operator=(const CEnumMediaTypes&) = delete;

    STDMETHODIMP Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override;
    STDMETHODIMP Skip(ULONG count) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumMediaTypes** ppEnum) override;

private:
    bool OutOfSync() const;

    CBasePin* m_pPin;
    int m_Position = 0;
    LONG m_Version = 0;
};
