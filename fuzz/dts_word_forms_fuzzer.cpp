// The host's rewriting of DTS-CD and little-endian DTS into 16-bit
// big-endian core frames, alone: the first byte picks the word form and the
// size of the pieces the rest arrives in. Cutting the stream must not change
// the frames that come out, and each reported frame start lies in the bytes
// pushed so far.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "host/parsers/dts_word_forms.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Longer inputs find nothing new and slow the seed runs down.
    if (size < 2 || size > (1 << 20))
        return 0;
    static const DtsWordForm forms[4] = {DtsWordForm::BigEndian16, DtsWordForm::LittleEndian16,
                                         DtsWordForm::BigEndian14, DtsWordForm::LittleEndian14};
    DtsWordForm form = forms[data[0] & 3];
    size_t piece = 1 + (data[0] >> 2) * 61;
    const uint8_t* stream = data + 1;
    size_t length = size - 1;
    findDtsWordForm(stream, length);

    std::vector<uint8_t> whole;
    DtsCoreStreamConverter(form).push(stream, length, whole);

    std::vector<uint8_t> cut;
    DtsCoreStreamConverter converter(form);
    for (size_t offset = 0; offset < length; offset += piece) {
        size_t n = piece < length - offset ? piece : length - offset;
        size_t before = cut.size();
        int64_t first = converter.push(stream + offset, n, cut);
        if ((first < 0) != (cut.size() == before) || first >= int64_t(offset + n))
            std::abort();  // a frame came out without its start, or from beyond the input
    }
    if (cut != whole)
        std::abort();  // the pieces gave other frames than the whole stream
    return 0;
}
