#include "decoders/AdecMLP.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "config/util.h"
#include "decoders/dvd_audio_rate.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "platform/media_guids.h"

// Assertion conditions are logged as written, spacing included.

namespace {

const char kLibraryName[] = "TvMlpDec.dll";
// The names the Windows headers of the library's first users gave these.
constexpr int MAX_MLP_SAMPLES = kMlpMaxSamples;
constexpr uint32_t FORMATSYNC_FBB = kMlpFormatSyncFbb;
constexpr uint32_t FORMATSYNC_FBA = kMlpFormatSyncFba;
constexpr int kBytesPerSample = 3;
// One call's largest output (160 samples of 10 channels, 3 bytes each) + 3.
constexpr LONG kRoomPerCall = MAX_MLP_SAMPLES * kMlpColumns * kBytesPerSample + 3;
constexpr int kHdDvdHeaderBytes = 5;

// The speakers of the layout the library decoded. compatQuirks=1, or a
// layout without a mask, gives the lowest `chan` bits instead, which put a
// quad's back pair on centre and LFE and a 7.1's side pair on the
// front-of-centre speakers.
uint32_t presentationMask(uint32_t decoded, int chan)
{
    if (PcompatQuirks() || std::popcount(decoded) != chan)
        return 0xFFFFu >> (16 - chan);
    return decoded;
}

// The low three bytes of columns first..first+chan-1 of each row, little-endian;
// returns the end. On a little-endian machine each sample goes out as one
// four-byte store whose top byte the next sample overwrites (a third of the
// stores of the byte loop, which showed in TrueHD profiles); the last sample
// goes byte by byte, so nothing is written past the block.
uint8_t* packLow24(const MlpSampleRow* rows, int count, int first, int chan, uint8_t* o)
{
    auto storeBytes = [&o](uint32_t sample) {
        *o++ = uint8_t(sample);
        *o++ = uint8_t(sample >> 8);
        *o++ = uint8_t(sample >> 16);
    };
    if (count <= 0)
        return o;
    if constexpr (std::endian::native == std::endian::little) {
        for (int row = 0; row < count - 1; ++row)
            for (int k = 0; k < chan; ++k) {
                const uint32_t sample = uint32_t(rows[row][first + k]);
                std::memcpy(o, &sample, 4);
                o += 3;
            }
        for (int k = 0; k < chan - 1; ++k) {
            const uint32_t sample = uint32_t(rows[count - 1][first + k]);
            std::memcpy(o, &sample, 4);
            o += 3;
        }
        storeBytes(uint32_t(rows[count - 1][first + chan - 1]));
        return o;
    }
    for (int row = 0; row < count; ++row)
        for (int k = 0; k < chan; ++k)
            storeBytes(uint32_t(rows[row][first + k]));
    return o;
}

}  // namespace

AdecMLP::AdecMLP(std::ostream& log, const LibraryFolder& libraryFolder)
    : Adec(log), _libraryFolder(libraryFolder)
{
}

AdecMLP::~AdecMLP()
{
    closeInstance();
    if (_module)
        FreeLibrary(_module);
}

void AdecMLP::closeInstance()
{
    if (_mlp && _close)
        _close(_mlp);
    _mlp = nullptr;
}

bool AdecMLP::accepts(const CMediaType& mediaType)
{
    return IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_DVDA_AUDIO_MLP) ||
           IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_HDDVD_AUDIO_MLP);
}

bool AdecMLP::bindLibrary()
{
    if (_module)
        return true;
    HMODULE module = loadSiblingLibrary(_libraryFolder, kLibraryName);
    if (!module) {
        _log << "error: TvMlpDec.dll not found" << std::endl;
        return false;
    }
    auto lookUp = [&](const char* name) {
        FARPROC function = GetProcAddress(module, name);
        if (!function)
            _log << "error: could not find function " << name << std::endl;
        return function;
    };
    FARPROC close = lookUp("mlpDecoderClose");
    FARPROC init = close ? lookUp("mlpDecoderInit") : nullptr;
    FARPROC run = init ? lookUp("mlpDecoderRun") : nullptr;
    if (!run) {
        FreeLibrary(module);
        return false;
    }
    _close = reinterpret_cast<MlpDecoderCloseFunction>(reinterpret_cast<void (*)()>(close));
    _init = reinterpret_cast<MlpDecoderInitFunction>(reinterpret_cast<void (*)()>(init));
    _run = reinterpret_cast<MlpDecoderRunFunction>(reinterpret_cast<void (*)()>(run));
    _module = module;
    return true;
}

TvStatus* AdecMLP::init(const CMediaType& mediaType)
{
    _mediaType = mediaType;
    if (!bindLibrary())
        return nullptr;
    _hdDvd = IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_HDDVD_AUDIO_MLP);
    closeInstance();
    MlpInitRecord record;
    _mlp = _init(&record, kMlpRecordVersion);
    if (_mlp)
        _mlp->intface.inbufEnd = 0;
    // clang-format off
    if (!TvAssert(_mlp))
        // clang-format on
        return nullptr;
    _syncKind = 0;
    _status = TvStatusMlp();
    readWaveFormat(mediaType, _status);
    _status.stype = ST24Bit;
    return &_status;
}

void AdecMLP::setMixType(int kind, int mixType, uint32_t channelMask)
{
    if (kind != KindMlp)
        return;
    _stereoRequest = mixType == RemixDecoderDownmix && channelMask == 3;
}

bool AdecMLP::parsePacketHeader(const uint8_t** readPtr, const uint8_t* end)
{
    const uint8_t* p = *readPtr;
    // An empty payload has no first byte to look at: its check fails (and is
    // logged) without reading one.
    if (_hdDvd) {
        // clang-format off
        if (p >= end ? !tvAssertionFailed(__FILE__, __LINE__, "(p[0] & 0xF8) == 0xB0")
                     : !TvAssert((p[0] & 0xF8) == 0xB0))
            // clang-format on
            return false;
        p += std::min<ptrdiff_t>(kHdDvdHeaderBytes, end - p);
    } else {
        // clang-format off
        if (p >= end ? !tvAssertionFailed(__FILE__, __LINE__, "p[0] == 0xa1") : !TvAssert(p[0] == 0xa1))
            // clang-format on
            return false;
        // clang-format off
        if (!TvAssert(end-p>4))
            // clang-format on
            return false;
        p += std::min<ptrdiff_t>(4 + p[3], end - p);
    }
    if (p < end) {
        *readPtr = p;
        return true;
    }
    // clang-format off
    if (!TvAssert(p<end)) {
        // clang-format on
        *readPtr = end;
        return false;
    }
    return true;
}

TvStatus* AdecMLP::process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out)
{
    TV_PROFILE_SCOPE("AdecMLP::process");
    const uint8_t* p = *readPtr;
    out->SetActualDataLength(0);
    BYTE* dest = nullptr;
    if (!_mlp || FAILED(out->GetPointer(&dest)) || !dest)
        return nullptr;
    _mlp->intface.inbufEnd = int32_t(end - p);
    _mlp->intface.consumed = 0;
    const LONG size = out->GetSize();
    LONG written = 0;
    int frequencyCode = -1;
    while (size - written > kRoomPerCall) {
        if (logging(_log))
            _log << "MLP buffer: " << _mlp->intface.inbufEnd << " " << _mlp->intface.consumed
                 << std::endl;
        const int32_t consumedBefore = _mlp->intface.consumed;
        const MlpResult* result = _run(_mlp, p, _matrix);
        // clang-format off
        TvAssert(_mlp->intface.inbufEnd == end - p);
        // clang-format on
        if (!result || result->samplesDecoded == 0)
            break;
        // clang-format off
        if (!TvAssert(result->samplesDecoded<=MAX_MLP_SAMPLES))
            // clang-format on
            break;
        const MlpMajorSyncInfo* major_sync_info = result->major_sync_info;
        if (!major_sync_info)
            break;
        if (major_sync_info->format_sync == FORMATSYNC_FBB) {
            frequencyCode = (major_sync_info->format_info >> 20) & 0xF;
            _syncKind = 0;
        } else {
            // clang-format off
            TvAssert(major_sync_info->format_sync == FORMATSYNC_FBA);
            // clang-format on
            frequencyCode = major_sync_info->format_info >> 28;
            _syncKind = 1;
        }
        if (result->errorCode != 0)
            _log << "MLP error: " << result->errorCode << std::endl;

        int selector, chan;
        uint32_t decodedMask;
        if (_stereoRequest && result->twoChannel != -1) {
            selector = result->twoChannel;
            chan = result->twoChannelCount;
            decodedMask = result->twoChannelMask;
        } else if (result->multichannel != -1) {
            selector = result->multichannel;
            chan = result->multichannelCount;
            decodedMask = result->multichannelMask;
        } else if (result->twoChannel != -1) {
            selector = result->twoChannel;
            chan = result->twoChannelCount;
            decodedMask = result->twoChannelMask;
        } else {
            break;
        }
        if (logging(_log))
            _log << " samples: " << result->samplesDecoded << " chan: " << chan
                 << " freq: " << frequencyCode << " multichan: " << result->multichannel
                 << " twochan: " << result->twoChannel << std::endl;
        // A presentation must lie within a row (and so within the room).
        if (selector < 0 || chan <= 0 || selector + chan > kMlpColumns)
            break;
        const uint32_t mask = presentationMask(decodedMask, chan);
        if (written > 0 && (chan != _status.chan || mask != _status.channelMask)) {
            // A new layout (count or speakers) starts a new output sample.
            // It changes only at an access unit with a major sync, which
            // decodes again the same.
            _mlp->intface.consumed = consumedBefore;
            break;
        }

        uint8_t* o = packLow24(_matrix, result->samplesDecoded, selector, chan, dest + written);
        written = LONG(o - dest);
        out->SetActualDataLength(written);
        _status.chan = chan;
        _status.channelMask = mask;
    }

    LONG produced = out->GetActualDataLength();
    if (produced == 0) {
        // Nothing decodable: what the library passed over cannot start an
        // access unit, and is dropped rather than kept to grow the buffer.
        *readPtr += _mlp->intface.consumed;
        return nullptr;
    }
    *readPtr += _mlp->intface.consumed;
    _status.iFrameSize = _mlp->intface.consumed;
    _status.majorSync = _syncKind;
    _status.samples = produced / (_status.chan * kBytesPerSample);
    if (logging(_log))
        _log << "outsize: " << produced << std::endl;
    int frequency = dvdAudioFrequency(frequencyCode);
    if (frequency != 0)
        _status.freq = frequency;
    // clang-format off
    else
        TvAssert(0);
    // clang-format on
    if (out->GetActualDataLength() == 0) {
        _log << "MLP: no output" << std::endl;
        return nullptr;
    }
    return &_status;
}
