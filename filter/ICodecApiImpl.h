// The filter's ICodecAPI: one property, the current audio output format, with
// four values (stereo PCM, matrix-encoded stereo PCM, stereo PCM for S/PDIF,
// the bit stream over S/PDIF), each turned into the filter's S/PDIF switch
// and the remixer's settings. Every other property and method is E_NOTIMPL.
// The object lives inside the filter and has no reference count of its own.
#pragma once

#include <ostream>

#include "platform/codecapi.h"

class TvFilter;
struct ITavioRemix;

class ICodecApiImpl final : public ICodecAPI {
public:
    ICodecApiImpl(TvFilter* filter, ITavioRemix* remix, std::ostream& log);

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP IsSupported(const GUID* Api) override;
    STDMETHODIMP IsModifiable(const GUID* Api) override;
    STDMETHODIMP GetParameterRange(const GUID*, VARIANT*, VARIANT*, VARIANT*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP GetParameterValues(const GUID* Api, VARIANT** Values, ULONG* ValuesCount) override;
    STDMETHODIMP GetDefaultValue(const GUID*, VARIANT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetValue(const GUID* Api, VARIANT* Value) override;
    STDMETHODIMP SetValue(const GUID* Api, VARIANT* Value) override;
    STDMETHODIMP RegisterForEvent(const GUID*, LONG_PTR) override { return E_NOTIMPL; }
    STDMETHODIMP UnregisterForEvent(const GUID*) override { return E_NOTIMPL; }
    STDMETHODIMP SetAllDefaults() override { return E_NOTIMPL; }
    STDMETHODIMP SetValueWithNotify(const GUID*, VARIANT*, GUID**, ULONG*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP SetAllDefaultsWithNotify(GUID**, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP GetAllSettings(IStream*) override { return E_NOTIMPL; }
    STDMETHODIMP SetAllSettings(IStream*) override { return E_NOTIMPL; }
    STDMETHODIMP SetAllSettingsWithNotify(IStream*, GUID**, ULONG*) override { return E_NOTIMPL; }

private:
    HRESULT applyFormat(const GUID& format);

    TvFilter* _filter;
    ITavioRemix* _remix;
    GUID currentFormat;
    std::ostream& _log;
};
