#include "host/decode_session.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "filter/stream_text.h"
#include "host/graph.h"
#include "host/push_source.h"
#include "host/sink_filter.h"
#include "host/wav_writer.h"
#include "platform/error_text.h"

namespace {

constexpr LONG kSourceBufferSize = 256 * 1024;

bool endsWith(const std::string& text, const std::string& suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

WAVEFORMATEX waveOf(const CMediaType& type)
{
    WAVEFORMATEX wave{};
    if (type.pbFormat && type.cbFormat >= sizeof(WAVEFORMATEX) - 2)
        std::memcpy(&wave, type.pbFormat, std::min<size_t>(sizeof wave, type.cbFormat));
    return wave;
}

// "24-bit PCM, 48000 Hz, 6 channels (mask 0x3f)" for what the sink received.
std::string describeDelivered(const CMediaType& type)
{
    WAVEFORMATEX wave = waveOf(type);
    uint32_t mask = 0;
    bool isFloat = IsEqualGUID(type.subtype, MEDIASUBTYPE_IEEE_FLOAT) != 0;
    if (wave.wFormatTag == WAVE_FORMAT_EXTENSIBLE && type.cbFormat >= sizeof(WAVEFORMATEXTENSIBLE)) {
        WAVEFORMATEXTENSIBLE extensible;
        std::memcpy(&extensible, type.pbFormat, sizeof extensible);
        mask = extensible.dwChannelMask;
        isFloat = IsEqualGUID(extensible.SubFormat, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT) != 0;
    }
    if (wave.wFormatTag == WAVE_FORMAT_DOLBY_AC3_SPDIF)
        return "S/PDIF bursts, " + std::to_string(wave.nSamplesPerSec) + " Hz";
    std::string text = isFloat ? std::string("32-bit float") : std::to_string(wave.wBitsPerSample) + "-bit PCM";
    text += ", " + std::to_string(wave.nSamplesPerSec) + " Hz, " + std::to_string(wave.nChannels) + " channels";
    if (mask) {
        char hex[32];
        std::snprintf(hex, sizeof hex, " (mask 0x%x)", unsigned(mask));
        text += hex;
    }
    return text;
}

// How many leading bytes of a delivered sample lie before time zero: audio
// the container marks as priming, which players do not play.
size_t bytesBeforeZero(const ReceivedSample& sample, const WAVEFORMATEX& wave)
{
    if (!sample.hasStart || sample.start >= 0 || !wave.nBlockAlign || !wave.nSamplesPerSec ||
        wave.wFormatTag == WAVE_FORMAT_DOLBY_AC3_SPDIF)
        return 0;
    uint64_t frames = (uint64_t(-sample.start) * wave.nSamplesPerSec + 9999999) / 10000000;
    return size_t(std::min<uint64_t>(frames * wave.nBlockAlign, sample.data.size()));
}

// The bytes of `frames` frames of delivered PCM; none for S/PDIF bursts,
// which are never cut.
size_t paddingBytes(uint32_t frames, const WAVEFORMATEX& wave)
{
    if (wave.wFormatTag == WAVE_FORMAT_DOLBY_AC3_SPDIF)
        return 0;
    return size_t(frames) * wave.nBlockAlign;
}

// The sink side of --bits: a sound card that takes only one format.
std::function<bool(const CMediaType&)> acceptOnly(const std::string& bits)
{
    return [bits](const CMediaType& t) {
        if (bits == "float")
            return IsEqualGUID(t.subtype, MEDIASUBTYPE_IEEE_FLOAT) != 0;
        WAVEFORMATEX wave = waveOf(t);
        return IsEqualGUID(t.subtype, MEDIASUBTYPE_PCM) && std::to_string(wave.wBitsPerSample) == bits;
    };
}

// Where the delivered bytes go: a WAVE file, a raw file or standard output.
class OutputFile {
public:
    bool open(const std::string& path, const CMediaType& type)
    {
        if (path.empty())
            return true;
        wave_ = path != "-" && endsWith(path, ".wav");
        if (wave_) {
            std::vector<uint8_t> format(type.pbFormat, type.pbFormat + type.cbFormat);
            return writer_.open(path, fileWaveFormat(format));
        }
        raw_ = path == "-" ? stdout : std::fopen(path.c_str(), "wb");
        return raw_ != nullptr;
    }
    void write(const uint8_t* data, size_t size)
    {
        if (wave_)
            writer_.write(data, size);
        else if (raw_)
            failed_ |= std::fwrite(data, 1, size, raw_) != size;
        bytes_ += size;
    }
    bool close()
    {
        if (wave_)
            return writer_.close();
        bool ok = !failed_;
        if (raw_ && raw_ != stdout)
            ok &= std::fclose(raw_) == 0;
        else if (raw_)
            ok &= std::fflush(raw_) == 0;
        raw_ = nullptr;
        return ok;
    }
    uint64_t bytes() const { return bytes_; }

private:
    bool wave_ = false;
    WavWriter writer_;
    FILE* raw_ = nullptr;
    bool failed_ = false;
    uint64_t bytes_ = 0;
};

class ProgressBar {
public:
    explicit ProgressBar(bool on) : on_(on) {}
    ~ProgressBar()
    {
        if (shown_)
            std::fprintf(stderr, "\r%60s\r", "");
    }
    void update(double fraction)
    {
        int percent = int(fraction * 100);
        if (!on_ || percent == last_)
            return;
        last_ = percent;
        shown_ = true;
        int filled = std::min(40, std::max(0, percent * 40 / 100));
        std::fprintf(stderr, "\r[%-40s] %3d%%", std::string(size_t(filled), '#').c_str(), percent);
    }

private:
    bool on_;
    bool shown_ = false;
    int last_ = -1;
};

struct Released {
    void operator()(IUnknown* p) const
    {
        if (p)
            p->Release();
    }
};
template <class T>
using Ref = std::unique_ptr<T, Released>;

// What the property page would show for the filter's input or output now.
std::string filterStreamText(IBaseFilter* filter, bool output)
{
    ITavioControl* control = nullptr;
    if (FAILED(filter->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&control))))
        return streamText(nullptr);
    ITavioStreamInfo* info = nullptr;
    HRESULT hr = output ? control->GetOutputStreamInfo(&info) : control->GetInputStreamInfo(&info);
    control->Release();
    std::string text = streamText(SUCCEEDED(hr) ? info : nullptr);
    if (info)
        info->Release();
    return text;
}

}  // namespace

DecodeOutcome decodeStream(TavioModule& module, InputSource& input, size_t stream, const DecodeRequest& request)
{
    DecodeOutcome outcome;
    const HostStream& chosen = input.streams()[stream];
    if (!chosen.mediaType) {
        outcome.exitCode = 2;
        outcome.message = chosen.codec + ": " + chosen.unsupported;
        return outcome;
    }
    Ref<IBaseFilter> decoder(module.createFilter());
    if (!decoder) {
        outcome.exitCode = 2;
        outcome.message = "the decoder module could not create a filter";
        return outcome;
    }
    if (request.spdif) {
        ITavioControl* control = nullptr;
        if (FAILED(decoder->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&control))) ||
            FAILED(control->SetSpdif(TRUE))) {
            if (control)
                control->Release();
            outcome.exitCode = 2;
            outcome.message = "the filter refused S/PDIF pass-through";
            return outcome;
        }
        control->Release();
    }
    input.select(stream);

    PushSource* sourceFilter = PushSource::Create(*chosen.mediaType, kSourceBufferSize);
    SinkFilter* sinkFilter = SinkFilter::Create();
    Ref<IBaseFilter> source(sourceFilter);
    Ref<IBaseFilter> sink(sinkFilter);
    if (!request.bits.empty())
        sinkFilter->SetAcceptType(acceptOnly(request.bits));

    OutputFile output;
    bool outputOpen = false;
    bool formatChanged = false;
    Graph graph;
    graph.Add(source.get(), WIDE("source"));
    graph.Add(decoder.get(), WIDE("Tavio2"));
    graph.Add(sink.get(), WIDE("sink"));
    IPin* rawInput = nullptr;
    IPin* rawOutput = nullptr;
    decoder->FindPin(WIDE("Input"), &rawInput);
    decoder->FindPin(WIDE("Output"), &rawOutput);
    Ref<IPin> decoderInput(rawInput), decoderOutput(rawOutput);

    HRESULT hr = decoderInput && decoderOutput ? graph.Connect(sourceFilter->OutputPin(), decoderInput.get())
                                               : E_FAIL;
    if (FAILED(hr)) {
        outcome.exitCode = 2;
        outcome.message = "the filter refused the " + chosen.codec + " stream (" + platform::errorName(hr) + ")";
    } else if (FAILED(hr = graph.Connect(decoderOutput.get(), sinkFilter->InputPin()))) {
        outcome.exitCode = 2;
        outcome.message = request.bits.empty()
                              ? "the filter offers no output format (" + platform::errorName(hr) + ")"
                              : "the filter offers no " +
                                    (request.bits == "float" ? std::string("float") : request.bits + "-bit") +
                                    " output for this stream (" + platform::errorName(hr) + ")";
    }
    CMediaType connected;
    if (outcome.exitCode == 0) {
        connected = sinkFilter->CurrentType();
        outcome.format = describeDelivered(connected);
        outputOpen = output.open(request.output, connected);
        if (!outputOpen) {
            outcome.exitCode = 1;
            outcome.message = request.output + ": cannot be written";
        }
    }
    if (outcome.exitCode == 0) {
        WAVEFORMATEX current = waveOf(connected);
        // The audio of a packet with end padding is held until the packet
        // is through the filter, then written without its padding.
        bool holding = false;
        std::vector<uint8_t> held;
        sinkFilter->SetSampleHandler([&](const ReceivedSample& sample) {
            if (sample.mediaType) {
                current = waveOf(*sample.mediaType);
                if (!formatChanged)
                    outcome.format += "; changed mid-stream to " + describeDelivered(*sample.mediaType);
                formatChanged = true;
            }
            size_t skip = input.timesFromPresentationStart() ? bytesBeforeZero(sample, current) : 0;
            if (holding)
                held.insert(held.end(), sample.data.begin() + long(skip), sample.data.end());
            else
                output.write(sample.data.data() + skip, sample.data.size() - skip);
        });
        graph.Run();
        ProgressBar bar(request.progress);
        HostPacket packet;
        size_t delivered = 0;
        while ((request.maxPackets == 0 || delivered++ < request.maxPackets) && input.next(packet)) {
            PushSource::Packet p;
            p.data = packet.data.data();
            p.size = packet.data.size();
            p.start = packet.hasTime ? &packet.start : nullptr;
            holding = packet.paddingFrames > 0;
            if (p.size > size_t(kSourceBufferSize))
                sourceFilter->DeliverSplit(p);
            else
                sourceFilter->Deliver(p);
            if (holding) {
                holding = false;
                // Padding longer than the packet's audio is ignored, as
                // libavcodec ignores it, so that lengths stay equal to its.
                size_t padding = paddingBytes(packet.paddingFrames, current);
                output.write(held.data(), held.size() - (padding <= held.size() ? padding : 0));
                held.clear();
            }
            bar.update(input.progress());
        }
        // Before the end of stream, which resets the decoder.
        outcome.inputText = filterStreamText(decoder.get(), false);
        outcome.outputText = filterStreamText(decoder.get(), true);
        sourceFilter->DeliverEndOfStream();
        graph.Stop();
        bool closed = output.close();
        outcome.bytes = output.bytes();
        WAVEFORMATEX wave = waveOf(sinkFilter->CurrentType());
        if (wave.nAvgBytesPerSec)
            outcome.seconds = double(outcome.bytes) / wave.nAvgBytesPerSec;
        if (!closed) {
            outcome.exitCode = 1;
            outcome.message = request.output + ": writing failed";
        } else if (outcome.bytes == 0) {
            outcome.exitCode = 3;
            outcome.message = "the filter accepted " + chosen.codec + " but produced no audio";
        }
    }
    sinkFilter->SetSampleHandler(nullptr);
    graph.Clear();
    return outcome;
}
