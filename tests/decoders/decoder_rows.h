// The rows the decoder tables share: which decoder, how its input is made (an
// ffmpeg tone recipe demuxed by the host's input layer, packets built here, or
// a real stream), what it is compared with, and what it must deliver. Made
// streams are kept in the build folder so that each is encoded once, whichever
// test process asks first.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "core/Adec.h"
#include "support/decoder_feed.h"
#include "support/ffmpeg.h"
#include "support/pcm.h"

enum class Decoder { LpcmDvd, LpcmBd, LpcmDvda, Dolby, DDPlus, Dts, Mlp, Mpeg, Aac, Vorbis, Amr };

std::string moduleFolder();
// The decoder with its sibling libraries loaded from `folder`.
std::unique_ptr<Adec> makeDecoder(Decoder which,
                                  std::ostream& log,
                                  const std::string& folder = moduleFolder());
const char* decoderName(Decoder which);

// What the host (or the test, for packings no muxer writes) hands the decoder.
struct StreamInput {
    CMediaType type;
    std::vector<std::vector<uint8_t>> packets;
    bool privateHeaders = false;
    std::string path;                 // the file ffmpeg decodes as the reference
    std::vector<uint8_t> source;      // the source PCM, in the decoder's output format
    std::vector<uint8_t> elementary;  // the stream without private headers, for re-packing
    uint32_t endPadding = 0;          // frames the container marks as padding at the end
};

enum class Reference { Ffmpeg, Source, PcmFile };
enum class Compare { Exact, Lsb, Snr };

struct Row;
using BuildInput = StreamInput (*)(const Row&);

struct Row {
    std::string name{};
    Decoder decoder{};
    // The input: a tone recipe (speakers, rate, seconds and ffmpeg's output
    // options, file extension), a vector, or a builder.
    ToneSignal tones{};
    std::string encode{};  // ffmpeg output options, then the extension after '|'
    std::string vector{};
    BuildInput build = nullptr;
    SampleFormat format = SampleFormat::S16;
    Reference reference = Reference::Ffmpeg;
    std::string referenceOptions{};  // ffmpeg input options
    std::string referenceFilter{};   // ffmpeg output options
    Compare compare = Compare::Exact;
    double limit = 0;  // LSBs at the output's depth, or dB
    long maxShift = 0;
    int channels = 0;           // 0: not checked (vectors)
    int referenceChannels = 0;  // of ffmpeg's decode when fewer than ours
    uint32_t mask = 0;
    // The speakers our channels carry, in WAVE order; "" when the input has
    // no tone per speaker.
    std::string delivered{};
    long lengthLow = 0, lengthHigh = 0;  // our frames minus the reference's
    bool spdif = false;
    int mixKind = 0, mixType = 0;
    uint32_t mixMask = 0;
    // Decoders that frame a byte stream themselves can take it cut anywhere.
    bool framed = false;
    std::vector<uint8_t> falseSync{};  // a sync pattern that starts no frame
    bool contract = false;             // also run through the contract suite
    int rate = 0;                      // the rate the decoder reports; 0: not checked
    std::string parameters{};          // parameter file lines the row runs under
    // DVD-Audio LPCM behind private headers: the channel assignment they
    // carry and the channels of its first group; -1: plain audio samples.
    int dvdaAssignment = -1, dvdaGroup1 = 0;
};

// The input of a row, made (or taken from the cache) on first use.
StreamInput rowInput(const Row& row);

// The reference samples of a row (full scale 1.0).
std::vector<double> rowReferenceSamples(const Row& row, const StreamInput& input);

// The decoder of a row, initialised for its input with the row's settings.
std::unique_ptr<Adec> startDecoder(const Row& row, const StreamInput& input, std::ostream& log);

// Parameter file lines (a row's), in force until the holder goes.
// 5.1 as ffmpeg names its speakers.
inline constexpr const char* k51 = "FL+FR+FC+LFE+BL+BR";

struct ParameterLines {
    explicit ParameterLines(const std::string& lines);
    ~ParameterLines();
};

// A file made once per build folder: `make(path)` writes it when absent.
std::string cachedFile(const std::string& key,
                       const std::string& extension,
                       const std::function<bool(const std::string&)>& make);

// `bytes` kept as a file of the build folder under `key`; its path.
std::string cachedBytes(const std::string& key,
                        const std::string& extension,
                        const std::vector<uint8_t>& bytes);

// The tones encoded by ffmpeg with `options` into a file of `extension`
// ("thd" is written as TrueHD), made once per build folder; its path.
std::string madeStream(const ToneSignal& tones,
                       const std::string& options,
                       const std::string& extension);

// The first audio stream of a file as the host hands it over.
StreamInput demuxed(const std::string& path);

// Interleaved tones, one per speaker, as little-endian samples of `bits`.
std::vector<uint8_t> tonePcm(const std::string& speakers, int rate, double seconds, int bits);

// DVD-Audio and HD-DVD MLP payloads behind their private headers.
std::vector<std::vector<uint8_t>> mlpPackets(const std::vector<uint8_t>& stream,
                                             bool hdDvd,
                                             const std::vector<size_t>& sizes);

// "0012ff" as {0x00, 0x12, 0xFF}.
std::vector<uint8_t> hex(const std::string& text);

// The largest magnitude among the samples.
double peak(const std::vector<double>& samples);

// A DTS core frame of `bytes` bytes: sync, frame type, SHORT, NBLKS, FSIZE
// and SFREQ as given, zeros after.
std::vector<uint8_t> dtsFrame(int normal, int shortCount, int blocks, int bytes, int sfreq);

// A name gtest takes: every character but letters and digits made '_'.
std::string testName(std::string name);

// Names a table's case by its `what`.
template <class Case>
std::string caseName(const ::testing::TestParamInfo<Case>& info)
{
    return testName(info.param.what);
}

// Names a row for gtest.
std::string rowName(const ::testing::TestParamInfo<Row>& info);
void PrintTo(const Row& row, std::ostream* os);

// Streams made here, one row per (decoder, recipe); the contract suite runs
// the rows marked `contract`.
std::vector<Row> madeRows();
// The real streams of the shared vectors folder.
std::vector<Row> vectorRows();
