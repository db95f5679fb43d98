// Enumerators over a filter's pins and over a pin's preferred media types.
// Both notice when the list changed under them (version numbers).
#pragma once

#include "platform/strmif.h"

class CBaseFilter;
class CBasePin;

class CEnumPins : public IEnumPins {
public:
    CEnumPins(CBaseFilter* filter, const CEnumPins* toCopy);
    virtual ~CEnumPins();
    CEnumPins(const CEnumPins&) = delete;
    CEnumPins& operator=(const CEnumPins&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP Next(ULONG count, IPin** pins, ULONG* fetched) override;
    STDMETHODIMP Skip(ULONG count) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumPins** ppEnum) override;

private:
    bool OutOfSync() const;

    volatile LONG m_cRef = 1;
    CBaseFilter* m_pFilter;
    int m_Position = 0;
    int m_PinCount = 0;
    LONG m_Version = 0;
};

class CEnumMediaTypes : public IEnumMediaTypes {
public:
    CEnumMediaTypes(CBasePin* pin, const CEnumMediaTypes* toCopy);
    virtual ~CEnumMediaTypes();
    CEnumMediaTypes(const CEnumMediaTypes&) = delete;
    CEnumMediaTypes& operator=(const CEnumMediaTypes&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override;
    STDMETHODIMP Skip(ULONG count) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumMediaTypes** ppEnum) override;

private:
    bool OutOfSync() const;

    volatile LONG m_cRef = 1;
    CBasePin* m_pPin;
    int m_Position = 0;
    LONG m_Version = 0;
};
