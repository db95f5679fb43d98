// tavio: decodes a file through the Tavio2 filter module and writes a WAVE
// file. It loads TavioDec2.ax like any host, creates the filter with
// makeTavio2 and drives it with its own source and sink.
//
// So far it reads DVD-Video LPCM from MPEG program streams (VOB); other
// inputs are refused with exit code 2.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "filter/TvFilter.h"
#include "host/graph.h"
#include "host/program_stream.h"
#include "host/push_source.h"
#include "host/sink_filter.h"
#include "host/wav_writer.h"
#include "platform/error_text.h"

namespace {

constexpr const char* kVersion = "tavio 0.1";
// makeTavio2 is exported under its C++ name (Itanium mangling on POSIX).
constexpr const char* kMakeTavio2 = "_Z10makeTavio2PP8TvFilter";

enum ExitCode { Decoded = 0, UsageError = 1, UnreadableInput = 2, NoAudio = 3 };

struct Options {
    std::string input;
    std::string output;
    bool quiet = false;
    bool bundled = false;
    bool info = false;
    std::string bits;  // empty: any format; else 16, 24, 32 or float
};

std::string folderOf(const std::string& path)
{
    size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string("./") : path.substr(0, slash + 1);
}

std::string executableFolder()
{
    char path[4096];
    DWORD n = GetModuleFileNameA(nullptr, path, sizeof path);
    return n ? folderOf(std::string(path, n)) : std::string("./");
}

bool exists(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

// The module next to tavio, in the installed layout, or in the build tree.
std::string findModule()
{
    std::string here = executableFolder();
    for (const std::string& candidate : {here + "TavioDec2.ax", here + "../lib/tavio/TavioDec2.ax",
                                         std::string(TAVIO_MODULE_DIR "/TavioDec2.ax")})
        if (exists(candidate))
            return candidate;
    return "";
}

std::string findBundledStream()
{
    std::string here = executableFolder();
    for (const std::string& candidate : {here + "../share/tavio/sample_lpcm.vob",
                                         std::string(TAVIO_SAMPLE_STREAM)})
        if (exists(candidate))
            return candidate;
    return "";
}

void usage(FILE* out)
{
    std::fprintf(out,
                 "usage: tavio [decode] [INPUT] [-o OUTPUT] [--bits 16|24|32|float] [-q]\n"
                 "       tavio info INPUT\n"
                 "Decodes INPUT through the Tavio2 decoder filter and writes OUTPUT (default: the\n"
                 "input's name with .wav in the current folder; '-' or a name not ending in .wav\n"
                 "writes the raw PCM). Without INPUT it decodes the bundled sample stream.\n"
                 "--bits makes the output side accept only that sample format, as a sound card\n"
                 "that takes nothing else would. 'info' lists the audio streams of INPUT.\n"
                 "Reads DVD-Video LPCM program streams (VOB) so far.\n"
                 "Exit codes: 0 decoded, 1 usage, 2 unreadable or unsupported input, 3 no audio.\n");
}

int parse(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            usage(stdout);
            return -1;
        }
        if (arg == "--version") {
            std::printf("%s\n", kVersion);
            return -1;
        }
        if (arg == "-q") {
            options.quiet = true;
        } else if (arg == "-o") {
            if (++i >= argc) {
                std::fprintf(stderr, "tavio: -o needs a file name\n");
                return UsageError;
            }
            options.output = argv[i];
        } else if (arg == "decode" && options.input.empty() && i == 1) {
            continue;
        } else if (arg == "info" && options.input.empty() && i == 1) {
            options.info = true;
        } else if (arg == "--bits") {
            if (++i >= argc || (std::string(argv[i]) != "16" && std::string(argv[i]) != "24" &&
                                std::string(argv[i]) != "32" && std::string(argv[i]) != "float")) {
                std::fprintf(stderr, "tavio: --bits takes 16, 24, 32 or float\n");
                return UsageError;
            }
            options.bits = argv[i];
        } else if (!arg.empty() && arg[0] == '-' && arg != "-") {
            std::fprintf(stderr, "tavio: unknown option %s (see --help)\n", arg.c_str());
            return UsageError;
        } else if (options.input.empty()) {
            options.input = arg;
        } else {
            std::fprintf(stderr, "tavio: more than one input given (see --help)\n");
            return UsageError;
        }
    }
    return 0;
}

// The wave format a DVD-Video LPCM private header describes.
bool lpcmFormat(const std::vector<uint8_t>& payload, WAVEFORMATEX& wave)
{
    if (payload.size() < 7)
        return false;
    int quantisation = payload[5] >> 6;
    int frequency = (payload[5] >> 4) & 3;
    if (quantisation == 3 || frequency > 1)
        return false;
    wave = WAVEFORMATEX{};
    wave.wFormatTag = WAVE_FORMAT_PCM;
    wave.nChannels = WORD((payload[5] & 7) + 1);
    wave.nSamplesPerSec = frequency ? 96000 : 48000;
    wave.wBitsPerSample = WORD(16 + 4 * quantisation);
    wave.nBlockAlign = WORD(wave.nChannels * ((wave.wBitsPerSample + 7) / 8));
    wave.nAvgBytesPerSec = wave.nSamplesPerSec * wave.nBlockAlign;
    return true;
}

std::string defaultOutput(const std::string& input)
{
    std::string name = input.substr(input.find_last_of('/') + 1);
    size_t dot = name.find_last_of('.');
    return (dot == std::string::npos ? name : name.substr(0, dot)) + ".wav";
}

bool endsWith(const std::string& text, const std::string& suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// Lists the audio streams of a program stream and what a DVD-Video LPCM
// header says about its format.
int info(const Options& options)
{
    std::vector<PesPacket> packets;
    if (!readProgramStreamFile(options.input, packets)) {
        std::fprintf(stderr, "tavio: %s: cannot be read\n", options.input.c_str());
        return UnreadableInput;
    }
    struct Stream {
        int id;
        int substream;
        size_t packets = 0;
        size_t bytes = 0;
        int64_t firstPts = -1;
        const PesPacket* first = nullptr;
    };
    std::vector<Stream> streams;
    for (const PesPacket& p : packets) {
        auto it = std::find_if(streams.begin(), streams.end(), [&](const Stream& s) {
            return s.id == p.streamId && s.substream == p.substreamId;
        });
        if (it == streams.end()) {
            streams.push_back(Stream{p.streamId, p.substreamId});
            it = streams.end() - 1;
            it->first = &p;
        }
        ++it->packets;
        it->bytes += p.payload.size();
        if (it->firstPts < 0 && p.hasPts)
            it->firstPts = p.pts;
    }
    std::printf("%s: MPEG program stream, %zu audio stream(s)\n", options.input.c_str(), streams.size());
    for (const Stream& s : streams) {
        std::printf("  stream 0x%02X", s.id);
        if (s.substream >= 0)
            std::printf(" substream 0x%02X", s.substream);
        std::printf(": %zu packets, %zu bytes, first PTS %.3f s", s.packets, s.bytes,
                    s.firstPts < 0 ? 0.0 : double(s.firstPts) / 90000.0);
        WAVEFORMATEX wave;
        if (s.substream >= 0xA0 && s.substream <= 0xA7 && lpcmFormat(s.first->payload, wave))
            std::printf(" - DVD-Video LPCM, %d channels, %u Hz, %d-bit", wave.nChannels,
                        unsigned(wave.nSamplesPerSec), wave.wBitsPerSample);
        else
            std::printf(" - not decoded by this build");
        std::printf("\n");
    }
    return streams.empty() ? UnreadableInput : Decoded;
}

int decode(const Options& options)
{
    std::vector<PesPacket> packets;
    if (!readProgramStreamFile(options.input, packets)) {
        std::fprintf(stderr, "tavio: %s: cannot be read\n", options.input.c_str());
        return UnreadableInput;
    }
    int substream = -1;
    for (const PesPacket& p : packets)
        if (p.substreamId >= 0xA0 && p.substreamId <= 0xA7) {
            substream = p.substreamId;
            break;
        }
    WAVEFORMATEX wave{};
    const PesPacket* first = nullptr;
    for (const PesPacket& p : packets)
        if (p.substreamId == substream) {
            first = &p;
            break;
        }
    if (!first || !lpcmFormat(first->payload, wave)) {
        std::fprintf(stderr, "tavio: %s: no stream the filter accepts (%zu audio packets found; this build "
                     "reads DVD-Video LPCM from program streams)\n",
                     options.input.c_str(), packets.size());
        return UnreadableInput;
    }

    std::string modulePath = findModule();
    HMODULE module = modulePath.empty() ? nullptr : LoadLibraryA(modulePath.c_str());
    auto makeTavio2 = module ? platform::procAddress<void (*)(TvFilter**)>(module, kMakeTavio2) : nullptr;
    TvFilter* filter = nullptr;
    if (makeTavio2)
        makeTavio2(&filter);
    if (!filter) {
        std::fprintf(stderr, "tavio: the decoder module TavioDec2.ax could not be loaded%s\n",
                     modulePath.empty() ? " (not found)" : "");
        return UnreadableInput;
    }
    auto* decoder = static_cast<IBaseFilter*>(filter);
    decoder->AddRef();

    CMediaType type(&MEDIATYPE_MPEG2_PES);
    type.SetSubtype(&MEDIASUBTYPE_DVD_LPCM_AUDIO);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    PushSource* source = PushSource::Create(type);
    SinkFilter* sink = SinkFilter::Create();
    if (!options.bits.empty()) {
        std::string bits = options.bits;
        sink->SetAcceptType([bits](const CMediaType& t) {
            if (bits == "float")
                return IsEqualGUID(t.subtype, MEDIASUBTYPE_IEEE_FLOAT) != 0;
            WAVEFORMATEX format{};
            if (!t.pbFormat || t.cbFormat < sizeof format)
                return false;
            std::memcpy(&format, t.pbFormat, sizeof format);
            return IsEqualGUID(t.subtype, MEDIASUBTYPE_PCM) && std::to_string(format.wBitsPerSample) == bits;
        });
    }
    int result = Decoded;
    {
        Graph graph;
        graph.Add(source, WIDE("source"));
        graph.Add(decoder, WIDE("Tavio2"));
        graph.Add(sink, WIDE("sink"));
        IPin* input = nullptr;
        IPin* output = nullptr;
        decoder->FindPin(WIDE("Input"), &input);
        decoder->FindPin(WIDE("Output"), &output);
        HRESULT hr = input && output ? graph.Connect(source->OutputPin(), input) : E_FAIL;
        if (SUCCEEDED(hr))
            hr = graph.Connect(output, sink->InputPin());
        if (SUCCEEDED(hr))
            hr = graph.Run();
        if (FAILED(hr)) {
            if (!options.bits.empty())
                std::fprintf(stderr, "tavio: %s: the filter offers no %s output for this stream (%s)\n",
                             options.input.c_str(),
                             options.bits == "float" ? "float" : (options.bits + "-bit").c_str(),
                             platform::errorName(hr).c_str());
            else
                std::fprintf(stderr, "tavio: %s: the filter did not accept the stream (%s)\n",
                             options.input.c_str(), platform::errorName(hr).c_str());
            result = UnreadableInput;
        } else {
            size_t done = 0, total = 0;
            for (const PesPacket& p : packets)
                total += p.substreamId == substream;
            bool progress = !options.quiet && isatty(2) && total > 200;
            for (const PesPacket& p : packets) {
                if (p.substreamId != substream)
                    continue;
                PushSource::Packet packet;
                REFERENCE_TIME start = p.ptsReferenceTime;
                packet.data = p.payload.data();
                packet.size = p.payload.size();
                packet.start = p.hasPts ? &start : nullptr;
                source->Deliver(packet);
                if (progress && ++done % 50 == 0)
                    std::fprintf(stderr, "\r[%-40s] %3zu%%", std::string(40 * done / total, '#').c_str(),
                                 100 * done / total);
            }
            if (progress)
                std::fprintf(stderr, "\r%60s\r", "");
            source->DeliverEndOfStream();

            CMediaType delivered = sink->CurrentType();
            std::vector<uint8_t> format(delivered.pbFormat, delivered.pbFormat + delivered.cbFormat);
            std::string out = options.output.empty() ? defaultOutput(options.input) : options.output;
            uint64_t bytes = 0;
            auto samples = sink->Samples();
            if (out == "-" || !endsWith(out, ".wav")) {
                FILE* raw = out == "-" ? stdout : std::fopen(out.c_str(), "wb");
                for (const auto& s : samples)
                    bytes += raw ? std::fwrite(s.data.data(), 1, s.data.size(), raw) : 0;
                if (raw && raw != stdout)
                    std::fclose(raw);
            } else {
                WavWriter writer;
                if (!writer.open(out, format)) {
                    std::fprintf(stderr, "tavio: %s: cannot be written\n", out.c_str());
                    result = UsageError;
                } else {
                    for (const auto& s : samples)
                        writer.write(s.data.data(), s.data.size());
                    bytes = writer.dataBytes();
                    writer.close();
                }
            }
            if (bytes == 0 && result == Decoded) {
                std::fprintf(stderr, "tavio: %s: the filter produced no audio\n", options.input.c_str());
                result = NoAudio;
            } else if (!options.quiet && result == Decoded) {
                double seconds = double(bytes) / (wave.nAvgBytesPerSec ? wave.nAvgBytesPerSec : 1);
                std::fprintf(stderr,
                             "tavio: %s: DVD-Video LPCM, %d channels, %u Hz, %d-bit -> %s (%.2f s of audio, "
                             "%zu buffers)\n",
                             options.input.c_str(), wave.nChannels, unsigned(wave.nSamplesPerSec),
                             wave.wBitsPerSample, out.c_str(), seconds, samples.size());
            }
        }
        if (input)
            input->Release();
        if (output)
            output->Release();
        graph.Clear();
    }
    source->Release();
    sink->Release();
    decoder->Release();
    FreeLibrary(module);
    return result;
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    int parsed = parse(argc, argv, options);
    if (parsed < 0)
        return Decoded;
    if (parsed > 0)
        return parsed;
    if (options.input.empty()) {
        options.input = findBundledStream();
        options.bundled = true;
        if (options.input.empty()) {
            std::fprintf(stderr, "tavio: the bundled sample stream is missing\n");
            return UnreadableInput;
        }
        if (!options.quiet)
            std::fprintf(stderr, "tavio: no input given; decoding the bundled sample %s\n",
                         options.input.c_str());
    }
    return options.info ? info(options) : decode(options);
}
