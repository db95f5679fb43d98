#include "filter/TavioControl.h"

#include "config/util.h"
#include "core/status_helpers.h"
#include "platform/kernel.h"

STDMETHODIMP TavioStreamInfo::QueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_ITavioStreamInfo)) {
        *ppv = static_cast<ITavioStreamInfo*>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) TavioStreamInfo::AddRef()
{
    return ULONG(InterlockedIncrement(&_references));
}

STDMETHODIMP_(ULONG) TavioStreamInfo::Release()
{
    LONG left = InterlockedDecrement(&_references);
    if (left == 0)
        delete this;
    return ULONG(left);
}

// The first getter has never checked its pointer; callers always pass one.
STDMETHODIMP TavioStreamInfo::GetSpdif(DWORD* spdif)
{
    *spdif = _status->spdif ? 1 : 0;
    return S_OK;
}

#define TV_GETTER(Method, Type, value) \
    STDMETHODIMP TavioStreamInfo::Method(Type* out) \
    { \
        if (!out) \
            return E_POINTER; \
        *out = Type(value); \
        return S_OK; \
    }

TV_GETTER(GetStreamType, DWORD, _status->formatId())
TV_GETTER(GetFrameSize, DWORD, _status->iFrameSize)
TV_GETTER(GetSampleRate, DWORD, _status->freq)
TV_GETTER(GetBitsPerSample, WORD, bitsPerSample(_status->stype))
TV_GETTER(GetSamplesPerFrame, DWORD, _status->samples)
TV_GETTER(GetChannelMask, DWORD, reportedChannelMask(*_status))
TV_GETTER(GetRemixMode, DWORD, _status->remixMode)
TV_GETTER(GetChannels, WORD, _status->chan)
#undef TV_GETTER

STDMETHODIMP TavioStreamInfo::GetBitRate(DWORD* kbps)
{
    if (!kbps)
        return E_POINTER;
    TvAssert(_status->samples > 0);
    *kbps = DWORD(bitRateKbps(*_status));
    return S_OK;
}
