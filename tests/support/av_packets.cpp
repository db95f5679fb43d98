#include "support/av_packets.h"

extern "C" {
#include <libavformat/avformat.h>
}

bool readAudioPackets(const std::string& path,
                      std::vector<DemuxedPacket>& packets,
                      std::string& error)
{
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) {
        error = "cannot open " + path;
        return false;
    }
    int stream = -1;
    if (avformat_find_stream_info(format, nullptr) >= 0)
        stream = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (stream < 0) {
        error = "no audio stream in " + path;
        avformat_close_input(&format);
        return false;
    }
    AVRational timeBase = format->streams[stream]->time_base;
    AVPacket* packet = av_packet_alloc();
    while (av_read_frame(format, packet) >= 0) {
        if (packet->stream_index == stream) {
            DemuxedPacket out;
            out.data.assign(packet->data, packet->data + packet->size);
            out.hasTime = packet->pts != AV_NOPTS_VALUE;
            if (out.hasTime)
                out.time = av_rescale_q(packet->pts, timeBase, AVRational{1, 10000000});
            packets.push_back(std::move(out));
        }
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&format);
    return true;
}
