// The host's inputs: any bytes, opened as a file the way tavio opens one
// (program-stream reader or libavformat, with our stream description, ADTS
// and Vorbis set-up parsing), every audio stream read to its end.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "host/host_media_types.h"
#include "host/input_source.h"

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
    std::fwrite(data + 1, 1, size - 1, file);
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
        }
    }
    std::remove(path.c_str());

    std::vector<std::vector<uint8_t>> headers;
    splitXiphHeaders(std::vector<uint8_t>(data, data + size), headers);
    return 0;
}
