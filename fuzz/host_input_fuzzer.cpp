// The host's inputs: any bytes, opened as a file the way tavio opens one
// (program-stream reader, our MPEG audio, AMR and Ogg Vorbis readers or
// libavformat, with our stream description, ADTS and Vorbis set-up parsing),
// every audio stream read to its end and sought into. Ogg pages get their
// checksums made right, so that mutated pages get past the check.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "host/host_media_types.h"
#include "host/input_source.h"
#include "host/parsers/ogg_packets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    // The first byte picks the name: DVD-Audio is told apart by its extension.
    std::string path =
        "/tmp/tavio-fuzz-" + std::to_string(getpid()) + (data[0] & 1 ? ".aob" : ".bin");
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return 0;
    std::vector<uint8_t> bytes(data + 1, data + size);
    OggPage page;
    for (size_t at = 0; readOggPage(bytes.data(), bytes.size(), at, page); at += page.size) {
        uint32_t crc = oggChecksum(page);
        for (int i = 0; i < 4; ++i)
            bytes[at + 22 + size_t(i)] = uint8_t(crc >> (8 * i));
    }
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);

    std::string error;
    if (auto input = openInputSource(path, error)) {
        for (size_t stream = 0; stream < input->streams().size(); ++stream) {
            auto again = openInputSource(path, error);
            if (!again || !again->select(stream))
                continue;
            HostPacket packet;
            for (int packets = 0; packets < 5000 && again->next(packet); ++packets) {
            }
            if (again->seek(5000000))
                again->next(packet);
        }
    }
    std::remove(path.c_str());

    std::vector<std::vector<uint8_t>> headers;
    splitXiphHeaders(std::vector<uint8_t>(data, data + size), headers);
    return 0;
}
