// The floor for Vorbis: libvorbisfile decodes to planar float, interleaved
// here as the host writes it.
#include <vorbis/vorbisfile.h>

int main(int argc, char** argv)
{
    OggVorbis_File file;
    if (argc < 2 || ov_fopen(argv[1], &file) != 0)
        return 1;
    static float out[8 * 4096];
    float** pcm;
    int section, channels = ov_info(&file, -1)->channels;
    long samples;
    while ((samples = ov_read_float(&file, &pcm, 4096, &section)) > 0) {
        for (long i = 0; i < samples; ++i)
            for (int c = 0; c < channels; ++c)
                out[i * channels + c] = pcm[c][i];
        fwrite(out, sizeof(float) * (size_t)channels, (size_t)samples, stdout);
    }
    return 0;
}
