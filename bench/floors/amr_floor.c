// The floor for AMR: opencore-amr decodes each frame of a storage-format file
// (narrow or wide band, by its magic) to 16-bit samples, written.
#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrwb/dec_if.h>
#include <stdio.h>

// Frame bytes after the table-of-contents byte, by frame type.
static const int kNarrow[16] = {12, 13, 15, 17, 19, 20, 26, 31, 5};
static const int kWide[16] = {17, 23, 32, 36, 40, 46, 50, 58, 60, 5};

int main(int argc, char** argv)
{
    static unsigned char data[1 << 26];
    FILE* file = argc > 1 ? fopen(argv[1], "rb") : NULL;
    size_t size = file ? fread(data, 1, sizeof data, file) : 0;
    int wide = size > 9 && data[5] == '-';
    void* state = wide ? D_IF_init() : Decoder_Interface_init();
    short out[320];
    for (size_t at = wide ? 9 : 6; at < size;
         at += 1 + (size_t)(wide ? kWide : kNarrow)[data[at] >> 3 & 15]) {
        (wide ? D_IF_decode : Decoder_Interface_Decode)(state, data + at, out, 0);
        fwrite(out, 2, wide ? 320 : 160, stdout);
    }
    return 0;
}
