#define TV_ASSERT_SOURCE "AdecLpcmDVD"  // the name its assertion lines are known by
#include "decoders/AdecLpcmDvd.h"

#include <algorithm>
#include <cstring>

#include "config/util.h"
#include "core/bit_reader.h"
#include "core/status_helpers.h"
#include "decoders/lpcm_packing.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "platform/media_guids.h"

namespace {

// HD-DVD channel assignment -> speaker mask. Code 7 gives left, right and back
// centre like code 2, as recorded streams expect.
constexpr uint32_t assignmentMasks[21] = {
    0x4,   0x3,  0x103, 0x33, 0xB, 0x10B, 0x3B, 0x103, 0x107, 0x37, 0xF,
    0x10F, 0x3F, 0x107, 0x37, 0xF, 0x10F, 0x3F, 0x3B,  0x37,  0x3F,
};

// Assignments delivered in an order that would need reordering (18-20) are
// passed through as they are; the table only feeds an assertion.
constexpr bool correctOrder[21] = {
    true, true, true, true, true, true, true, true,  true,  true,  true,
    true, true, true, true, true, true, true, false, false, false,
};

// One pair of 20-bit sample frames of `n` channels (5n bytes) -> 2n samples
// in 24-bit containers, little-endian. The pair's samples come in fours (two
// for a single channel): their upper 16 bits as big-endian words, then their
// low 4 bits two to a byte, the first sample's in the high nibble.
uint8_t* unpack20BitPair(const uint8_t* in, int n, uint8_t* out)
{
    const int perGroup = n == 1 ? 2 : 4;
    for (int group = 0; group < 2 * n / perGroup; ++group) {
        const uint8_t* nibbles = in + 2 * perGroup;
        for (int i = 0; i < perGroup; ++i) {
            uint8_t low = i % 2 == 0 ? nibbles[i / 2] & 0xF0 : uint8_t(nibbles[i / 2] << 4);
            *out++ = low;
            *out++ = in[2 * i + 1];
            *out++ = in[2 * i];
        }
        in += 2 * perGroup + perGroup / 2;
    }
    return out;
}

}  // namespace

bool AdecLpcmDvd::accepts(const CMediaType& mediaType)
{
    return IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_DVD_LPCM_AUDIO) ||
           IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_HDDVD_LPCM);
}

TvStatus* AdecLpcmDvd::init(const CMediaType& mediaType)
{
    _mediaType = mediaType;
    _status = TvStatusLpcm();
    _channelAssignment = 0;
    _timeStampBytes = 0;
    readWaveFormat(mediaType, _status);
    // Without packet headers the format block is all there is to tell the
    // rate and the channels.
    if (!hasPacketHeaders(mediaType) && (_status.freq <= 0 || _status.chan <= 0)) {
        _log << "error: LPCM without rate or channels" << std::endl;
        return nullptr;
    }
    return &_status;
}

bool AdecLpcmDvd::parsePacketHeader(const uint8_t** readPtr, const uint8_t* end)
{
    if (IsEqualGUID(_mediaType.subtype, MEDIASUBTYPE_DVD_LPCM_AUDIO))
        return parseDvdVideoHeader(readPtr, end);
    if (IsEqualGUID(_mediaType.subtype, MEDIASUBTYPE_HDDVD_LPCM))
        return parseHdDvdHeader(readPtr, end);
    // clang-format off
    TvAssert(0);
    // clang-format on
    return false;
}

// Private header of DVD-Video LPCM: substream id, frame count, first access
// unit pointer (2 bytes), emphasis/frame number, quantisation/frequency/
// channels, dynamic range.
bool AdecLpcmDvd::parseDvdVideoHeader(const uint8_t** readPtr, const uint8_t* end)
{
    const uint8_t* p = *readPtr;
    int32_t size = static_cast<int32_t>(end - p);
    if (size < 7) {
        _log << "error: bad VideoDVD header" << std::endl;
        return false;
    }
    // clang-format off
    if (!TvAssert((*p & 0xf8) == 0xa0))
        // clang-format on
        return false;  // not an LPCM substream: the header is refused
    int pointer = readBigEndian16(p + 2);
    // The packet's time stamp belongs to the first access unit that starts
    // in it; the pointer counts from its own last byte, so the audio before
    // that unit is pointer - 4 bytes. compatQuirks=1 counts the bytes from
    // the unit to the end instead, which stamps each packet about its own
    // length too early.
    _timeStampBytes = PcompatQuirks() ? size - pointer + 4 : std::clamp(pointer - 4, 0, size - 7);
    if (logging(_log))
        _log << "number: " << int(p[1]) << " " << _timeStampBytes << std::endl;

    BitReader bf(p + 5, 1);
    int quantisation = static_cast<int>(bf.get(2));
    int frequency = static_cast<int>(bf.get(2));
    bf.skip(1);
    int channels = static_cast<int>(bf.get(3)) + 1;
    if (quantisation == 3) {
        _log << "bad VideoDVD quant" << std::endl;
        return false;
    }
    if (frequency > 1) {
        _log << "error: bad Video DVD freq" << std::endl;
        return false;
    }
    _status.stype = sampleTypeFromBits(16 + 4 * quantisation);
    _status.freq = frequency == 0 ? 48000 : 96000;
    _status.chan = channels;
    *readPtr = p + 7;
    return true;
}

bool AdecLpcmDvd::parseHdDvdHeader(const uint8_t** readPtr, const uint8_t* end)
{
    const uint8_t* p = *readPtr;
    int32_t size = static_cast<int32_t>(end - p);
    if (size < 9) {
        _log << "error: bad VideoDVD header" << std::endl;
        return false;
    }
    // clang-format off
    if (!TvAssert((*p & 0xf8) == 0xa0))
        // clang-format on
        return false;
    int pointer = readBigEndian16(p + 2);
    _timeStampBytes = pointer - 6;
    if (logging(_log))
        _log << "number: " << int(p[1]) << " " << _timeStampBytes << std::endl;

    BitReader bf(p + 4, 5);
    bf.skip(7);
    int quantisation = static_cast<int>(bf.get(2));
    int frequency = static_cast<int>(bf.get(3));
    int channels = static_cast<int>(bf.get(4)) + 1;
    bf.skip(16);
    // clang-format off
    TvAssert(bf.get(3) == 0);
    // clang-format on
    int previousAssignment = _channelAssignment;
    _channelAssignment = static_cast<int>(bf.get(5));
    // clang-format off
    if (!TvAssert(_channelAssignment <=20)) {
        // clang-format on
        // No layout exists above 20: the header is refused, and the code is
        // not kept, so the tables are only ever read inside their bounds.
        _channelAssignment = previousAssignment;
        return false;
    }
    // clang-format off
    TvAssert(correctOrder[_channelAssignment]);
    // clang-format on
    _status.channelMask = assignmentMasks[_channelAssignment];
    _status.stype = sampleTypeFromBits(16 + 4 * quantisation);
    _status.freq = 48000 << frequency;
    _status.chan = channels;
    *readPtr = p + 9;
    return true;
}

TvStatus* AdecLpcmDvd::process(const uint8_t** readPtr, const uint8_t* pend, IMediaSample* dest)
{
    TV_PROFILE_SCOPE("AdecLpcmDvd::process");
    // compatQuirks=1 leaves 20-bit DVD-Video streams silent, as the decoder
    // once did. Odd channel counts above one have no layout of their own.
    if (_status.stype == ST20Bit && dvdVideoLayouts() &&
        (_status.chan == 1 || (_status.chan > 1 && _status.chan % 2 == 0 && _status.chan <= 8)))
        return convert20Bit(readPtr, pend, dest);
    const uint8_t* p = *readPtr;
    int32_t size = static_cast<int32_t>(pend - p);
    int sampleSize = byteSize(_status) * std::max(_status.chan, 1);
    int32_t samples = size / sampleSize;
    if (_status.freq > 0)
        _status.timeOffset = static_cast<int32_t>(
            -(int64_t(_timeStampBytes / sampleSize) * 10000000) / _status.freq);
    // clang-format off
    TvAssert(samples * sampleSize == size);
    // clang-format on
    if (samples == 0)
        return nullptr;

    BYTE* out = nullptr;
    if (!dest || FAILED(dest->GetPointer(&out)) || !out)
        return nullptr;
    // Writing must stay inside the output buffer: a payload larger than it is
    // converted only as far as it fits (whole pairs of sample frames).
    int32_t oFrameSize = size;
    int32_t capacity = dest->GetSize();
    // clang-format off
    if (!TvAssert(dest->GetSize() > oFrameSize)) {
        // clang-format on
        size = std::max<int32_t>(0, capacity) / (2 * sampleSize) * (2 * sampleSize);
        samples = size / sampleSize;
        if (samples == 0)
            return nullptr;
        pend = p + size;
    }
    // 24-bit samples come in pairs of frames: an odd last frame waits for
    // the next packet, and the frame reported is what is converted.
    if (_status.stype == ST24Bit) {
        samples -= samples % 2;
        if (samples == 0)
            return nullptr;
        size = samples * sampleSize;
        pend = p + size;
    }
    _status.samples = samples;
    _status.iFrameSize = size;
    fitMaskToCount(_status);
    dest->SetActualDataLength(size);

    if (_status.stype == ST16Bit) {
        // clang-format off
        TvAssert(dest->GetSize() > size);
        // clang-format on
        // Every byte is copied; an odd trailing byte has no partner to swap
        // with and goes out as it came.
        swapBytes16(out, p, static_cast<size_t>(size) / 2);
        if (size % 2)
            out[size - 1] = p[size - 1];
        p += size;
    } else if (_status.stype == ST24Bit && dvdVideoLayouts() && _status.chan >= 4 &&
               _status.chan % 2 == 0) {
        // Four or more channels: each pair's samples in fours, the upper 16
        // bits of four as big-endian words, then their four low bytes.
        // compatQuirks=1 reads them as two channels are read, below.
        for (int32_t block = 0; block < samples * _status.chan / 4; ++block, out += 12)
            p = unpack24BitBlock(p, 2, [out](int i) { return out + 3 * i; });
    } else if (_status.stype == ST24Bit) {
        // Pairs of sample frames: the upper 16 bits of all 2n samples as
        // big-endian words, then their 2n low bytes.
        const int n = _status.chan;
        for (int32_t pair = 0; pair < samples / 2; ++pair, out += 6 * n)
            p = unpack24BitBlock(p, n, [out](int i) { return out + 3 * i; });
    } else {
        // 20-bit samples are recognised but not converted: silence rather
        // than whatever the buffer held, and the bytes go with the frame the
        // status reports, so the stream cannot pile up in the input buffer.
        // clang-format off
        TvAssert(0);
        // clang-format on
        std::memset(out, 0, static_cast<size_t>(size));
        // clang-format off
        TvAssert(p == pend);
        // clang-format on
        p = pend;
    }
    // clang-format off
    TvAssert(p == pend);
    // clang-format on
    *readPtr = p;
    return &_status;
}

// The layouts of 20-bit and of many-channel 24-bit DVD-Video LPCM that the
// letter of the old rules did not know; compatQuirks=1 turns them off.
bool AdecLpcmDvd::dvdVideoLayouts() const
{
    return !PcompatQuirks() && IsEqualGUID(_mediaType.subtype, MEDIASUBTYPE_DVD_LPCM_AUDIO);
}

// 20-bit pairs of frames take 5 bytes a channel and give 6: as many as the
// output holds are converted, the rest waits for the next call.
TvStatus* AdecLpcmDvd::convert20Bit(const uint8_t** readPtr,
                                    const uint8_t* pend,
                                    IMediaSample* dest)
{
    const int n = _status.chan;
    const int32_t pairIn = 5 * n, pairOut = 6 * n;
    if (_status.freq > 0)
        _status.timeOffset = static_cast<int32_t>(
            -(int64_t(_timeStampBytes) * 2 / pairIn * 10000000) / _status.freq);
    BYTE* out = nullptr;
    if (!dest || FAILED(dest->GetPointer(&out)) || !out)
        return nullptr;
    int32_t pairs = std::min<int32_t>(static_cast<int32_t>(pend - *readPtr) / pairIn,
                                      std::max<int32_t>(0, dest->GetSize()) / pairOut);
    if (pairs == 0)
        return nullptr;
    const uint8_t* p = *readPtr;
    for (int32_t pair = 0; pair < pairs; ++pair, p += pairIn)
        out = unpack20BitPair(p, n, out);
    _status.samples = 2 * pairs;
    _status.iFrameSize = pairs * pairIn;
    fitMaskToCount(_status);
    dest->SetActualDataLength(pairs * pairOut);
    *readPtr = p;
    return &_status;
}
