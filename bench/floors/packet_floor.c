// The floor for the formats read as packets by libavformat, as ffmpeg reads
// them: AAC decoded by FAAD2 to 16-bit samples (argv[2] = 16), the others by
// libavcodec on one thread, converted to the host's packed sample format
// (argv[2]: 0 float, 24 or 32-bit integers); written to standard output.
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
#include <neaacdec.h>

int main(int argc, char** argv)
{
    AVFormatContext* in = NULL;
    const AVCodec* codec = NULL;
    if (argc < 3 || avformat_open_input(&in, argv[1], NULL, NULL) < 0 ||
        avformat_find_stream_info(in, NULL) < 0)
        return 1;
    int index = av_find_best_stream(in, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0),
        bits = atoi(argv[2]);
    AVCodecContext* decoder = avcodec_alloc_context3(codec);
    NeAACDecHandle faad = NeAACDecOpen();
    unsigned long rate;
    unsigned char channels;
    if (index < 0 || avcodec_parameters_to_context(decoder, in->streams[index]->codecpar) < 0 ||
        (bits == 16 ? NeAACDecInit2(faad, decoder->extradata,
                                    (unsigned long)decoder->extradata_size, &rate, &channels)
                    : avcodec_open2(decoder, codec, NULL)) < 0)
        return 1;
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    SwrContext* swr = NULL;
    /* FAAD2 writes a speaker position per channel a program config element
       names, up to 93, into a record of 64: room behind it, as the module
       keeps. */
    struct {
        NeAACDecFrameInfo info;
        unsigned char overrun[32];
    } record;
    static uint8_t out[1 << 20];
    uint8_t* planes[1] = {out};
    for (; av_read_frame(in, packet) >= 0; av_packet_unref(packet)) {
        void* pcm =
            packet->stream_index == index && bits == 16
                ? NeAACDecDecode(faad, &record.info, packet->data, (unsigned long)packet->size)
                : NULL;
        if (pcm)
            fwrite(pcm, 2, record.info.samples, stdout);
        if (packet->stream_index != index || bits == 16 || avcodec_send_packet(decoder, packet) < 0)
            continue;
        while (avcodec_receive_frame(decoder, frame) >= 0) {
            if (!swr && swr_alloc_set_opts2(&swr, &frame->ch_layout,
                                            bits ? AV_SAMPLE_FMT_S32 : AV_SAMPLE_FMT_FLT,
                                            frame->sample_rate, &frame->ch_layout, frame->format,
                                            frame->sample_rate, 0, NULL) >= 0)
                swr_init(swr);
            int samples = frame->ch_layout.nb_channels *
                          swr_convert(swr, planes, frame->nb_samples,
                                      (const uint8_t**)frame->extended_data, frame->nb_samples);
            for (int i = 0; bits == 24 && i < samples; ++i)
                memcpy(out + 3 * i, out + 4 * i + 1, 3);
            fwrite(out, bits == 24 ? 3 : 4, (size_t)samples, stdout);
        }
    }
    return 0;
}
