#include "host/av_input.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <deque>
#include <optional>

#include "host/parsers/aac_encoder_delay.h"
#include "host/parsers/adts_header.h"
#include "host/parsers/dolby_word_order.h"
#include "host/parsers/dts_word_forms.h"
#include "host/parsers/latm_parser.h"
#include "platform/posix/libav_on_demand.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
}

namespace {

std::string codecKey(AVCodecID id)
{
    switch (id) {
        case AV_CODEC_ID_AC3:
            return "ac3";
        case AV_CODEC_ID_EAC3:
            return "eac3";
        case AV_CODEC_ID_DTS:
            return "dts";
        case AV_CODEC_ID_MP1:
            return "mp1";
        case AV_CODEC_ID_MP2:
            return "mp2";
        case AV_CODEC_ID_MP3:
            return "mp3";
        case AV_CODEC_ID_AAC:
            return "aac";
        case AV_CODEC_ID_AAC_LATM:
            return "aac";
        case AV_CODEC_ID_VORBIS:
            return "vorbis";
        case AV_CODEC_ID_AMR_NB:
            return "amr-nb";
        case AV_CODEC_ID_AMR_WB:
            return "amr-wb";
        case AV_CODEC_ID_PCM_BLURAY:
            return "bluray-lpcm";
        case AV_CODEC_ID_TRUEHD:
            return "truehd";
        case AV_CODEC_ID_MLP:
            return "dvd-audio-mlp";
        default:
            return "";
    }
}

// The ADTS header a packet starts with, if it starts with one.
std::optional<AdtsHeader> adtsHeaderOf(const std::vector<uint8_t>& data)
{
    AdtsHeader header;
    if (!parseAdtsHeader(data.data(), data.size(), header))
        return std::nullopt;
    return header;
}

std::string describe(const AVCodecParameters* p)
{
    const char* name = avcodec_get_name(p->codec_id);
    std::string text = name ? name : "unknown";
    if (p->sample_rate)
        text += ", " + std::to_string(p->sample_rate) + " Hz";
    if (p->ch_layout.nb_channels) {
        char layout[64] = "";
        av_channel_layout_describe(&p->ch_layout, layout, sizeof layout);
        text += ", " + std::string(layout);
    }
    if (p->bit_rate)
        text += ", " + std::to_string(p->bit_rate / 1000) + " kbit/s";
    if (p->bits_per_raw_sample)
        text += ", " + std::to_string(p->bits_per_raw_sample) + "-bit";
    return text;
}

AudioStreamParameters parametersOf(const AVFormatContext* format, const AVStream* stream)
{
    const AVCodecParameters* p = stream->codecpar;
    AudioStreamParameters s;
    s.codec = codecKey(p->codec_id);
    s.sampleRate = p->sample_rate;
    s.channels = p->ch_layout.nb_channels;
    s.bitsPerSample = p->bits_per_raw_sample ? p->bits_per_raw_sample : p->bits_per_coded_sample;
    if (p->extradata && p->extradata_size > 0)
        s.extradata.assign(p->extradata, p->extradata + p->extradata_size);
    std::string container = format->iformat->name;
    s.fromAviOrWave = container == "avi" || container == "wav";
    return s;
}

struct FormatCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using FormatContext = std::unique_ptr<AVFormatContext, FormatCloser>;

struct PacketFreer {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

// The containers and elementary streams that can carry audio the filter
// decodes. Anything else (images above all, which libavformat would decode
// to learn their parameters) is refused at once.
constexpr const char* kAudioFormats =
    "aac,loas,ac3,eac3,dts,dtshd,mp3,amr,amrnb,amrwb,truehd,mlp,matroska,mov,mpegts,mpeg,ogg,avi,wav,w64,"
    "flv,asf,caf,aiff,spdif";

// Raw MLP and TrueHD named by their extension: libavformat's probe passes
// over some short or quiet streams that its demuxers read well.
const AVInputFormat* formatNamedByExtension(const std::string& path)
{
    size_t dot = path.rfind('.');
    std::string extension = dot == std::string::npos ? "" : path.substr(dot + 1);
    for (char& c : extension)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    if (extension == "mlp")
        return av_find_input_format("mlp");
    if (extension == "thd" || extension == "truehd")
        return av_find_input_format("truehd");
    return nullptr;
}

int openInput(AVFormatContext** context, const std::string& path, const AVInputFormat* format)
{
    *context = avformat_alloc_context();
    if (!*context)
        return AVERROR(ENOMEM);
    (*context)->format_whitelist = av_strdup(kAudioFormats);
    return avformat_open_input(context, path.c_str(), format, nullptr);
}

FormatContext openFormat(const std::string& path, std::string& error)
{
    if (!libavformatLoads()) {
        error = "libavformat could not be loaded";
        return nullptr;
    }
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext* raw = nullptr;
    int result = openInput(&raw, path, nullptr);
    const AVInputFormat* named = formatNamedByExtension(path);
    if (result == AVERROR_INVALIDDATA && named)
        result = openInput(&raw, path, named);
    if (result == AVERROR(ENOMEM)) {
        error = "out of memory";
        return nullptr;
    }
    if (result == AVERROR(EINVAL)) {
        error = "its format carries no audio tavio reads";  // refused by the list above
        return nullptr;
    }
    if (result < 0) {
        char text[128];
        av_strerror(result, text, sizeof text);
        error = text;
        return nullptr;
    }
    FormatContext context(raw);
    if (avformat_find_stream_info(context.get(), nullptr) < 0) {
        error = "no stream information could be read";
        return nullptr;
    }
    return context;
}

class AvInput : public InputSource {
public:
    explicit AvInput(FormatContext context) : context_(std::move(context))
    {
        for (unsigned i = 0; i < context_->nb_streams; ++i) {
            AVStream* stream = context_->streams[i];
            if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
                continue;
            AudioStreamParameters parameters = parametersOf(context_.get(), stream);
            bool latm = stream->codecpar->codec_id == AV_CODEC_ID_AAC_LATM;
            if (latm)
                findLatmConfig(int(i), parameters);
            else if (parameters.codec == "aac" && parameters.extradata.empty())
                findAdtsConfig(int(i), parameters);
            DtsWordForm dtsForm = findDtsForm(int(i), parameters);
            HostStream host;
            host.codec = parameters.codec.empty() ? avcodec_get_name(stream->codecpar->codec_id)
                                                  : parameters.codec;
            host.description = describe(stream->codecpar);
            host.mediaType = hostMediaType(parameters, host.unsupported);
            if (parameters.codec == "dts" && stream->codecpar->profile == FF_PROFILE_DTS_EXPRESS)
                host.noAudio =
                    "DTS Express carries no DTS core, and the core is all the filter decodes";
            if (dtsForm != DtsWordForm::None && dtsForm != DtsWordForm::BigEndian16)
                host.description +=
                    dtsForm == DtsWordForm::BigEndian14 || dtsForm == DtsWordForm::LittleEndian14
                        ? ", DTS in 14-bit words"
                        : ", DTS in little-endian words";
            streams_.push_back(std::move(host));
            indices_.push_back(int(i));
            adts_.push_back(!latm && parameters.codec == "aac" &&
                            stream->codecpar->extradata_size == 0);
            latm_.push_back(latm);
            dolby_.push_back(parameters.codec == "ac3" || parameters.codec == "eac3");
            dtsForms_.push_back(dtsForm);
        }
    }

    std::string containerName() const override
    {
        return context_->iformat->long_name ? context_->iformat->long_name
                                            : context_->iformat->name;
    }
    const std::vector<HostStream>& streams() const override { return streams_; }

    bool select(size_t n) override
    {
        if (n >= indices_.size())
            return false;
        selected_ = indices_[n];
        stripAdts_ = adts_[n];
        aacSelected_ = !latm_[n] && streams_[n].codec == "aac";
        dolbySelected_ = dolby_[n];
        latmParser_.reset(latm_[n] ? new LatmParser : nullptr);
        latmTime_.reset();
        dtsForm_ = dtsForms_[n];
        restartParsers();
        for (unsigned i = 0; i < context_->nb_streams; ++i)
            context_->streams[i]->discard = int(i) == selected_ ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
        // Packets read ahead for other streams are of no use now.
        std::erase_if(readAhead_, [this](const Packet& p) { return p.stream != selected_; });
        // Times count from the stream's start; a negative start (MP4's
        // encoder priming, cut by its edit list) stays before zero, where
        // the host drops it.
        AVStream* stream = context_->streams[selected_];
        origin_ =
            stream->start_time != AV_NOPTS_VALUE && stream->start_time < 0 ? 0 : stream->start_time;
        // Priming the encoder announces counts only where the container
        // cuts none of its own.
        announcedPriming_ = aacSelected_ && origin_ == stream->start_time;
        primingUnread_ = announcedPriming_;
        return true;
    }

    bool next(HostPacket& packet) override
    {
        // Kept from call to call, so that its bytes' room is reused.
        Packet& p = current_;
        for (;;) {
            if (latmParser_ && nextLatmUnit(packet))
                return true;
            if (!readPacket(p))
                return false;
            if (p.stream != selected_)
                continue;
            if (latmParser_) {
                // LOAS frames become raw access units; the packet's time goes
                // with the first unit that starts in it.
                HostPacket timing;
                toHostPacket(p, timing);
                if (timing.hasTime)
                    latmTime_ = timing.start;
                latmParser_->push(p.data.data(), p.data.size());
                continue;
            }
            toHostPacket(p, packet);
            // A converted DTS packet may complete no frame yet.
            if (packet.data.empty() && dtsConverter_)
                continue;
            return true;
        }
    }

    bool timesFromPresentationStart() const override { return true; }

    bool seek(REFERENCE_TIME time) override
    {
        AVStream* stream = context_->streams[selected_];
        int64_t origin = origin_ == AV_NOPTS_VALUE ? 0 : origin_;
        // A little earlier than asked, so that the decoder's overlap, bit
        // reservoir or SBR has settled by the time the window opens.
        constexpr REFERENCE_TIME kPreroll = 2000000;
        // Before zero too: MP4's priming is there.
        int64_t target =
            av_rescale_q(time - kPreroll, AVRational{1, 10000000}, stream->time_base) + origin;
        // Elementary streams carry no times: after a seek into one the
        // parser's count restarts from a guess. From the start, the count is
        // exact, and the window after the decoder skips to the target.
        if (context_->iformat->flags & AVFMT_GENERIC_INDEX)
            target = origin;
        // Backwards to a packet at or before the target: audio packets are
        // all key points, and the window after the decoder cuts the rest.
        auto seekTo = [&](int64_t ts) {
            return avformat_seek_file(context_.get(), selected_, INT64_MIN, ts, ts, 0) >= 0 ||
                   av_seek_frame(context_.get(), selected_, ts, AVSEEK_FLAG_BACKWARD) >= 0;
        };
        // Where the preroll reaches before the first packet, AVI finds none
        // at or before the target: the start is the place.
        if (!seekTo(target) && !(target < origin && seekTo(origin)))
            return false;
        readAhead_.clear();
        restartParsers();
        // Back at the start, the first unit comes again.
        primingUnread_ = announcedPriming_ && target <= origin;
        return true;
    }

    std::optional<REFERENCE_TIME> duration() const override
    {
        const AVStream* stream = context_->streams[selected_];
        if (stream->duration != AV_NOPTS_VALUE)
            return av_rescale_q(stream->duration, stream->time_base, AVRational{1, 10000000});
        if (context_->duration != AV_NOPTS_VALUE)
            return context_->duration * 10;  // AV_TIME_BASE is 1 MHz
        return std::nullopt;
    }

    double progress() const override
    {
        if (!context_->pb)
            return 0;
        // Asked after every packet; the size of a file being read does not
        // change, and asking for it costs a system call.
        if (!size_)
            size_ = avio_size(context_->pb);
        return *size_ > 0 ? double(avio_tell(context_->pb)) / double(*size_) : 0;
    }

private:
    mutable std::optional<int64_t> size_;  // of the input, once asked for
    struct Packet {
        int stream = -1;
        std::vector<uint8_t> data;
        int64_t pts = AV_NOPTS_VALUE;
        int64_t duration = 0;       // in the stream's time base
        uint32_t discardAtEnd = 0;  // samples of padding at the packet's end
    };

    // The skip-samples side data: samples to skip at the start, then at the
    // end of the packet, 32-bit little-endian each.
    static void readDiscard(const AVPacket* packet, Packet& out)
    {
        size_t size = 0;
        const uint8_t* side = av_packet_get_side_data(packet, AV_PKT_DATA_SKIP_SAMPLES, &size);
        out.discardAtEnd = side && size >= 8
                               ? uint32_t(side[4] | side[5] << 8 | side[6] << 16 | side[7] << 24)
                               : 0;
    }

    bool readPacket(Packet& out)
    {
        if (!readAhead_.empty()) {
            out = std::move(readAhead_.front());
            readAhead_.pop_front();
            return true;
        }
        if (!packet_)
            packet_.reset(av_packet_alloc());
        AVPacket* packet = packet_.get();
        if (!packet)
            return false;
        bool got = av_read_frame(context_.get(), packet) >= 0;
        if (got) {
            out.stream = packet->stream_index;
            out.data.assign(packet->data, packet->data + packet->size);
            out.pts = packet->pts;
            out.duration = packet->duration;
            readDiscard(packet, out);
        }
        av_packet_unref(packet);
        return got;
    }

    // AAC from ADTS carries its configuration in every frame header rather
    // than in the container: read ahead to the stream's first frame and
    // keep what was read for later.
    void findAdtsConfig(int stream, AudioStreamParameters& parameters)
    {
        for (const Packet& p : readAhead_)
            if (auto header = p.stream == stream ? adtsHeaderOf(p.data) : std::nullopt) {
                parameters.extradata = adtsAudioSpecificConfig(*header);
                return;
            }
        constexpr size_t kReadAheadLimit = 2000;
        Packet p;
        while (readAhead_.size() < kReadAheadLimit) {
            AVPacket* packet = av_packet_alloc();
            if (!packet || av_read_frame(context_.get(), packet) < 0) {
                av_packet_free(&packet);
                return;
            }
            p.stream = packet->stream_index;
            p.data.assign(packet->data, packet->data + packet->size);
            p.pts = packet->pts;
            p.duration = packet->duration;
            readDiscard(packet, p);
            av_packet_free(&packet);
            readAhead_.push_back(p);
            if (auto header = p.stream == stream ? adtsHeaderOf(p.data) : std::nullopt) {
                parameters.extradata = adtsAudioSpecificConfig(*header);
                return;
            }
        }
    }

    // AAC in LATM carries its configuration in the StreamMuxConfig of its
    // LOAS frames: read ahead until one has been seen.
    void findLatmConfig(int stream, AudioStreamParameters& parameters)
    {
        LatmParser probe;
        size_t read = 0;
        constexpr size_t kReadAheadLimit = 2000;
        for (;;) {
            for (; read < readAhead_.size() && probe.audioSpecificConfig().empty(); ++read)
                if (readAhead_[read].stream == stream)
                    probe.push(readAhead_[read].data.data(), readAhead_[read].data.size());
            if (!probe.audioSpecificConfig().empty()) {
                parameters.extradata = probe.audioSpecificConfig();
                return;
            }
            if (readAhead_.size() >= kReadAheadLimit)
                return;
            AVPacket* packet = av_packet_alloc();
            if (!packet || av_read_frame(context_.get(), packet) < 0) {
                av_packet_free(&packet);
                return;
            }
            Packet p;
            p.stream = packet->stream_index;
            p.data.assign(packet->data, packet->data + packet->size);
            p.pts = packet->pts;
            p.duration = packet->duration;
            av_packet_free(&packet);
            readAhead_.push_back(std::move(p));
        }
    }

    // Parsers that carry state from one packet to the next start afresh
    // (a new stream, or a seek).
    void restartParsers()
    {
        if (latmParser_)
            latmParser_.reset(new LatmParser);
        latmTime_.reset();
        dtsConverter_.reset();
        if (dtsForm_ != DtsWordForm::None && dtsForm_ != DtsWordForm::BigEndian16)
            dtsConverter_.emplace(dtsForm_);
        sourceOffset_ = 0;
    }

    bool nextLatmUnit(HostPacket& packet)
    {
        if (!latmParser_->next(packet.data))
            return false;
        packet.hasTime = latmTime_.has_value();
        packet.start = latmTime_.value_or(0);
        latmTime_.reset();
        return true;
    }

    void toHostPacket(Packet& p, HostPacket& packet)
    {
        packet.paddingFrames = p.discardAtEnd;
        AVStream* stream = context_->streams[selected_];
        // Where the payload's first frame starts, in bytes after the packet's
        // start: converted DTS hands on frames when they are complete.
        int64_t shift = 0;
        if (dtsConverter_) {
            packet.data.clear();
            int64_t first = dtsConverter_->push(p.data.data(), p.data.size(), packet.data);
            shift = first < 0 ? 0 : first - sourceOffset_;
            sourceOffset_ += int64_t(p.data.size());
        } else {
            auto adts = stripAdts_ ? adtsHeaderOf(p.data) : std::nullopt;
            size_t header = adts ? adts->headerLength : 0;
            packet.data.assign(p.data.begin() + long(header), p.data.end());
            if (dolbySelected_)
                restoreDolbyWordOrder(packet.data);
        }
        packet.primingFrames =
            primingUnread_ ? announcedPrimingFrames(packet.data.data(), packet.data.size()) : 0;
        primingUnread_ = false;
        // A frame begun in an earlier packet is timed from the carrier's
        // byte rate (CD and WAV: 4 bytes per sample period); without one
        // it goes untimed.
        int64_t byteRate =
            int64_t(stream->codecpar->sample_rate) * stream->codecpar->ch_layout.nb_channels * 2;
        packet.hasTime = p.pts != AV_NOPTS_VALUE && (shift == 0 || byteRate > 0);
        if (packet.hasTime) {
            if (origin_ == AV_NOPTS_VALUE)
                origin_ = p.pts;
            packet.start =
                av_rescale_q(p.pts - origin_, stream->time_base, AVRational{1, 10000000});
            if (shift != 0)
                packet.start += shift * 10000000 / byteRate;
        }
        // Converted DTS hands on frames across packets: their lengths are
        // no longer the packets'.
        packet.duration = !dtsConverter_ && p.duration > 0
                              ? av_rescale_q(p.duration, stream->time_base, AVRational{1, 10000000})
                              : 0;
    }

    // The first bytes of a stream's packets, read ahead and kept for later.
    std::vector<uint8_t> peek(int stream, size_t bytes)
    {
        std::vector<uint8_t> data;
        auto take = [&](const Packet& p) {
            if (p.stream == stream && data.size() < bytes)
                data.insert(data.end(), p.data.begin(), p.data.end());
        };
        for (const Packet& p : readAhead_)
            take(p);
        constexpr size_t kReadAheadLimit = 2000;
        while (data.size() < bytes && readAhead_.size() < kReadAheadLimit) {
            AVPacket* packet = av_packet_alloc();
            if (!packet || av_read_frame(context_.get(), packet) < 0) {
                av_packet_free(&packet);
                break;
            }
            Packet p;
            p.stream = packet->stream_index;
            p.data.assign(packet->data, packet->data + packet->size);
            p.pts = packet->pts;
            p.duration = packet->duration;
            av_packet_free(&packet);
            take(p);
            readAhead_.push_back(std::move(p));
        }
        return data;
    }

    // DTS streams in another word form than the filter reads (DTS-CD rips
    // as .dts/.cpt files; libavformat's WAV reader finds them in WAV files
    // too): the form of their words, or None for a stream that is no DTS.
    DtsWordForm findDtsForm(int stream, const AudioStreamParameters& parameters)
    {
        if (parameters.codec != "dts")
            return DtsWordForm::None;
        constexpr size_t kPeekBytes = 64 * 1024;
        std::vector<uint8_t> head = peek(stream, kPeekBytes);
        return findDtsWordForm(head.data(), head.size());
    }

    FormatContext context_;
    std::vector<HostStream> streams_;
    std::vector<int> indices_;
    std::vector<bool> adts_;
    // AC-3 and E-AC-3, whose byte-swapped payloads are put back in order.
    std::vector<bool> dolby_;
    std::vector<bool> latm_;
    std::unique_ptr<LatmParser> latmParser_;
    std::optional<REFERENCE_TIME> latmTime_;  // of the packet the next unit starts in
    std::vector<DtsWordForm> dtsForms_;
    DtsWordForm dtsForm_ = DtsWordForm::None;  // of the chosen stream
    std::optional<DtsCoreStreamConverter> dtsConverter_;
    int64_t sourceOffset_ = 0;  // bytes of the selected stream read so far
    std::deque<Packet> readAhead_;
    Packet current_;                                 // the packet read last
    std::unique_ptr<AVPacket, PacketFreer> packet_;  // libavformat's, emptied after each read
    int selected_ = -1;
    bool stripAdts_ = false;
    bool dolbySelected_ = false;
    bool aacSelected_ = false;       // AAC in access units (not LATM)
    bool announcedPriming_ = false;  // the encoder's priming is cut, if it names it
    bool primingUnread_ = false;     // the stream's first unit is still to come
    int64_t origin_ = AV_NOPTS_VALUE;
};

}  // namespace

std::string formatOutsideTheList(const std::string& path)
{
    if (!libavformatLoads())
        return "";
    // What libavformat's probe makes of the file's head, with every format
    // allowed: a name only, nothing is opened or decoded.
    std::vector<uint8_t> head(4096 + AV_INPUT_BUFFER_PADDING_SIZE, 0);
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        return "";
    size_t size = std::fread(head.data(), 1, 4096, file);
    std::fclose(file);
    AVProbeData probe{};
    probe.filename = path.c_str();
    probe.buf = head.data();
    probe.buf_size = int(size);
    int score = 0;
    const AVInputFormat* format = av_probe_input_format2(&probe, 1, &score);
    if (!format || score < AVPROBE_SCORE_EXTENSION)
        return "";
    // A listed format that failed to open is damaged, not unsupported.
    const std::string listed = std::string(",") + kAudioFormats + ",";
    std::string names = format->name;
    for (size_t start = 0; start <= names.size();) {
        size_t comma = std::min(names.find(',', start), names.size());
        if (listed.find("," + names.substr(start, comma - start) + ",") != std::string::npos)
            return "";
        start = comma + 1;
    }
    std::string name = format->long_name ? format->long_name : format->name;
    return name + " (" + format->name + ")";
}

std::unique_ptr<InputSource> openAvInput(const std::string& path, std::string& error)
{
    FormatContext context = openFormat(path, error);
    if (!context)
        return nullptr;
    return std::make_unique<AvInput>(std::move(context));
}

bool probeAudioStreams(const std::string& path, std::vector<ProbedStream>& streams)
{
    std::string error;
    FormatContext context = openFormat(path, error);
    if (!context)
        return false;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        AVStream* stream = context->streams[i];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
            continue;
        ProbedStream probed;
        probed.id = stream->id;
        probed.parameters = parametersOf(context.get(), stream);
        probed.codecName = describe(stream->codecpar);
        streams.push_back(std::move(probed));
    }
    return true;
}
