// The floor for MPEG audio layers I-III: libmpg123 reads and decodes the file
// to 16-bit interleaved samples, written.
#include <mpg123.h>
#include <stdio.h>

int main(int argc, char** argv)
{
    mpg123_handle* handle = mpg123_new(NULL, NULL);
    if (argc < 2 || !handle || mpg123_open(handle, argv[1]) != MPG123_OK)
        return 1;
    static unsigned char out[1 << 16];
    size_t done;
    int result;
    do {
        // The last bytes come with MPG123_DONE.
        result = mpg123_read(handle, out, sizeof out, &done);
        fwrite(out, 1, done, stdout);
    } while (result == MPG123_OK || result == MPG123_NEW_FORMAT);
    return result == MPG123_DONE ? 0 : 1;
}
