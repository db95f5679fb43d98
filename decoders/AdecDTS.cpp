#include "decoders/AdecDTS.h"

#include "decoders/dts_header.h"
#include "decoders/dts_spdif.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "engines/dts/dts_engine.h"
#include "platform/media_guids.h"

namespace {

// Bytes that must lie beyond the read position before a sync is looked at.
constexpr ptrdiff_t kSearchWindow = 16;
// In a normal frame SHORT is always 31; any other value marks a false sync.
constexpr int kNormalFrameShort = 31;

}  // namespace

AdecDTS::AdecDTS(std::ostream& log) : Adec(log) {}

AdecDTS::~AdecDTS()
{
    for (DtsEngine* engine : _replacedEngines)
        dtsEngineDestroy(engine);
    dtsEngineDestroy(_engine);
}

bool AdecDTS::accepts(const CMediaType& mediaType)
{
    return IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_DTS);
}

TvStatus* AdecDTS::init(const CMediaType& mediaType)
{
    _mediaType = mediaType;
    _status = TvStatusDts();
    readWaveFormat(mediaType, _status);
    _status.spdif = _spdif;
    DtsEngine* engine = dtsEngineCreate();
    if (!engine) {
        _log << "error opening DTS decoder" << std::flush;
        return nullptr;
    }
    if (_engine)
        _replacedEngines.push_back(_engine);
    _engine = engine;
    return &_status;
}

TvStatus* AdecDTS::setSpdif(bool on)
{
    _spdif = on;
    _status.spdif = on;
    return &_status;
}

bool AdecDTS::findFrame(const uint8_t** readPtr, const uint8_t* end)
{
    const uint8_t* p = *readPtr;
    while (end - p > kSearchWindow) {
        DtsHeader header;
        if (!parseDtsHeader(p, size_t(end - p), header)) {
            ++p;
            continue;
        }
        if (end - p < header.frameBytes) {
            *readPtr = p;
            return false;
        }
        if (header.ftype == 1 && header.shortCount != kNormalFrameShort) {
            p += 4;
            continue;
        }
        *readPtr = p;
        _status.samples = dtsFrameSamples(header);
        _status.iFrameSize = header.frameBytes;
        _status.freq = dtsSampleRate(header.sfreq);
        // Until the engine has decoded the frame: stereo.
        _status.chan = 2;
        _status.channelMask = 3;
        if (logging(_log))
            _log << "DTS: size: " << header.frameBytes << " freq: " << _status.freq
                 << " samples: " << _status.samples << std::endl;
        return true;
    }
    *readPtr = p;
    _log << "DTS: no frame found" << std::endl;
    return false;
}

TvStatus* AdecDTS::process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out)
{
    TV_PROFILE_SCOPE("AdecDTS::process");
    if (!findFrame(readPtr, end))
        return nullptr;
    BYTE* buffer = nullptr;
    if (FAILED(out->GetPointer(&buffer)))
        buffer = nullptr;
    long outSize = buffer ? out->GetSize() : 0;
    const uint8_t* frame = *readPtr;
    if (_spdif) {
        _status.stype = ST16Bit;
        if (!buildBurst(frame, buffer, outSize)) {
            *readPtr = end;
            return nullptr;
        }
        out->SetActualDataLength(4 * _status.samples);
    } else {
        _status.stype = ST24Bit;
        // The condition is also the logged text, spaced as it is logged.
        // clang-format off
        if (TvAssert(3*_status.chan*_status.samples < outSize) && decode(frame, buffer, outSize))
            out->SetActualDataLength(3 * _status.chan * _status.samples);
        // clang-format on
    }
    *readPtr += _status.iFrameSize;
    return &_status;
}

bool AdecDTS::decode(const uint8_t* frame, uint8_t* out, long outSize)
{
    TV_PROFILE_SCOPE("dtsDecode");
    TvStatusDts& status = _status;
    DtsFrameInfo fi =
        dtsEngineDecode(_engine, frame, size_t(status.iFrameSize), out, size_t(outSize));
    if (fi.error != 0) {
        _log << "DTS decode error: " << fi.error << std::endl;
        return false;
    }
    status.chan = fi.channels;
    status.channelMask = fi.channelMask;
    if (logging(_log))
        _log << "dtsDecodeFrame: " << fi.channels << " channels "
             << " mask " << fi.channelMask << std::endl;
    // clang-format off
    TvAssert(fi.samples == status.chan * status.samples);
    TvAssert(fi.samplerate == status.freq);
    TvAssert(fi.bitspersample == 24);
    // clang-format on
    return true;
}

bool AdecDTS::buildBurst(const uint8_t* frame, uint8_t* out, long outSize)
{
    TV_PROFILE_SCOPE("dtsSpdif");
    const TvStatusDts& status = _status;
    // clang-format off
    if (!TvAssert(status.iFrameSize+8 <= 4*status.samples) || !TvAssert(outSize > 4*status.samples))
        return false;
    // clang-format on
    writeDtsBurst(out, size_t(4 * status.samples), dtsSpdifDataType(status.samples), frame,
                  status.iFrameSize);
    return true;
}
