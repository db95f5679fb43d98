#include "decoders/AdecMPEG.h"

#include <algorithm>
#include <iterator>

#include "config/util.h"
#include "conversion/output_parameters.h"
#include "decoders/mpeg_header.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "platform/media_guids.h"

namespace {

// A header is looked for only while this many bytes lie ahead of it.
constexpr ptrdiff_t kSearchWindow = 24;

uint32_t maskForChannels(int chan, uint32_t previous)
{
    if (chan == 1)
        return 4;
    if (chan == 2)
        return 3;
    return previous;
}

}  // namespace

AdecMPEG::AdecMPEG(std::ostream& log) : Adec(log), _mp3(std::make_unique<Mp3Decoder>()) {}

AdecMPEG::~AdecMPEG() = default;

bool AdecMPEG::accepts(const CMediaType& mediaType)
{
    const GUID& s = mediaType.subtype;
    if (IsEqualGUID(s, MEDIASUBTYPE_MPEG1AudioPayload) ||
        IsEqualGUID(s, MEDIASUBTYPE_MPEG1Payload) || IsEqualGUID(s, MEDIASUBTYPE_MPEG2_AUDIO) ||
        IsEqualGUID(s, MEDIASUBTYPE_MP3))
        return true;
    return IsEqualGUID(s, MEDIASUBTYPE_MPEG1Packet) &&
           IsEqualGUID(mediaType.majortype, MEDIATYPE_DVD_ENCRYPTED_PACK);
}

TvStatus* AdecMPEG::init(const CMediaType& mediaType)
{
    _mediaType = mediaType;
    _mp3->Reset();
    _mpeg.reset();
    _mpeg = MpegFrameDecoder::create();
    if (!TvAssert(_mpeg))
        return nullptr;
    _status = TvStatusMpeg();
    readWaveFormat(mediaType, _status);
    _freeFormatBytes = 0;
    std::fill(std::begin(_freeFormatHeader), std::end(_freeFormatHeader), uint8_t(0));
    _frameFound = false;
    return &_status;
}

uint32_t AdecMPEG::freeFormatLength(const uint8_t* p, const uint8_t* end)
{
    const bool keptStream = _freeFormatBytes && sameFreeFormatStream(_freeFormatHeader, p);
    if (keptStream) {
        // Kept while it leads to the next header, or past the buffer (the
        // last frame); another length is measured anew (streams joined).
        const size_t next = _freeFormatBytes + ((p[2] >> 1) & 1);
        if (size_t(end - p) < next + 4 || sameFreeFormatStream(p, p + next))
            return _freeFormatBytes;
    }
    if (uint32_t bytes = measureFreeFormatFrame(p, size_t(end - p))) {
        _freeFormatBytes = bytes;
        std::copy(p, p + 4, _freeFormatHeader);
        return bytes;
    }
    return keptStream ? _freeFormatBytes : 0;
}

bool AdecMPEG::updateStatus(const uint8_t** readPtr, const uint8_t* end)
{
    const uint8_t* p = *readPtr;
    if (end - p < kSearchWindow) {
        _log << "MPEG: nothing" << std::endl;
        return false;
    }
    MpegHeader header;
    // compatQuirks=1 measures layer I frames as the decoder once did, and
    // refuses free format.
    const bool compat = PcompatQuirks();
    for (;;) {
        uint32_t freeFormatBytes = 0;
        if (!compat && isFreeFormatHeader(p, size_t(end - p))) {
            freeFormatBytes = freeFormatLength(p, end);
            // A stream's first frame in free format waits for the header
            // after it, unless the buffer already reaches past any frame.
            if (!freeFormatBytes && !_frameFound &&
                end - p < ptrdiff_t(2 * kMaxFreeFormatBytes + 8)) {
                *readPtr = p;
                _status.samples = 0;
                _status.iFrameSize = 0;
                return false;
            }
        }
        if (parseMpegHeader(p, size_t(end - p), header, compat, freeFormatBytes))
            break;
        ++p;
        if (end - p < kSearchWindow) {
            *readPtr = p;
            _log << "MPEG: nothing" << std::endl;
            return false;
        }
    }
    *readPtr = p;
    _frameFound = true;
    _freeFormatFrame = header.freeFormat;
    if (header.frameSize > end - p) {
        // Completed by the next input; nothing of it is consumed.
        _status.samples = 0;
        _status.iFrameSize = 0;
        return false;
    }
    _status.bitRate = header.bitrate * 1000;
    _status.stype = ST16Bit;
    _status.chan = header.channels;
    _status.channelMask = maskForChannels(_status.chan, _status.channelMask);
    _status.freq = int32_t(header.sampleRate);
    _status.iFrameSize = header.frameSize;
    _status.samples = int32_t(header.samples) / _status.chan;
    _status.layer = header.layer;
    _status.mpeg = 4 - header.version;
    const bool logged = logging(_log);
    if (logged)
        _log << "mpeg: " << _status.mpeg << " layer: " << _status.layer
             << " srate: " << _status.freq << " brate: " << header.bitrate
             << " chan: " << _status.chan << " isize: " << _status.iFrameSize;
    if (_status.iFrameSize > end - p) {
        _status.samples = 0;
        _status.iFrameSize = 0;
        if (logged)
            _log << " incomplete";
    }
    if (logged)
        _log << std::endl;
    return true;
}

TvStatus* AdecMPEG::process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out)
{
    TV_PROFILE_SCOPE("AdecMPEG::process");
    if (!updateStatus(readPtr, end) || _status.samples == 0)
        return nullptr;
    if (_status.layer == 3)
        return decodeLayer3(readPtr, out);
    return decodeLayer12(readPtr, out);
}

TvStatus* AdecMPEG::decodeLayer12(const uint8_t** readPtr, IMediaSample* out)
{
    _status.mp3pro = 0;
    BYTE* pcm = nullptr;
    MpegFrameOutput result;
    // MPEG-2 and 2.5 layer II frames are measured with the layer I bit rates,
    // so the bytes handed over may hold up to four frames: the engine decodes
    // them all, into no more than the usable part of the sample (the guard
    // word behind it is checked at delivery).
    size_t capacity =
        size_t(std::max<LONG>(0, std::min<LONG>(out->GetSize(), LONG(PoutputBufferSize()))));
    if (_mpeg && _freeFormatFrame)
        _mpeg->setFreeFormatBytes(_freeFormatBytes);
    bool error = !_mpeg || FAILED(out->GetPointer(&pcm)) || !pcm ||
                 _mpeg->decode(*readPtr, size_t(_status.iFrameSize),
                               reinterpret_cast<int16_t*>(pcm), capacity / 2, result);
    if (error) {
        *readPtr += 1;
        return nullptr;
    }
    if (result.droppedFrames > 0)
        _log << "MPEG: no room for " << result.droppedFrames << " frames, dropped" << std::endl;
    _status.chan = result.channels;
    _status.freq = result.sampleRate;
    _status.samples = result.totalSamples / _status.chan;
    *readPtr += _status.iFrameSize;
    if (logging(_log))
        _log << "iFrameSize: " << _status.iFrameSize << std::endl;
    return finish(out, long(_status.chan) * _status.samples * 2);
}

TvStatus* AdecMPEG::decodeLayer3(const uint8_t** readPtr, IMediaSample* out)
{
    size_t size = size_t(_status.iFrameSize);
    if (_freeFormatFrame)
        _mp3->SetFreeFormat(_freeFormatBytes, _status.bitRate);
    size_t isize = _mp3->Feed(*readPtr, size);
    TvAssert(isize <= size);
    _status.iFrameSize = int32_t(isize);
    *readPtr += isize;
    if (isize == 0)
        return nullptr;

    BYTE* pcm = nullptr;
    if (FAILED(out->GetPointer(&pcm)) || !pcm)
        return nullptr;
    size_t capacity = size_t(out->GetSize());
    size_t total = 0;
    size_t written = 0;
    uint32_t result;
    do {
        result = _mp3->Decode(pcm + total, capacity - total, &written, 0, 0);
        total += written;
    } while (written > 0 && !Mp3Decoder::isError(result));
    if (Mp3Decoder::isError(result)) {
        _log << "MP3Pro error: " << Mp3Decoder::errorText(result) << std::endl;
        return nullptr;
    }
    if (total == 0)
        return nullptr;

    const Mp3Info* i = _mp3->GetInfo();
    TvAssert(i->GetLayer() == _status.layer);
    TvAssert(i->GetBitrate() == _status.bitRate);
    TvAssert(i->GetChannels() == _status.chan);
    TvAssert(i->GetSFreq() == _status.freq);
    _status.mp3pro = i->GetMp3Pro() ? 1 : 0;
    if (_status.mp3pro) {
        _status.chan = i->GetEffChannels();
        _status.freq = i->GetOutSFreq();
    }
    if (logging(_log))
        _log << "MP3PRO: "
             << " layer: " << i->GetLayer() << " MPEG: " << i->GetMpegVersion()
             << " Bitrate: " << i->GetBitrate() << " chan: " << i->GetChannels()
             << " sfreq: " << i->GetSFreq() << " effchan: " << i->GetEffChannels()
             << " effsfreq: " << i->GetEffSFreq() << " outsfreq: " << i->GetOutSFreq()
             << " mp3pro: " << int(i->GetMp3Pro()) << std::endl;
    _status.samples = 1152;
    return finish(out, long(total));
}

TvStatus* AdecMPEG::finish(IMediaSample* out, long bytes)
{
    out->SetActualDataLength(bytes);
    _status.stype = ST16Bit;
    _status.samples = int32_t(bytes / (_status.chan * 2));
    _status.channelMask = maskForChannels(_status.chan, _status.channelMask);
    return &_status;
}
