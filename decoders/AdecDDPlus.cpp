#include "decoders/AdecDDPlus.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <type_traits>

#include "config/util.h"
#include "core/bit_reader.h"
#include "core/status_helpers.h"
#include "decoders/ac3_header.h"
#include "decoders/ac3_spdif.h"
#include "decoders/eac3_header.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "platform/media_guids.h"

namespace {

const char kLibraryName[] = "TvEac3Dec.dll";
// Bytes a frame search needs in front of it, and the words swapped to read
// a header.
constexpr ptrdiff_t kSearchWindow = 128;
constexpr size_t kHeaderWords = 64;
constexpr int32_t kMaxSamples = 1536;
constexpr LONG spdifOutSize = 6144;

// The sample rate of the syncframe whose first words (little-endian) are at
// `words`; 0 when they hold none.
int32_t frameRate(const uint8_t* words)
{
    uint8_t header[kDolbySyncHeaderBytes];
    swapBytes16(header, words, kDolbySyncHeaderBytes / 2);
    DolbySyncFrame frame;
    return parseDolbySyncFrame(header, sizeof header, frame) ? frame.freq : 0;
}

}  // namespace

AdecDDPlus::AdecDDPlus(std::ostream& log, const LibraryFolder& libraryFolder)
    : Adec(log), _libraryFolder(libraryFolder), _pcm(size_t(kMaxSamples) * 6 + 6)
{
    if (!bind())
        throw TvException("AdecDDPlus: TvEac3Dec.dll cannot be bound");
    _log << "initialized the DDPlus decoder" << std::endl;
}

AdecDDPlus::~AdecDDPlus()
{
    releaseInstance();
    unbind();
}

bool AdecDDPlus::bind()
{
    if (_module)
        return true;
    HMODULE module = loadSiblingLibrary(_libraryFolder, kLibraryName);
    if (!module) {
        _log << "error: TvEac3Dec.dll not found" << std::endl;
        return false;
    }
    bool found = true;
    auto lookUp = [&](auto& entry, const char* name) {
        if (!found)
            return;
        entry = platform::procAddress<std::remove_reference_t<decltype(entry)>>(module, name);
        if (!entry) {
            _log << "error: could not find function " << name << std::endl;
            found = false;
        }
    };
    lookUp(_query, "ddpi_dcv_query");
    lookUp(_setProcessParam, "ddpi_dcv_setprocessparam");
    lookUp(_getProcessParam, "ddpi_dcv_getprocessparam");
    lookUp(_getFrameParam, "ddpi_dcv_getframeparam");
    lookUp(_processFrame, "ddpi_dcv_processframe");
    lookUp(_close, "ddpi_dcv_close");
    lookUp(_open, "ddpi_dcv_open");
    lookUp(_checkFrame, "ddpi_dcv_checkframe");
    if (!found) {
        FreeLibrary(module);
        return false;
    }
    _module = module;
    return true;
}

void AdecDDPlus::unbind()
{
    if (_module)
        FreeLibrary(_module);
    _module = nullptr;
}

void AdecDDPlus::releaseInstance()
{
    if (_instanceOpen)
        _close(_instance);
    _instanceOpen = false;
    ::operator delete(_instance);
    _instance = nullptr;
}

bool AdecDDPlus::accepts(const CMediaType& mediaType)
{
    return IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_DOLBY_AC3) ||
           IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_AC3_AVI) ||
           IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_HDDVD_AUDIO_AC3);
}

TvStatus* AdecDDPlus::init(const CMediaType& mediaType)
{
    _mediaType = mediaType;
    if (!bind())
        return nullptr;
    _status = TvStatusAc3();
    readWaveFormat(mediaType, _status);
    _status.stype = STFloat;

    if (!_instance) {
        uint32_t size = 0;
        if (_query(&size) != 0 || size == 0)
            return nullptr;
        _instance = ::operator new(size, std::nothrow);
        if (!_instance)
            return nullptr;
    } else if (_instanceOpen) {
        _close(_instance);
        _instanceOpen = false;
    }
    short err = _open(_instance);
    // The condition is also the logged text, spaced as it is logged.
    // clang-format off
    bool opened = TvAssert(err==0);
    // clang-format on
    if (!opened) {
        releaseInstance();
        return nullptr;
    }
    _instanceOpen = true;

    const int32_t rangeMode = 2, stereoMode = 0;
    const float gain = 1.0f;
    const double dialogueTarget = 0, cutScale = 1.0, boostScale = 1.0;
    setParam(kDdpiRangeMode, &rangeMode);
    setParam(kDdpiGain, &gain);
    setParam(kDdpiStereoMode, &stereoMode);
    setParam(kDdpiDialogueTarget, &dialogueTarget);
    setParam(kDdpiCutScale, &cutScale);
    setParam(kDdpiBoostScale, &boostScale);
    setKaraokeMode(_karaokeMode);
    return &_status;
}

void AdecDDPlus::setParam(int32_t number, const void* value)
{
    if (_instanceOpen)
        _setProcessParam(_instance, number, value);
}

void AdecDDPlus::setKaraokeMode(int mode)
{
    _karaokeMode = mode;
    _status.karaoke = mode;
    if (!_instanceOpen)
        return;
    // Music and melody always; the guide vocals the mode keeps.
    double coefficients[6] = {0, 0, 0, 0, 1.0, 0};
    int kmode = mode;
    switch (kmode) {
        case 0:
            break;
        case 1:
            coefficients[0] = 1.0;
            break;
        case 2:
            coefficients[2] = 1.0;
            break;
        case 3:
            coefficients[0] = coefficients[1] = coefficients[2] = 1.0;
            coefficients[3] = -1.0;
            break;
        default:
            TvAssert(kmode == 0);
            break;
    }
    setParam(kDdpiKaraoke, coefficients);
}

// compatQuirks=1 keeps the stream's last unit waiting for a header that
// never comes, so it is lost, as it always was.
size_t AdecDDPlus::zerosThatEndTheStream()
{
    return _spdif && !PcompatQuirks() ? kDolbySyncHeaderBytes : 0;
}

TvStatus* AdecDDPlus::setSpdif(bool on)
{
    _spdif = on;
    return &_status;
}

void AdecDDPlus::setMixType(int kind, int mixType, uint32_t channelMask)
{
    _downmix.set(kind, mixType, channelMask);
}

bool AdecDDPlus::findFrame(const uint8_t** readPtr, const uint8_t* end)
{
    uint8_t* p = const_cast<uint8_t*>(*readPtr);
    ddpi_frame_params params{};
    for (;; ++p) {
        if (end - p < kSearchWindow) {
            *readPtr = p;
            return false;
        }
        // Stream bytes 0x0B 0x77 read as one little-endian word.
        if ((p[0] | (p[1] << 8)) != 0x770B)
            continue;
        size_t available = static_cast<size_t>(end - p) / 2;
        swapBytes16(p, p, kHeaderWords);
        ddpi_frame_desc desc{reinterpret_cast<const int16_t*>(p), uint32_t(available),
                             uint32_t(available)};
        short err = _getFrameParam(&desc, &params);
        if (err != 0) {
            swapBytes16(p, p, kHeaderWords);
            _log << "error: ddpi_dcv_getframeparam: " << err << std::endl;
            continue;
        }
        size_t words = static_cast<size_t>(std::max(params.frameWords, 0));
        if (words > available || words == 0) {
            swapBytes16(p, p, kHeaderWords);
            if (words == 0)
                continue;
            *readPtr = p;
            return false;  // incomplete: wait for the rest here
        }
        // The whole frame in little-endian words, and nothing past it.
        if (words > kHeaderWords)
            swapBytes16(p + 2 * kHeaderWords, p + 2 * kHeaderWords, words - kHeaderWords);
        else
            swapBytes16(p + 2 * words, p + 2 * words, kHeaderWords - words);
        err = _checkFrame(&desc);
        if (err != 0) {
            swapBytes16(p, p, words);
            _log << "error: ddpi_dcv_checkframe: " << err << std::endl;
            continue;
        }
        break;
    }
    *readPtr = p;
    _status.bsid = params.bsid;
    _status.acmod = params.acmod;
    _status.lfeon = static_cast<uint8_t>(params.lfeon);
    _status.iFrameSize = params.frameWords * 2;
    _status.stype = STFloat;
    _status.samples = params.blocks * 256;
    // Half- and quarter-rate AC-3 plays at the rate its frames give, whatever
    // the media type said.
    if (!isEac3() && params.bsid > 8)
        _status.freq = frameRate(p);
    _status.channelMask = ac3ChannelMask(params.acmod, params.lfeon != 0);
    _status.chan = maskChannelCount(_status.channelMask);
    if (logging(_log))
        _log << "ac3 frame: " << _status.iFrameSize << " acmod: " << _status.acmod
             << " bsid: " << _status.bsid << std::endl;
    return true;
}

bool AdecDDPlus::isEac3() const
{
    return _status.bsid > (PcompatQuirks() ? 8 : 10);
}

TvStatus* AdecDDPlus::process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out)
{
    TV_PROFILE_SCOPE("AdecDDPlus::process");
    if (!findFrame(readPtr, end) || _status.samples == 0)
        return nullptr;
    uint8_t* frame = const_cast<uint8_t*>(*readPtr);
    if (_spdif)
        return processSpdif(frame, readPtr, out);
    // E-AC-3 plays only through pass-through: the frame stays swapped where
    // it lies, and the next search passes over it as garbage.
    if (isEac3())
        return nullptr;
    return decode(frame, readPtr, out);
}

TvStatus* AdecDDPlus::processSpdif(uint8_t* frame, const uint8_t** readPtr, IMediaSample* sample)
{
    TV_PROFILE_SCOPE("processSpdif");
    if (logging(_log))
        _log << "ac3: do spdif" << std::endl;
    BYTE* burst = nullptr;
    bool fits = TvAssert(sample->GetSize() >= spdifOutSize);
    if (!fits || FAILED(sample->GetPointer(&burst)) || !burst) {
        *readPtr += _status.iFrameSize;
        return nullptr;
    }
    std::memset(burst, 0, spdifOutSize);
    uint8_t* payload = burst + kBurstPreambleBytes;
    constexpr int32_t room = spdifOutSize - kBurstPreambleBytes;
    int32_t payloadBytes;
    if (!isEac3()) {
        if (!TvAssert(_status.iFrameSize <= room)) {
            *readPtr += _status.iFrameSize;
            return nullptr;
        }
        std::memcpy(payload, frame, static_cast<size_t>(_status.iFrameSize));
        payloadBytes = _status.iFrameSize;
    } else {
        ddpi_frame_desc desc{reinterpret_cast<const int16_t*>(frame),
                             uint32_t(_status.iFrameSize / 2), uint32_t(_status.iFrameSize / 2)};
        ddpi_output ddout{};
        ddout.convertToAc3 = 1;
        ddout.ac3 = payload;
        ddout.ac3Capacity = room;
        short err = _processFrame(_instance, &desc, &ddout);
        if (err != 0) {
            _log << "DD+ decode error: " << err << std::endl;
            std::memset(burst, 0, spdifOutSize);
            *readPtr += _status.iFrameSize;
            return nullptr;
        }
        payloadBytes = std::clamp(ddout.ac3Words * 2, 0, room);
        // The converted frame's bsid/bsmod byte, in little-endian words.
        _status.bsmod = burst[12] & 7;
    }
    writeAc3BurstPreamble(burst, _status.bsmod, payloadBytes);
    sample->SetActualDataLength(spdifOutSize);
    _status.spdif = true;
    *readPtr += _status.iFrameSize;
    return &_status;
}

TvStatus* AdecDDPlus::decode(uint8_t* frame, const uint8_t** readPtr, IMediaSample* sample)
{
    if (logging(_log))
        _log << "ac3: do decode " << std::endl;
    // The condition is also the logged text, spaced as it is logged.
    // clang-format off
    TvAssert(sample->GetSize() >= 1536*12);
    // clang-format on
    _downmix.apply(_status);

    int acmod = _status.acmod;
    int32_t lfeon = _status.lfeon;
    setParam(kDdpiOutputLfe, &lfeon);
    int32_t outputMode = acmod == 0 ? 2 : acmod;
    setParam(kDdpiOutputMode, &outputMode);
    if (outputMode == 2) {
        int32_t stereoMode = acmod == 0 ? 1 : 2;
        setParam(kDdpiStereoMode, &stereoMode);
    }

    TvStatusAc3* status = &_status;
    LONG outsize = sample->GetSize();
    LONG length = status->chan * status->samples * 4;
    BYTE* pcm = nullptr;
    bool fits = length <= outsize && status->samples <= kMaxSamples &&
                SUCCEEDED(sample->GetPointer(&pcm)) && pcm;
    // The library writes float straight into the output sample when it has
    // room for every routing position at every stride; otherwise into
    // scratch. A frame with no room at all is still decoded, so that the
    // decoder's state runs on, and passed over without output.
    size_t reach = size_t(std::max(status->chan, 1)) * kMaxSamples + 6;
    bool inPlace = fits && size_t(outsize) >= reach * sizeof(float);
    float* out = inPlace ? reinterpret_cast<float*>(pcm) : _pcm.data();
    const int32_t* row = ac3RoutingRow(acmod, lfeon != 0);
    pp_bufdesc channels[6];
    ddpi_output ddout{};
    for (int k = 0; k < 6; ++k) {
        channels[k] = {nullptr, kMaxSamples, std::max(status->chan, 1), 0, out + row[k]};
        ddout.pp_dec_bufdesc[k] = &channels[k];
    }
    ddpi_frame_desc desc{reinterpret_cast<const int16_t*>(frame), uint32_t(status->iFrameSize / 2),
                         uint32_t(status->iFrameSize / 2)};
    short err = _processFrame(_instance, &desc, &ddout);
    if (err != 0) {
        _log << "DD+ decode error: " << err << std::endl;
        *readPtr += status->iFrameSize;
        return nullptr;
    }

    // clang-format off
    TvAssert(status->chan*status->samples*2 < outsize);
    TvAssert(status->samples == ddout.pp_dec_bufdesc[0]->nsamples);
    // clang-format on
    if (!fits) {
        *readPtr += status->iFrameSize;
        return nullptr;
    }
    if (!inPlace)
        std::memcpy(pcm, _pcm.data(), size_t(length));
    sample->SetActualDataLength(length);
    status->spdif = false;
    *readPtr += status->iFrameSize;
    return status;
}
