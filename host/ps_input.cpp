// MPEG program streams read with our own reader, which keeps each private
// stream 1 payload whole: DVD-Video, HD-DVD and DVD-Audio LPCM, DVD-Audio MLP
// and HD-DVD MLP go to the filter with their private headers, as
// MEDIATYPE_MPEG2_PES payloads.
// AC-3, DTS and MPEG audio are described by libavformat's probe and delivered
// without the substream header, which their decoders do not read.
#include "host/ps_input.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <optional>

#include "host/av_input.h"
#include "host/parsers/disc_lpcm_headers.h"
#include "host/parsers/disc_mlp_headers.h"
#include "host/parsers/lpcm_recut.h"
#include "host/parsers/program_stream.h"

namespace {

constexpr uint8_t kPrivateStream1 = 0xBD;
// How much of the file is scanned for the list of streams.
constexpr size_t kScanBytes = 8 << 20;
// DVD and HD-DVD packs are one 2048-byte sector; seeking lands on their starts.
constexpr uint64_t kPackSize = 2048;
// How far a seek looks for a time stamp of the chosen stream.
constexpr size_t kProbeBytes = 1 << 20;

bool endsWithNoCase(const std::string& text, const std::string& suffix)
{
    if (text.size() < suffix.size())
        return false;
    for (size_t i = 0; i < suffix.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(text[text.size() - suffix.size() + i])) !=
            suffix[i])
            return false;
    return true;
}

struct StreamKey {
    int streamId;
    int substreamId;
    bool operator<(const StreamKey& o) const
    {
        return streamId != o.streamId ? streamId < o.streamId : substreamId < o.substreamId;
    }
};

class ProgramStreamInput : public InputSource {
public:
    ProgramStreamInput(const std::string& path, bool dvdAudio) : path_(path), dvdAudio_(dvdAudio) {}

    bool scan(std::string& error)
    {
        std::ifstream file(path_, std::ios::binary);
        if (!file) {
            error = "cannot be opened";
            return false;
        }
        file.seekg(0, std::ios::end);
        size_ = uint64_t(file.tellg());
        file.seekg(0);
        std::map<StreamKey, PesPacket> firsts;
        std::vector<StreamKey> order;
        ProgramStreamReader reader;
        std::vector<uint8_t> chunk(64 * 1024);
        PesPacket packet;
        size_t scanned = 0;
        while (file && scanned < kScanBytes) {
            file.read(reinterpret_cast<char*>(chunk.data()), std::streamsize(chunk.size()));
            size_t got = size_t(file.gcount());
            scanned += got;
            reader.append(chunk.data(), got);
            if (!file)
                reader.finish();
            while (reader.next(packet)) {
                StreamKey key{packet.streamId, packet.substreamId};
                if (firsts.emplace(key, packet).second)
                    order.push_back(key);
            }
        }
        std::vector<ProbedStream> probed;
        probeAudioStreams(path_, probed);
        for (const StreamKey& key : order)
            describe(key, firsts[key], probed);
        return true;
    }

    std::string containerName() const override
    {
        return dvdAudio_ ? "MPEG program stream (DVD-Audio)" : "MPEG program stream";
    }
    const std::vector<HostStream>& streams() const override { return streams_; }

    bool select(size_t n) override
    {
        if (n >= keys_.size())
            return false;
        selected_ = keys_[n];
        stripSubstreamHeader_ = stripHeader_[n];
        recutter_.reset();
        int sub = selected_.substreamId;
        if (selected_.streamId == kPrivateStream1 &&
            (dvdAudio_ ? sub == 0xA0 : sub >= 0xA0 && sub <= 0xA7))
            recutter_ = std::make_unique<LpcmRecutter>(packing());
        file_.open(path_, std::ios::binary);
        origin_ = firstTimeFrom(0).value_or(0);
        return bool(file_);
    }

    bool seek(REFERENCE_TIME time) override
    {
        // Bisection on whole packs: the last pack from which the chosen
        // stream's first timed packet is at or before the target.
        uint64_t low = 0, high = (size_ + kPackSize - 1) / kPackSize;
        while (high - low > 1) {
            uint64_t middle = (low + high) / 2;
            std::optional<REFERENCE_TIME> first = firstTimeFrom(middle * kPackSize);
            (first && *first <= time ? low : high) = middle;
        }
        file_.clear();
        file_.seekg(std::streamoff(low * kPackSize));
        read_ = low * kPackSize;
        reader_ = ProgramStreamReader();
        finished_ = !file_;
        // The disc decoders read their private headers from a timed payload on.
        awaitingTime_ = true;
        if (recutter_)
            recutUpTo(read_);
        return !finished_;
    }

    bool next(HostPacket& out) override
    {
        PesPacket packet;
        for (;;) {
            while (reader_.next(packet)) {
                if (packet.streamId != selected_.streamId ||
                    packet.substreamId != selected_.substreamId)
                    continue;
                if (awaitingTime_ && !packet.hasPts) {
                    bool unused = false;
                    if (recutter_)
                        recutter_->recut(packet.payload, unused);  // the bytes it carries on
                    continue;
                }
                awaitingTime_ = false;
                out.hasTime = packet.hasPts;
                if (recutter_ && !recutter_->recut(packet.payload, out.hasTime))
                    continue;
                // The substream id, frame count and first access unit pointer.
                size_t skip =
                    stripSubstreamHeader_ ? std::min<size_t>(4, packet.payload.size()) : 0;
                out.data.assign(packet.payload.begin() + long(skip), packet.payload.end());
                out.start = packet.ptsReferenceTime - origin_;
                return true;
            }
            if (finished_)
                return false;
            file_.read(reinterpret_cast<char*>(chunk_.data()), std::streamsize(chunk_.size()));
            size_t got = size_t(file_.gcount());
            read_ += got;
            reader_.append(chunk_.data(), got);
            if (!file_) {
                reader_.finish();
                finished_ = true;
            }
        }
    }

    double progress() const override { return size_ ? double(read_) / double(size_) : 0; }

private:
    LpcmRecutter::Packing packing() const
    {
        return dvdAudio_ ? LpcmRecutter::Packing::DvdAudio : LpcmRecutter::Packing::DvdVideo;
    }

    // A seek into re-cut LPCM: which bytes of a group the packets after
    // `offset` carry on depends on every payload before it (muxers cut them
    // anywhere and may point at the audio's start regardless), so the reader
    // starts from the top and the payloads before `offset` go through a fresh
    // re-cutter, as in a decode from the start; a packet across `offset` stays
    // in the reader. The payloads are not kept; the read costs what reading
    // that much of the file costs.
    void recutUpTo(uint64_t offset)
    {
        recutter_ = std::make_unique<LpcmRecutter>(packing());
        reader_ = ProgramStreamReader();
        std::ifstream file(path_, std::ios::binary);
        PesPacket packet;
        bool unused = false;
        for (uint64_t at = 0; file && at < offset;) {
            size_t want = size_t(std::min<uint64_t>(chunk_.size(), offset - at));
            file.read(reinterpret_cast<char*>(chunk_.data()), std::streamsize(want));
            size_t got = size_t(file.gcount());
            at += got;
            reader_.append(chunk_.data(), got);
            while (reader_.next(packet))
                if (packet.streamId == selected_.streamId &&
                    packet.substreamId == selected_.substreamId)
                    recutter_->recut(packet.payload, unused);
        }
    }

    // The time of the chosen stream's first timed packet after `offset`,
    // from the stream's start.
    std::optional<REFERENCE_TIME> firstTimeFrom(uint64_t offset) const
    {
        std::ifstream file(path_, std::ios::binary);
        file.seekg(std::streamoff(offset));
        ProgramStreamReader reader;
        std::vector<uint8_t> chunk(kPackSize * 16);
        PesPacket packet;
        for (size_t scanned = 0; file && scanned < kProbeBytes; scanned += chunk.size()) {
            file.read(reinterpret_cast<char*>(chunk.data()), std::streamsize(chunk.size()));
            reader.append(chunk.data(), size_t(file.gcount()));
            while (reader.next(packet))
                if (packet.streamId == selected_.streamId &&
                    packet.substreamId == selected_.substreamId && packet.hasPts)
                    return packet.ptsReferenceTime - origin_;
        }
        return std::nullopt;
    }

    void describe(const StreamKey& key,
                  const PesPacket& first,
                  const std::vector<ProbedStream>& probed)
    {
        HostStream host;
        AudioStreamParameters parameters;
        parameters.inProgramStream = true;
        bool strip = false;
        int sub = key.substreamId;
        if (key.streamId == kPrivateStream1 && sub >= 0xA0 && sub <= 0xA7 && !dvdAudio_) {
            if (!dvdVideoLpcm(first.payload, parameters, host.description))
                host.description = "DVD-Video LPCM with an unusable header";
        } else if (key.streamId == kPrivateStream1 && sub == 0xA0 && dvdAudio_) {
            if (!dvdAudioLpcm(first.payload, parameters, host.description))
                host.description = "DVD-Audio LPCM with an unusable header";
        } else if (key.streamId == kPrivateStream1 &&
                   ((sub == 0xA1 && dvdAudio_) || (sub >= 0xB0 && sub <= 0xB7 && !dvdAudio_))) {
            // DVD-Audio and HD-DVD MLP: the decoder reads the private header.
            if (!discMlp(first.payload, parameters, host.description)) {
                parameters.codec = sub == 0xA1 ? "dvd-audio-mlp" : "truehd";
                fromProbe(sub, probed, parameters, host.description);
                host.description = (sub == 0xA1 ? "DVD-Audio MLP" : "HD-DVD MLP") +
                                   (host.description.empty() ? "" : ", " + host.description);
            }
        } else {
            // AC-3 0x80-0x87, DTS 0x88-0x8F and MPEG audio 0xC0-0xDF.
            int id = key.streamId == kPrivateStream1 ? sub : 0x100 | key.streamId;
            fromProbe(id, probed, parameters, host.description);
            strip = key.streamId == kPrivateStream1;
        }
        host.codec = parameters.codec.empty() ? "unknown" : parameters.codec;
        char label[48];
        if (key.streamId == kPrivateStream1)
            std::snprintf(label, sizeof label, "private stream 1, substream 0x%02X", sub);
        else
            std::snprintf(label, sizeof label, "stream 0x%02X", key.streamId);
        host.description =
            std::string(label) + ": " +
            (host.description.empty() ? std::string("not recognised") : host.description);
        if (!parameters.codec.empty())
            host.mediaType = hostMediaType(parameters, host.unsupported);
        else
            host.unsupported = "the stream's format is not recognised";
        streams_.push_back(std::move(host));
        keys_.push_back(key);
        stripHeader_.push_back(strip);
    }

    static void fromProbe(int id,
                          const std::vector<ProbedStream>& probed,
                          AudioStreamParameters& parameters,
                          std::string& description)
    {
        for (const ProbedStream& p : probed)
            if (p.id == id) {
                std::string codec = parameters.codec;
                parameters.sampleRate = p.parameters.sampleRate;
                parameters.channels = p.parameters.channels;
                parameters.bitsPerSample = p.parameters.bitsPerSample;
                parameters.codec = codec.empty() ? p.parameters.codec : codec;
                description = p.codecName;
                return;
            }
    }

    std::string path_;
    bool dvdAudio_;
    uint64_t size_ = 0;
    std::vector<HostStream> streams_;
    std::vector<StreamKey> keys_;
    std::vector<bool> stripHeader_;

    StreamKey selected_{-1, -1};
    bool stripSubstreamHeader_ = false;
    std::unique_ptr<LpcmRecutter> recutter_;  // disc LPCM: whole sample groups per payload
    std::ifstream file_;
    ProgramStreamReader reader_;
    std::vector<uint8_t> chunk_ = std::vector<uint8_t>(64 * 1024);
    uint64_t read_ = 0;
    bool finished_ = false;
    REFERENCE_TIME origin_ = 0;  // the chosen stream's first time stamp
    bool awaitingTime_ = false;  // after a seek, until a timed packet
};

}  // namespace

bool looksLikeProgramStream(const uint8_t* head, size_t size)
{
    return size >= 4 && head[0] == 0 && head[1] == 0 && head[2] == 1 && head[3] == 0xBA;
}

std::unique_ptr<InputSource> openProgramStream(const std::string& path, std::string& error)
{
    bool dvdAudio = endsWithNoCase(path, ".aob");
    auto input = std::make_unique<ProgramStreamInput>(path, dvdAudio);
    if (!input->scan(error))
        return nullptr;
    return input;
}
