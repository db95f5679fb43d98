#define TV_ASSERT_SOURCE "adeclpcm"  // the name its assertion lines are known by
#include "decoders/AdecLPCM.h"

#include <algorithm>
#include <cstring>

#include "config/util.h"
#include "core/bit_reader.h"
#include "core/status_helpers.h"
#include "decoders/dvd_audio_assignments.h"
#include "decoders/dvd_audio_rate.h"
#include "decoders/lpcm_packing.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "platform/media_guids.h"

// Assertion conditions are logged as written, spacing included.

namespace {

// Bytes of the DVD-Audio private header that carry fields we read.
constexpr int32_t dvdAudioHeaderFields = 11;

}  // namespace

bool AdecLPCM::accepts(const CMediaType& mediaType)
{
    return IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_DVDA_AUDIO_LPCM);
}

TvStatus* AdecLPCM::init(const CMediaType& mediaType)
{
    _mediaType = mediaType;
    _status = TvStatusLpcm();
    readWaveFormat(mediaType, _status);
    _status.group1Channels = _status.chan;
    _status.group2Channels = 0;
    useCodedOrder();
    _firstAccessUnitTime = 0;
    // Without packet headers the format block is all there is to tell the
    // rate and the channels.
    if (!hasPacketHeaders(mediaType) && (_status.freq <= 0 || _status.chan <= 0)) {
        _log << "error: LPCM without rate or channels" << std::endl;
        return nullptr;
    }
    return &_status;
}

bool AdecLPCM::parsePacketHeader(const uint8_t** readPtr, const uint8_t* end)
{
    // Plain audio samples carry no private header.
    if (!hasPacketHeaders(_mediaType))
        return true;
    bool ok = false;
    if (IsEqualGUID(_mediaType.subtype, MEDIASUBTYPE_DVDA_AUDIO_LPCM))
        ok = parseDvdAudioHeader(readPtr, end);
    else if (IsEqualGUID(_mediaType.subtype, MEDIASUBTYPE_DVD_LPCM_AUDIO))
        ok = parseDvdVideoHeader(readPtr, end);
    // clang-format off
    else
        TvAssert(0);
    // clang-format on
    if (!ok)
        *readPtr = end;
    return ok;
}

// Private header of DVD-Audio LPCM: substream id, continuity counter, header
// length (byte 3), first access unit pointer (bytes 4-5, counted from byte 5),
// quantisation and rate of both groups (bytes 7-8), channel assignment
// (byte 10), padding up to the header length.
bool AdecLPCM::parseDvdAudioHeader(const uint8_t** readPtr, const uint8_t* end)
{
    const uint8_t* p = *readPtr;
    int32_t size = static_cast<int32_t>(end - p);
    // clang-format off
    TvAssert(size >= 7);
    // clang-format on
    // A short header reads as zeros past its end.
    uint8_t header[dvdAudioHeaderFields] = {};
    if (size > 0)
        std::memcpy(header, p, size_t(std::min(size, dvdAudioHeaderFields)));
    if (header[0] != 0xA0) {
        _log << "Error: wrong Audio DVD header" << std::endl;
        // clang-format off
        TvAssert(0);
        // clang-format on
        return false;
    }
    // Without its channel assignment byte the header describes nothing.
    if (size < dvdAudioHeaderFields)
        return false;
    BitReader bf(header + 7, 2);
    int quant1 = static_cast<int>(bf.get(4));
    int quant2 = static_cast<int>(bf.get(4));
    int freq1 = static_cast<int>(bf.get(4));
    int freq2 = static_cast<int>(bf.get(4));
    int channelAssignment = header[10] & 0x1F;
    // compatQuirks=1 takes only assignment 17 (two groups of three), as the
    // decoder once did: stereo and the other layouts gave no sound.
    if (channelAssignment >= kDvdAudioAssignmentCount ||
        (PcompatQuirks() && channelAssignment != 17)) {
        // clang-format off
        TvAssert(0);
        // clang-format on
        return false;
    }
    const DvdAudioAssignment& layout = kDvdAudioAssignments[channelAssignment];
    _status.group1Channels = layout.group1;
    _status.group2Channels = layout.channels - layout.group1;
    _status.chan = layout.channels;
    _status.channelMask = layout.mask;
    useCodedOrder();
    std::copy(std::begin(layout.slot), std::end(layout.slot), _slot);
    _reordered = !inSpeakerOrder(layout);
    // The second group takes the first one's resolution and rate.
    // clang-format off
    if (_status.group2Channels > 0)
        TvAssert(quant1 ==quant2 && freq1 == freq2);
    // clang-format on
    _status.stype = sampleTypeFromBits(16 + 4 * quant1);
    int frequency = dvdAudioFrequency(freq1);
    if (frequency == 0) {
        // clang-format off
        TvAssert(0);
        // clang-format on
        return false;
    }
    _status.freq = frequency;

    int headerLength = header[3];
    int32_t first_access_unit_pointer = readBigEndian16(header + 4);
    // The pointer counts from its own last byte, the audio starts after the
    // header: what lies between belongs to the previous access unit.
    first_access_unit_pointer = first_access_unit_pointer - headerLength + 1;
    int32_t d_samples = first_access_unit_pointer / _status.chan / byteSize(_status);
    // clang-format off
    TvAssert(first_access_unit_pointer == d_samples * _status.chan * byteSize(_status ));
    // clang-format on
    _firstAccessUnitTime = int64_t(d_samples) * 10000000 / _status.freq;

    // A header longer than its packet leaves no audio.
    *readPtr = p + std::min(4 + headerLength, std::max(size, 0));
    return true;
}

// Private header of DVD-Video LPCM, for streams typed as such.
bool AdecLPCM::parseDvdVideoHeader(const uint8_t** readPtr, const uint8_t* end)
{
    const uint8_t* p = *readPtr;
    int32_t size = static_cast<int32_t>(end - p);
    if (size < 7) {
        _log << "error: bad VideoDVD header" << std::endl;
        return false;
    }
    if ((p[0] & 0xF8) != 0xA0) {
        _log << "error: bad VideoDVD syncword" << std::endl;
        return false;
    }
    int32_t first_access_unit_pointer = readBigEndian16(p + 2) - 4;
    if (logging(_log))
        _log << "number: " << int(p[1]) << " " << first_access_unit_pointer << std::endl;
    BitReader bf(p + 5, 1);
    int quantisation = static_cast<int>(bf.get(2));
    int frequency = static_cast<int>(bf.get(2));
    bf.skip(1);
    int channels = static_cast<int>(bf.get(3)) + 1;
    _status.group1Channels = channels;
    _status.chan = channels;
    _status.group2Channels = 0;
    useCodedOrder();
    if (quantisation == 3) {
        _log << "bad VideoDVD quant" << std::endl;
        return false;
    }
    if (frequency >= 2) {
        _log << "bad VideoDVD freq" << std::endl;
        return false;
    }
    _status.stype = sampleTypeFromBits(16 + 4 * quantisation);
    _status.freq = frequency == 1 ? 96000 : 48000;
    _status.samples = frequency == 1 ? 160 : 80;
    *readPtr = p + 7;
    int32_t d_samples = first_access_unit_pointer / _status.chan / byteSize(_status);
    // clang-format off
    TvAssert(first_access_unit_pointer == d_samples * _status.chan * byteSize(_status));
    // clang-format on
    _firstAccessUnitTime = int64_t(d_samples) * 10000000 / _status.freq;
    return true;
}

TvStatus* AdecLPCM::process(const uint8_t** readPtr, const uint8_t* pend, IMediaSample* dest)
{
    TV_PROFILE_SCOPE("AdecLPCM::process");
    const uint8_t* p = *readPtr;
    int32_t size = static_cast<int32_t>(pend - p);
    _status.iFrameSize = size;
    // The packet's stamp is its first access unit's; the audio before that
    // unit ends the one the previous packet began, and plays that much earlier.
    _status.timeOffset = static_cast<int32_t>(-_firstAccessUnitTime);
    // Whole pairs of sample frames only; a record without channels (a bad
    // format block) converts nothing rather than dividing by zero.
    _status.samples = _status.chan > 0 ? size / byteSize(_status) / _status.chan / 2 * 2 : 0;
    // clang-format off
    TvAssert(_status.samples *byteSize(_status) * _status.chan == _status.iFrameSize);
    // clang-format on
    int32_t oFrameSize = byteSize(_status) * _status.samples * _status.chan;
    _status.chan = _status.group1Channels + _status.group2Channels;
    fitMaskToCount(_status);

    BYTE* out = nullptr;
    if (!dest || FAILED(dest->GetPointer(&out)) || !out)
        return nullptr;
    int32_t capacity = std::max<int32_t>(0, dest->GetSize());
    // clang-format off
    TvAssert(dest->GetSize() > oFrameSize);
    // clang-format on
    dest->SetActualDataLength(std::min(oFrameSize, capacity));

    if (_status.stype == ST16Bit) {
        // clang-format off
        TvAssert(dest->GetSize() > size);
        // clang-format on
        // Every byte is copied, the output length counts only whole pairs of
        // frames; an odd trailing byte has no partner to swap with.
        int32_t copied = std::min(size, capacity);
        if (copied > 0)
            std::memcpy(out, p, size_t(copied));
        swapBytes16(out, out, size_t(copied) / 2);
        if (_reordered)
            putFramesInSpeakerOrder(out, std::min(copied, oFrameSize));
        *readPtr = pend;
        return &_status;
    }
    bool converted = true;
    if (_status.stype == ST24Bit) {
        // clang-format off
        if (_status.group1Channels == 3 && _status.group2Channels == 3)
            TvAssert((pend-p)%36 == 0);
        // clang-format on
        convert24BitPairs(&p, pend, out, capacity);
    } else {
        // 20-bit samples are not converted: silence rather than
        // whatever the buffer held, and the bytes go with the frame the
        // status reports, so an unsupported stream cannot pile up in the
        // input buffer packet after packet.
        // clang-format off
        TvAssert(0);
        // clang-format on
        std::memset(out, 0, size_t(std::min(oFrameSize, capacity)));
        // clang-format off
        TvAssert(p==pend);
        // clang-format on
        p = pend;
    }
    // clang-format off
    if (p != pend)
        TvAssert(p==pend);
    // clang-format on
    // A partial unit at the end cannot be converted; it goes with the frame
    // instead of being read past the end of the input.
    if (converted)
        *readPtr = pend;
    return &_status;
}

// Pairs of sample frames: each group packed as the upper 16 bits of its
// channels' samples of both frames as big-endian words, then their low bytes,
// the second group's block first. Out come both frames in speaker order.
void AdecLPCM::convert24BitPairs(const uint8_t** readPtr,
                                 const uint8_t* pend,
                                 uint8_t* out,
                                 int32_t capacity)
{
    const uint8_t* p = *readPtr;
    const int first = _status.group1Channels, second = _status.group2Channels;
    const int n = first + second;
    if (first <= 0 || second < 0 || n > 8)
        return;
    int32_t pairBytes = 6 * n;
    int32_t pairs = std::min<int32_t>(static_cast<int32_t>(pend - p), capacity) / pairBytes;
    for (int32_t pair = 0; pair < pairs; ++pair) {
        // Group 2 (coded channels first..n-1), then group 1 (0..first-1).
        for (int group = 1; group >= 0; --group) {
            const int count = group == 0 ? first : second;
            const int codedBase = group == 0 ? 0 : first;
            p = unpack24BitBlock(p, count, [&](int i) {
                const int frame = i / count, k = i % count;
                return out + 3 * (frame * n + _slot[codedBase + k]);
            });
        }
        out += pairBytes;
    }
    *readPtr = p;
}

void AdecLPCM::useCodedOrder()
{
    for (int k = 0; k < 8; ++k)
        _slot[k] = uint8_t(k);
    _reordered = false;
}

// 16-bit frames, converted in place, from coded order to speaker order.
void AdecLPCM::putFramesInSpeakerOrder(uint8_t* pcm, int32_t bytes) const
{
    const int n = _status.chan;
    if (n <= 0 || n > 6)
        return;
    uint8_t frame[12];
    for (int32_t at = 0; at + 2 * n <= bytes; at += 2 * n) {
        std::memcpy(frame, pcm + at, size_t(2 * n));
        for (int k = 0; k < n; ++k)
            std::memcpy(pcm + at + 2 * _slot[k], frame + 2 * k, 2);
    }
}
