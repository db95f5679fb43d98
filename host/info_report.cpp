#include "host/info_report.h"

#include <cstdio>

#include "host/interrupt.h"
#include "host/json_writer.h"

namespace {

// Prints the page text indented under a heading.
void printStreamText(const std::string& heading, const std::string& text)
{
    std::printf("    %s:\n", heading.c_str());
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find("\r\n", start);
        if (end == std::string::npos)
            end = text.size();
        std::printf("      %s\n", text.substr(start, end - start).c_str());
        start = end + 2;
    }
}

// Why a stream was not decoded, or "" when it was (or could have been).
std::string notDecodedReason(const HostStream& stream)
{
    return stream.mediaType ? stream.noAudio : stream.unsupported;
}

void writeFormat(JsonWriter& json, const PcmFormat& format)
{
    json.beginObject();
    json.member("channels", format.channels);
    json.member("rate", format.rate);
    json.member("bits", format.bits);
    json.member("float", format.kind == PcmFormat::Kind::Float);
    json.member("channelMask", format.mask);
    json.member("spdif", format.kind == PcmFormat::Kind::Spdif);
    json.endObject();
}

void writeRecord(JsonWriter& json, const std::optional<StreamInfoRecord>& record)
{
    if (!record) {
        json.null();
        return;
    }
    const StreamInfoRecord& r = *record;
    json.beginObject();
    json.member("streamType", streamKindName(r.streamType));
    json.member("bitRate", r.bitRate);
    json.member("frameSize", r.frameSize);
    json.member("sampleRate", r.sampleRate);
    json.member("bitsPerSample", r.bitsPerSample);
    json.member("channelMask", r.channelMask);
    json.member("channels", r.channels);
    json.member("remixMode", r.remixMode);
    if (r.mpeg) {
        json.key("mpeg").beginObject();
        json.member("version", r.mpeg->version);
        json.member("layer", r.mpeg->layer);
        json.member("mp3Pro", r.mpeg->mp3Pro);
        json.endObject();
    }
    if (r.ac3) {
        json.key("ac3").beginObject();
        json.member("acmod", r.ac3->acmod);
        json.member("bsmod", r.ac3->bsmod);
        json.member("dsurmod", r.ac3->dsurmod);
        json.member("lfe", r.ac3->lfe);
        if (r.ac3->karaokeMode)
            json.member("karaokeMode", *r.ac3->karaokeMode);
        json.endObject();
    }
    if (r.aac) {
        json.key("aac").beginObject();
        json.member("objectType", r.aac->objectType);
        json.member("sbr", r.aac->sbr);
        json.member("parametricStereo", r.aac->parametricStereo);
        json.endObject();
    }
    json.endObject();
}

}  // namespace

size_t defaultStream(const std::vector<HostStream>& streams)
{
    size_t stream = 0;
    while (stream < streams.size() &&
           (!streams[stream].mediaType || !streams[stream].noAudio.empty()))
        ++stream;
    return stream;
}

InfoReport examineInput(TavioModule* module,
                        const std::string& name,
                        const std::string& path,
                        InputSource& input)
{
    InfoReport report{name, input.containerName(), {}};
    const auto& streams = input.streams();
    size_t chosen = defaultStream(streams);
    for (size_t i = 0; i < streams.size(); ++i) {
        report.streams.push_back({streams[i], i == chosen, std::nullopt});
        if (stopSignal() != 0)
            break;  // asked to stop: the caller leaves with the signal's code
        if (!module || !notDecodedReason(streams[i]).empty() || !streams[i].mediaType)
            continue;
        // Decode the stream's start to see what the filter makes of it.
        std::string error;
        auto fresh = openInputSource(path, error);
        if (!fresh)
            continue;
        DecodeRequest request;
        request.maxPackets = 200;
        request.stopRequested = [] { return stopSignal() != 0; };
        report.streams.back().outcome = decodeStream(*module, *fresh, i, request);
    }
    return report;
}

void printInfoText(const InfoReport& report)
{
    size_t count = report.streams.size();
    std::printf("%s: %s, %zu audio stream%s\n", report.path.c_str(), report.container.c_str(),
                count, count == 1 ? "" : "s");
    for (size_t i = 0; i < count; ++i) {
        const StreamReport& s = report.streams[i];
        std::printf("  stream %zu: %s\n", i, s.stream.description.c_str());
        if (!s.stream.mediaType || !s.stream.noAudio.empty()) {
            std::printf("    not decoded: %s\n", notDecodedReason(s.stream).c_str());
            continue;
        }
        if (!s.outcome)
            continue;
        if (s.outcome->exitCode == 2) {
            std::printf("    refused by the filter: %s\n", s.outcome->message.c_str());
            continue;
        }
        std::printf("    output: %s\n", s.outcome->format.c_str());
        if (!s.outcome->conversion.empty())
            std::printf("    %s\n", s.outcome->conversion.c_str());
        // With the conversion, the second filter is the one decoding AC-3.
        for (size_t f = 0; f < s.outcome->filters.size(); ++f) {
            std::string stage = f == 0 ? "" : "AC-3 ";
            printStreamText(stage + "decoder", s.outcome->filters[f].inputText);
            printStreamText(stage + "delivered", s.outcome->filters[f].outputText);
        }
    }
}

std::string infoJson(const InfoReport& report)
{
    JsonWriter json;
    json.beginObject().key("input").beginObject();
    json.member("path", report.path);
    json.member("container", report.container);
    json.endObject().key("streams").beginArray();
    for (size_t i = 0; i < report.streams.size(); ++i) {
        const StreamReport& s = report.streams[i];
        json.beginObject();
        json.member("index", i);
        json.member("codec", s.stream.codec);
        json.member("description", s.stream.description);
        json.member("chosen", s.chosen);
        std::string notDecoded = notDecodedReason(s.stream);
        if (!s.stream.mediaType || !notDecoded.empty()) {
            json.member("notDecoded", notDecoded);
        } else if (s.outcome && s.outcome->exitCode == 2) {
            json.member("refused", s.outcome->message);
        } else if (s.outcome) {
            writeFormat(json.key("output"), s.outcome->delivered);
            const std::vector<FilterStreamInfo>& filters = s.outcome->filters;
            if (!filters.empty()) {
                writeRecord(json.key("decoder"), filters[0].inputInfo);
                writeRecord(json.key("delivered"), filters[0].outputInfo);
            }
            if (filters.size() > 1) {
                json.member("conversion", s.outcome->conversion);
                writeRecord(json.key("ac3Decoder"), filters[1].inputInfo);
                writeRecord(json.key("ac3Delivered"), filters[1].outputInfo);
            }
        }
        json.endObject();
    }
    json.endArray().endObject();
    return json.text();
}
