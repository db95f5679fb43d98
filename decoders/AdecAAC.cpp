#include "decoders/AdecAAC.h"

#include <neaacdec.h>

#include <algorithm>
#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif
#include <cstring>
#include <utility>

#include "config/util.h"
#include "core/media_subtypes.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"

namespace {

constexpr unsigned char kOutput16Bit = FAAD_FMT_16BIT;

// The frame record FAAD2 fills, with room behind it. The library lists a
// speaker position per channel that a program config element names, in an
// array of 64, without a bound: an element may name up to 93 (15 front,
// side and back elements of two channels each, and 3 LFE), and the rest
// would land on whatever the caller keeps next to the record.
struct FrameInfoWithRoom {
    NeAACDecFrameInfo info;
    unsigned char overrun[32];
};
static_assert(sizeof(NeAACDecFrameInfo::channel_position) + sizeof(FrameInfoWithRoom::overrun) >=
                  93,
              "room for every position a program config element can name");

// Speaker mask bit of each library channel position (unknown, front centre,
// front left, front right, side left, side right, back left, back right,
// back centre, LFE).
constexpr uint32_t kPositionMask[10] = {0, 0x4, 0x1, 0x2, 0x200, 0x400, 0x10, 0x20, 0x100, 0x8};

// Samples of whole frames, each frame's channels taken in `from`'s order; a
// channel count known at compile time lets the loop unroll (a fifth of the
// instructions of the general loop for 5.1).
template <size_t Channels>
void reorderFrames(int16_t* out, const int16_t* pcm, size_t count, const size_t* from)
{
    size_t order[Channels];
    std::copy(from, from + Channels, order);
    for (size_t frame = 0; frame + Channels <= count; frame += Channels)
        for (size_t j = 0; j < Channels; ++j)
            out[frame + j] = pcm[frame + order[j]];
}

#if defined(__x86_64__) || defined(__i386__)
bool hasSsse3()
{
    static const bool has = __builtin_cpu_supports("ssse3") != 0;
    return has;
}

// Frames of 3 to 8 channels reordered with one byte shuffle each: a frame's
// 16 bytes loaded, its samples put in place, 16 bytes stored (what spills
// into the next frame is written again with it). Returns the samples done;
// the last frames, whose 16 bytes would run past either buffer, are left.
__attribute__((target("ssse3"))) size_t reorderShuffled(int16_t* out,
                                                        const int16_t* pcm,
                                                        size_t count,
                                                        const size_t* from,
                                                        size_t channels)
{
    alignas(16) uint8_t pattern[16];
    for (size_t j = 0; j < 8; ++j) {
        size_t source = j < channels ? from[j] : j;
        pattern[2 * j] = uint8_t(2 * source);
        pattern[2 * j + 1] = uint8_t(2 * source + 1);
    }
    __m128i shuffle = _mm_load_si128(reinterpret_cast<const __m128i*>(pattern));
    size_t frame = 0;
    for (; frame + 8 <= count; frame += channels) {
        __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pcm + frame));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + frame),
                         _mm_shuffle_epi8(samples, shuffle));
    }
    return frame;
}
#endif

bool isAacSubtype(const GUID& subtype)
{
    return IsEqualGUID(subtype, MEDIASUBTYPE_MPEG4_AUDIO) ||
           IsEqualGUID(subtype, MEDIASUBTYPE_MP4_AUDIO);
}

}  // namespace

AdecAAC::~AdecAAC()
{
    close();
}

void AdecAAC::close()
{
    if (_decoder)
        NeAACDecClose(static_cast<NeAACDecHandle>(_decoder));
    _decoder = nullptr;
}

void* AdecAAC::open(CMediaType& mediaType)
{
    if (!isAacSubtype(mediaType.subtype))
        return nullptr;
    if (!mediaType.pbFormat || mediaType.cbFormat < sizeof(WAVEFORMATEX))
        return nullptr;
    NeAACDecHandle decoder = NeAACDecOpen();
    if (!decoder)
        return nullptr;
    auto* wave = reinterpret_cast<WAVEFORMATEX*>(mediaType.pbFormat);
    // The AudioSpecificConfig follows the WAVEFORMATEX; cbSize says how long
    // it is, but never more than the block holds.
    unsigned long configSize =
        std::min<unsigned long>(wave->cbSize, mediaType.cbFormat - sizeof(WAVEFORMATEX));
    unsigned long rate = wave->nSamplesPerSec;
    unsigned char channels = static_cast<unsigned char>(wave->nChannels);
    char result = NeAACDecInit2(decoder, mediaType.pbFormat + sizeof(WAVEFORMATEX), configSize,
                                &rate, &channels);
    if (result != 0) {
        _log << "AAC Error: " << int(result) << std::endl;
        NeAACDecClose(decoder);
        return nullptr;
    }
    // What the library derived from the configuration (twice the core rate
    // with SBR, two channels with parametric stereo) goes into the held type.
    wave->nSamplesPerSec = static_cast<DWORD>(rate);
    wave->nChannels = channels;

    NeAACDecConfigurationPtr config = NeAACDecGetCurrentConfiguration(decoder);
    if (!TvAssert(config)) {
        NeAACDecClose(decoder);
        return nullptr;
    }
    config->outputFormat = kOutput16Bit;
    config->downMatrix = downmix ? 1 : 0;
    NeAACDecSetConfiguration(decoder, config);
    // A fresh library handle withholds the output of the first access unit
    // it decodes. The standard's decoder gives every unit's output (the first
    // overlapped with silence), and containers count their priming from that
    // first unit; with its frame count set past the first, the library gives
    // it too. Every re-open after a decode error would otherwise lose one
    // more unit.
    if (!PcompatQuirks())
        NeAACDecPostSeekReset(decoder, 1);
    return decoder;
}

bool AdecAAC::accepts(const CMediaType& mediaType)
{
    // Opening writes into the type: probe on a copy of it.
    CMediaType probe(mediaType);
    void* decoder = open(probe);
    if (!decoder)
        return false;
    NeAACDecClose(static_cast<NeAACDecHandle>(decoder));
    return true;
}

TvStatus* AdecAAC::init(const CMediaType& mediaType)
{
    _mediaType = mediaType;
    close();
    _status = TvStatusAac();
    _decoder = open(_mediaType);
    if (!_decoder)
        return nullptr;
    readWaveFormat(_mediaType, _status);
    _status.openChannels = _status.chan;
    return &_status;
}

void AdecAAC::setMixType(int kind, int mixType, uint32_t channelMask)
{
    if (kind != KindAac)
        return;
    bool wanted = mixType == RemixDecoderDownmix && channelMask == 0x3;
    if (wanted == downmix)
        return;
    downmix = wanted;
    if (_decoder) {
        close();
        _decoder = open(_mediaType);
    }
}

TvStatus* AdecAAC::process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* sample)
{
    TV_PROFILE_SCOPE("AdecAAC::process");
    FrameInfoWithRoom record;
    std::memset(&record, 0, sizeof record);
    NeAACDecFrameInfo& frameInfo = record.info;
    unsigned long size = static_cast<unsigned long>(end - *readPtr);
    void* pcm = nullptr;
    // A decoder that could not be re-opened decodes nothing (the library
    // would answer the same for a null handle).
    if (_decoder)
        pcm = NeAACDecDecode(static_cast<NeAACDecHandle>(_decoder), &frameInfo,
                             const_cast<uint8_t*>(*readPtr), size);
    // One input sample is one access unit, used up whatever happens.
    *readPtr = end;

    if (frameInfo.error != 0) {
        if (_decoder) {
            close();
            _decoder = open(_mediaType);
        }
        _log << "AAC: error " << int(frameInfo.error) << std::endl;
        return nullptr;
    }
    if (logging(_log))
        _log << "AAC: returned samples= " << frameInfo.samples << std::endl;
    if (frameInfo.samples == 0 || !pcm)
        return nullptr;
    // The assertion texts are the conditions as written, spacing included.
    // clang-format off
    TvAssert(frameInfo.bytesconsumed==size);

    _status.sbr = frameInfo.sbr;
    _status.objectType = frameInfo.object_type;
    _status.ps = frameInfo.ps;
    _status.iFrameSize = static_cast<int32_t>(frameInfo.bytesconsumed);
    _status.stype = ST16Bit;
    _status.chan = frameInfo.channels;
    if (!TvAssert(_status.chan>0))
        return nullptr;
    _status.freq = static_cast<int32_t>(frameInfo.samplerate);
    if (!TvAssert(_status.freq>0))
        return nullptr;
    _status.samples = static_cast<int32_t>(frameInfo.samples / frameInfo.channels);

    LONG osize = _status.chan * _status.samples * 2;
    if (osize > sample->GetSize()) {
        TvAssert(osize <= sample->GetSize());
        return nullptr;
    }
    // clang-format on
    BYTE* out = nullptr;
    if (FAILED(sample->GetPointer(&out)) || !out)
        return nullptr;
    _status.channelMask =
        copyInWaveOrder(reinterpret_cast<int16_t*>(out), static_cast<const int16_t*>(pcm),
                        static_cast<size_t>(osize) / 2, frameInfo);
    sample->SetActualDataLength(osize);
    _status.remixMode =
        downmix && _status.openChannels == 6 && _status.chan == 2 ? RemixDecoderDownmix : RemixNone;
    return &_status;
}

uint32_t AdecAAC::copyInWaveOrder(int16_t* out,
                                  const int16_t* pcm,
                                  size_t count,
                                  const NeAACDecFrameInfo& inf)
{
    // The reorder happens in the copy out of the library's buffer: one pass
    // over the samples instead of a copy, a reorder and a copy back.
    auto inLibraryOrder = [&] { std::memcpy(out, pcm, count * sizeof(int16_t)); };
    // clang-format off
    if (!TvAssert(inf.samples <= 16384)) {
        inLibraryOrder();
        return 0;
    }
    // clang-format on
    int channels = inf.channels;
    if (channels > int(sizeof inf.channel_position)) {
        inLibraryOrder();  // more channels than the library has positions for
        return 0;
    }
    std::pair<uint32_t, int> order[sizeof inf.channel_position];
    uint32_t mask = 0;
    bool needed = false;
    for (int i = 0; i < channels; ++i) {
        unsigned p = inf.channel_position[i];
        if (p == 0 || p > 9) {
            inLibraryOrder();  // unknown layout: left as the library gives it
            return mask;
        }
        uint32_t bit = kPositionMask[p];
        mask |= bit;
        order[i] = {bit, i};
        if (i >= 1 && bit < order[i - 1].first)
            needed = true;
    }
    if (!needed) {
        inLibraryOrder();
        return mask;
    }

    std::sort(order, order + channels);
    if (logging(_log)) {
        _log << "resort: ";
        for (int j = 0; j < channels; ++j)
            _log << order[j].second << " ";
        _log << std::endl;
    }
    size_t width = size_t(channels);
    size_t from[sizeof inf.channel_position];
    for (size_t j = 0; j < width; ++j)
        from[j] = size_t(order[j].second);
#if defined(__x86_64__) || defined(__i386__)
    if (width >= 3 && width <= 8 && hasSsse3()) {
        size_t done = reorderShuffled(out, pcm, count, from, width);
        out += done;
        pcm += done;
        count -= done;
    }
#endif
    switch (width) {
        case 3:
            reorderFrames<3>(out, pcm, count, from);
            break;
        case 4:
            reorderFrames<4>(out, pcm, count, from);
            break;
        case 5:
            reorderFrames<5>(out, pcm, count, from);
            break;
        case 6:
            reorderFrames<6>(out, pcm, count, from);
            break;
        case 7:
            reorderFrames<7>(out, pcm, count, from);
            break;
        case 8:
            reorderFrames<8>(out, pcm, count, from);
            break;
        default:
            for (size_t frame = 0; frame + width <= count; frame += width)
                for (size_t j = 0; j < width; ++j)
                    out[frame + j] = pcm[frame + from[j]];
    }
    return mask;
}
