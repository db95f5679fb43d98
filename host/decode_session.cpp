#include "host/decode_session.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "filter/stream_text.h"
#include "host/burst_unpacker.h"
#include "host/coalesced_input.h"
#include "host/delivered_audio.h"
#include "host/eac3_last_unit.h"
#include "host/graph.h"
#include "host/host_media_types.h"
#include "host/mpeg_frame_layout.h"
#include "host/pcm_format.h"
#include "host/push_source.h"
#include "host/seek_window.h"
#include "host/sink_filter.h"
#include "platform/codecapi.h"
#include "platform/error_text.h"

namespace {

constexpr LONG kSourceBufferSize = 256 * 1024;
// The AC-3 encoder behind the filter's E-AC-3 conversion delays the sound by
// one block's overlap.
constexpr int64_t kConversionDelayFrames = 256;
constexpr uint32_t kAc3FrameSamples = 1536;

WAVEFORMATEX waveOf(const CMediaType& type)
{
    WAVEFORMATEX wave{};
    if (type.pbFormat && type.cbFormat >= sizeof(WAVEFORMATEX) - 2)
        std::memcpy(&wave, type.pbFormat, std::min<size_t>(sizeof wave, type.cbFormat));
    return wave;
}

// How many leading bytes of a delivered sample lie before time `from`: audio
// the container marks as priming, which players do not play, or the delay
// of the AC-3 conversion.
size_t bytesBefore(const SampleView& sample, const PcmFormat& format, REFERENCE_TIME from)
{
    if (!sample.hasStart || sample.start >= from || !format.blockAlign || !format.rate ||
        format.kind == PcmFormat::Kind::Spdif)
        return 0;
    // Nearest sample: the times were rounded from whole samples.
    uint64_t frames = (uint64_t(from - sample.start) * format.rate + 5000000) / 10000000;
    return size_t(std::min<uint64_t>(frames * format.blockAlign, sample.data.size()));
}

// The bytes of `frames` frames of delivered PCM; none for S/PDIF bursts,
// which are never cut.
size_t paddingBytes(uint32_t frames, const PcmFormat& format)
{
    if (format.kind == PcmFormat::Kind::Spdif)
        return 0;
    return size_t(frames) * format.blockAlign;
}

// Keeps at least the last kEac3UnitBytesKept bytes of a stream in `kept`.
// Six blocks of up to eight substreams in frames of at most 4096 bytes fit.
constexpr size_t kEac3UnitBytesKept = 6 * 8 * 4096;
void keepLastBytes(std::vector<uint8_t>& kept, const std::vector<uint8_t>& more)
{
    kept.insert(kept.end(), more.begin(), more.end());
    // Cut from the front now and then, not on every packet.
    if (kept.size() > 2 * kEac3UnitBytesKept)
        kept.erase(kept.begin(), kept.end() - long(kEac3UnitBytesKept));
}

// The sink side of --bits: a sound card that takes only one format.
std::function<bool(const CMediaType&)> acceptOnly(const std::string& bits)
{
    return [bits](const CMediaType& t) {
        if (bits == "float")
            return IsEqualGUID(t.subtype, MEDIASUBTYPE_IEEE_FLOAT) != 0;
        WAVEFORMATEX wave = waveOf(t);
        return IsEqualGUID(t.subtype, MEDIASUBTYPE_PCM) &&
               std::to_string(wave.wBitsPerSample) == bits;
    };
}

// The float type the filter's output pin offers, if any. The filter offers
// integer types first; a float decoder's own type keeps peaks above full
// scale that integers would wrap, so the host asks for it when --bits does
// not name a format.
std::optional<CMediaType> offeredFloatType(IPin* output)
{
    IEnumMediaTypes* types = nullptr;
    if (FAILED(output->EnumMediaTypes(&types)) || !types)
        return std::nullopt;
    std::optional<CMediaType> found;
    AM_MEDIA_TYPE* type = nullptr;
    while (!found && types->Next(1, &type, nullptr) == S_OK) {
        if (IsEqualGUID(type->subtype, MEDIASUBTYPE_IEEE_FLOAT))
            found = CMediaType(*type);
        DeleteMediaType(type);
    }
    types->Release();
    return found;
}

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

// What the property page would show for the filter's input or output now,
// and the snapshot's values.
void readPinStreamInfo(IBaseFilter* filter,
                       bool output,
                       std::string& text,
                       std::optional<StreamInfoRecord>& record)
{
    ITavioControl* control = nullptr;
    ITavioStreamInfo* info = nullptr;
    if (SUCCEEDED(filter->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&control)))) {
        HRESULT hr =
            output ? control->GetOutputStreamInfo(&info) : control->GetInputStreamInfo(&info);
        control->Release();
        if (FAILED(hr) && info) {
            info->Release();
            info = nullptr;
        }
    }
    text = streamText(info);
    if (info) {
        record = readStreamInfo(*info);
        info->Release();
    }
}

// Completes a stream cut inside its last frame, as other decoders read it.
void deliverZeros(PushSource& source, size_t count)
{
    if (count == 0)
        return;
    std::vector<uint8_t> zeros(count);
    PushSource::Packet tail;
    tail.data = zeros.data();
    tail.size = zeros.size();  // no more than a frame
    source.Deliver(tail);
}

// A filter's pin by name. The pin lives as long as its filter, which the
// caller holds, so no reference is kept.
IPin* pinOf(IBaseFilter* filter, LPCWSTR name)
{
    IPin* pin = nullptr;
    if (filter && SUCCEEDED(filter->FindPin(name, &pin)) && pin)
        pin->Release();
    return pin;
}

FilterStreamInfo readFilterStreamInfo(IBaseFilter* filter)
{
    FilterStreamInfo info;
    readPinStreamInfo(filter, false, info.inputText, info.inputInfo);
    readPinStreamInfo(filter, true, info.outputText, info.outputInfo);
    return info;
}

const struct {
    const char* name;
    const GUID* format;
} kOutputFormats[] = {
    {"pcm-stereo", &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO},
    {"matrix-stereo", &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED},
    {"spdif-pcm", &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM},
    {"spdif-bitstream", &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM},
};

// Sets the output format through the filter's ICodecAPI, as an application would.
HRESULT setOutputFormat(IBaseFilter* filter, const std::string& name)
{
    const GUID* format = nullptr;
    for (const auto& entry : kOutputFormats)
        if (name == entry.name)
            format = entry.format;
    ICodecAPI* api = nullptr;
    if (!format || FAILED(filter->QueryInterface(IID_ICodecAPI, reinterpret_cast<void**>(&api))))
        return E_FAIL;
    OLECHAR text[40];
    StringFromGUID2(*format, text, 40);
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(text);
    HRESULT hr = value.bstrVal ? api->SetValue(&CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT, &value)
                               : E_OUTOFMEMORY;
    VariantClear(&value);
    api->Release();
    return hr;
}

}  // namespace

bool isOutputFormat(const std::string& name)
{
    for (const auto& entry : kOutputFormats)
        if (name == entry.name)
            return true;
    return false;
}

DecodeOutcome decodeStream(TavioModule& module,
                           InputSource& input,
                           size_t stream,
                           const DecodeRequest& request)
{
    return decodeStream([&module] { return module.createFilter(); }, input, stream, request);
}

DecodeOutcome decodeStream(const FilterFactory& createFilter,
                           InputSource& input,
                           size_t stream,
                           const DecodeRequest& request)
{
    DecodeOutcome outcome;
    const HostStream& chosen = input.streams()[stream];
    if (!chosen.mediaType) {
        outcome.exitCode = 2;
        outcome.message = chosen.codec + ": " + chosen.unsupported;
        return outcome;
    }
    // The filter makes sound of E-AC-3 only as AC-3 bursts for a receiver.
    // Without one, a player puts the bursts' AC-3 frames through a second
    // decoder; so does tavio.
    bool throughAc3 = chosen.codec == "eac3" && request.outputFormat != "spdif-bitstream";
    Ref<IBaseFilter> decoder(createFilter());
    Ref<IBaseFilter> ac3Decoder(throughAc3 ? createFilter() : nullptr);
    if (!decoder || (throughAc3 && !ac3Decoder)) {
        outcome.exitCode = 2;
        outcome.message = "the decoder module could not create a filter";
        return outcome;
    }
    // The filter whose output is written.
    IBaseFilter* last = throughAc3 ? ac3Decoder.get() : decoder.get();
    if ((throughAc3 && FAILED(setOutputFormat(decoder.get(), "spdif-bitstream"))) ||
        (!request.outputFormat.empty() && FAILED(setOutputFormat(last, request.outputFormat)))) {
        outcome.exitCode = 2;
        outcome.message = "the filter refused the output format " +
                          (request.outputFormat.empty() ? "spdif-bitstream" : request.outputFormat);
        return outcome;
    }
    input.select(stream);

    PushSource* sourceFilter = PushSource::Create(*chosen.mediaType, kSourceBufferSize);
    SinkFilter* sinkFilter = SinkFilter::Create();
    Ref<IBaseFilter> source(sourceFilter);
    Ref<IBaseFilter> sink(sinkFilter);
    if (!request.bits.empty())
        sinkFilter->SetAcceptType(acceptOnly(request.bits));

    OutputFile output;
    Graph graph;
    graph.Add(source.get(), WIDE("source"));
    graph.Add(decoder.get(), WIDE("Tavio2"));
    HRESULT hr = graph.Connect(sourceFilter->OutputPin(), pinOf(decoder.get(), WIDE("Input")));
    if (FAILED(hr)) {
        outcome.exitCode = 2;
        outcome.message =
            "the filter refused the " + chosen.codec + " stream (" + platform::errorName(hr) + ")";
    }
    Ref<IBaseFilter> unpacker;
    if (throughAc3 && outcome.exitCode == 0) {
        WAVEFORMATEX eac3 = waveOf(*chosen.mediaType);
        REFERENCE_TIME encoderDelay =
            eac3.nSamplesPerSec ? kConversionDelayFrames * 10000000LL / eac3.nSamplesPerSec : 0;
        BurstUnpacker* unpackerFilter = BurstUnpacker::Create(
            ac3MediaType(int(eac3.nSamplesPerSec), std::min<int>(eac3.nChannels, 6)), encoderDelay);
        unpacker.reset(unpackerFilter);
        graph.Add(unpacker.get(), WIDE("burst unpacker"));
        graph.Add(ac3Decoder.get(), WIDE("Tavio2 (AC-3)"));
        if (FAILED(hr = graph.Connect(pinOf(decoder.get(), WIDE("Output")),
                                      unpackerFilter->InputPin())) ||
            FAILED(hr = graph.Connect(unpackerFilter->OutputPin(),
                                      pinOf(ac3Decoder.get(), WIDE("Input"))))) {
            outcome.exitCode = 2;
            outcome.message = "the AC-3 conversion of E-AC-3 could not be set up (" +
                              platform::errorName(hr) + ")";
        }
        outcome.conversion = "E-AC-3 went through the filter's conversion to 640 kbit/s AC-3";
        if (eac3.nChannels > 6)
            outcome.conversion += ", which carries 5.1 at most";
    }
    graph.Add(sink.get(), WIDE("sink"));
    IPin* lastOutput = pinOf(last, WIDE("Output"));
    if (outcome.exitCode == 0) {
        std::optional<CMediaType> floatType =
            request.bits.empty() ? offeredFloatType(lastOutput) : std::nullopt;
        hr = graph.Connect(lastOutput, sinkFilter->InputPin(), floatType ? &*floatType : nullptr);
        if (FAILED(hr)) {
            outcome.exitCode = 2;
            outcome.message =
                request.bits.empty()
                    ? "the filter offers no output format (" + platform::errorName(hr) + ")"
                    : "the filter offers no " +
                          (request.bits == "float" ? std::string("float") : request.bits + "-bit") +
                          " output for this stream (" + platform::errorName(hr) + ")";
        }
    }
    CMediaType connected;
    if (outcome.exitCode == 0) {
        connected = sinkFilter->CurrentType();
        if (!output.open(request.output, connected)) {
            outcome.exitCode = 1;
            outcome.message = request.output + ": cannot be written (" + output.error() + ")";
        }
    }
    if (outcome.exitCode == 0) {
        DeliveredAudio audio(output, connected, request.announceFormatChanges);
        // A count of packets to deliver counts the input's own packets.
        CoalescedInput packets(input, request.maxPackets ? std::string() : chosen.codec);
        SeekingFeed feed(*sourceFilter, packets);
        std::optional<SeekWindow> window;
        if (request.start || request.duration)
            window.emplace(request.duration);
        // Written audio passes the window of --start/--duration first.
        auto emit = [&](const uint8_t* data, size_t size) {
            SeekWindow::Cut cut =
                window ? window->cut(size, audio.currentFormat()) : SeekWindow::Cut{0, size};
            audio.write(data + cut.skip, cut.keep);
        };
        // The audio of a packet with end padding or announced priming is
        // held until the packet is through the filter, then written without
        // them.
        bool holding = false;
        std::vector<uint8_t> held;
        uint32_t heldPadding = 0;  // frames of end padding in `held`
        std::atomic<bool> writeFailed = false;
        // Audio stamped before this time is not written: before zero, the
        // priming a container marks; through the AC-3 conversion, before the
        // first packet, the conversion's delay.
        std::optional<REFERENCE_TIME> cutBefore;
        if (input.timesFromPresentationStart())
            cutBefore = 0;
        sinkFilter->SetSampleHandler([&](const SampleView& sample) {
            if (sample.mediaType)
                audio.setType(*sample.mediaType);
            // The window drops what lies before its start, priming included.
            size_t skip =
                !window && cutBefore ? bytesBefore(sample, audio.currentFormat(), *cutBefore) : 0;
            if (window)
                window->place(sample.hasStart, sample.start, audio.currentFormat());
            if (holding)
                held.insert(held.end(), sample.data.begin() + long(skip), sample.data.end());
            else
                emit(sample.data.data() + skip, sample.data.size() - skip);
            if (audio.failed())
                writeFailed = true;
        });
        graph.Run();
        if (window) {
            std::optional<REFERENCE_TIME> stop;
            if (request.duration)
                stop = request.start.value_or(0) + *request.duration;
            seekThroughGraph(sinkFilter->InputPin(), request.start, stop);
        }
        auto writeHeld = [&](uint32_t priming) {
            holding = false;
            // Padding longer than the packet's audio is ignored, as
            // libavcodec ignores it, so that lengths stay equal to its.
            size_t padding = paddingBytes(heldPadding, audio.currentFormat());
            size_t lead = std::min(paddingBytes(priming, audio.currentFormat()), held.size());
            if (padding > held.size() - lead)
                padding = 0;
            emit(held.data() + lead, held.size() - lead - padding);
            held.clear();
        };
        ProgressBar bar(request.progress);
        HostPacket packet;
        size_t delivered = 0;
        std::optional<MpegFrameLayout> mpegLayout;
        const bool mpegAudio =
            chosen.codec == "mp1" || chosen.codec == "mp2" || chosen.codec == "mp3";
        if (mpegAudio)
            mpegLayout.emplace();
        auto stopNow = [&] {
            outcome.stopped = request.stopRequested && request.stopRequested();
            return outcome.stopped || writeFailed || (window && window->full());
        };
        bool pastEnd = false, inputEnded = false;
        // Through the AC-3 conversion: the stream's last bytes, enough for
        // its last access unit, which is found there once the input ends.
        std::vector<uint8_t> lastBytes;
        while ((request.maxPackets == 0 || delivered++ < request.maxPackets) && !stopNow()) {
            SeekingFeed::Step step = feed.applyPendingSeek();
            if (step == SeekingFeed::Step::Seeked) {
                holding = false;
                held.clear();
                lastBytes.clear();
                if (window)
                    window->restart();
                // The source's packets begin on a frame again.
                if (mpegLayout)
                    mpegLayout.emplace();
            }
            if ((pastEnd = step == SeekingFeed::Step::PastEnd))
                break;
            if (!packets.next(packet)) {
                inputEnded = true;
                break;
            }
            if (mpegLayout)
                mpegLayout->lay(packet.data);
            if (throughAc3 && !cutBefore && packet.hasTime)
                cutBefore = packet.start;
            PushSource::Packet p;
            p.data = packet.data.data();
            p.size = packet.data.size();
            feed.prepare(packet, p.discontinuity);
            p.start = packet.hasTime ? &packet.start : nullptr;
            // A window places the audio by the first sample's time: the
            // unit after the priming then stands where the priming was, as
            // in a run without one.
            const uint32_t priming = packet.primingFrames;
            if (holding)
                writeHeld(0);  // the stream went on after all
            holding = packet.paddingFrames > 0 || priming > 0;
            heldPadding = packet.paddingFrames;
            if (p.size > size_t(kSourceBufferSize))
                sourceFilter->DeliverSplit(p);
            else
                sourceFilter->Deliver(p);
            if (throughAc3)
                keepLastBytes(lastBytes, packet.data);
            // A packet that ends inside an MPEG frame is the stream's cut
            // end when it carries padding: the frame's audio, and the
            // padding in it, come with the zeros that complete it.
            const bool cutEnd =
                heldPadding > 0 && mpegLayout && mpegLayout->zerosToCompleteLastFrame() > 0;
            if (holding && !cutEnd)
                writeHeld(priming);
            bar.update(packets.progress());
        }
        // Before the end of stream, which resets the decoder.
        outcome.filters.push_back(readFilterStreamInfo(decoder.get()));
        if (ac3Decoder)
            outcome.filters.push_back(readFilterStreamInfo(ac3Decoder.get()));
        // A stopped decode ends as a player stops: no end of stream, the
        // graph stopped, then the file finished with what reached it.
        if (!outcome.stopped && !writeFailed) {
            if (mpegLayout && inputEnded)
                deliverZeros(*sourceFilter, mpegLayout->zerosToCompleteLastFrame());
            if (holding)
                writeHeld(0);
            // The conversion's encoder still holds the stream's last 256
            // samples. Its last unit, sent again, brings them out at the start
            // of one more AC-3 frame, the rest of which is not written.
            std::optional<ByteSpan> unit;
            if (throughAc3 && inputEnded)
                unit = lastEac3AccessUnit(lastBytes.data(), lastBytes.size());
            if (unit) {
                holding = true;
                heldPadding = 0;
                PushSource::Packet p;
                p.data = lastBytes.data() + unit->offset;
                p.size = unit->size;
                sourceFilter->Deliver(p);
            }
            sourceFilter->DeliverEndOfStream();
            if (unit) {
                // The unit's frame comes out last; without it, nothing is cut.
                if (held.size() >= paddingBytes(kAc3FrameSamples, audio.currentFormat()))
                    heldPadding = kAc3FrameSamples - uint32_t(kConversionDelayFrames);
                writeHeld(0);
            }
        }
        if (holding)
            writeHeld(0);  // a stopped decode keeps what reached it
        graph.Stop();
        sinkFilter->SetSampleHandler(nullptr);
        audio.finish();
        uint64_t counted = output.bytes();
        bool closed = output.close() && !audio.failed();
        outcome.bytes = output.bytes();
        outcome.format = audio.description();
        outcome.delivered = audio.fileFormat();
        outcome.seconds = counted ? audio.seconds() * double(outcome.bytes) / double(counted) : 0;
        if (!closed) {
            char kept[64];
            std::snprintf(kept, sizeof kept, "; %.2f s of audio kept", outcome.seconds);
            outcome.exitCode = 4;
            outcome.message = request.output + ": writing failed (" + output.error() + ")" + kept;
        } else if (outcome.bytes == 0 && !outcome.stopped && (request.start || pastEnd)) {
            char text[96];
            std::snprintf(text, sizeof text, "no audio from %.3f s on: the stream ends before",
                          double(request.start.value_or(0)) / 1e7);
            outcome.exitCode = 3;
            outcome.message = text;
        } else if (outcome.bytes == 0 && !outcome.stopped) {
            outcome.exitCode = 3;
            outcome.message = "the filter accepted " + chosen.codec + " but produced no audio";
        }
    }
    sinkFilter->SetSampleHandler(nullptr);
    graph.Clear();
    return outcome;
}
