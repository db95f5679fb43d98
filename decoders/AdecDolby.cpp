#include "decoders/AdecDolby.h"

#include <cstring>

#include "config/util.h"
#include "core/bit_reader.h"
#include "core/sibling_library.h"
#include "core/status_helpers.h"
#include "decoders/ac3_downmix.h"
#include "decoders/ac3_header.h"
#include "decoders/ac3_spdif.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "libs/TvAc3Lib/tv_ac3_lib.h"
#include "platform/media_guids.h"

namespace {

const char kLibraryName[] = "TvAc3Lib.dll";
constexpr int32_t kSamplesPerFrame = 1536;
// Header bytes looked at before a frame is searched for.
constexpr ptrdiff_t kSearchWindow = 64;

}  // namespace

AdecDolby::AdecDolby(std::ostream& log, const LibraryFolder& libraryFolder)
    : Adec(log), _libraryFolder(libraryFolder)
{
}

AdecDolby::~AdecDolby()
{
    releaseLibrary();
}

void AdecDolby::releaseLibrary()
{
    if (_oldac3)
        _oldac3->Destroy(1);
    _oldac3 = nullptr;
    if (_module)
        FreeLibrary(_module);
    _module = nullptr;
}

bool AdecDolby::accepts(const CMediaType& mediaType)
{
    return IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_DOLBY_AC3) ||
           IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_AC3_AVI) ||
           IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_HDDVD_AUDIO_AC3);
}

TvStatus* AdecDolby::init(const CMediaType& mediaType)
{
    _mediaType = mediaType;
    if (_oldac3)
        releaseLibrary();
    void* engine = nullptr;
    if (!OpenDll(_libraryFolder, kLibraryName, &_module, &engine))
        return nullptr;
    _oldac3 = static_cast<TvAc3Decoder*>(engine);
    setDefaultParams();
    // A new library object starts without karaoke vocals; the record says so.
    _status = TvStatusAc3();
    readWaveFormat(mediaType, _status);
    _status.spdif = _spdif;
    return &_status;
}

void AdecDolby::setParam(int number, const void* value)
{
    if (TvAssert(_oldac3))
        _oldac3->SetParam(number, value);
}

void AdecDolby::setDefaultParams()
{
    const int32_t values[5][2] = {{1, 2}, {6, 0}, {2, 128}, {3, 0}, {4, 128}};
    for (const auto& entry : values)
        setParam(entry[0], &entry[1]);
}

void AdecDolby::setKaraokeMode(int mode)
{
    int32_t value = mode;
    _status.karaoke = value;
    setParam(kAc3KaraokeMode, &value);
}

TvStatus* AdecDolby::setSpdif(bool on)
{
    _spdif = on;
    _status.spdif = on;
    return &_status;
}

void AdecDolby::setMixType(int kind, int mixType, uint32_t channelMask)
{
    _downmix.set(kind, mixType, channelMask);
}

bool AdecDolby::findFrame(const uint8_t** readPtr, const uint8_t* end)
{
    const uint8_t* p = *readPtr;
    if (end - p < kSearchWindow)
        return false;
    Ac3Header header;
    while (!parseAc3Header(p, static_cast<size_t>(end - p), header)) {
        ++p;
        if (end - p < kSearchWindow) {
            *readPtr = p;
            return false;
        }
    }
    *readPtr = p;
    int fscod = header.fscod;
    TvAssert(fscod < 3);
    _status.iFrameSize = header.frameSize;
    if (!header.complete)
        return false;

    _status.bsid = header.bsid;
    _status.bsmod = header.bsmod;
    _status.acmod = header.acmod;
    if (header.acmod == 2)
        _status.dsurmod = header.dsurmod;
    _status.lfeon = static_cast<uint8_t>(header.lfeon);
    if (header.bsid == 6) {
        _status.dmixmod = header.dmixmod;
        _status.dsurexmod = header.dsurexmod;
        _status.dheadphonmod = header.dheadphonmod;
        _status.adconvtyp = header.adconvtyp;
    }
    // Half- and quarter-rate frames play at their own rate; compatQuirks
    // puts back the rate fscod alone names, twice or four times too fast.
    _status.freq = PcompatQuirks() ? header.freq << header.rateShift : header.freq;
    _status.channelMask = ac3ChannelMask(header.acmod, header.lfeon != 0);
    _status.chan = maskChannelCount(_status.channelMask);
    _status.stype = ST16Bit;
    _status.samples = kSamplesPerFrame;
    _status.bitRate = ac3BitRate(header.frameSize, header.freq);
    if (logging(_log))
        _log << "AC3: outmode: " << _status.acmod << " lf: " << int(_status.lfeon)
             << " bsid: " << _status.bsid << " freq: " << _status.freq << " chan: " << _status.chan
             << " framesize: " << _status.iFrameSize << " bsmod: " << _status.bsmod
             << " mask: " << _status.channelMask << std::endl;
    return true;
}

TvStatus* AdecDolby::process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out)
{
    TV_PROFILE_SCOPE("AdecDolby::process");
    if (!findFrame(readPtr, end) || _status.samples == 0)
        return nullptr;
    // The frame is turned into little-endian words where it lies, in the
    // filter's own input buffer, for both paths; a frame that fails to decode
    // stays swapped and the search passes over it.
    uint8_t* frame = const_cast<uint8_t*>(*readPtr);
    swapBytes16(frame, frame, static_cast<size_t>(_status.iFrameSize) / 2);
    if (_spdif)
        return wrapSpdif(frame, readPtr, out);
    return decode(frame, readPtr, out);
}

TvStatus* AdecDolby::wrapSpdif(uint8_t* frame, const uint8_t** readPtr, IMediaSample* sample)
{
    TV_PROFILE_SCOPE("AC3 SPDIF");
    if (logging(_log))
        _log << "ac3: do spdif" << std::endl;
    BYTE* burst = nullptr;
    // The condition is also the logged text, spaced as it is logged.
    // clang-format off
    bool fits = TvAssert(sample->GetSize() >= 1536*4);
    // clang-format on
    if (!fits || FAILED(sample->GetPointer(&burst)) || !burst) {
        // No room for a burst: the frame is passed over without output.
        *readPtr += _status.iFrameSize;
        return nullptr;
    }
    std::memset(burst, 0, kAc3BurstBytes);
    const uint16_t in[1] = {static_cast<uint16_t>(frame[0] | (frame[1] << 8))};
    TvAssert(in[0] == 0xb77);
    // bsmod as coded: the low bits of the sixth stream byte, now at index 4.
    writeAc3Burst(burst, frame, _status.iFrameSize, frame[4] & 7);
    sample->SetActualDataLength(kAc3BurstBytes);
    _status.spdif = true;
    *readPtr += _status.iFrameSize;
    return &_status;
}

TvStatus* AdecDolby::decode(uint8_t* frame, const uint8_t** readPtr, IMediaSample* sample)
{
    TV_PROFILE_SCOPE("AC3 decoder");
    if (logging(_log))
        _log << "ac3: do decode " << std::endl;
    // The condition is also the logged text, spaced as it is logged.
    // clang-format off
    TvAssert(sample->GetSize() >= 1536*12);
    // clang-format on
    _downmix.apply(_status);

    int32_t lfeon = _status.lfeon;
    setParam(kAc3OutputLfe, &lfeon);
    int acmod = _status.acmod & 7;
    setParam(kAc3Routing, ac3RoutingRow(acmod, lfeon != 0));
    int32_t outputMode = _status.acmod;
    setParam(kAc3OutputMode, &outputMode);

    LONG length = _status.samples * _status.chan * 2;
    BYTE* pcm = nullptr;
    if (!_oldac3 || sample->GetSize() < length || FAILED(sample->GetPointer(&pcm)) || !pcm) {
        // Without a library or room for the whole frame nothing is written;
        // the frame is passed over.
        *readPtr += _status.iFrameSize;
        return nullptr;
    }
    if (_oldac3->Decode(reinterpret_cast<const uint16_t*>(frame),
                        reinterpret_cast<int16_t*>(pcm)) != 0) {
        _log << "AC3 Decoding error" << std::endl;
        *readPtr += 1;
        return nullptr;
    }
    sample->SetActualDataLength(length);
    _status.spdif = false;
    *readPtr += _status.iFrameSize;
    return &_status;
}
