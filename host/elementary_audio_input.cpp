#include "host/elementary_audio_input.h"

#include <algorithm>
#include <cstring>

#include "decoders/mpeg_header.h"
#include "host/file_window.h"
#include "host/parsers/mpeg_audio_tags.h"
#include "host/rounded_rescale.h"

namespace {

// One frame of the stream: where it starts, its length (the last may be cut
// short), and its first sample's number.
struct Frame {
    size_t offset;
    size_t size;
    int64_t sample;
};

// Everything the input hands on, worked out when the file is opened.
struct Layout {
    std::string containerName;
    AudioStreamParameters parameters;
    std::string description;
    std::vector<Frame> frames;
    uint32_t frameSamples = 0;  // per channel
    // Time stamps: samples count in ticks of `tickRate` per second, from
    // `origin` ticks (the encoder delay, which the host cuts as audio before zero).
    int64_t tickRate = 0;
    int64_t ticksPerSample = 0;
    int64_t origin = 0;
    // Samples at the stream's end that are encoder padding: from
    // firstPadding up to lastPadding.
    int64_t firstPadding = -1;
    int64_t lastPadding = -1;
    std::optional<int64_t> durationTicks;
};

class ElementaryAudioInput : public SingleStreamInput {
public:
    ElementaryAudioInput(std::unique_ptr<FileWindow> file, Layout layout)
        : SingleStreamInput(layout.parameters, layout.description),
          file_(std::move(file)),
          layout_(std::move(layout))
    {
    }

    std::string containerName() const override { return layout_.containerName; }

    bool next(HostPacket& packet) override
    {
        if (next_ >= layout_.frames.size())
            return false;
        const Frame& frame = layout_.frames[next_++];
        const uint8_t* p = file_->window(frame.offset, frame.size);
        if (!p)
            return false;
        packet.data.assign(p, p + frame.size);
        packet.hasTime = true;
        packet.start = rescaleRounded(frame.sample * layout_.ticksPerSample - layout_.origin,
                                      10000000, layout_.tickRate);
        packet.duration = rescaleRounded(int64_t(layout_.frameSamples) * layout_.ticksPerSample,
                                         10000000, layout_.tickRate);
        packet.paddingFrames = 0;
        int64_t end = frame.sample + layout_.frameSamples;
        if (layout_.firstPadding >= 0 && end >= layout_.firstPadding &&
            frame.sample < layout_.lastPadding)
            packet.paddingFrames =
                uint32_t(std::min<int64_t>(end - layout_.firstPadding, layout_.frameSamples));
        return true;
    }

    double progress() const override
    {
        if (layout_.frames.empty() || next_ == 0)
            return 0;
        const Frame& last = layout_.frames[next_ - 1];
        return double(last.offset + last.size) / double(file_->size());
    }

    // Back to the last frame that starts no later than the target less a
    // pre-roll, and no later than the first sample after the encoder delay,
    // as libavformat seeks these streams: from there the decoder's bit
    // reservoir and overlap carry what they carried the first time, and the
    // window after the decoder drops what comes before the target.
    bool seek(REFERENCE_TIME time) override
    {
        constexpr REFERENCE_TIME kPreroll = 2000000;
        int64_t target =
            std::min(rescaleRounded(time - kPreroll, layout_.tickRate, 10000000) + layout_.origin,
                     layout_.origin);
        next_ = 0;
        while (next_ + 1 < layout_.frames.size() &&
               layout_.frames[next_ + 1].sample * layout_.ticksPerSample <= target)
            ++next_;
        return true;
    }

    std::optional<REFERENCE_TIME> duration() const override
    {
        if (!layout_.durationTicks)
            return std::nullopt;
        return rescaleRounded(*layout_.durationTicks, 10000000, layout_.tickRate);
    }

private:
    std::unique_ptr<FileWindow> file_;
    Layout layout_;
    size_t next_ = 0;
};

// --- AMR ---------------------------------------------------------------

// Bytes of a storage-format frame, its one-byte header included, by frame
// type (RFC 4867 section 5.3; reserved and empty types take the header alone).
constexpr uint8_t kAmrNbFrameBytes[16] = {13, 14, 16, 18, 20, 21, 27, 32, 6, 1, 1, 1, 1, 1, 1, 1};
constexpr uint8_t kAmrWbFrameBytes[16] = {18, 24, 33, 37, 41, 47, 51, 59, 61, 6, 1, 1, 1, 1, 1, 1};

// The bit rate libavformat reports for a storage-format stream, and from
// which it estimates the stream's length: the mean size of the frames its
// parser read while it probed the stream (in whole bytes, times 50 frames a
// second). It probes until 50 frames are read, parsing whole reads of 1024
// bytes; a frame cut by the end of one read counts in the next with only the
// bytes that fall there.
int64_t amrProbedBitRate(const std::vector<Frame>& frames,
                         size_t body,
                         const uint8_t* sizes,
                         FileWindow& file)
{
    size_t size = file.size();
    constexpr size_t kRead = 1024;
    constexpr int64_t kProbedFrames = 50;
    int64_t counted = 0, bytes = 0;
    size_t lastRead = SIZE_MAX;
    for (const Frame& frame : frames) {
        const uint8_t* header = file.window(frame.offset, 1);
        if (!header)
            return 0;
        size_t end = frame.offset + sizes[(*header >> 3) & 0x0F];
        size_t read = (end - body) / kRead;  // the read that completes the frame
        size_t readStart = body + read * kRead;
        if (readStart >= size || (counted >= kProbedFrames && read != lastRead))
            break;
        bytes += int64_t(end - std::max(frame.offset, readStart));
        ++counted;
        lastRead = read;
    }
    return counted ? bytes / counted * 8 * 50 : 0;
}

std::optional<Layout> amrLayout(FileWindow& file)
{
    size_t size = file.size();
    const uint8_t* data = file.window(0, 9);
    if (!data)
        return std::nullopt;
    // Single-channel storage only; "#!AMR_MC1.0\n" and "#!AMR-WB_MC1.0\n" differ
    // from these in their sixth or ninth byte.
    bool wide;
    size_t at;
    if (size >= 6 && std::memcmp(data, "#!AMR\n", 6) == 0) {
        wide = false;
        at = 6;
    } else if (size >= 9 && std::memcmp(data, "#!AMR-WB\n", 9) == 0) {
        wide = true;
        at = 9;
    } else {
        return std::nullopt;
    }
    Layout layout;
    layout.containerName = "3GPP AMR";
    layout.parameters.codec = wide ? "amr-wb" : "amr-nb";
    layout.parameters.sampleRate = wide ? 16000 : 8000;
    layout.parameters.channels = 1;
    layout.description = std::string(wide ? "amr_wb, 16000 Hz" : "amr_nb, 8000 Hz") + ", mono";
    layout.frameSamples = wide ? 320 : 160;
    layout.tickRate = layout.parameters.sampleRate;
    layout.ticksPerSample = 1;
    const uint8_t* sizes = wide ? kAmrWbFrameBytes : kAmrNbFrameBytes;
    size_t body = at;
    int64_t sample = 0;
    while (at < size) {
        const uint8_t* header = file.window(at, 1);
        if (!header)
            return std::nullopt;
        size_t bytes = sizes[(*header >> 3) & 0x0F];
        layout.frames.push_back({at, std::min(bytes, size - at), sample});
        at += bytes;
        sample += layout.frameSamples;
    }
    if (layout.frames.empty())
        return std::nullopt;
    int64_t bitRate = amrProbedBitRate(layout.frames, body, sizes, file);
    if (bitRate) {
        layout.durationTicks = rescaleRounded(int64_t(size - body), 8 * layout.tickRate, bitRate);
        layout.description += ", " + std::to_string(bitRate / 1000) + " kbit/s";
    }
    return layout;
}

// --- MPEG audio -----------------------------------------------------------

// Whether four bytes could be taken for a frame header at all: sync, and no
// reserved layer, bit rate or sample rate (free format too).
bool mayBeHeader(const uint8_t* p)
{
    return p[0] == 0xFF && (p[1] & 0xE0) == 0xE0 && (p[1] & 0x06) != 0 && (p[2] & 0xF0) != 0xF0 &&
           (p[2] & 0x0C) != 0x0C;
}

bool sameFormat(const MpegHeader& a, const MpegHeader& b)
{
    return a.version == b.version && a.layer == b.layer && a.sampleRate == b.sampleRate &&
           a.channels == b.channels;
}

// The bit rate in kbit/s that a header's index stands for (ISO/IEC 11172-3
// 2.4.2.3, ISO/IEC 13818-3 2.4.2.3), for the length libavformat estimates.
uint32_t bitRate(const uint8_t* p)
{
    static constexpr uint16_t kRates[5][15] = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
    };
    bool mpeg1 = (p[1] >> 3 & 3) == 3;
    int layer = 4 - (p[1] >> 1 & 3);
    int row = mpeg1 ? layer - 1 : layer == 1 ? 3 : 4;
    return kRates[row][(p[2] >> 4) % 15];
}

uint32_t be32(const uint8_t* p)
{
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

std::optional<Layout> mpegLayout(FileWindow& file)
{
    // The file is read in order through its window: a frame with room
    // after it for what measuring a layer I or II frame, or reading the
    // first frame's tag, may look at.
    constexpr size_t kFrameView = 16384;
    size_t size = file.size();
    const uint8_t* head = file.window(0, 10);
    if (!head)
        return std::nullopt;
    size_t start = id3v2TagLength(head, std::min<size_t>(10, size));
    const uint8_t* p = file.window(start, kFrameView);
    size_t available = start < size ? std::min(kFrameView, size - start) : 0;
    MpegHeader first;
    uint32_t freeFormatBytes = 0;
    if (!p || start >= size || !mpegFrameLength(p, available, first, freeFormatBytes))
        return std::nullopt;
    if (hasVbriTag(p, available))
        return std::nullopt;

    Layout layout;
    layout.frameSamples = first.samples / first.channels;
    layout.tickRate = 14112000;  // every MPEG audio sample rate divides it
    layout.ticksPerSample = layout.tickRate / first.sampleRate;
    size_t audio = start;
    std::optional<int64_t> taggedFrames;
    XingFrame xing;
    if (parseXingFrame(p, available, first, xing)) {
        // A stream larger than its tag says by more than a sixteenth is
        // taken for several joined together, whose count is not this one.
        uint64_t rest = size - start - 4;
        if (rest && xing.bytes) {
            uint64_t low = std::min<uint64_t>(rest, xing.bytes);
            uint64_t delta = std::max<uint64_t>(rest, xing.bytes) - low;
            if (rest > xing.bytes && delta > low >> 4)
                xing.frames = 0;
        }
        if (xing.hasPadding) {
            layout.origin = (int64_t(xing.startPadding) + 529) * layout.ticksPerSample;
            if (xing.frames) {
                int64_t total = int64_t(xing.frames) * layout.frameSamples;
                layout.firstPadding = total - xing.endPadding + 529;
                layout.lastPadding = total;
            }
        }
        if (xing.frames || xing.bytes)
            audio = start + first.frameSize;
        if (xing.frames)
            taggedFrames = xing.frames;
    }

    // Frames one after another to the end, but for the tags a stream may end with.
    MpegHeader header;
    size_t at = audio;
    int64_t sample = 0;
    bool constantBitRate = true;
    uint32_t bitrate = 0;
    while (at + 4 <= size) {
        p = file.window(at, kFrameView);
        if (!p)
            return std::nullopt;
        size_t length =
            mpegFrameLength(p, std::min(kFrameView, size - at), header, freeFormatBytes);
        if (!length || !sameFormat(first, header))
            break;
        if (layout.frames.empty())
            bitrate = bitRate(p);
        constantBitRate = constantBitRate && bitRate(p) == bitrate;
        layout.frames.push_back({at, std::min(length, size - at), sample});
        at += length;
        sample += layout.frameSamples;
    }
    if (at < size) {
        for (size_t i = at; i + 4 <= size; ++i) {
            const uint8_t* q = file.window(i, 4);
            if (!q || mayBeHeader(q))
                return std::nullopt;
        }
        constexpr size_t kLongestTagStart = 128;
        const uint8_t* tag = file.window(at, kLongestTagStart);
        if (!tag || !startsEndTag(tag, std::min(kLongestTagStart, size - at)))
            return std::nullopt;
    }
    // libavformat looks for its first frame where the first two frames agree
    // in all but bit rate, padding and mode extension.
    if (layout.frames.size() < 2 || layout.frames[1].offset + 4 > size)
        return std::nullopt;
    const uint8_t* one = file.window(layout.frames[0].offset, 4);
    uint32_t firstWord = one ? be32(one) : 0;
    const uint8_t* two = file.window(layout.frames[1].offset, 4);
    if (!one || !two || (firstWord & 0xFFFE0CCF) != (be32(two) & 0xFFFE0CCF))
        return std::nullopt;

    if (taggedFrames) {
        layout.durationTicks = *taggedFrames * layout.frameSamples * layout.ticksPerSample;
    } else if (first.freeFormat) {
        // No bit rate to estimate from (libavformat reads no free format):
        // the frames counted.
        layout.durationTicks = sample * layout.ticksPerSample;
    } else if (constantBitRate) {
        // libavformat's estimate from the bit rate over what follows the
        // first audio frame's start, end tags included.
        layout.durationTicks =
            rescaleRounded(int64_t(size - audio), 8 * layout.tickRate, int64_t(bitrate) * 1000);
    } else {
        return std::nullopt;  // libavformat's estimate from the frames it probed
    }

    layout.containerName = "MP2/3 (MPEG audio layer 2/3)";
    AudioStreamParameters& parameters = layout.parameters;
    parameters.codec = first.layer == 3 ? "mp3" : first.layer == 2 ? "mp2" : "mp1";
    parameters.sampleRate = int(first.sampleRate);
    parameters.channels = first.channels;
    layout.description = parameters.codec + ", " + std::to_string(first.sampleRate) + " Hz, " +
                         (first.channels == 1 ? "mono" : "stereo");
    // The bit rate libavformat reports: the tag's mean for a variable one,
    // else the frames'.
    if (taggedFrames && xing.bytes && !xing.constantBitRate)
        layout.description +=
            ", " +
            std::to_string(rescaleRounded(xing.bytes, 8 * int64_t(first.sampleRate),
                                          *taggedFrames * layout.frameSamples) /
                           1000) +
            " kbit/s";
    else if (first.freeFormat)
        layout.description += ", free format at " + std::to_string(first.bitrate) + " kbit/s";
    else if (constantBitRate)
        layout.description += ", " + std::to_string(bitrate) + " kbit/s";
    return layout;
}

}  // namespace

std::unique_ptr<InputSource> openElementaryAudio(const std::string& path)
{
    auto file = std::make_unique<FileWindow>(path);
    if (!file->size())
        return nullptr;
    std::optional<Layout> layout = amrLayout(*file);
    if (!layout)
        layout = mpegLayout(*file);
    if (!layout)
        return nullptr;
    return std::make_unique<ElementaryAudioInput>(std::move(file), std::move(*layout));
}
