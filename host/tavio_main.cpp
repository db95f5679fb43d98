// tavio: decodes a file through the Tavio2 filter module and writes a WAVE
// file (or raw PCM, or S/PDIF bursts). It loads TavioDec2.ax like any host,
// creates the filter with makeTavio2 and drives it with its own source and
// sink pins.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/decode_session.h"
#include "host/info_report.h"
#include "host/input_source.h"
#include "host/interrupt.h"
#include "host/read_once_input.h"
#include "host/tavio_module.h"

namespace {

constexpr const char* kVersion = "tavio " TAVIO_VERSION;

enum ExitCode { Decoded = 0, UsageError = 1, UnreadableInput = 2, NoAudio = 3, WriteFailed = 4 };

struct Options {
    std::vector<std::string> inputs;
    std::string input;  // the one being read
    std::string output;
    bool quiet = false;
    bool info = false;
    bool json = false;         // info as one JSON document
    std::string outputFormat;  // empty: the filter's own choice
    int stream = -1;           // audio stream number; -1: the first the filter accepts
    std::string bits;          // empty: any format; else 16, 24, 32 or float
    std::optional<REFERENCE_TIME> start, duration;
};

void usage(FILE* out)
{
    std::fprintf(
        out,
        "Usage: tavio [decode] [OPTION]... [INPUT]...\n"
        "  or:  tavio info [--json] INPUT...\n"
        "  or:  tavio --help | --version\n"
        "Decodes an audio stream of INPUT through the Tavio2 decoder filter and writes OUTPUT\n"
        "(default: the input's name with .wav, in the current folder). A .wav name (in any\n"
        "case) gets a WAVE file (RF64 beyond 4 GiB); '-' or any other name gets the raw bytes.\n"
        "Several inputs are decoded one after another, each to its default output; the exit\n"
        "code is then the first failure's.\n"
        "Without INPUT it decodes the sample stream that comes with tavio. INPUT '-' is\n"
        "standard input (then -o is needed); it and other pipes are read to their end\n"
        "before decoding, so that they can be probed and sought as files are.\n"
        "\n"
        "  -o OUTPUT    the output file\n"
        "  --stream N   decode audio stream N (as 'tavio info' numbers them)\n"
        "  --bits B     accept only that output format (16, 24, 32 or float), as a sound\n"
        "               card that takes nothing else would; if the filter offers none\n"
        "               in it for the stream, tavio says so and ends (exit code 2)\n"
        "  --output-format FORMAT   the output format, set through the filter's codec API:\n"
        "               pcm-stereo       decoded PCM, no remixing (the default)\n"
        "               matrix-stereo    a stereo downmix that keeps the surround\n"
        "                                matrix-encoded (Lt/Rt for AC-3)\n"
        "               spdif-pcm        a stereo downmix for an S/PDIF link\n"
        "               spdif-bitstream  AC-3 and DTS passed through as IEC 61937 bursts,\n"
        "                                E-AC-3 converted to 640 kbit/s AC-3 bursts\n"
        "  --spdif      short for --output-format spdif-bitstream\n"
        "  --start T    start at T, sought as a player's seek bar seeks: the output begins\n"
        "               with the frame at T (seconds, mm:ss or hh:mm:ss, with decimals)\n"
        "  --duration D keep D of audio (the same forms), from T or from the start\n"
        "  -q           no messages but errors\n"
        "  --json       (info) one JSON document on standard output, for scripts\n"
        "\n"
        "E-AC-3 without --spdif is decoded from those AC-3 bursts by a second filter (5.1 at most).\n"
        "\n"
        "Inputs: DVD-Video/HD-DVD VOB/EVO and DVD-Audio AOB program streams (LPCM, MLP, AC-3,\n"
        "DTS, MPEG audio); raw AC-3, E-AC-3, DTS (also DTS-CD's 14-bit words, .cpt), MPEG audio,\n"
        "AAC/HE-AAC (ADTS, LOAS), AMR-NB/AMR-WB (.amr, .awb), MLP, TrueHD; Matroska/WebM,\n"
        "MP4/M4A/3GP, MPEG-TS/M2TS (AAC also as LATM), Ogg, AVI and WAV. Vorbis (up to 8\n"
        "channels) from Ogg, Matroska/WebM and MP4. DTS decodes its core (DTS-HD, 96/24 and ES\n"
        "included); DTS Express has none. MPEG audio that no container format claims is read\n"
        "as an elementary stream when its frames follow one another.\n"
        "\n"
        "Ctrl-C, SIGTERM or SIGHUP stop the decode and keep what was written.\n"
        "Exit codes: 0 decoded, 1 usage, 2 unreadable or unsupported input, 3 no audio,\n"
        "4 writing the output failed (what was written is kept), 128 + N stopped by signal N.\n");
}

bool isNumber(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// Longer than any stream: a million hours.
constexpr REFERENCE_TIME kLongestTime = 1000000LL * 3600 * 10000000;

// "90", "1.5", "01:30", "1:02:03.250" as 100 ns units; nothing when malformed.
std::optional<REFERENCE_TIME> parseTime(const std::string& text)
{
    REFERENCE_TIME total = 0;
    size_t begin = 0, fields = 0;
    for (;;) {
        size_t colon = text.find(':', begin);
        std::string field = text.substr(begin, colon == std::string::npos ? colon : colon - begin);
        bool last = colon == std::string::npos;
        size_t dot = last ? field.find('.') : std::string::npos;
        std::string whole = field.substr(0, dot);
        std::string fraction = dot == std::string::npos ? "0" : field.substr(dot + 1);
        if (!isNumber(whole) || !isNumber(fraction) || whole.size() > 9 || ++fields > 3 ||
            (fields > 1 && std::atoll(whole.c_str()) >= 60))
            return std::nullopt;
        total = total * 60 + std::atoll(whole.c_str()) * 10000000;
        if (total > kLongestTime)  // and the next field's * 60 cannot overflow
            return std::nullopt;
        if (last) {
            fraction = (fraction + "0000000").substr(0, 7);
            return total + std::atoll(fraction.c_str());
        }
        begin = colon + 1;
    }
}

// Whether two names lead to one file (through any link or name).
bool sameFile(const std::string& a, const std::string& b)
{
    struct stat first {
    }, second{};
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// Whether OUTPUT names the file being read: opening it for writing would
// truncate the input under the reader.
bool writesOverInput(const std::string& path, const std::string& output)
{
    return output != "-" && sameFile(path, output);
}

std::string defaultOutput(const std::string& input)
{
    std::string name = input.substr(input.find_last_of('/') + 1);
    size_t dot = name.find_last_of('.');
    return (dot == std::string::npos || dot == 0 ? name : name.substr(0, dot)) + ".wav";
}

// Several inputs are decoded one after another, each to its own default
// name: refused when that would write one output over another, or over an
// input not yet read.
int checkSeveralInputs(const Options& options)
{
    const char* refusal = nullptr;
    if (!options.output.empty())
        refusal = "-o names one output; several inputs are each written to their own name";
    else if (options.json)
        refusal = "--json describes one input";
    for (const std::string& input : options.inputs)
        if (!refusal && input == "-")
            refusal = "standard input is read alone";
    if (refusal) {
        std::fprintf(stderr, "tavio: %s\n", refusal);
        return UsageError;
    }
    if (options.info)
        return 0;
    std::map<std::string, std::string> written;  // output name: its input
    for (const std::string& input : options.inputs) {
        std::string output = defaultOutput(input);
        auto [at, added] = written.emplace(output, input);
        if (!added) {
            std::fprintf(stderr,
                         "tavio: %s and %s would both be written to %s; decode one with -o\n",
                         at->second.c_str(), input.c_str(), output.c_str());
            return UsageError;
        }
        for (const std::string& other : options.inputs) {
            if (other != input && sameFile(other, output)) {
                std::fprintf(stderr, "tavio: %s would be written over the input %s\n",
                             output.c_str(), other.c_str());
                return UsageError;
            }
        }
    }
    return 0;
}

// -1: stop with success (help, version); 0: go on; else the exit code.
int parse(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&](const char* what) -> const char* {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "tavio: %s needs %s (see --help)\n", arg.c_str(), what);
                return nullptr;
            }
            return argv[++i];
        };
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
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "--spdif") {
            options.outputFormat = "spdif-bitstream";
        } else if (arg == "--output-format") {
            const char* f = value("a format");
            if (!f || !isOutputFormat(f)) {
                if (f)
                    std::fprintf(
                        stderr,
                        "tavio: --output-format takes pcm-stereo, matrix-stereo, spdif-pcm or "
                        "spdif-bitstream\n");
                return UsageError;
            }
            options.outputFormat = f;
        } else if (arg == "-o") {
            const char* name = value("a file name");
            if (!name)
                return UsageError;
            options.output = name;
        } else if (arg == "--stream") {
            const char* n = value("a stream number");
            if (!n || !isNumber(n)) {
                if (n)
                    std::fprintf(stderr,
                                 "tavio: --stream takes a stream number (see 'tavio info')\n");
                return UsageError;
            }
            options.stream = std::atoi(n);
        } else if (arg == "--bits") {
            const char* b = value("16, 24, 32 or float");
            std::string bits = b ? b : "";
            if (bits != "16" && bits != "24" && bits != "32" && bits != "float") {
                if (b)
                    std::fprintf(stderr, "tavio: --bits takes 16, 24, 32 or float\n");
                return UsageError;
            }
            options.bits = bits;
        } else if (arg == "--start" || arg == "--duration") {
            const char* t = value("a time");
            std::optional<REFERENCE_TIME> time = t ? parseTime(t) : std::nullopt;
            if (!time || (arg == "--duration" && *time == 0)) {
                if (t)
                    std::fprintf(stderr,
                                 "tavio: %s takes a time such as 90, 1.5, 01:30 or 1:02:03.250; "
                                 "not %s\n",
                                 arg.c_str(), t);
                return UsageError;
            }
            (arg == "--start" ? options.start : options.duration) = time;
        } else if (i == 1 && arg == "decode") {
            continue;
        } else if (i == 1 && arg == "info") {
            options.info = true;
        } else if (!arg.empty() && arg[0] == '-' && arg != "-") {
            std::fprintf(stderr, "tavio: unknown option %s (see --help)\n", arg.c_str());
            return UsageError;
        } else {
            options.inputs.push_back(arg);
        }
    }
    if (options.info && options.inputs.empty()) {
        std::fprintf(stderr, "tavio: info needs an input file\n");
        return UsageError;
    }
    if (int refused = options.inputs.size() > 1 ? checkSeveralInputs(options) : 0)
        return refused;
    if (!options.inputs.empty() && options.inputs[0] == "-" && options.output.empty() &&
        !options.info) {
        std::fprintf(stderr,
                     "tavio: reading standard input, give -o OUTPUT ('-' for standard "
                     "output)\n");
        return UsageError;
    }
    if (options.json && !options.info) {
        std::fprintf(stderr, "tavio: --json goes with info (see --help)\n");
        return UsageError;
    }
    return 0;
}

std::string findBundledStream()
{
    std::string here = executableFolder();
    for (const std::string& candidate :
         {here + "../share/tavio/sample_lpcm.vob", std::string(TAVIO_SAMPLE_STREAM)})
        if (access(candidate.c_str(), R_OK) == 0)
            return candidate;
    return "";
}

int info(TavioModule* module, const Options& options, const std::string& path, InputSource& input)
{
    InfoReport report = examineInput(module, options.input, path, input);
    if (stopSignal() != 0)
        return exitCodeForSignal(stopSignal());
    if (options.json)
        std::fputs(infoJson(report).c_str(), stdout);
    else
        printInfoText(report);
    return report.streams.empty() ? NoAudio : Decoded;
}

int decode(TavioModule& module, const Options& options, const std::string& path, InputSource& input)
{
    const auto& streams = input.streams();
    if (streams.empty()) {
        std::fprintf(stderr, "tavio: %s: %s with no audio stream\n", options.input.c_str(),
                     input.containerName().c_str());
        return UnreadableInput;
    }
    size_t stream = 0;
    if (options.stream >= 0) {
        if (size_t(options.stream) >= streams.size()) {
            std::fprintf(
                stderr,
                "tavio: %s has %zu audio stream%s; there is no stream %d (see 'tavio info')\n",
                options.input.c_str(), streams.size(), streams.size() == 1 ? "" : "s",
                options.stream);
            return UsageError;
        }
        stream = size_t(options.stream);
        if (!streams[stream].noAudio.empty()) {
            std::fprintf(stderr, "tavio: %s: %s: %s\n", options.input.c_str(),
                         streams[stream].codec.c_str(), streams[stream].noAudio.c_str());
            return NoAudio;
        }
    } else {
        stream = defaultStream(streams);
        if (stream == streams.size()) {
            // Streams the filter takes but cannot make sound of: say why.
            for (const HostStream& s : streams)
                if (s.mediaType && !s.noAudio.empty()) {
                    std::fprintf(stderr, "tavio: %s: %s: %s\n", options.input.c_str(),
                                 s.codec.c_str(), s.noAudio.c_str());
                    return NoAudio;
                }
            std::fprintf(stderr, "tavio: %s: no stream the filter accepts (%s)\n",
                         options.input.c_str(),
                         (streams[0].codec + ": " + streams[0].unsupported).c_str());
            return UnreadableInput;
        }
    }
    DecodeRequest request;
    request.output = options.output.empty() ? defaultOutput(options.input) : options.output;
    if (request.output == "-" && isatty(1)) {
        // Samples are no text: a terminal would show noise and might take
        // some of the bytes as commands.
        std::fprintf(stderr,
                     "tavio: standard output is a terminal; redirect it or name a file "
                     "with -o\n");
        return UsageError;
    }
    if (writesOverInput(path, request.output)) {
        std::fprintf(stderr, "tavio: %s: the output %s is the input; name another with -o\n",
                     options.input.c_str(), request.output.c_str());
        return UsageError;
    }
    request.bits = options.bits;
    request.outputFormat = options.outputFormat;
    request.start = options.start;
    request.duration = options.duration;
    request.progress = !options.quiet && isatty(2);
    request.announceFormatChanges = true;
    request.stopRequested = [] { return stopSignal() != 0; };
    DecodeOutcome outcome = decodeStream(module, input, stream, request);
    if (outcome.stopped && outcome.exitCode == 0) {
        std::fprintf(stderr, "tavio: interrupted, %.2f s of audio written to %s\n", outcome.seconds,
                     request.output.c_str());
        return exitCodeForSignal(stopSignal());
    }
    if (outcome.exitCode != 0) {
        std::fprintf(stderr, "tavio: %s: %s\n", options.input.c_str(), outcome.message.c_str());
        return outcome.exitCode;
    }
    if (!options.quiet)
        std::fprintf(stderr, "tavio: %s: stream %zu, %s -> %s: %s, %.2f s\n", options.input.c_str(),
                     stream, streams[stream].description.c_str(), request.output.c_str(),
                     outcome.format.c_str(), outcome.seconds);
    if (!options.quiet && !outcome.conversion.empty())
        std::fprintf(stderr, "tavio: %s\n", outcome.conversion.c_str());
    return Decoded;
}

}  // namespace

// Reads one input and lists or decodes it; the module is loaded once, for
// the first input that gets that far.
int runOne(const Options& options, TavioModule& module, std::optional<std::string>& loadError)
{
    std::string error;
    ReadOnceInput readOnce;
    std::string path = readOnce.openable(options.input, error, [] { return stopSignal() != 0; });
    if (path.empty() && stopSignal() != 0) {
        std::fprintf(stderr, "tavio: %s: %s\n", options.input.c_str(), error.c_str());
        return exitCodeForSignal(stopSignal());
    }
    auto input = path.empty() ? nullptr : openInputSource(path, error);
    if (!input) {
        std::fprintf(stderr, "tavio: %s: %s\n", options.input.c_str(), error.c_str());
        return UnreadableInput;
    }
    if (!loadError) {
        loadError.emplace();
        if (!module.load(*loadError) && loadError->empty())
            *loadError = "the decoder module could not be loaded";
    }
    bool loaded = loadError->empty();
    if (options.info)
        return info(loaded ? &module : nullptr, options, path, *input);
    if (!loaded) {
        std::fprintf(stderr, "tavio: %s\n", loadError->c_str());
        return UnreadableInput;
    }
    return decode(module, options, path, *input);
}

int main(int argc, char** argv)
{
    Options options;
    int parsed = parse(argc, argv, options);
    if (parsed < 0)
        return Decoded;
    if (parsed > 0)
        return parsed;
    if (options.inputs.empty()) {
        std::string bundled = findBundledStream();
        if (bundled.empty()) {
            std::fprintf(stderr, "tavio: the bundled sample stream is missing\n");
            return UnreadableInput;
        }
        if (!options.quiet)
            std::fprintf(stderr, "tavio: no input given; decoding the bundled sample %s\n",
                         bundled.c_str());
        options.inputs.push_back(bundled);
    }
    // From here a stop request ends the run through its normal path, so that
    // a copy of a piped input goes and a decode keeps what it wrote.
    catchStopSignals();
    TavioModule module;
    std::optional<std::string> loadError;  // set once loading was tried
    int result = Decoded;
    for (const std::string& input : options.inputs) {
        options.input = input;
        int code = runOne(options, module, loadError);
        if (stopSignal() != 0)
            return code;
        if (result == Decoded)
            result = code;  // the first failure's, once every input had its turn
    }
    return result;
}
