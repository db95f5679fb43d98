#include "platform/dshow/pos_pass_thru.h"

CPosPassThru::CPosPassThru(const char* name, IUnknown* outer, HRESULT* phr, IPin* inputPin)
    : CUnknown(name, outer, phr), m_pPin(inputPin)
{
    if (!inputPin && phr)
        *phr = E_POINTER;
}

STDMETHODIMP CPosPassThru::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (IsEqualGUID(riid, IID_IMediaSeeking))
        return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
    if (IsEqualGUID(riid, IID_IMediaPosition) || IsEqualGUID(riid, IID_IDispatch))
        return GetInterface(static_cast<IMediaPosition*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

// The interface of the pin upstream of our input pin, looked up on every call
// so a reconnection is never missed.
template <class Interface>
HRESULT CPosPassThru::upstream(REFIID iid, Interface** out)
{
    *out = nullptr;
    if (!m_pPin)
        return E_NOTIMPL;
    IPin* connected = nullptr;
    if (FAILED(m_pPin->ConnectedTo(&connected)) || !connected)
        return E_NOTIMPL;
    HRESULT hr = connected->QueryInterface(iid, reinterpret_cast<void**>(out));
    connected->Release();
    if (FAILED(hr) || !*out) {
        *out = nullptr;
        return E_NOTIMPL;
    }
    return S_OK;
}

#define FORWARD_SEEKING(call)                                          \
    IMediaSeeking* seeking = nullptr;                                  \
    HRESULT hr = upstream<IMediaSeeking>(IID_IMediaSeeking, &seeking); \
    if (FAILED(hr))                                                    \
        return hr;                                                     \
    hr = seeking->call;                                                \
    seeking->Release();                                                \
    return hr

#define FORWARD_POSITION(call)                                            \
    IMediaPosition* position = nullptr;                                   \
    HRESULT hr = upstream<IMediaPosition>(IID_IMediaPosition, &position); \
    if (FAILED(hr))                                                       \
        return hr;                                                        \
    hr = position->call;                                                  \
    position->Release();                                                  \
    return hr

STDMETHODIMP CPosPassThru::GetCapabilities(DWORD* capabilities)
{
    if (!capabilities)
        return E_POINTER;
    FORWARD_SEEKING(GetCapabilities(capabilities));
}
STDMETHODIMP CPosPassThru::CheckCapabilities(DWORD* capabilities)
{
    if (!capabilities)
        return E_POINTER;
    FORWARD_SEEKING(CheckCapabilities(capabilities));
}
STDMETHODIMP CPosPassThru::IsFormatSupported(const GUID* format)
{
    if (!format)
        return E_POINTER;
    FORWARD_SEEKING(IsFormatSupported(format));
}
STDMETHODIMP CPosPassThru::QueryPreferredFormat(GUID* format)
{
    if (!format)
        return E_POINTER;
    FORWARD_SEEKING(QueryPreferredFormat(format));
}
STDMETHODIMP CPosPassThru::GetTimeFormat(GUID* format)
{
    if (!format)
        return E_POINTER;
    FORWARD_SEEKING(GetTimeFormat(format));
}
STDMETHODIMP CPosPassThru::IsUsingTimeFormat(const GUID* format)
{
    if (!format)
        return E_POINTER;
    FORWARD_SEEKING(IsUsingTimeFormat(format));
}
STDMETHODIMP CPosPassThru::SetTimeFormat(const GUID* format)
{
    if (!format)
        return E_POINTER;
    FORWARD_SEEKING(SetTimeFormat(format));
}
STDMETHODIMP CPosPassThru::GetDuration(LONGLONG* duration)
{
    if (!duration)
        return E_POINTER;
    FORWARD_SEEKING(GetDuration(duration));
}
STDMETHODIMP CPosPassThru::GetStopPosition(LONGLONG* stop)
{
    if (!stop)
        return E_POINTER;
    FORWARD_SEEKING(GetStopPosition(stop));
}
STDMETHODIMP CPosPassThru::GetCurrentPosition(LONGLONG* current)
{
    if (!current)
        return E_POINTER;
    LONGLONG end;
    if (SUCCEEDED(GetMediaTime(current, &end)))
        return S_OK;
    FORWARD_SEEKING(GetCurrentPosition(current));
}
STDMETHODIMP CPosPassThru::ConvertTimeFormat(LONGLONG* target,
                                             const GUID* targetFormat,
                                             LONGLONG source,
                                             const GUID* sourceFormat)
{
    if (!target)
        return E_POINTER;
    FORWARD_SEEKING(ConvertTimeFormat(target, targetFormat, source, sourceFormat));
}
STDMETHODIMP CPosPassThru::SetPositions(LONGLONG* current,
                                        DWORD currentFlags,
                                        LONGLONG* stop,
                                        DWORD stopFlags)
{
    FORWARD_SEEKING(SetPositions(current, currentFlags, stop, stopFlags));
}
STDMETHODIMP CPosPassThru::GetPositions(LONGLONG* current, LONGLONG* stop)
{
    FORWARD_SEEKING(GetPositions(current, stop));
}
STDMETHODIMP CPosPassThru::GetAvailable(LONGLONG* earliest, LONGLONG* latest)
{
    FORWARD_SEEKING(GetAvailable(earliest, latest));
}
STDMETHODIMP CPosPassThru::SetRate(double rate)
{
    FORWARD_SEEKING(SetRate(rate));
}
STDMETHODIMP CPosPassThru::GetRate(double* rate)
{
    if (!rate)
        return E_POINTER;
    FORWARD_SEEKING(GetRate(rate));
}
STDMETHODIMP CPosPassThru::GetPreroll(LONGLONG* preroll)
{
    if (!preroll)
        return E_POINTER;
    FORWARD_SEEKING(GetPreroll(preroll));
}

HRESULT CPosPassThru::GetMediaTime(LONGLONG*, LONGLONG*)
{
    return E_FAIL;
}

STDMETHODIMP CPosPassThru::GetTypeInfoCount(UINT* count)
{
    if (!count)
        return E_POINTER;
    *count = 0;
    return S_OK;
}
STDMETHODIMP CPosPassThru::GetTypeInfo(UINT, LCID, ITypeInfo** info)
{
    if (info)
        *info = nullptr;
    return E_NOTIMPL;
}
STDMETHODIMP CPosPassThru::GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*)
{
    return E_NOTIMPL;
}
STDMETHODIMP
CPosPassThru::Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*)
{
    return E_NOTIMPL;
}

STDMETHODIMP CPosPassThru::get_Duration(REFTIME* length)
{
    if (!length)
        return E_POINTER;
    FORWARD_POSITION(get_Duration(length));
}
STDMETHODIMP CPosPassThru::put_CurrentPosition(REFTIME time)
{
    FORWARD_POSITION(put_CurrentPosition(time));
}
STDMETHODIMP CPosPassThru::get_CurrentPosition(REFTIME* time)
{
    if (!time)
        return E_POINTER;
    FORWARD_POSITION(get_CurrentPosition(time));
}
STDMETHODIMP CPosPassThru::get_StopTime(REFTIME* time)
{
    if (!time)
        return E_POINTER;
    FORWARD_POSITION(get_StopTime(time));
}
STDMETHODIMP CPosPassThru::put_StopTime(REFTIME time)
{
    FORWARD_POSITION(put_StopTime(time));
}
STDMETHODIMP CPosPassThru::get_PrerollTime(REFTIME* time)
{
    if (!time)
        return E_POINTER;
    FORWARD_POSITION(get_PrerollTime(time));
}
STDMETHODIMP CPosPassThru::put_PrerollTime(REFTIME time)
{
    FORWARD_POSITION(put_PrerollTime(time));
}
STDMETHODIMP CPosPassThru::put_Rate(double rate)
{
    FORWARD_POSITION(put_Rate(rate));
}
STDMETHODIMP CPosPassThru::get_Rate(double* rate)
{
    if (!rate)
        return E_POINTER;
    FORWARD_POSITION(get_Rate(rate));
}
STDMETHODIMP CPosPassThru::CanSeekForward(LONG* canSeek)
{
    if (!canSeek)
        return E_POINTER;
    FORWARD_POSITION(CanSeekForward(canSeek));
}
STDMETHODIMP CPosPassThru::CanSeekBackward(LONG* canSeek)
{
    if (!canSeek)
        return E_POINTER;
    FORWARD_POSITION(CanSeekBackward(canSeek));
}
