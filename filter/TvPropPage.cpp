#include "filter/TvPropPage.h"

#include <new>

#include "config/util.h"
#include "filter/filter_parameters.h"
#include "filter/stream_text.h"

CUnknown* TvProp::CreateInstance(IUnknown* outer, HRESULT* phr)
{
    auto* page = new (std::nothrow) TvProp(outer);
    if (!page && phr)
        *phr = E_OUTOFMEMORY;
    return page;
}

TvProp::TvProp(IUnknown* outer) : CBasePropertyPage("TvProp", outer, 0, WIDE("Tavio2")) {}

TvProp::~TvProp()
{
    if (_filter)
        _filter->Release();
}

HRESULT TvProp::OnConnect(IUnknown* object)
{
    TvAssert(_filter == NULL);
    if (_filter) {
        _filter->Release();
        _filter = nullptr;
    }
    HRESULT hr = object ? object->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&_filter))
                        : E_POINTER;
    TvAssert(hr == S_OK);
    return hr;
}

HRESULT TvProp::OnDisconnect()
{
    if (_filter)
        _filter->Release();
    _filter = nullptr;
    return S_OK;
}

// The snapshot of a format with details of its own answers that format's
// interface; the text above has read it.
static void checkFormatInterface(ITavioStreamInfo* ps)
{
    DWORD type = 0;
    ps->GetStreamType(&type);
    if (type == KindMpeg) {
        ITavioMpegStreamInfo* pmpeg = nullptr;
        TvAssert(ps->QueryInterface( IID_ITavioMpegStreamInfo, (void**)&pmpeg )==0);
        if (pmpeg)
            pmpeg->Release();
    }
    if (type == KindAc3) {
        ITavioAc3StreamInfo* pac3 = nullptr;
        TvAssert(ps->QueryInterface( IID_ITavioAc3StreamInfo, (void**)&pac3 )==0);
        if (pac3)
            pac3->Release();
    }
    if (type == KindAac) {
        ITavioAACStreamInfo* aac = nullptr;
        TvAssert(ps->QueryInterface( IID_ITavioAACStreamInfo, (void**)&aac )==0);
        if (aac)
            aac->Release();
    }
}

HRESULT TvProp::OnActivate()
{
    ITavioStreamInfo* ps = nullptr;
    if (!_filter || FAILED(_filter->GetOutputStreamInfo(&ps)))
        ps = nullptr;
    _text = streamText(ps);
    if (ps)
        checkFormatInterface(ps);
    // The page holds the snapshot's last reference.
    if (ps)
        TvAssert(!ps->Release());
    // Where the statistics would go; the filter keeps no window of its own.
    _statisticsShown = PshowStat();
    return S_OK;
}

CUnknown* TvAbout::CreateInstance(IUnknown* outer, HRESULT* phr)
{
    auto* page = new (std::nothrow) TvAbout(outer);
    if (!page && phr)
        *phr = E_OUTOFMEMORY;
    return page;
}

TvAbout::TvAbout(IUnknown* outer) : CBasePropertyPage("TvAbout", outer, 0, WIDE("About")) {}

const char* TvAbout::text()
{
    return "Tavio Audio Decoder 2\r\n"
           "AC-3, E-AC-3, DTS, MLP, MPEG audio, AAC, Vorbis, AMR and disc LPCM to PCM or S/PDIF.\r\n";
}
