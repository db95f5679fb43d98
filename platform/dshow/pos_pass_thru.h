// Seeking and position requests that arrive at an output pin, passed on
// unchanged to the filter upstream of the given input pin.
#pragma once

#include "platform/dshow/unknown.h"
#include "platform/strmif.h"

class CPosPassThru : public CUnknown, public IMediaSeeking, public IMediaPosition {
public:
    CPosPassThru(const char* name, IUnknown* outer, HRESULT* phr, IPin* inputPin);

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IMediaSeeking
    STDMETHODIMP GetCapabilities(DWORD* capabilities) override;
    STDMETHODIMP CheckCapabilities(DWORD* capabilities) override;
    STDMETHODIMP IsFormatSupported(const GUID* format) override;
    STDMETHODIMP QueryPreferredFormat(GUID* format) override;
    STDMETHODIMP GetTimeFormat(GUID* format) override;
    STDMETHODIMP IsUsingTimeFormat(const GUID* format) override;
    STDMETHODIMP SetTimeFormat(const GUID* format) override;
    STDMETHODIMP GetDuration(LONGLONG* duration) override;
    STDMETHODIMP GetStopPosition(LONGLONG* stop) override;
    STDMETHODIMP GetCurrentPosition(LONGLONG* current) override;
    STDMETHODIMP ConvertTimeFormat(LONGLONG* target,
                                   const GUID* targetFormat,
                                   LONGLONG source,
                                   const GUID* sourceFormat) override;
    STDMETHODIMP SetPositions(LONGLONG* current,
                              DWORD currentFlags,
                              LONGLONG* stop,
                              DWORD stopFlags) override;
    STDMETHODIMP GetPositions(LONGLONG* current, LONGLONG* stop) override;
    STDMETHODIMP GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    STDMETHODIMP SetRate(double rate) override;
    STDMETHODIMP GetRate(double* rate) override;
    STDMETHODIMP GetPreroll(LONGLONG* preroll) override;

    // IDispatch: answered without a type library (callers use the vtable).
    STDMETHODIMP GetTypeInfoCount(UINT* count) override;
    STDMETHODIMP GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) override;
    STDMETHODIMP GetIDsOfNames(REFIID riid,
                               LPOLESTR* names,
                               UINT count,
                               LCID lcid,
                               DISPID* ids) override;
    STDMETHODIMP Invoke(DISPID id,
                        REFIID riid,
                        LCID lcid,
                        WORD flags,
                        DISPPARAMS* params,
                        VARIANT* result,
                        EXCEPINFO* exception,
                        UINT* argError) override;

    // IMediaPosition
    STDMETHODIMP get_Duration(REFTIME* length) override;
    STDMETHODIMP put_CurrentPosition(REFTIME time) override;
    STDMETHODIMP get_CurrentPosition(REFTIME* time) override;
    STDMETHODIMP get_StopTime(REFTIME* time) override;
    STDMETHODIMP put_StopTime(REFTIME time) override;
    STDMETHODIMP get_PrerollTime(REFTIME* time) override;
    STDMETHODIMP put_PrerollTime(REFTIME time) override;
    STDMETHODIMP put_Rate(double rate) override;
    STDMETHODIMP get_Rate(double* rate) override;
    STDMETHODIMP CanSeekForward(LONG* canSeek) override;
    STDMETHODIMP CanSeekBackward(LONG* canSeek) override;

protected:
    // A filter that knows the media time of what it last produced answers
    // GetCurrentPosition itself; the base does not.
    virtual HRESULT GetMediaTime(LONGLONG* start, LONGLONG* end);

private:
    template <class Interface>
    HRESULT upstream(REFIID iid, Interface** out);

    IPin* m_pPin;  // our input pin; not counted (it lives as long as its filter)
};
