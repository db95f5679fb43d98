#include "host/ogg_vorbis_input.h"

#include <algorithm>
#include <cstring>

#include "host/file_window.h"
#include "host/parsers/ogg_packets.h"
#include "host/parsers/vorbis_packet_durations.h"
#include "host/rounded_rescale.h"

namespace {

// Where a packet's bytes lie: a packet that goes on over a page boundary
// has one piece per page.
struct Piece {
    size_t offset;
    size_t size;
};

struct Packet {
    size_t firstPiece = 0;
    size_t pieceCount = 0;
    size_t firstPage = 0;  // where it starts
    size_t page = 0;       // where it ends
    size_t end = 0;        // the file offset after its last byte
    bool lastOnPage = false;
    // Filled in for audio packets: its first sample's number, the samples
    // it completes, and how many of those are padding cut at the stream's end.
    int64_t time = 0;
    int64_t duration = 0;
    uint32_t padding = 0;
};

struct PageInfo {
    size_t offset;
    int64_t granule;
    uint8_t flags;
};

struct Layout {
    AudioStreamParameters parameters;
    std::string description;
    std::vector<Piece> pieces;
    std::vector<Packet> packets;  // the audio packets
    int64_t origin = 0;           // the stream's start time, in samples
    std::optional<int64_t> durationSamples;
};

// Pages and packets of the whole file; false unless it is one logical
// stream of intact pages from the first byte to the last.
bool readPackets(FileWindow& file,
                 std::vector<PageInfo>& pages,
                 std::vector<Piece>& pieces,
                 std::vector<Packet>& packets)
{
    size_t size = file.size();
    OggPage page;
    uint32_t serial = 0;
    Packet pending;
    bool open = false;  // a packet goes on into the next page
    for (size_t at = 0; at < size; at += page.size) {
        // A page is at most 27 + 255 + 255 * 255 bytes.
        constexpr size_t kLargestPage = 65307;
        const uint8_t* view = file.window(at, kLargestPage);
        if (!view || !readOggPage(view, std::min(kLargestPage, size - at), 0, page) ||
            !oggChecksumMatches(page))
            return false;
        bool first = pages.empty();
        if (first ? !(page.flags & kOggFirst) || page.granule != 0
                  : page.serial != serial || (page.flags & kOggFirst) ||
                        (pages.back().flags & kOggLast))
            return false;
        serial = page.serial;
        // Granule positions far beyond any stream's length (2^62 samples is
        // three million years at 48 kHz) would overflow the sums of times.
        constexpr int64_t kLargestGranule = int64_t(1) << 62;
        if (bool(page.flags & kOggContinued) != open || page.granule < -1 ||
            page.granule > kLargestGranule)
            return false;
        size_t index = pages.size();
        pages.push_back({at, page.granule, page.flags});
        size_t offset = at + size_t(page.body - view);
        size_t completed = packets.size();
        for (size_t s = 0; s < page.segments; ++s) {
            if (!open) {
                pending = Packet();
                pending.firstPiece = pieces.size();
                pending.firstPage = index;
                open = true;
            }
            size_t length = page.lacing[s];
            if (length) {
                if (pending.pieceCount && pieces.back().offset + pieces.back().size == offset)
                    pieces.back().size += length;
                else {
                    pieces.push_back({offset, length});
                    ++pending.pieceCount;
                }
            }
            offset += length;
            if (length < 255) {
                pending.page = index;
                pending.end = offset;
                packets.push_back(pending);
                open = false;
            }
        }
        if (packets.size() > completed)
            packets.back().lastOnPage = true;
    }
    return !open && !pages.empty();
}

// A packet's bytes into `bytes`; false when the file cannot be read there.
bool packetBytes(FileWindow& file,
                 const std::vector<Piece>& pieces,
                 const Packet& p,
                 std::vector<uint8_t>& bytes)
{
    bytes.clear();
    for (size_t i = 0; i < p.pieceCount; ++i) {
        const Piece& piece = pieces[p.firstPiece + i];
        const uint8_t* data = file.window(piece.offset, piece.size);
        if (!data)
            return false;
        bytes.insert(bytes.end(), data, data + piece.size);
    }
    return true;
}

// The comment header as libavformat passes it on in the set-up data: the
// vendor string kept, the user comments dropped. Null when the header is
// malformed.
std::optional<std::vector<uint8_t>> vendorOnlyComment(std::vector<uint8_t> header)
{
    auto le32 = [&](size_t at) {
        return uint32_t(header[at]) | uint32_t(header[at + 1]) << 8 |
               uint32_t(header[at + 2]) << 16 | uint32_t(header[at + 3]) << 24;
    };
    size_t at = 7;
    if (header.size() < at + 4 || le32(at) > header.size() - at - 4)
        return std::nullopt;
    size_t vendorEnd = at + 4 + le32(at);
    at = vendorEnd;
    if (header.size() - at < 4)
        return std::nullopt;
    uint32_t comments = le32(at);
    at += 4;
    for (uint32_t i = 0; i < comments; ++i) {
        if (header.size() - at < 4 || le32(at) > header.size() - at - 4)
            return std::nullopt;
        at += 4 + le32(at);
    }
    size_t kept = vendorEnd + 4 + 1;
    if (kept < header.size()) {
        std::memset(header.data() + vendorEnd, 0, 4);
        header[kept - 1] = 1;
        header.resize(kept);
    }
    return header;
}

std::string channelsText(int channels)
{
    static const char* const kNames[] = {"mono", "stereo", "3.0", "quad",
                                         "5.0",  "5.1",    "6.1", "7.1"};
    return channels <= 8 ? kNames[channels - 1] : std::to_string(channels) + " channels";
}

std::optional<Layout> oggVorbisLayout(FileWindow& file)
{
    const uint8_t* capture = file.window(0, 4);
    if (!capture || file.size() < 4 || std::memcmp(capture, "OggS", 4) != 0)
        return std::nullopt;
    std::vector<PageInfo> pages;
    std::vector<Piece> pieces;
    std::vector<Packet> packets;
    if (!readPackets(file, pages, pieces, packets) || packets.size() < 4)
        return std::nullopt;

    // The three headers, the audio from a page of its own.
    std::vector<uint8_t> headers[3];
    for (int i = 0; i < 3; ++i)
        if (!packetBytes(file, pieces, packets[size_t(i)], headers[i]))
            return std::nullopt;
    auto identification = parseVorbisIdentification(headers[0].data(), headers[0].size());
    if (!identification || headers[0].size() != 30 || headers[1].size() < 8 || headers[1][0] != 3 ||
        std::memcmp(headers[1].data() + 1, "vorbis", 6) != 0 ||
        identification->nominalBitRate >= 0x80000000u || identification->sampleRate > 0x7FFFFFFFu ||
        packets[3].firstPage == packets[2].page)
        return std::nullopt;
    auto comment = vendorOnlyComment(headers[1]);
    auto durations =
        VorbisPacketDurations::create(*identification, headers[2].data(), headers[2].size());
    if (!comment || !durations)
        return std::nullopt;
    headers[1] = std::move(*comment);

    Layout layout;
    layout.pieces = std::move(pieces);
    layout.packets.assign(packets.begin() + 3, packets.end());
    std::vector<Packet>& audio = layout.packets;
    for (Packet& p : audio) {
        const uint8_t* first =
            p.pieceCount ? file.window(layout.pieces[p.firstPiece].offset, 1) : nullptr;
        if (p.pieceCount && !first)
            return std::nullopt;
        auto d = durations->next(first, p.pieceCount ? 1 : 0);
        if (!d)
            return std::nullopt;
        p.duration = *d;
    }

    // The first time: the granule position of the page the first packet
    // ends on, less what the packets ending there complete.
    const PageInfo& start = pages[audio[0].page];
    if (start.granule <= 0 || (start.flags & kOggLast))
        return std::nullopt;
    int64_t completed = 0;
    for (const Packet& p : audio) {
        if (p.page != audio[0].page)
            break;
        completed += p.duration;
    }
    audio[0].time = start.granule - completed;
    layout.origin = std::max<int64_t>(audio[0].time, 0);
    // Then each packet follows the one before, but after a page's last
    // packet, where the page's granule position says the time.
    for (size_t k = 1; k < audio.size(); ++k) {
        const Packet& before = audio[k - 1];
        int64_t granule = pages[before.page].granule;
        audio[k].time =
            before.lastOnPage && granule != -1 ? granule : before.time + before.duration;
        if (audio[k].time < before.time)
            return std::nullopt;
    }
    // The last page's granule position ends the stream: what the last
    // packet completes beyond it is padding.
    const Packet& last = audio.back();
    const PageInfo& end = pages[last.page];
    if (end.flags & kOggLast) {
        // libavformat counts from the page before's granule position, so
        // that page must end a packet and carry one.
        size_t firstOnPage = audio.size() - 1;
        while (firstOnPage > 0 && audio[firstOnPage - 1].page == last.page)
            --firstOnPage;
        if (firstOnPage == 0 || !audio[firstOnPage - 1].lastOnPage ||
            pages[audio[firstOnPage - 1].page].granule == -1)
            return std::nullopt;
        int64_t kept = end.granule - last.time;
        if (kept < 0)
            return std::nullopt;
        if (kept < last.duration)
            audio.back().padding = uint32_t(last.duration - kept);
        audio.back().duration = kept;
    }
    // libavformat's duration: the last granule position (but 0) in the
    // file's last 64 KiB, less the start.
    constexpr size_t kLastPages = 65307;
    for (size_t i = pages.size(); i-- > 0;)
        if (pages[i].granule != -1 && pages[i].granule != 0) {
            if (pages[i].offset + kLastPages < file.size())
                return std::nullopt;
            if (pages[i].granule <= layout.origin)
                return std::nullopt;
            layout.durationSamples = pages[i].granule - layout.origin;
            break;
        }

    AudioStreamParameters& parameters = layout.parameters;
    parameters.codec = "vorbis";
    parameters.sampleRate = int(identification->sampleRate);
    parameters.channels = identification->channels;
    parameters.extradata = {2};
    for (int i = 0; i < 2; ++i) {
        size_t length = headers[i].size();
        for (; length >= 255; length -= 255)
            parameters.extradata.push_back(255);
        parameters.extradata.push_back(uint8_t(length));
    }
    for (const auto& header : headers)
        parameters.extradata.insert(parameters.extradata.end(), header.begin(), header.end());
    layout.description = "vorbis, " + std::to_string(identification->sampleRate) + " Hz, " +
                         channelsText(identification->channels);
    if (identification->nominalBitRate)
        layout.description +=
            ", " + std::to_string(identification->nominalBitRate / 1000) + " kbit/s";
    return layout;
}

class OggVorbisInput : public SingleStreamInput {
public:
    OggVorbisInput(std::unique_ptr<FileWindow> file, Layout layout)
        : SingleStreamInput(layout.parameters, layout.description),
          file_(std::move(file)),
          layout_(std::move(layout))
    {
    }

    std::string containerName() const override { return "Ogg"; }

    bool next(HostPacket& packet) override
    {
        if (next_ >= layout_.packets.size())
            return false;
        const Packet& p = layout_.packets[next_++];
        if (!packetBytes(*file_, layout_.pieces, p, packet.data))
            return false;
        int64_t rate = layout_.parameters.sampleRate;
        packet.hasTime = true;
        packet.start = rescaleRounded(p.time - layout_.origin, 10000000, rate);
        packet.duration = rescaleRounded(p.duration, 10000000, rate);
        packet.paddingFrames = p.padding;
        return true;
    }

    double progress() const override
    {
        return next_ ? double(layout_.packets[next_ - 1].end) / double(file_->size()) : 0;
    }

    // Back to the last packet that starts no later than the target less a
    // pre-roll: the decoder makes no sound of the first packet it is given,
    // and from the second on its output is exact; the window after the
    // decoder drops what comes before the target.
    bool seek(REFERENCE_TIME time) override
    {
        constexpr REFERENCE_TIME kPreroll = 2000000;
        int64_t target = rescaleRounded(time - kPreroll, layout_.parameters.sampleRate, 10000000) +
                         layout_.origin;
        const auto& packets = layout_.packets;
        auto after = std::upper_bound(packets.begin(), packets.end(), target,
                                      [](int64_t t, const Packet& p) { return t < p.time; });
        next_ = after == packets.begin() ? 0 : size_t(after - packets.begin()) - 1;
        return true;
    }

    std::optional<REFERENCE_TIME> duration() const override
    {
        if (!layout_.durationSamples)
            return std::nullopt;
        return rescaleRounded(*layout_.durationSamples, 10000000, layout_.parameters.sampleRate);
    }

private:
    std::unique_ptr<FileWindow> file_;
    Layout layout_;
    size_t next_ = 0;
};

}  // namespace

std::unique_ptr<InputSource> openOggVorbis(const std::string& path)
{
    auto file = std::make_unique<FileWindow>(path);
    if (!file->size())
        return nullptr;
    std::optional<Layout> layout = oggVorbisLayout(*file);
    if (!layout)
        return nullptr;
    return std::make_unique<OggVorbisInput>(std::move(file), std::move(*layout));
}
