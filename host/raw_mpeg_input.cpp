#include "host/raw_mpeg_input.h"

#include <fstream>

#include "decoders/mpeg_header.h"
#include "host/host_media_types.h"
#include "host/parsers/mpeg_audio_tags.h"

namespace {

constexpr size_t kSearchBytes = 1 << 20;
constexpr size_t kChunk = 16384;

bool sameFormat(const MpegHeader& a, const MpegHeader& b)
{
    return a.version == b.version && a.layer == b.layer && a.sampleRate == b.sampleRate;
}

class RawMpegInput : public InputSource {
public:
    RawMpegInput(const std::string& path, const MpegHeader& first, uint64_t size)
        : file_(path, std::ios::binary), size_(size)
    {
        AudioStreamParameters parameters;
        parameters.codec = first.layer == 3 ? "mp3" : first.layer == 2 ? "mp2" : "mp1";
        parameters.sampleRate = int(first.sampleRate);
        parameters.channels = first.channels;
        HostStream stream;
        stream.codec = parameters.codec;
        stream.description = "MPEG-" +
                             std::string(first.version == 3   ? "1"
                                         : first.version == 2 ? "2"
                                                              : "2.5") +
                             " layer " + std::to_string(first.layer) + ", " +
                             std::to_string(first.sampleRate) + " Hz, " +
                             (first.channels == 1 ? "mono" : "stereo");
        stream.mediaType = hostMediaType(parameters, stream.unsupported);
        streams_.push_back(std::move(stream));
    }

    std::string containerName() const override
    {
        return "MPEG audio elementary stream (found by its frames)";
    }
    const std::vector<HostStream>& streams() const override { return streams_; }
    bool select(size_t stream) override { return stream == 0; }
    bool next(HostPacket& packet) override
    {
        packet = HostPacket();
        packet.data.resize(kChunk);
        file_.read(reinterpret_cast<char*>(packet.data.data()), std::streamsize(kChunk));
        packet.data.resize(size_t(file_.gcount()));
        if (read_ == 0) {
            packet.hasTime = true;
            packet.start = 0;
        }
        read_ += packet.data.size();
        return !packet.data.empty();
    }
    double progress() const override { return size_ ? double(read_) / double(size_) : 1.0; }
    // From the start again: only the first packet is timed, and the window
    // after the decoder drops what comes before the target.
    bool seek(REFERENCE_TIME) override
    {
        file_.clear();
        file_.seekg(0);
        read_ = 0;
        return bool(file_);
    }

private:
    std::ifstream file_;
    uint64_t size_;
    uint64_t read_ = 0;
    std::vector<HostStream> streams_;
};

}  // namespace

std::unique_ptr<InputSource> openRawMpegAudio(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> head(kSearchBytes);
    file.read(reinterpret_cast<char*>(head.data()), std::streamsize(head.size()));
    head.resize(size_t(file.gcount()));
    file.clear();
    file.seekg(0, std::ios::end);
    uint64_t size = uint64_t(std::max<std::streamoff>(file.tellg(), 0));
    size_t start = id3v2TagLength(head.data(), head.size());
    for (size_t at = 0; at + 4 <= head.size(); ++at) {
        MpegHeader first, header;
        uint32_t freeFormatBytes = 0;
        size_t length = mpegFrameLength(&head[at], head.size() - at, first, freeFormatBytes);
        size_t next = at + length;
        int run = length ? 1 : 0;
        while (run > 0 && run < 3 && next + 4 <= head.size()) {
            size_t more = mpegFrameLength(&head[next], head.size() - next, header, freeFormatBytes);
            if (!more || !sameFormat(first, header))
                break;
            next += more;
            ++run;
        }
        // A short file, such as a conformance stream of one or two frames,
        // counts when its frames start it (after a tag) and run to its end.
        bool wholeShortFile = run > 0 && at == start && head.size() == size && size - next < length;
        if (run == 3 || wholeShortFile)
            return std::make_unique<RawMpegInput>(path, first, size);
    }
    return nullptr;
}
