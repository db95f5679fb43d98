// Linked into every fuzz target: an assertion that fuzz input should not be
// able to cause aborts the run, so that libFuzzer keeps the input as a crash.
// Assertions only log in the product, so without this a broken decoder
// contract or an output-size check that fires on odd input passes unseen.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diagnostics/assertions.h"

namespace {

// Assertions that bad input reaches by design: the code logs them and keeps
// its reads and writes in bounds. Matched on source name and condition text,
// not on line numbers, which move with every edit. `target` limits an entry
// to the one target whose harness provokes it (null: every target).
struct AllowedAssertion {
    const char* source;
    const char* condition;
    const char* target;
    const char* reason;
};

constexpr AllowedAssertion allowed[] = {
    // DVD-Video / HD-DVD LPCM: the private header and packet length are input.
    {"AdecLpcmDVD", "(*p & 0xf8) == 0xa0", nullptr,
     "byte 0 is no substream number: header refused"},
    {"AdecLpcmDVD", "bf.get(3) == 0", nullptr, "reserved header bits set: ignored"},
    {"AdecLpcmDVD", "_channelAssignment <=20", nullptr,
     "unknown channel assignment: header refused"},
    {"AdecLpcmDVD", "correctOrder[_channelAssignment]", nullptr,
     "assignments 18-20 pass unreordered"},
    {"AdecLpcmDVD", "samples * sampleSize == size", nullptr,
     "packet ends in a partial sample frame"},
    {"AdecLpcmDVD", "p == pend", nullptr, "the partial sample frame is left unconverted"},
    {"AdecLpcmDVD", "0", nullptr, "20-bit samples are not converted: silence"},
    // DVD-Audio LPCM: the same, with its own header.
    {"adeclpcm", "size >= 7", nullptr, "packet shorter than its header: refused"},
    {"adeclpcm", "0", nullptr,
     "bad header byte, assignment or frequency, or an unsupported packing"},
    {"adeclpcm", "quant1 ==quant2 && freq1 == freq2", nullptr,
     "groups disagree: group 1's values used"},
    {"adeclpcm", "first_access_unit_pointer == d_samples * _status.chan * byteSize(_status )",
     nullptr, "access unit pointer inside a sample frame"},
    {"adeclpcm", "first_access_unit_pointer == d_samples * _status.chan * byteSize(_status)",
     nullptr, "access unit pointer inside a sample frame"},
    {"adeclpcm", "_status.samples *byteSize(_status) * _status.chan == _status.iFrameSize", nullptr,
     "packet ends in a partial or odd sample frame"},
    {"adeclpcm", "(pend-p)%36 == 0", nullptr, "24-bit packet ends in a partial block"},
    {"adeclpcm", "p==pend", nullptr, "the partial block is left unconverted"},
    // Blu-ray LPCM.
    {"AdecLpcmBd", "size % xsize == 0", nullptr,
     "payload ends in a partial sample frame: zero-filled"},
    {"AdecLpcmBd", "payload_size < dest->GetSize()", "lpcm_bd_fuzzer",
     "the target hands small output samples on purpose: packet refused"},
    // MLP: the private header in front of each packet.
    {"AdecMLP", "p[0] == 0xa1", nullptr, "DVD-Audio private header byte wrong: packet dropped"},
    {"AdecMLP", "(p[0] & 0xF8) == 0xB0", nullptr,
     "HD-DVD private header byte wrong: packet dropped"},
    {"AdecMLP", "end-p>4", nullptr, "packet shorter than its header: dropped"},
    {"AdecMLP", "p<end", nullptr, "header length reaches past the packet: dropped"},
    // Vorbis: the format block (and the headers in it) come with the media type.
    {"AdecVorbis", "*mt.FormatType() == FORMAT_VorbisFormat2", nullptr,
     "wrong format type: refused"},
    {"AdecVorbis",
     "mt.FormatLength() == sizeof(VORBISFORMAT2) +pv->HeaderSize[0]+pv->HeaderSize[1]+pv->HeaderSize[2]",
     nullptr, "format block too short, or its header sizes disagree with it: refused"},
    {"AdecVorbis", "readHeader(p1, pv->HeaderSize[i] )", nullptr, "the library refuses a header"},
    {"AdecVorbis", "chan == _pvi->channels", nullptr, "channel count disagrees with the headers"},
    // A channel count from a media type or header outside 1..8; the mask is clamped.
    {"util", "chan>0 && chan <= 8", nullptr, "channel count outside 1..8: mask clamped"},
    // Coded frames the codec reads otherwise than their header says.
    {"AdecAAC", "frameInfo.bytesconsumed==size", nullptr,
     "the library stops inside a corrupt frame"},
    {"AdecDTS", "fi.samples == status.chan * status.samples", nullptr,
     "the engine decodes another count than the header"},
    {"AdecDTS", "fi.samplerate == status.freq", nullptr,
     "the engine reads another rate than the header"},
    {"AdecDTS", "status.iFrameSize+8 <= 4*status.samples", nullptr,
     "frame too long for its burst: not sent"},
    // Output samples the decoder-alone targets make small on purpose, to
    // check that the decoder stays inside them.
    {"AdecDolby", "sample->GetSize() >= 1536*4", "ac3_dolby_fuzzer", "small output sample"},
    {"AdecDolby", "sample->GetSize() >= 1536*12", "ac3_dolby_fuzzer", "small output sample"},
    {"AdecDDPlus", "sample->GetSize() >= 1536*12", "ddplus_decoder_fuzzer", "small output sample"},
    {"AdecDDPlus", "sample->GetSize() >= spdifOutSize", "ddplus_decoder_fuzzer",
     "small output sample"},
    {"AdecDDPlus", "status->chan*status->samples*2 < outsize", "ddplus_decoder_fuzzer",
     "small output sample: frame passed over"},
    {"AdecDTS", "3*_status.chan*_status.samples < outSize", "dts_decoder_fuzzer",
     "small output sample"},
    {"AdecDTS", "outSize > 4*status.samples", "dts_decoder_fuzzer", "small output sample"},
    {"AdecAAC", "osize <= sample->GetSize()", "aac_fuzzer", "small output sample"},
    // AAC with a program config element of more channels than WAVE speakers
    // (up to 64): no speaker order, and a frame too large for the filter's
    // output sample is dropped.
    {"AdecAAC", "inf.samples <= 16384", nullptr, "more than 8 channels: the library's order"},
    {"AdecAAC", "osize <= sample->GetSize()", "filter_fuzzer",
     "more channels than an output sample holds: dropped"},
    {"TvFilter", "_istatus->channelMask > 0", nullptr, "the same frames: no speaker mask"},
    // An application reading the stream information after the frames above:
    // their records are reported as they are, and the snapshot asserts.
    {"TvFilter", "s->samples>0", "filter_fuzzer", "the record of a frame that counts no samples"},
    {"TvFilter", "s->channelMask != 0", "filter_fuzzer", "the record of a frame with no mask"},
    {"TavioControl", "_status->samples > 0", "filter_fuzzer",
     "the same record read through the stream-information interface"},
    // Frames whose decoders' rules return them with no output: a DTS frame
    // the engine refuses, a Blu-ray payload without a whole sample frame,
    // DVD-Audio LPCM shorter than a pair of sample frames. The receive loop
    // asserts on the empty frame and consumes it.
    {"TvFilter", "osize>0", nullptr, "a frame its decoder's rules deliver empty"},
    {"TvFilter", "_istatus->samples>0", nullptr,
     "the same frames from Blu-ray and DVD-Audio LPCM count no samples"},
    {"TvFilter", "_istatus->iFrameSize>0", nullptr, "an empty Blu-ray payload is such a frame"},
    // A DTS core header's reserved rate codes give rate 0, and the frame is
    // still returned: the engine refuses it, or in pass-through its burst
    // goes out. The receive loop asserts and goes on.
    {"TvFilter", "_istatus->freq>0", nullptr, "a DTS frame with a reserved rate code"},
    {"TvFilter", "_ostatus->samples > 0", nullptr, "the same frames, delivered"},
    // The one-channel remix of such a frame, or of a DVD LPCM packet that
    // ends in a partial sample frame: its length disagrees with the count.
    {"AudioConv", "status.samples * 2 * status.chan== sample->GetActualDataLength()",
     "filter_fuzzer",
     "frame empty or ending in a partial sample frame: the one-channel remix refuses it"},
    // Remix settings an application makes.
    {"AudioConv", "kind >= 0 && kind < 11", "filter_fuzzer",
     "a stream kind outside 0..10: the setting is ignored, the getter refuses"},
    {"AudioConv", "status.stype == ST16Bit", "filter_fuzzer",
     "a right-only remix of a stream that is not 16-bit: refused on purpose"},
    {"AudioConv", "create && create( &d ) == 0", "filter_fuzzer",
     "the upmix is set up before the remix library was ever loaded: refused"},
    // 8-bit samples (no disc format has them) have no 16-bit conversion:
    // left as they are, the doubled length clamped to the buffer.
    {"util", "0", "filter_fuzzer", "16-bit conversion of 8-bit samples: left unconverted"},
};

bool isAllowed(const char* source, const char* condition)
{
    for (const AllowedAssertion& entry : allowed)
        if (std::strcmp(entry.source, source) == 0 &&
            std::strcmp(entry.condition, condition) == 0 &&
            (!entry.target || std::strcmp(entry.target, TAVIO_FUZZ_TARGET) == 0))
            return true;
    return false;
}

void failOnAssertion(const char* source, int line, const char* condition)
{
    if (isAllowed(source, condition))
        return;
    std::fprintf(stderr, "fuzz: assertion fired: %s %d '%s'\n", source, line, condition);
    std::abort();
}

const bool installed = [] {
    setAssertionHandler(failOnAssertion);
    return true;
}();

}  // namespace
