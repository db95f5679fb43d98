#include "decoders/decoder_rows.h"

#include <unistd.h>
#include <cmath>
#include <filesystem>
#include <functional>
#include <sstream>

#include "config/config.h"
#include "decoders/AdecAAC.h"
#include "decoders/AdecAMR.h"
#include "decoders/AdecDDPlus.h"
#include "decoders/AdecDTS.h"
#include "decoders/AdecDolby.h"
#include "decoders/AdecLPCM.h"
#include "decoders/AdecLpcmBd.h"
#include "decoders/AdecLpcmDvd.h"
#include "decoders/AdecMLP.h"
#include "decoders/AdecMPEG.h"
#include "decoders/AdecVorbis.h"
#include "host/input_source.h"

std::string moduleFolder()
{
    return TAVIO_MODULE_DIR "/";
}

std::unique_ptr<Adec> makeDecoder(Decoder which, std::ostream& log, const std::string& folder)
{
    switch (which) {
        case Decoder::LpcmDvd:
            return std::make_unique<AdecLpcmDvd>(log);
        case Decoder::LpcmBd:
            return std::make_unique<AdecLpcmBd>(log);
        case Decoder::LpcmDvda:
            return std::make_unique<AdecLPCM>(log);
        case Decoder::Dolby:
            return std::make_unique<AdecDolby>(log, folder);
        case Decoder::DDPlus:
            return std::make_unique<AdecDDPlus>(log, folder);
        case Decoder::Dts:
            return std::make_unique<AdecDTS>(log);
        case Decoder::Mlp:
            return std::make_unique<AdecMLP>(log, folder);
        case Decoder::Mpeg:
            return std::make_unique<AdecMPEG>(log);
        case Decoder::Aac:
            return std::make_unique<AdecAAC>(log);
        case Decoder::Vorbis:
            return std::make_unique<AdecVorbis>(log);
        case Decoder::Amr:
            return std::make_unique<AdecAMR>(log, folder);
    }
    return nullptr;
}

const char* decoderName(Decoder which)
{
    static const char* const names[] = {"LpcmDvd", "LpcmBd", "LpcmDvda", "Dolby",  "DDPlus", "Dts",
                                        "Mlp",     "Mpeg",   "Aac",      "Vorbis", "Amr"};
    return names[int(which)];
}

std::string cachedFile(const std::string& key,
                       const std::string& extension,
                       const std::function<bool(const std::string&)>& make)
{
    std::filesystem::create_directories(DECODER_STREAM_CACHE);
    std::string path = std::string(DECODER_STREAM_CACHE "/") +
                       std::to_string(std::hash<std::string>()(key)) + "." + extension;
    if (std::filesystem::exists(path))
        return path;
    // Written aside and renamed, so that a test running in parallel never
    // reads half a file.
    std::string partial = path + ".part" + std::to_string(getpid()) + "." + extension;
    if (!make(partial) || !std::filesystem::exists(partial))
        return "";
    std::filesystem::rename(partial, path);
    return path;
}

std::string cachedBytes(const std::string& key,
                        const std::string& extension,
                        const std::vector<uint8_t>& bytes)
{
    return cachedFile(key, extension, [&](const std::string& path) {
        writeBytes(path, bytes);
        return true;
    });
}

std::string madeStream(const ToneSignal& tones,
                       const std::string& options,
                       const std::string& extension)
{
    return cachedFile(toneInput(tones) + options, extension, [&](const std::string& path) {
        return encodeTones(path, tones,
                           options + " -f " + (extension == "thd" ? "truehd" : extension));
    });
}

StreamInput demuxed(const std::string& path)
{
    StreamInput input;
    input.path = path;
    std::string error;
    auto source = openInputSource(path, error);
    if (!source || source->streams().empty() || !source->streams()[0].mediaType ||
        !source->select(0))
        return input;
    input.type = *source->streams()[0].mediaType;
    // As the filter does: PES and DVD pack payloads carry a private header.
    input.privateHeaders = input.type.majortype == MEDIATYPE_MPEG2_PES ||
                           input.type.majortype == MEDIATYPE_DVD_ENCRYPTED_PACK;
    HostPacket packet;
    while (source->next(packet)) {
        input.packets.push_back(packet.data);
        input.endPadding = packet.paddingFrames;
    }
    return input;
}

std::vector<uint8_t> tonePcm(const std::string& speakers, int rate, double seconds, int bits)
{
    std::vector<double> tones = speakerTones(speakers);
    std::vector<uint8_t> out;
    double full = std::ldexp(1.0, bits - 1) - 1;
    for (long n = 0; n < long(rate * seconds); ++n)
        for (double tone : tones) {
            auto v = int32_t(std::lrint(0.5 * full * std::sin(2 * M_PI * tone * double(n) / rate)));
            for (int b = 0; b < bits / 8; ++b)
                out.push_back(uint8_t(uint32_t(v) >> (8 * b)));
        }
    return out;
}

std::vector<std::vector<uint8_t>> mlpPackets(const std::vector<uint8_t>& stream,
                                             bool hdDvd,
                                             const std::vector<size_t>& sizes)
{
    std::vector<std::vector<uint8_t>> packets;
    for (size_t n = 0, at = 0; at < stream.size(); ++n) {
        size_t take = std::min(sizes[n % sizes.size()], stream.size() - at);
        std::vector<uint8_t> packet = hdDvd ? std::vector<uint8_t>{0xB0, uint8_t(n), 0, 0, 0}
                                            : std::vector<uint8_t>{0xA1, uint8_t(n), 0, 3, 0, 0, 0};
        packet.insert(packet.end(), stream.begin() + long(at), stream.begin() + long(at + take));
        packets.push_back(std::move(packet));
        at += take;
    }
    return packets;
}

StreamInput rowInput(const Row& row)
{
    if (row.build)
        return row.build(row);
    if (!row.vector.empty())
        return demuxed(vectorPath(row.vector));
    size_t bar = row.encode.find('|');
    return demuxed(madeStream(row.tones, row.encode.substr(0, bar), row.encode.substr(bar + 1)));
}

std::vector<double> rowReferenceSamples(const Row& row, const StreamInput& input)
{
    SampleFormat format = row.format == SampleFormat::S24 ? SampleFormat::S32 : row.format;
    if (row.reference == Reference::Source)
        return samplesOf(input.source, row.format);
    if (row.reference == Reference::PcmFile) {
        std::string path = vectorPath(row.vector);
        return samplesOf(readBytes(path.substr(0, path.rfind('.')) + ".pcm"), SampleFormat::S16);
    }
    const char* name = format == SampleFormat::S16   ? "s16le"
                       : format == SampleFormat::F32 ? "f32le"
                                                     : "s32le";
    std::string options = row.referenceOptions + " -i '" + input.path + "' " + row.referenceFilter;
    std::string path = cachedFile(options + name, "pcm", [&](const std::string& p) {
        // Damaged streams make ffmpeg report errors: what it decoded still counts.
        std::vector<uint8_t> pcm = commandOutput("ffmpeg -v error -nostdin " + options +
                                                 " -map 0:a:0 -f " + name + " - 2>/dev/null");
        writeBytes(p, pcm);
        return !pcm.empty();
    });
    return samplesOf(readBytes(path), format);
}

std::unique_ptr<Adec> startDecoder(const Row& row, const StreamInput& input, std::ostream& log)
{
    auto decoder = makeDecoder(row.decoder, log);
    if (row.mixType)
        decoder->setMixType(row.mixKind, row.mixType, row.mixMask);
    if (!decoder->init(input.type))
        return nullptr;
    if (row.spdif)
        decoder->setSpdif(true);
    return decoder;
}

ParameterLines::ParameterLines(const std::string& lines)
{
    resetParametersForTesting();
    std::istringstream in(lines);
    readParameters(in);
}

ParameterLines::~ParameterLines()
{
    resetParametersForTesting();
}

std::vector<uint8_t> hex(const std::string& text)
{
    std::vector<uint8_t> out;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        out.push_back(uint8_t(std::stoi(text.substr(i, 2), nullptr, 16)));
    return out;
}

double peak(const std::vector<double>& samples)
{
    double most = 0;
    for (double s : samples)
        most = std::max(most, std::fabs(s));
    return most;
}

std::vector<uint8_t> dtsFrame(int normal, int shortCount, int blocks, int bytes, int sfreq)
{
    std::vector<uint8_t> frame(size_t(bytes), 0);
    uint64_t fields = uint64_t(0x7FFE8001) << 32 | uint64_t(normal) << 31 |
                      uint64_t(shortCount) << 26 | uint64_t(blocks - 1) << 18 |
                      uint64_t(bytes - 1) << 4;
    for (int i = 0; i < 8; ++i)
        frame[size_t(i)] = uint8_t(fields >> (56 - 8 * i));
    frame[8] = uint8_t(sfreq << 2);
    return frame;
}

std::string testName(std::string name)
{
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return name;
}

std::string rowName(const ::testing::TestParamInfo<Row>& info)
{
    return testName(info.param.name);
}

void PrintTo(const Row& row, std::ostream* os)
{
    *os << row.name << " (" << decoderName(row.decoder) << ")";
}
