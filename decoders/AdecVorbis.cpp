#include "decoders/AdecVorbis.h"

#include <vorbis/codec.h>

#include <cstring>

#include "config/util.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "platform/media_guids.h"

namespace {

constexpr int kMaxChannels = 8;

// Indexed by channel count. Vorbis codes 3 to 6 channels as L C R, then the
// back pair, then LFE; 7 as L C R SL SR RC LFE and 8 as L C R SL SR RL RR LFE
// (Vorbis I, section 4.3.9). WAVE wants L R C LFE, then back and side.
constexpr uint32_t kChannelMasks[kMaxChannels + 1] = {0x7,  0x4,  0x3,   0x7,  0x33,
                                                      0x37, 0x3F, 0x70F, 0x63F};
constexpr uint8_t kChannelRows[kMaxChannels + 1][kMaxChannels] = {
    {},
    {0},
    {0, 1},
    {0, 2, 1},
    {0, 1, 2, 3},
    {0, 2, 1, 3, 4},
    {0, 2, 1, 5, 3, 4},
    {0, 2, 1, 6, 5, 3, 4},
    {0, 2, 1, 7, 5, 6, 3, 4},
};
// compatQuirks=1: 7 and 8 channels take the 5.1 order with the rest after,
// under the lowest mask bits, which puts the surround channels on the wrong
// speakers.
constexpr int kFirstQuirkLayout = 7;
constexpr uint32_t kQuirkMasks[2] = {0x7F, 0xFF};
constexpr uint8_t kQuirkRows[2][kMaxChannels] = {
    {0, 2, 1, 5, 3, 4, 6},
    {0, 2, 1, 5, 3, 4, 6, 7},
};

bool quirkLayout(int chan)
{
    return chan >= kFirstQuirkLayout && PcompatQuirks();
}

uint32_t channelMask(int chan)
{
    return quirkLayout(chan) ? kQuirkMasks[chan - kFirstQuirkLayout] : kChannelMasks[chan];
}

const uint8_t* channelRow(int chan)
{
    return quirkLayout(chan) ? kQuirkRows[chan - kFirstQuirkLayout] : kChannelRows[chan];
}

// Appends `n` frames of the library's planes to `to`, interleaved in WAVE
// order. The channel count is a template argument so that the inner loop
// unrolls: with a run-time count it cost as much as a tenth of libvorbis.
template <int Channels>
void interleave(float* const* planes, const uint8_t* row, int n, float* to)
{
    const float* source[Channels];
    for (int j = 0; j < Channels; ++j)
        source[j] = planes[row[j]];
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < Channels; ++j)
            *to++ = source[j][i];
}

using Interleave = void (*)(float* const*, const uint8_t*, int, float*);
constexpr Interleave kInterleave[kMaxChannels + 1] = {
    nullptr,       interleave<1>, interleave<2>, interleave<3>, interleave<4>,
    interleave<5>, interleave<6>, interleave<7>, interleave<8>,
};

// The position of a header packet's "vorbis" signature, after its type byte.
constexpr size_t kSignatureEnd = 7;

}  // namespace

AdecVorbis::~AdecVorbis()
{
    releaseLibraryObjects();
}

void AdecVorbis::releaseLibraryObjects()
{
    if (_pvb) {
        vorbis_block_clear(_pvb);
        delete _pvb;
        _pvb = nullptr;
    }
    if (_pvd) {
        vorbis_dsp_clear(_pvd);
        delete _pvd;
        _pvd = nullptr;
    }
    if (_pvc) {
        vorbis_comment_clear(_pvc);
        delete _pvc;
        _pvc = nullptr;
    }
    if (_pvi) {
        vorbis_info_clear(_pvi);
        delete _pvi;
        _pvi = nullptr;
    }
    _headers.clear();
    _packetNumber = 0;
}

bool AdecVorbis::accepts(const CMediaType& mediaType)
{
    return IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_Vorbis2) &&
           IsEqualGUID(mediaType.formattype, FORMAT_VorbisFormat2);
}

bool AdecVorbis::readHeader(const uint8_t*& p, uint32_t size)
{
    const uint8_t* packet = p;
    p += size;
    if (size < kSignatureEnd || std::memcmp(packet + 1, "vorbis", 6) != 0) {
        _log << "bad vorbis page start" << std::endl;
        return false;
    }
    ogg_packet op{};
    op.packet = const_cast<unsigned char*>(packet);
    op.bytes = long(size);
    op.b_o_s = _packetNumber == 0 ? 1 : 0;
    op.e_o_s = 0;
    op.granulepos = 0;
    op.packetno = _packetNumber;
    _log << "Ogg::readHeader " << int(packet[0]) << std::endl;
    ++_packetNumber;
    return vorbis_synthesis_headerin(_pvi, _pvc, &op) >= 0;
}

TvStatus* AdecVorbis::init(const CMediaType& mt)
{
    _status = TvStatusVorbis();
    if (!TvAssert(*mt.FormatType() == FORMAT_VorbisFormat2))
        return nullptr;
    if (sameHeaders(mt)) {
        // A reconnection with the same headers: what the library built from
        // them (codebooks, synthesis tables) stays, and decoding starts over
        // as after a fresh start, whose first block only primes the overlap.
        vorbis_synthesis_restart(_pvd);
        const uint8_t* p1 = mt.Format() + sizeof(VORBISFORMAT2);
        VORBISFORMAT2 format;
        std::memcpy(&format, mt.Format(), sizeof format);
        for (uint32_t size : format.HeaderSize) {
            if (logging(_log))
                _log << "Ogg::readHeader " << int(p1[0]) << std::endl;
            p1 += size;
        }
        _packetNumber = 3;
        return finishInit(format);
    }
    releaseLibraryObjects();
    TvAssert(_pvi == 0 && _pvc == 0);
    _pvi = new vorbis_info;
    _pvc = new vorbis_comment;
    vorbis_info_init(_pvi);
    vorbis_comment_init(_pvc);

    // A block too short for its own fixed part fails the length check
    // without being read.
    if (!TvAssertWorded(mt.FormatLength() >= sizeof(VORBISFORMAT2) && mt.Format(),
                        "mt.FormatLength() == sizeof(VORBISFORMAT2) "
                        "+pv->HeaderSize[0]+pv->HeaderSize[1]+pv->HeaderSize[2]"))
        return nullptr;
    VORBISFORMAT2 format;
    std::memcpy(&format, mt.Format(), sizeof format);
    const VORBISFORMAT2* pv = &format;
    // clang-format off
    if (!TvAssert(mt.FormatLength() == sizeof(VORBISFORMAT2) +pv->HeaderSize[0]+pv->HeaderSize[1]+pv->HeaderSize[2]))
        return nullptr;
    const uint8_t* p1 = mt.Format() + sizeof(VORBISFORMAT2);
    for (int i = 0; i < 3; ++i)
        if (!TvAssert(readHeader(p1, pv->HeaderSize[i] )))
            return nullptr;
    // clang-format on

    _pvd = new vorbis_dsp_state;
    if (vorbis_synthesis_init(_pvd, _pvi) != 0) {
        // Nothing was allocated inside: only the object itself goes.
        delete _pvd;
        _pvd = nullptr;
        return nullptr;
    }
    _pvb = new vorbis_block;
    vorbis_block_init(_pvd, _pvb);
    _headers.assign(mt.Format(), mt.Format() + mt.FormatLength());
    return finishInit(format);
}

bool AdecVorbis::sameHeaders(const CMediaType& mt) const
{
    return _pvb && mt.Format() && mt.FormatLength() == _headers.size() &&
           std::memcmp(mt.Format(), _headers.data(), _headers.size()) == 0;
}

TvStatus* AdecVorbis::finishInit(const VORBISFORMAT2& format)
{
    const VORBISFORMAT2* pv = &format;
    int chan = int(pv->Channels);
    if (pv->Channels > kMaxChannels)
        return nullptr;
    // The library decodes as many channels as the identification header
    // says; a block that claims others would send the copy out of bounds.
    if (!TvAssert(chan == _pvi->channels))
        return nullptr;
    _status.chan = chan;
    _status.channelMask = channelMask(chan);
    _status.freq = int32_t(pv->SamplesPerSec);
    _status.stype = STFloat;

    _log << "Vorbis Comments: " << std::endl;
    for (int i = 0; i < _pvc->comments; ++i)
        _log << (_pvc->user_comments[i] ? _pvc->user_comments[i] : "") << std::endl;
    _log << "Encoded by: " << (_pvc->vendor ? _pvc->vendor : "") << std::endl;
    _log << _status.chan << " channels, " << _status.freq << " Hz" << std::endl;
    return &_status;
}

TvStatus* AdecVorbis::process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out)
{
    TV_PROFILE_SCOPE("AdecVorbis::process");
    const uint8_t* packet = *readPtr;
    if (packet >= end)
        return nullptr;
    *readPtr = end;
    if (!_pvb || _status.chan == 0)
        return nullptr;  // init refused the stream: nothing can be decoded

    ogg_packet op{};
    op.packet = const_cast<unsigned char*>(packet);
    op.bytes = long(end - packet);
    op.b_o_s = 0;
    op.e_o_s = 0;
    op.granulepos = 0;
    op.packetno = _packetNumber++;
    if (vorbis_synthesis(_pvb, &op) != 0) {
        _log << "error: vorbis_synthesis" << std::endl;
        return nullptr;
    }
    vorbis_synthesis_blockin(_pvd, _pvb);

    BYTE* data = nullptr;
    if (!out || FAILED(out->GetPointer(&data)) || !data)
        return nullptr;
    float* words = reinterpret_cast<float*>(data);
    const long capacity = out->GetSize() / 4;
    const int chan = _status.chan;
    const uint8_t* row = channelRow(chan);
    long written = 0;
    float** pcm = nullptr;
    int n;
    while ((n = vorbis_synthesis_pcmout(_pvd, &pcm)) > 0) {
        if (logging(_log))
            _log << "vorbis_pcmout: " << n << std::endl;
        if (!(long(chan) * n + written < capacity))
            break;  // stays in the library for the next packet
        kInterleave[chan](pcm, row, n, words + written);
        vorbis_synthesis_read(_pvd, n);
        written += long(chan) * n;
    }
    if (written == 0)
        return nullptr;
    _status.samples = int32_t(written / chan);
    _status.iFrameSize = int32_t(end - packet);
    out->SetActualDataLength(LONG(written * 4));
    return &_status;
}
