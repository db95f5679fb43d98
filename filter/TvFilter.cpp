#include "filter/TvFilter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "config/util.h"
#include "core/status_helpers.h"
#include "decoders/AdecDDPlus.h"
#include "decoders/AdecDolby.h"
#include "decoders/ac3_header.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "filter/TvInputPin.h"
#include "filter/filter_parameters.h"
#include "filter/karaoke_mode.h"
#include "filter/level_display.h"
#include "platform/error_text.h"
#include "platform/window.h"

namespace {

volatile LONG instanceCounter = 0;
volatile LONG activeFilters = 0;

}  // namespace

LONG TvFilter::activeCount()
{
    return InterlockedExchangeAdd(&activeFilters, 0);
}

TvFilter::TvFilter(IUnknown* outer, HRESULT* phr, const LibraryFolder& moduleFolder)
    : CBaseFilter("TvFilter", outer, &_filterLock, CLSID_Tavio2, phr),
      _instance(InterlockedIncrement(&instanceCounter) - 1),
      _log(perFilterLogName(_instance), std::ios::out | std::ios::trunc),
      _moduleFolder(moduleFolder)
{
    createDecoders(_decoders, _log, _moduleFolder);
    _remixer = new AudioConv(GetOwner(), this, &_streamLock);
    _remixer->NonDelegatingAddRef();
    logStream << "constructing filter: #" << _instance << " " << static_cast<void*>(this)
              << std::endl;
    InterlockedIncrement(&activeFilters);
    _log << "starting filter: #" << _instance << " " << static_cast<void*>(this) << std::endl;

    HRESULT hr = S_OK;
    _inputPin = std::make_unique<TvInputPin>(this, &_filterLock, &hr);
    if (FAILED(hr))
        throw TvException(platform::errorName(hr));
    _outputPin = std::make_unique<TvOutputPin>(this, &_filterLock, &hr, _log, _inputPin.get());
    if (FAILED(hr))
        throw TvException(platform::errorName(hr));
    _codecApi = std::make_unique<ICodecApiImpl>(this, _remixer, _log);
    if (Pspdif.isSet)
        setSpdif(Pspdif());
}

TvFilter::~TvFilter()
{
    logStream << "destructing filter: #" << _instance << " " << static_cast<void*>(this)
              << std::endl;
    _log << "destructing filter: #" << _instance << " " << static_cast<void*>(this) << std::endl;
    LONG left = InterlockedDecrement(&activeFilters);
    TvAssertWorded(left >= 0, "_activeCount >= 0");
    _outputPin.reset();
    _inputPin.reset();
    _codecApi.reset();
    _remixer->NonDelegatingRelease();
    _decoders.clear();
    writeProfileReport();
}

STDMETHODIMP TvFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualGUID(riid, IID_ISpecifyPropertyPages))
        return GetInterface(static_cast<ISpecifyPropertyPages*>(this), ppv);
    if (IsEqualGUID(riid, IID_ITavioControl))
        return GetInterface(static_cast<ITavioControl*>(this), ppv);
    if (IsEqualGUID(riid, IID_IKsPropertySet))
        return GetInterface(static_cast<IKsPropertySet*>(this), ppv);
    if (IsEqualGUID(riid, IID_ICodecAPI)) {
        _log << " Query ICodecApi " << std::endl;
        return GetInterface(static_cast<ICodecAPI*>(_codecApi.get()), ppv);
    }
    if (IsEqualGUID(riid, IID_ITavioRemix))
        return _remixer->NonDelegatingQueryInterface(riid, ppv);
    return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP TvFilter::GetPages(CAUUID* pages)
{
    if (!pages)
        return E_POINTER;
    pages->cElems = 2;
    pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(2 * sizeof(GUID)));
    if (!pages->pElems) {
        pages->cElems = 0;
        return E_OUTOFMEMORY;
    }
    pages->pElems[0] = CLSID_TavioPropertyPage;
    pages->pElems[1] = CLSID_TavioAboutPage;
    return S_OK;
}

STDMETHODIMP TvFilter::Set(REFGUID propertySet,
                           DWORD id,
                           LPVOID,
                           DWORD,
                           LPVOID propertyData,
                           DWORD dataLength)
{
    if (!IsEqualGUID(propertySet, AM_KSPROPSETID_DvdKaraoke))
        return E_PROP_SET_UNSUPPORTED;
    if (id == AM_PROPERTY_DVDKARAOKE_ENABLE)
        return S_OK;
    if (id != AM_PROPERTY_DVDKARAOKE_DATA)
        return E_PROP_ID_UNSUPPORTED;
    if (!propertyData || dataLength < sizeof(AM_DvdKaraokeData))
        return E_INVALIDARG;
    AM_DvdKaraokeData data;
    std::memcpy(&data, propertyData, sizeof data);
    int mode = karaokeMode(data);
    CAutoLock streaming(&_streamLock);
    if (mode < 0)
        return S_OK;
    if (auto* ac3 = dynamic_cast<AdecDolby*>(_decoding.decoder))
        ac3->setKaraokeMode(mode);
    else if (auto* ddplus = dynamic_cast<AdecDDPlus*>(_decoding.decoder))
        ddplus->setKaraokeMode(mode);
    return S_OK;
}

STDMETHODIMP TvFilter::Get(REFGUID propertySet, DWORD, LPVOID, DWORD, LPVOID, DWORD, DWORD*)
{
    return IsEqualGUID(propertySet, AM_KSPROPSETID_DvdKaraoke) ? E_PROP_ID_UNSUPPORTED
                                                               : E_PROP_SET_UNSUPPORTED;
}

STDMETHODIMP TvFilter::QuerySupported(REFGUID propertySet, DWORD id, DWORD* support)
{
    if (!IsEqualGUID(propertySet, AM_KSPROPSETID_DvdKaraoke))
        return E_PROP_SET_UNSUPPORTED;
    if (id != AM_PROPERTY_DVDKARAOKE_ENABLE && id != AM_PROPERTY_DVDKARAOKE_DATA)
        return E_PROP_ID_UNSUPPORTED;
    if (!support)
        return E_POINTER;
    *support = KSPROPERTY_SUPPORT_SET;
    return S_OK;
}

CBasePin* TvFilter::GetPin(int n)
{
    if (n == 0)
        return _inputPin.get();
    if (n == 1)
        return _outputPin.get();
    return nullptr;
}

STDMETHODIMP TvFilter::Stop()
{
    // The decoder is chosen under the filter's lock (possibly on the
    // streaming thread, by a type carried in-band), so it is read under it.
    CAutoLock lock(&_filterLock);
    if (!_decoding.decoder)
        return VFW_E_NOT_CONNECTED;
    _log << "Stop" << std::endl;
    if (m_State != State_Stopped) {
        if (_inputPin->IsConnected())
            _inputPin->Inactive();
        m_State = State_Stopped;
        CAutoLock receiving(_inputPin->receiveLock());
        if (_outputPin->IsConnected())
            _outputPin->Inactive();
        flush();
    }
    return S_OK;
}

void TvFilter::addDecoderFirst(std::unique_ptr<Adec> decoder)
{
    CAutoLock lock(&_filterLock);
    CAutoLock streaming(&_streamLock);
    _decoders.insert(_decoders.begin(), std::move(decoder));
}

HRESULT TvFilter::checkInputType(const CMediaType* type)
{
    CAutoLock lock(&_streamLock);
    return chooseDecoder(_decoders, *type) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT TvFilter::setInputType(const CMediaType* type)
{
    CAutoLock lock(&_filterLock);
    CAutoLock streaming(&_streamLock);
    Adec* decoder = chooseDecoder(_decoders, *type);
    if (!decoder)
        return VFW_E_TYPE_NOT_ACCEPTED;
    _inputType = *type;
    _decoding.decoder = decoder;
    TvStatus* status = _decoding.decoder->init(_inputType);
    if (!status)
        return VFW_E_TYPE_NOT_ACCEPTED;
    // Payloads of PES and DVD packs carry a private header per packet.
    bool packed = hasPacketHeaders(*type);
    Adec* chosen = _decoding.decoder;
    _decoding.buffer.setDecoder(packed && chosen->wantsPrivateHeader() ? chosen : nullptr);
    _decoding.buffer.clear();
    _decoding.inputStatus = _decoding.outputStatus = nullptr;
    _decoding.lastInput.reset();
    _decoding.lastOutput.reset();
    _outputPin->setPreferredType(status);
    return S_OK;
}

HRESULT TvFilter::receive(IMediaSample* in)
{
    return _loop.receive(in);
}

void TvFilter::endOfStream()
{
    _loop.endOfStream();
}

bool TvFilter::process(IMediaSample* out)
{
    return _loop.process(out);
}

bool TvFilter::outputConnected()
{
    return _outputPin->IsConnected();
}

HRESULT TvFilter::getEmptySample(IMediaSample** out)
{
    return _outputPin->getEmptySample(out);
}

TvStatus* TvFilter::remix(IMediaSample* out, TvStatus* decoded)
{
    return _remixer->process(out, decoded);
}

HRESULT TvFilter::deliver(IMediaSample* out, const TvStatus* status)
{
    return _outputPin->deliver(out, status);
}

// Only 16-bit PCM is measured; the display needs a window, which only an
// open property page with its statistics box attaches.
void TvFilter::showLevels(IMediaSample* out)
{
    if (!_levels.box() || _decoding.outputStatus->stype != ST16Bit ||
        _decoding.outputStatus->spdif || _decoding.outputStatus->chan <= 0)
        return;
    BYTE* pcm = nullptr;
    if (FAILED(out->GetPointer(&pcm)) || !pcm)
        return;
    size_t held = size_t(std::max<LONG>(out->GetActualDataLength(), 0)) /
                  (size_t(_decoding.outputStatus->chan) * 2);
    size_t samples = std::min(size_t(std::max(_decoding.outputStatus->samples, 0)), held);
    _levels.show(levelText(pcm, samples, _decoding.outputStatus->chan));
}

void TvFilter::flush()
{
    CAutoLock streaming(&_streamLock);
    _expectedTime = kNoTime;
    _log << "flush" << std::endl;
    if (_decoding.decoder)
        _decoding.decoder->init(_inputType);
    _outputPin->setDiscontinuity();
    _decoding.buffer.clear();
}

bool TvFilter::setSpdif(bool on)
{
    _log << "setSpdif: " << on << std::endl;
    CAutoLock streaming(&_streamLock);
    _spdif = on;
    for (auto& decoder : _decoders) {
        TvStatus* status = decoder->setSpdif(on);
        if (status && decoder.get() == _decoding.decoder && !_outputPin->IsConnected())
            _outputPin->setPreferredType(status);
    }
    return true;
}

void TvFilter::setMixType(int kind, int mixType, uint32_t mask)
{
    CAutoLock streaming(&_streamLock);
    for (auto& decoder : _decoders)
        decoder->setMixType(kind, mixType, mask);
}

TvStatus* TvFilter::inputStatus()
{
    CAutoLock streaming(&_streamLock);
    return _decoding.lastInput ? _decoding.lastInput->clone() : nullptr;
}

TvStatus* TvFilter::outputStatus()
{
    CAutoLock streaming(&_streamLock);
    return _decoding.lastOutput ? _decoding.lastOutput->clone() : nullptr;
}

// A snapshot of a status copy; E_FAIL when there is none yet.
static HRESULT snapshot(TvStatus* copy, ITavioStreamInfo** info)
{
    std::unique_ptr<TvStatus> s(copy);
    if (!s)
        return E_FAIL;
    // clang-format off
    TvAssert(s->samples>0);
    TvAssert(s->channelMask != 0);
    // clang-format on
    *info = new (std::nothrow) TavioStreamInfo(s.release());
    return S_OK;
}

STDMETHODIMP TvFilter::GetOutputStreamInfo(ITavioStreamInfo** info)
{
    return info ? snapshot(outputStatus(), info) : E_POINTER;
}

// A decoder that mixed the audio itself reports the mixed layout; the input's
// information is the stream as coded: AC-3 gets its coded layout back, and
// AAC, which the library folds from 5.1, its six channels.
static TvStatus* asCoded(TvStatus* status)
{
    if (!status || status->remixMode == RemixNone)
        return status;
    if (status->formatId() == KindAc3) {
        auto* ac3 = static_cast<TvStatusAc3*>(status);
        ac3->channelMask = ac3ChannelMask(ac3->codedAcmod, ac3->codedLfeon != 0);
        ac3->chan = maskChannelCount(ac3->channelMask);
        ac3->acmod = ac3->codedAcmod;
        ac3->lfeon = uint8_t(ac3->codedLfeon);
    } else if (status->formatId() == KindAac) {
        status->channelMask = 0x3F;
        status->chan = 6;
    }
    return status;
}

STDMETHODIMP TvFilter::GetInputStreamInfo(ITavioStreamInfo** info)
{
    return info ? snapshot(asCoded(inputStatus()), info) : E_POINTER;
}

STDMETHODIMP TvFilter::SetSpdif(BOOL on)
{
    return setSpdif(on != 0) ? S_OK : E_FAIL;
}

STDMETHODIMP TvFilter::GetSpdif(BOOL* on)
{
    if (!on)
        return E_POINTER;
    *on = _spdif ? 1 : 0;
    return S_OK;
}
