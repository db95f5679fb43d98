#include "decoders/AdecLpcmBd.h"

#include <cstring>
#include <utility>

#include "core/bit_reader.h"
#include "core/status_helpers.h"
#include "diagnostics/assertions.h"
#include "diagnostics/profiling.h"
#include "platform/media_guids.h"

namespace {

// Indexed by the header's channel assignment. Rows 4 and 5 keep the coded
// order although their masks differ: both are taken as they are coded.
constexpr AdecLpcmBd::ChannelLayout channelLayouts[12] = {
    {0, 0, {}, 0},
    {1, 2, {0}, 0x4},
    {0, 0, {}, 0},
    {2, 2, {0, 1}, 0x3},
    {3, 4, {0, 1, 2}, 0x7},
    {3, 4, {0, 1, 2}, 0x103},
    {4, 4, {0, 1, 2, 3}, 0x107},
    {4, 4, {0, 1, 2, 3}, 0x33},
    {5, 6, {0, 1, 2, 3, 4}, 0x37},
    {6, 6, {0, 1, 2, 5, 3, 4}, 0x3F},
    {7, 8, {0, 1, 2, 3, 6, 4, 5}, 0x637},
    {8, 8, {0, 1, 2, 7, 3, 6, 4, 5}, 0x63F},
};

int frequencyFromCode(int code)
{
    switch (code) {
        case 1:
            return 48000;
        case 4:
            return 96000;
        case 5:
            return 192000;
        default:
            return 0;  // 44.1 kHz family and reserved codes
    }
}

TvSampleType sampleTypeFromCode(int code)
{
    switch (code) {
        case 1:
            return ST16Bit;
        case 2:
            return ST20Bit;
        case 3:
            return ST24Bit;
        default:
            return STUninitialized;
    }
}

// Picks each output channel's sample out of every coded sample frame.
// Takes the coded channel named for each output channel and turns its
// big-endian sample little-endian, in one pass: the selection and the byte
// swap of the packing, fused so each sample is touched once.
template <int SampleBytes>
void selectChannelsSwapped(uint8_t* out,
                           const uint8_t* in,
                           int frames,
                           const AdecLpcmBd::ChannelLayout& layout)
{
    const size_t codedFrame = size_t(SampleBytes) * size_t(layout.codedChannels);
    int offsets[8];
    for (int c = 0; c < layout.outputChannels; ++c)
        offsets[c] = layout.codedChannel[c] * SampleBytes;
    for (int frame = 0; frame < frames; ++frame, in += codedFrame)
        for (int c = 0; c < layout.outputChannels; ++c, out += SampleBytes) {
            const uint8_t* sample = in + offsets[c];
            for (int b = 0; b < SampleBytes; ++b)
                out[b] = sample[SampleBytes - 1 - b];
        }
}

}  // namespace

const AdecLpcmBd::ChannelLayout* AdecLpcmBd::channelLayout(int assignment)
{
    if (assignment < 0 || assignment >= 12 || channelLayouts[assignment].outputChannels == 0)
        return nullptr;
    return &channelLayouts[assignment];
}

bool AdecLpcmBd::accepts(const CMediaType& mediaType)
{
    return IsEqualGUID(mediaType.subtype, MEDIASUBTYPE_BDMV_LPCM_AUDIO);
}

TvStatus* AdecLpcmBd::init(const CMediaType& mediaType)
{
    _status = TvStatusLpcm();
    readWaveFormat(mediaType, _status);
    return &_status;
}

TvStatus* AdecLpcmBd::process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* dest)
{
    TV_PROFILE_SCOPE("AdecLpcmBd::process");
    const uint8_t* p = *readPtr;
    int32_t avail = static_cast<int32_t>(end - p);
    if (avail < 4)
        return nullptr;
    int32_t payload_size = readBigEndian16(p);
    if (payload_size + 4 > avail)
        return nullptr;  // the rest of the packet is still to come
    // From here the buffer is this packet, whatever the outcome.
    *readPtr = end;
    if (payload_size + 4 < avail) {
        _log << "error: BD payload size wrong" << std::endl;
        return nullptr;
    }
    BYTE* out = nullptr;
    if (!dest || FAILED(dest->GetPointer(&out)) || !out)
        return nullptr;
    // The output never exceeds the payload, so this also keeps writing in bounds.
    if (!TvAssert(payload_size < dest->GetSize()))
        return nullptr;

    BitReader bf(p + 2, 2);
    int assignment = static_cast<int>(bf.get(4));
    int freq = frequencyFromCode(static_cast<int>(bf.get(4)));
    TvSampleType stype = sampleTypeFromCode(static_cast<int>(bf.get(2)));
    if (freq == 0 || stype == STUninitialized)
        return nullptr;
    const ChannelLayout* layout = channelLayout(assignment);
    if (!layout)
        return nullptr;
    _status.freq = freq;
    _status.stype = stype;
    _status.chan = layout->outputChannels;
    _status.channelMask = layout->mask;

    int32_t bytesPerChannel = payload_size / layout->codedChannels;
    int32_t outLength = layout->outputChannels * bytesPerChannel;
    dest->SetActualDataLength(outLength);

    const uint8_t* samples = p + 4;
    int32_t size = payload_size;
    int sampleBytes = stype == ST16Bit ? 2 : 3;
    int32_t xsize = sampleBytes * layout->codedChannels;
    TvAssert(size % xsize == 0);
    int frames = size / xsize;
    if (sampleBytes == 2)
        selectChannelsSwapped<2>(out, samples, frames, *layout);
    else
        selectChannelsSwapped<3>(out, samples, frames, *layout);
    // A payload of partial sample frames leaves bytes unwritten: deliver
    // silence there rather than what the buffer held before.
    int32_t written = frames * layout->outputChannels * sampleBytes;
    std::memset(out + written, 0, size_t(outLength - written));

    // The 4 header bytes are not part of the frame: the caller counts them
    // as skipped.
    _status.iFrameSize = payload_size;
    _status.samples = bytesPerChannel / byteSize(_status);
    return &_status;
}
