#include "filter/TvOutputPin.h"

#include <cstring>

#include "config/util.h"
#include "conversion/output_parameters.h"
#include "conversion/output_types.h"
#include "conversion/sample_conversion.h"
#include "core/status_helpers.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "filter/media_type_log.h"

namespace {

constexpr DWORD kGuardWord = 0xdeadbeef;

// Guard-word offset: the usable bytes of every output buffer.
size_t usableBytes()
{
    return PoutputBufferSize();
}

// Whether a buffer of `size` bytes has room for the usable bytes and the
// guard word behind them (in 64 bits: the parameter is unsigned and may be
// anything the parameter file says).
bool holdsGuardWord(LONG size)
{
    return int64_t(size) >= int64_t(PoutputBufferSize()) + 4;
}

// Keeps `type` in step with the status; a change goes to the process log with
// the type it became.
bool followStatus(CMediaType& type, const TvStatus& status)
{
    if (!updateTypeFromStatus(type, status))
        return false;
    logStream << "changed MT: ";
    writeMediaTypeToLog(logStream, type);
    return true;
}

}  // namespace

TvOutputPin::TvOutputPin(CBaseFilter* filter,
                         CCritSec* filterLock,
                         HRESULT* phr,
                         std::ostream& log,
                         IPin* inputPin)
    : CBaseOutputPin("TvOutputPint", filter, filterLock, phr, WIDE("Output")),
      _log(log),
      _inputPin(inputPin)
{
    _preferred.InitMediaType();
    _preferred.SetType(&GUID_NULL);
}

TvOutputPin::~TvOutputPin()
{
    if (_positionPassThru)
        _positionPassThru->NonDelegatingRelease();
}

STDMETHODIMP TvOutputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualGUID(riid, IID_IMediaPosition) || IsEqualGUID(riid, IID_IMediaSeeking)) {
        CAutoLock guard(&_passThruLock);
        if (!_positionPassThru) {
            HRESULT hr = S_OK;
            auto* passThru = new CPosPassThru("TvOutputPin position", GetOwner(), &hr, _inputPin);
            passThru->NonDelegatingAddRef();
            if (FAILED(hr)) {
                passThru->NonDelegatingRelease();
                return hr;
            }
            _positionPassThru = passThru;
        }
        return _positionPassThru->NonDelegatingQueryInterface(riid, ppv);
    }
    return CBaseOutputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT TvOutputPin::CheckMediaType(const CMediaType* mt)
{
    CAutoLock lock(&_pinLock);
    if (!mt)
        return E_POINTER;
    if (IsEqualGUID(_preferred.majortype, GUID_NULL))
        return E_INVALIDARG;
    if (*mt == _preferred || *mt == typeWithBits(_preferred, 32) ||
        *mt == typeWithBits(_preferred, 16))
        return S_OK;
    return VFW_E_TYPE_NOT_ACCEPTED;
}

// Offered in this order: 32-bit PCM, 16-bit PCM, then the preferred type
// itself (so float comes last, and a 16-bit stream offers 16-bit thrice).
HRESULT TvOutputPin::GetMediaType(int position, CMediaType* mt)
{
    CAutoLock lock(&_pinLock);
    if (!mt)
        return E_POINTER;
    if (IsEqualGUID(_preferred.majortype, GUID_NULL))
        return VFW_S_NO_MORE_ITEMS;
    switch (position) {
        case 0:
            *mt = typeWithBits(_preferred, 32);
            return S_OK;
        case 1:
            *mt = typeWithBits(_preferred, 16);
            return S_OK;
        case 2:
            *mt = _preferred;
            return S_OK;
        default:
            return VFW_S_NO_MORE_ITEMS;
    }
}

HRESULT TvOutputPin::SetMediaType(const CMediaType* mt)
{
    CAutoLock lock(&_pinLock);
    if (!mt)
        return E_POINTER;
    HRESULT hr = CheckMediaType(mt);
    if (!TvAssert(!hr))
        return hr;
    if (IsEqualGUID(mt->subtype, MEDIASUBTYPE_IEEE_FLOAT)) {
        _outType = STFloat;
    } else if (mt->pbFormat && mt->cbFormat >= sizeof(WAVEFORMATEX)) {
        WAVEFORMATEXTENSIBLE format{};
        std::memcpy(&format, mt->pbFormat,
                    mt->cbFormat >= sizeof format ? sizeof format : sizeof(WAVEFORMATEX));
        bool extensible = format.Format.cbSize == 22 && mt->cbFormat >= sizeof format;
        _outType = sampleTypeFromBits(extensible ? format.Samples.wValidBitsPerSample
                                                 : format.Format.wBitsPerSample);
    }
    _typeChanged = false;
    _log << "Set Output MT for Pin " << platform::toUtf8(Name()) << std::endl;
    writeMediaTypeToLog(_log, *mt);
    return CBaseOutputPin::SetMediaType(mt);
}

HRESULT TvOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request)
{
    CAutoLock lock(&_pinLock);
    if (!allocator || !request)
        return E_POINTER;
    request->cBuffers = static_cast<LONG>(PoutputBufferCount());
    // Four bytes more for the guard word behind the usable bytes.
    request->cbBuffer = static_cast<LONG>(PoutputBufferSize() + 4);
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(request, &actual);
}

HRESULT TvOutputPin::CompleteConnect(IPin* receivePin)
{
    CAutoLock lock(&_pinLock);
    HRESULT hr = CBaseOutputPin::CompleteConnect(receivePin);
    _log << "CompleteConnect: " << platform::toUtf8(Name()) << " " << hr << std::endl;
    return hr;
}

STDMETHODIMP TvOutputPin::Connect(IPin* receivePin, const AM_MEDIA_TYPE* mt)
{
    {
        CAutoLock lock(&_pinLock);
        _log << "TvOutputPin::Connect: ";
        writeMediaTypeToLog(_log, mt);
    }
    // The base class takes the filter lock, which is always taken before the
    // pin lock (the input side sets the preferred type that way): holding the
    // pin lock here would invert the order.
    return CBaseOutputPin::Connect(receivePin, mt);
}

STDMETHODIMP TvOutputPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* mt)
{
    _log << "TvOutputPin::ReceiveConnection: ";
    writeMediaTypeToLog(_log, mt);
    return CBaseOutputPin::ReceiveConnection(connector, mt);
}

void TvOutputPin::setPreferredType(const TvStatus* status)
{
    // After connection, changes travel with the samples instead.
    if (IsConnected() || !status)
        return;
    CAutoLock lock(&_pinLock);
    if (IsConnected())
        return;
    if (IsEqualGUID(_preferred.majortype, GUID_NULL))
        _preferred = initialOutputType();
    if (followStatus(_preferred, *status)) {
        _log << "set prefered Mt: ";
        writeMediaTypeToLog(_log, _preferred);
        _outType = status->stype;
    }
}

HRESULT TvOutputPin::getEmptySample(IMediaSample** samp)
{
    TV_PROFILE_SCOPE("getEmptySample");
    HRESULT hr = GetDeliveryBuffer(samp, nullptr, nullptr, 0);
    if (FAILED(hr)) {
        *samp = nullptr;
        return hr;
    }
    (*samp)->SetActualDataLength(0);
    BYTE* p = nullptr;
    (*samp)->GetPointer(&p);
    if (TvAssertWorded(holdsGuardWord((*samp)->GetSize()),
                       "(*samp)->GetSize() >= PoutputBufferSize()+4") &&
        p)
        std::memcpy(p + usableBytes(), &kGuardWord, 4);
    return hr;
}

void TvOutputPin::setDiscontinuity()
{
    CAutoLock lock(&_pinLock);
    _discontinuity = true;
}

// Keeps the connection type in step with the status: a changed type is
// offered downstream as it is (or, once integer output was chosen for a float
// stream, as 32-bit integers), then as 16-bit; the accepted type goes with
// the sample and the sample is converted to it in place.
HRESULT TvOutputPin::deliver(IMediaSample* m, const TvStatus* status)
{
    TV_PROFILE_SCOPE("TvOutputPin::deliver");
    CAutoLock lock(&_pinLock);
    BYTE* p = nullptr;
    m->GetPointer(&p);
    if (TvAssertWorded(holdsGuardWord(m->GetSize()), "m->GetSize() >= PoutputBufferSize()+4") &&
        p) {
        // Read byte-wise: the guard word need not be aligned.
        DWORD guard;
        std::memcpy(&guard, p + usableBytes(), 4);
        TvAssertWorded(guard == kGuardWord, "*(DWORD*)(p+PoutputBufferSize() ) == 0xdeadbeef");
    }
    if (IsEqualGUID(_preferred.subtype, MEDIASUBTYPE_PCM))
        dumpOutput(_preferred, p, m->GetActualDataLength());
    if (followStatus(_preferred, *status))
        _typeChanged = true;

    if (_typeChanged) {
        CMediaType candidate;
        if (_outType < STFloat && status->stype == STFloat) {
            _outType = ST32Bit;
            candidate = typeWithBits(_preferred, 32);
        } else {
            _outType = status->stype;
            candidate = _preferred;
        }
        if (!m_Connected || m_Connected->QueryAccept(&candidate) != S_OK) {
            candidate = typeWithBits(_preferred, 16);
            if (!m_Connected || m_Connected->QueryAccept(&candidate) != S_OK) {
                _log << "error: QueryAccept: bad type" << std::endl;
                return VFW_E_TYPE_NOT_ACCEPTED;
            }
            _outType = ST16Bit;
        }
        _log << "attaching new MT: ";
        writeMediaTypeToLog(_log, candidate);
        m->SetMediaType(&candidate);
    }
    if (_discontinuity) {
        m->SetDiscontinuity(TRUE);
        _log << "attached discontinuity" << std::endl;
    }
    // 20-bit samples travel in a 24-bit container: a 24-bit connection
    // takes them as they are.
    bool sameContainer = status->stype == ST20Bit && _outType == ST24Bit;
    if (status->stype != _outType && !sameContainer && !status->spdif) {
        if (_outType == ST32Bit) {
            TvAssert(status->stype == STFloat);
            convertFloatToInt(m);
            _log << "convert to int" << std::endl;
        } else {
            TvAssert(_outType == ST16Bit);
            convertTo16Bit(m, status->stype);
            _log << "convert to 16 bit" << std::endl;
        }
    }
    HRESULT hr = Deliver(m);
    if (hr >= 0) {
        _typeChanged = false;
        _discontinuity = false;
    }
    return hr;
}
