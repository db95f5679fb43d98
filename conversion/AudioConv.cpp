#include "conversion/AudioConv.h"

#include <array>
#include <bit>
#include <cstring>

#include "conversion/remix_parameters.h"
#include "conversion/sample_conversion.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"

namespace {

// Channel-order rows handed to the remix library, by configuration code.
constexpr int channelOrderRows[8][6] = {
    {0, 3, 1, 4, 5, 2}, {2, 0, 3, 4, 5, 1}, {0, 3, 1, 4, 5, 2}, {0, 1, 2, 4, 5, 3},
    {0, 4, 1, 2, 5, 3}, {0, 1, 2, 3, 5, 4}, {0, 5, 1, 2, 3, 4}, {0, 2, 1, 4, 5, 3},
};

bool validKind(int kind)
{
    // clang-format off
    return TvAssert(kind >= 0 && kind < 11);
    // clang-format on
}

}  // namespace

std::pair<int, bool> MaskToAcmod(uint32_t mask)
{
    bool lfe = (mask & 8) != 0;
    switch (mask & ~8u) {
        case 0x4:
            return {1, lfe};
        case 0x3:
            return {2, lfe};
        case 0x7:
            return {3, lfe};
        case 0x103:
            return {4, lfe};
        case 0x107:
            return {5, lfe};
        case 0x33:
            return {6, lfe};
        case 0x37:
            return {7, lfe};
        default:
            return {-1, lfe};
    }
}

const int* channelOrderRow(int code)
{
    return code >= 0 && code < 8 ? channelOrderRows[code] : nullptr;
}

AudioConv::AudioConv(IUnknown* outer, RemixHost* owner, CCritSec* filterLock)
    : CUnknown("AudioConv", outer), filter(owner), lock(filterLock)
{
    // Our COM base cannot fail to construct, so "Error constructing AudioConv"
    // is never thrown here.
    ResetRemix();
    {
        CAutoLock guard(lock);
        ResetRemix();
        outputMode = 0;
        outputMask = PremixMask();
    }
    SetDownmixType(0, PdownmixType());
    SetUpmixType(0, PupmixType());
    SetSingleChannel(PsingleChannel());
}

// The remix object is deliberately not destroyed here: unloading the library
// takes whatever it made with it.
AudioConv::~AudioConv()
{
    if (library)
        FreeLibrary(library);
}

STDMETHODIMP AudioConv::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (IsEqualGUID(riid, IID_ITavioRemix))
        return GetInterface(static_cast<ITavioRemix*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP AudioConv::SetOutputConfig(int mode, unsigned mask)
{
    // Mode 1 (stereo for a headphone-style output) makes sense only with two fronts.
    if (mode == 1 && mask != 3)
        return E_FAIL;
    CAutoLock guard(lock);
    ResetRemix();
    outputMode = mode;
    outputMask = mask;
    return S_OK;
}

STDMETHODIMP AudioConv::SetUpmixType(int kind, int type)
{
    logStream << "AudioConv::SetUpmixType " << type << " " << kind << std::endl;
    CAutoLock guard(lock);
    if (type == RemixProLogicUpmix && !setupUpmix(outputMask))
        return E_FAIL;
    if (kind == 0) {
        for (int k = 0; k < kStreamKinds; ++k) {
            filter->setMixType(k, type, outputMask);
            upmixTypes[k] = type;
        }
    } else if (validKind(kind)) {
        // A single kind's upmix is stored without telling the decoders.
        upmixTypes[kind] = type;
    }
    return S_OK;
}

STDMETHODIMP AudioConv::SetDownmixType(int kind, int type)
{
    logStream << "AudioConv::SetDownmixType " << kind << " " << type << std::endl;
    CAutoLock guard(lock);
    if (kind == 0) {
        for (int k = 0; k < kStreamKinds; ++k) {
            filter->setMixType(k, type, outputMask);
            downmixTypes[k] = type;
        }
    } else if (validKind(kind)) {
        filter->setMixType(kind, type, outputMask);
        downmixTypes[kind] = type;
    }
    return S_OK;
}

STDMETHODIMP AudioConv::SetSingleChannel(int channel)
{
    logStream << "AudioConv::SetSingleChannel " << channel << std::endl;
    CAutoLock guard(lock);
    singleChannel = channel;
    return S_OK;
}

HRESULT AudioConv::readKindEntry(const int* table, int kind, int* type)
{
    if (!type)
        return E_POINTER;
    if (!validKind(kind))
        return E_INVALIDARG;
    CAutoLock guard(lock);
    *type = table[kind];
    return S_OK;
}

STDMETHODIMP AudioConv::GetUpmixType(int kind, int* type)
{
    return readKindEntry(upmixTypes, kind, type);
}

STDMETHODIMP AudioConv::GetDownmixType(int kind, int* type)
{
    return readKindEntry(downmixTypes, kind, type);
}

STDMETHODIMP AudioConv::GetOutputConfig(int* mode, unsigned* mask)
{
    if (!mode || !mask)
        return E_POINTER;
    CAutoLock guard(lock);
    *mode = outputMode;
    *mask = outputMask;
    return S_OK;
}

STDMETHODIMP AudioConv::GetSingleChannel(int* channel)
{
    if (!channel)
        return E_POINTER;
    CAutoLock guard(lock);
    *channel = singleChannel;
    return S_OK;
}

STDMETHODIMP AudioConv::ResetRemix()
{
    CAutoLock guard(lock);
    outputMask = 0;
    singleChannel = 0;
    for (int k = 0; k < kStreamKinds; ++k) {
        upmixTypes[k] = RemixNone;
        downmixTypes[k] = RemixNone;
        filter->setMixType(k, RemixNone, 0);
    }
    return S_OK;
}

void AudioConv::convertSampleTo16Bit(IMediaSample* sample)
{
    convertTo16Bit(sample, status.stype);
    status.stype = ST16Bit;
}

TvStatus* AudioConv::process(IMediaSample* sample, const TvStatus* in)
{
    TV_PROFILE_SCOPE("AudioConv::process");
    int kind = in->formatId();
    if (in->spdif)
        return nullptr;
    status.freq = in->freq;
    status.chan = in->chan;
    status.stype = in->stype;
    status.samples = in->samples;
    status.iFrameSize = in->iFrameSize;
    status.bitRate = in->bitRate;
    status.channelMask = in->channelMask;
    status.timeOffset = in->timeOffset;
    status.spdif = in->spdif;
    status.remixMode = in->remixMode;
    int outChans = std::popcount(outputMask);
    int chan = status.chan;
    if (kind < 0 || kind >= kStreamKinds)
        kind = 0;
    int up = upmixTypes[kind];
    int down = downmixTypes[kind];

    if (Px16()) {
        convertSampleTo16Bit(sample);
        return &status;
    }
    // 107 is left out here on purpose: a right-only remix of a stream that is
    // not 16-bit fails the sample-type check of the one-channel step instead.
    if ((chan == 2 && down == RemixLeftOnly) || (chan > outChans && down == RemixSingleChannel) ||
        (chan < outChans && up == RemixProLogicUpmix))
        convertSampleTo16Bit(sample);
    if (chan == 2) {
        if (down == RemixLeftOnly)
            return remixOneChannel(sample, 0);
        if (down == RemixRightOnly)
            return remixOneChannel(sample, 1);
    }
    if (chan != outChans) {
        if (outChans < chan && down == RemixSingleChannel)
            return remixOneChannel(sample, singleChannel);
        if (outChans > chan && up == RemixProLogicUpmix && upmix(sample))
            return &status;
    }
    return nullptr;
}

TvStatus* AudioConv::remixOneChannel(IMediaSample* sample, int channel)
{
    // clang-format off
    if (!TvAssert(status.stype == ST16Bit) ||
        !TvAssert(status.samples * 2 * status.chan== sample->GetActualDataLength()))
        // clang-format on
        return nullptr;
    if (channel < 0 || channel >= status.chan)
        return nullptr;
    BYTE* data = nullptr;
    if (FAILED(sample->GetPointer(&data)) || !data)
        return nullptr;
    auto* words = reinterpret_cast<int16_t*>(data);
    for (int i = 0; i < status.samples; ++i)
        words[i] = words[i * status.chan + channel];
    sample->SetActualDataLength(status.samples * 2);
    status.chan = 1;
    status.channelMask = 4;
    status.remixMode = RemixSingleChannel;
    logStream << "remixOneChannel: " << status.samples << std::endl;
    return &status;
}

// Sets up the remix object for `mask`. The library handle is only ever filled
// by the upmix step itself, so on a remixer that has not upmixed yet the
// look-ups fail and the upmix is refused; that order is kept as it is.
bool AudioConv::setupUpmix(uint32_t mask)
{
    rate = 0;
    auto [code, lfe] = MaskToAcmod(mask);
    if (code < 4 || lfe)
        return false;
    if (remixObject) {
        auto destroy =
            library ? platform::procAddress<AudioDecDestroy>(library, "AUDIODEC_Destroy") : nullptr;
        // clang-format off
        if (TvAssert(destroy))
            // clang-format on
            destroy(remixObject);
        remixObject = nullptr;
    }
    auto create =
        library ? platform::procAddress<AudioDecCreate>(library, "AUDIODEC_Create") : nullptr;
    void* d = nullptr;
    // clang-format off
    if (!TvAssert(create && create( &d ) == 0))
        // clang-format on
        return false;
    remixObject = static_cast<TvRemixObject*>(d);
    int zero = 0;
    if (remixObject->RemixSetParam(kRemixConfiguration, &code) != 0 ||
        remixObject->RemixSetParam(kRemixLfe, &zero) != 0 ||
        remixObject->RemixSetParam(kRemixChannelOrder, channelOrderRow(code)) != 0)
        return false;
    upChannels = std::popcount(mask);
    upMask = mask;
    rate = 0;
    return true;
}

bool AudioConv::loadRemixLibrary()
{
    CAutoLock guard(lock);
    if (!library)
        library = loadSiblingLibrary(filter->moduleFolder(), "TvRemix.dll");
    return library != nullptr;
}

bool AudioConv::upmix(IMediaSample* sample)
{
    HMODULE& _dll = library;
    if (!_dll)
        _dll = loadSiblingLibrary(filter->moduleFolder(), "TvRemix.dll");
    // clang-format off
    if (!TvAssert(_dll))
        // clang-format on
        return false;
    TvRemixObject* _dec = remixObject;
    // clang-format off
    if (!TvAssert(_dec))
        // clang-format on
        return false;
    if (status.samples % 8 != 0 || status.chan != 2 || status.stype != ST16Bit)
        return false;
    LONG isize = sample->GetActualDataLength();
    // clang-format off
    TvAssert(isize == status.samples * 4);
    // clang-format on
    LONG osize = status.samples * upChannels * 2;
    // clang-format off
    if (!TvAssert(osize < sample->GetSize()))
        // clang-format on
        return false;
    if (status.freq != rate) {
        if (_dec->RemixSetParam(kRemixSampleRate, &status.freq) != 0)
            return false;
        rate = status.freq;
    }
    // The copy lets the library write its larger output into the sample.
    static thread_local std::array<uint8_t, 8192> input;
    // clang-format off
    if (!TvAssert(isize <= 8192))
        // clang-format on
        return false;
    // What the library writes follows from the bytes it is given; it must fit.
    if (isize < 0 || LONG(isize / 4) * upChannels * 2 >= sample->GetSize())
        return false;
    BYTE* data = nullptr;
    if (FAILED(sample->GetPointer(&data)) || !data)
        return false;
    std::memcpy(input.data(), data, static_cast<size_t>(isize));
    int osize2 = _dec->RemixProcess(input.data(), data, isize);
    if (osize2 == 0)
        return false;
    // clang-format off
    TvAssert(osize == osize2);
    // clang-format on
    sample->SetActualDataLength(osize);
    status.chan = upChannels;
    status.remixMode = RemixProLogicUpmix;
    status.channelMask = upMask;
    logStream << "prologic: " << status.samples << std::endl;
    return true;
}
