#include "filter/TavioControl.h"

#include "core/status_helpers.h"
#include "diagnostics/assertions.h"
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
    // Each format's details only for a record of that format.
    int kind = _status->formatId();
    if (IsEqualGUID(riid, IID_ITavioMpegStreamInfo) && kind == KindMpeg)
        *ppv = static_cast<ITavioMpegStreamInfo*>(this);
    else if (IsEqualGUID(riid, IID_ITavioAc3StreamInfo) && kind == KindAc3)
        *ppv = static_cast<ITavioAc3StreamInfo*>(this);
    else if (IsEqualGUID(riid, IID_ITavioAACStreamInfo) && kind == KindAac)
        *ppv = static_cast<ITavioAACStreamInfo*>(this);
    else if (IsEqualGUID(riid, IID_ITavioMLPStreamInfo) && kind == KindMlp)
        *ppv = static_cast<ITavioMLPStreamInfo*>(this);
    else {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
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

#define TV_GETTER(Method, Type, value)              \
    STDMETHODIMP TavioStreamInfo::Method(Type* out) \
    {                                               \
        if (!out)                                   \
            return E_POINTER;                       \
        *out = Type(value);                         \
        return S_OK;                                \
    }

TV_GETTER(GetStreamType, DWORD, _status->formatId())
TV_GETTER(GetFrameSize, DWORD, _status->iFrameSize)
TV_GETTER(GetSampleRate, DWORD, _status->freq)
TV_GETTER(GetBitsPerSample, WORD, bitsPerSample(_status->stype))
TV_GETTER(GetSamplesPerFrame, DWORD, _status->samples)
TV_GETTER(GetChannelMask, DWORD, reportedChannelMask(*_status))
TV_GETTER(GetRemixMode, DWORD, _status->remixMode)
TV_GETTER(GetChannels, WORD, _status->chan)
TV_GETTER(GetAcmod, DWORD, ac3().acmod)
TV_GETTER(GetBsmod, DWORD, ac3().bsmod)
TV_GETTER(GetDsurmod, DWORD, ac3().dsurmod)
TV_GETTER(GetLfeon, DWORD, ac3().lfeon)
TV_GETTER(GetDmixmod, DWORD, ac3().dmixmod)
TV_GETTER(GetDsurexmod, DWORD, ac3().dsurexmod)
TV_GETTER(GetDheadphonmod, DWORD, ac3().dheadphonmod)
TV_GETTER(GetAdconvtyp, DWORD, ac3().adconvtyp)
TV_GETTER(GetMpeg, DWORD, mpeg().mpeg)
TV_GETTER(GetLayer, DWORD, mpeg().layer)
TV_GETTER(GetMp3Pro, DWORD, mpeg().mp3pro)
TV_GETTER(GetSbr, DWORD, aac().sbr)
TV_GETTER(GetObjectType, DWORD, aac().objectType)
TV_GETTER(GetPs, DWORD, aac().ps)
TV_GETTER(GetMajorSync, DWORD, mlp().majorSync)
#undef TV_GETTER

// Only karaoke streams (bit stream mode 7) have a karaoke setting to report.
STDMETHODIMP TavioStreamInfo::GetKaraokeMode(DWORD* mode)
{
    if (!mode)
        return E_POINTER;
    if (ac3().bsmod != 7)
        return S_FALSE;
    *mode = DWORD(ac3().karaoke);
    return S_OK;
}

STDMETHODIMP TavioStreamInfo::GetBitRate(DWORD* kbps)
{
    if (!kbps)
        return E_POINTER;
    TvAssert(_status->samples > 0);
    *kbps = DWORD(bitRateKbps(*_status));
    return S_OK;
}
