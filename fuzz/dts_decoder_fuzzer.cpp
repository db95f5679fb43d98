// DTS framing and decoding: AdecDTS with its in-process engine, behind the
// host's rewriting of DTS-CD words. The first byte picks S/PDIF, the output
// sample size and the carrier's word form, the second the size of the
// pieces the rest arrives in, as the filter's buffer would hand it over.
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

#include "decoders/AdecDTS.h"
#include "fuzz/decoder_feed.h"
#include "host/parsers/dts_word_forms.h"
#include "tests/support/media_types.h"

namespace {

CMediaType dtsType()
{
    return waveType(MEDIATYPE_Audio, MEDIASUBTYPE_DTS, 0x2001, 48000, 2, 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Longer inputs find nothing new and slow the seed runs down.
    constexpr size_t kMaxInput = 64 * 1024;
    if (size < 2)
        return 0;
    size = size < kMaxInput ? size : kMaxInput;
    static const DtsWordForm forms[4] = {DtsWordForm::BigEndian16, DtsWordForm::LittleEndian16,
                                         DtsWordForm::BigEndian14, DtsWordForm::LittleEndian14};
    std::vector<uint8_t> stream;
    DtsWordForm form = forms[(data[0] >> 2) & 3];
    if (form == DtsWordForm::BigEndian16) {
        stream.assign(data + 2, data + size);
    } else {
        DtsCoreStreamConverter converter(form);
        converter.push(data + 2, size - 2, stream);
    }
    // The decoder's log lines go nowhere: a stream without a buffer.
    std::ostream log(nullptr);
    AdecDTS decoder(log);
    // A second init replaces the engine instance mid-way, as a flush does.
    if (!decoder.init(dtsType()))
        return 0;
    decoder.setSpdif(data[0] & 1);
    size_t piece = 1 + data[1] * 64;
    std::vector<uint8_t> buffer;
    MemorySample out((data[0] & 0x20) ? 4000 : 65536);
    for (size_t offset = 0; offset < stream.size(); offset += piece) {
        buffer.insert(
            buffer.end(), stream.begin() + long(offset),
            stream.begin() + long(offset + piece < stream.size() ? offset + piece : stream.size()));
        if ((data[0] & 0x10) && offset == piece)
            decoder.init(dtsType());
        takeFrames(decoder, buffer, out);
    }
    return 0;
}
