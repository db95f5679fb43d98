// AdecAAC on FAAD2 against ffmpeg's own AAC decoder (an independent
// implementation): channel layouts with one tone per speaker, HE-AAC and
// parametric stereo from real streams, the decoder downmix, corrupted units.
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>

#include "core/media_subtypes.h"
#include "core/status_helpers.h"
#include "support/aac_tools.h"

namespace {

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";

// A distinct tone per speaker, the LFE one low enough for the LFE channel.
const std::map<std::string, double> kTones = {{"FL", 440},  {"FR", 660},  {"FC", 880},  {"LFE", 60},
                                              {"BL", 1100}, {"BR", 1320}, {"SL", 1540}, {"SR", 1760}};

struct Layout {
    const char* name;  // ffmpeg's layout name
    std::vector<std::string> speakers;  // in ffmpeg's order
    std::vector<std::string> wave;      // where they must land, WAVE order
    uint32_t mask;
    // FAAD2 delivers mono on both front channels (so that parametric stereo
    // can start at any unit), and counts channel configuration 7 as seven
    // channels until the first unit is decoded.
    int openChannels;
};

const Layout kMono{"mono", {"FC"}, {"FC", "FC"}, 0x3, 2};
const Layout kStereo{"stereo", {"FL", "FR"}, {"FL", "FR"}, 0x3, 2};
const Layout k51{"5.1", {"FL", "FR", "FC", "LFE", "BL", "BR"}, {"FL", "FR", "FC", "LFE", "BL", "BR"}, 0x3F, 6};
const Layout k71{"7.1",
                 {"FL", "FR", "FC", "LFE", "BL", "BR", "SL", "SR"},
                 {"FL", "FR", "FC", "LFE", "BL", "BR", "SL", "SR"},
                 0x63F,
                 7};

// Encodes half a second of the layout's tones with ffmpeg's AAC encoder.
std::string makeStream(const TempFolder& folder, const Layout& layout, const std::string& container = "m4a",
                       int rate = 48000, const std::string& options = "")
{
    std::string exprs;
    for (const auto& s : layout.speakers)
        exprs += (exprs.empty() ? "" : "|") + std::string("0.5*sin(") + std::to_string(int(kTones.at(s))) + "*2*PI*t)";
    std::string path = folder.file(std::string(layout.name) + "." + container);
    std::string command = "ffmpeg -v error -f lavfi -i \"aevalsrc=exprs=" + exprs + ":c=" + layout.name +
                          ":s=" + std::to_string(rate) + ":d=0.5\" -c:a aac " + options + " -y " + path;
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return path;
}

AacInput demux(const std::string& path)
{
    AacInput input;
    std::string error;
    EXPECT_TRUE(demuxAac(path, input, error)) << path << ": " << error;
    return input;
}

std::vector<double> tonesOf(const std::vector<std::string>& speakers)
{
    std::vector<double> tones;
    for (const auto& s : speakers)
        tones.push_back(kTones.at(s));
    return tones;
}

class AacLayout : public ::testing::TestWithParam<Layout> {};

// Each speaker's tone comes out in its WAVE position with the layout's mask,
// and the samples match ffmpeg's decode with its channels matched by tone.
TEST_P(AacLayout, EachToneLandsInItsWavePositionAndMatchesFfmpeg)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    const Layout& layout = GetParam();
    TempFolder folder;
    std::string path = makeStream(folder, layout);
    AacInput input = demux(path);
    std::ostringstream log;
    AdecAAC decoder(log);
    TvStatus* opened = decoder.init(input.type);
    ASSERT_NE(opened, nullptr) << log.str();
    EXPECT_EQ(opened->chan, layout.openChannels);
    AacRun run;
    decodeUnits(decoder, input.units, run);
    ASSERT_FALSE(run.frames.empty()) << log.str();
    const TvStatusAac& s = run.frames.back();
    int channels = int(layout.wave.size());
    EXPECT_EQ(s.chan, channels);
    EXPECT_EQ(s.freq, 48000);
    EXPECT_EQ(s.samples, 1024);
    EXPECT_EQ(s.stype, ST16Bit);
    EXPECT_EQ(s.channelMask, layout.mask);
    EXPECT_EQ(s.objectType, 2);  // LC
    EXPECT_EQ(s.sbr, 0);
    EXPECT_EQ(s.remixMode, RemixNone);
    EXPECT_EQ(s.openChannels, layout.openChannels);
    // FAAD2 holds back the first unit's output.
    EXPECT_EQ(run.silentUnits, 1u);

    std::vector<double> tones = tonesOf(layout.speakers);
    std::vector<int> ours = strongestTones(run.pcm, channels, 48000, tones);
    for (int c = 0; c < channels; ++c)
        EXPECT_EQ(layout.speakers[size_t(ours[size_t(c)])], layout.wave[size_t(c)])
            << layout.name << ": slot " << c << " carries another speaker's tone";

    // ffmpeg's channels put in our order by their tones.
    std::vector<int16_t> reference = referencePcm(path);
    int referenceChannels = int(layout.speakers.size());
    std::vector<int> theirs = strongestTones(reference, referenceChannels, 48000, tones);
    std::vector<int> from;
    for (int c = 0; c < channels; ++c)
        for (int r = 0; r < referenceChannels; ++r)
            if (theirs[size_t(r)] == ours[size_t(c)])
                from.push_back(r);
    ASSERT_EQ(from.size(), size_t(channels));
    PcmMatch match = alignedSnr(pickChannels(reference, referenceChannels, from), run.pcm, channels);
    std::cout << "[ snr ] AAC LC " << layout.name << " (m4a): " << match.snr << " dB against ffmpeg, shift "
              << match.shift << " frames, " << run.frames.size() << " units" << std::endl;
    EXPECT_GE(match.snr, 50.0);
    // The unit FAAD2 holds back is the encoder's priming that ffmpeg drops
    // by the container's edit list: the outputs line up.
    EXPECT_EQ(match.shift, 0);
}

INSTANTIATE_TEST_SUITE_P(FfmpegEncoded, AacLayout, ::testing::Values(kMono, kStereo, k51, k71),
                         [](const auto& info) {
                             std::string name = info.param.name;
                             return name == "5.1" ? std::string("Surround51")
                                                  : name == "7.1" ? std::string("Surround71") : name;
                         });

struct RealStream {
    const char* file;
    int rate;              // delivered: twice the core rate with SBR
    int channels;          // delivered (FAAD2 gives mono on both front channels)
    int referenceChannels;  // ffmpeg's decode
    uint8_t objectType;    // 5 when SBR is present
    bool sbr;
    bool ps;
    double minSnr;         // measured against ffmpeg, with a margin
};

class AacRealStream : public ::testing::TestWithParam<RealStream> {};

// LC, HE-AAC and HE-AAC v2 as they reach the decoder from ADTS, MP4 and
// MPEG-TS (ADTS and LATM): the object type, SBR and PS as FAAD2 reports them,
// the doubled rate with SBR, and the samples against ffmpeg's decode (some
// of the real streams hold only silence: then both decodes must be silent).
TEST_P(AacRealStream, DecodesLikeFfmpeg)
{
    const RealStream& c = GetParam();
    std::string path = kVectors + c.file;
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    AacInput input = demux(path);
    std::ostringstream log;
    AdecAAC decoder(log);
    ASSERT_NE(decoder.init(input.type), nullptr) << log.str();
    AacRun run;
    decodeUnits(decoder, input.units, run);
    ASSERT_FALSE(run.frames.empty()) << log.str();
    const TvStatusAac& s = run.frames.back();
    EXPECT_EQ(s.freq, c.rate);
    EXPECT_EQ(s.chan, c.channels);
    EXPECT_EQ(s.objectType, c.objectType);
    EXPECT_EQ(s.sbr != 0, c.sbr);
    EXPECT_EQ(s.ps != 0, c.ps);
    EXPECT_EQ(s.samples, c.sbr ? 2048 : 1024);

    std::vector<int16_t> reference = referencePcm(path);
    std::vector<int16_t> ours = run.pcm;
    if (c.referenceChannels < s.chan)
        ours = pickChannels(ours, s.chan, {0});
    int peak = 0;
    for (int16_t v : reference)
        peak = std::max(peak, std::abs(int(v)));
    if (peak <= 2) {
        int ourPeak = 0;
        for (int16_t v : ours)
            ourPeak = std::max(ourPeak, std::abs(int(v)));
        std::cout << "[ snr ] " << c.file << ": silence in both decodes (peak " << ourPeak << "), "
                  << run.frames.size() << " units" << std::endl;
        EXPECT_LE(ourPeak, 2);
        return;
    }
    PcmMatch match = alignedSnr(reference, ours, c.referenceChannels);
    std::cout << "[ snr ] " << c.file << ": " << match.snr << " dB against ffmpeg, shift " << match.shift
              << " frames, " << run.frames.size() << " units decoded, " << run.silentUnits << " silent, "
              << s.freq << " Hz, " << s.chan << " channels, sbr " << int(s.sbr) << ", ps " << int(s.ps)
              << std::endl;
    EXPECT_GE(match.snr, c.minSnr);
}

INSTANTIATE_TEST_SUITE_P(
    SharedVectors, AacRealStream,
    ::testing::Values(RealStream{"androidx_media/aac_sine.aac", 44100, 2, 1, 2, false, false, 60},
                      RealStream{"androidx_media/ts_sample.adts", 44100, 2, 1, 2, false, false, 60},
                      RealStream{"mp4parser/aac-sample.aac", 48000, 2, 2, 2, false, false, 60},
                      RealStream{"cts/sinesweep51m4a.m4a", 44100, 6, 6, 2, false, false, 60},
                      RealStream{"audioscan/heaac-truncated.aac", 44100, 2, 2, 5, true, false, 15},
                      RealStream{"mediabunny/no-initial-keyframe.ts", 44100, 2, 2, 5, true, false, 15},
                      RealStream{"pymediainfo/aac_he_v2.aac", 44100, 2, 2, 5, true, true, 10},
                      RealStream{"taglib/zero-length-mdat.m4a", 44100, 2, 1, 5, true, false, 10},
                      RealStream{"androidx_media/ts_sample_latm.ts", 44100, 2, 2, 5, true, false, 10}),
    [](const auto& info) {
        std::string name = info.param.file;
        for (char& ch : name)
            if (!isalnum(static_cast<unsigned char>(ch)))
                ch = '_';
        return name;
    });

// The remixer's decoder downmix: 5.1 folded to stereo by the library only for
// a downmix to front left and right of an AAC stream.
TEST(AdecAAC, DecoderDownmixOfSurround51)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    AacInput input = demux(makeStream(folder, k51));
    struct Case {
        const char* what;
        int kind, mixType;
        uint32_t mask;
        int chan;
        uint32_t channelMask;
        uint32_t remixMode;
    } cases[] = {
        {"downmix to stereo", KindAac, RemixDecoderDownmix, 0x3, 2, 0x3, RemixDecoderDownmix},
        {"downmix to 5.1 keeps 5.1", KindAac, RemixDecoderDownmix, 0x3F, 6, 0x3F, RemixNone},
        {"surround downmix is not folded", KindAac, RemixDecoderSurroundDownmix, 0x3, 6, 0x3F, RemixNone},
        {"another kind's downmix", KindAc3, RemixDecoderDownmix, 0x3, 6, 0x3F, RemixNone},
    };
    for (const Case& c : cases) {
        std::ostringstream log;
        AdecAAC decoder(log);
        decoder.setMixType(c.kind, c.mixType, c.mask);
        ASSERT_NE(decoder.init(input.type), nullptr) << c.what;
        AacRun run;
        decodeUnits(decoder, input.units, run);
        ASSERT_FALSE(run.frames.empty()) << c.what;
        EXPECT_EQ(run.frames.back().chan, c.chan) << c.what;
        EXPECT_EQ(run.frames.back().channelMask, c.channelMask) << c.what;
        EXPECT_EQ(run.frames.back().remixMode, c.remixMode) << c.what;
        EXPECT_EQ(run.pcm.size(), run.frames.size() * 1024 * size_t(c.chan)) << c.what;
    }
}

// A change of the downmix in the middle of a stream re-opens the library: the
// next unit already comes out folded, and switching back restores 5.1.
TEST(AdecAAC, DownmixChangeTakesEffectAtTheNextUnit)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    AacInput input = demux(makeStream(folder, k51));
    ASSERT_GE(input.units.size(), 12u);
    std::ostringstream log;
    AdecAAC decoder(log);
    ASSERT_NE(decoder.init(input.type), nullptr);
    std::vector<std::vector<uint8_t>> first(input.units.begin(), input.units.begin() + 4);
    std::vector<std::vector<uint8_t>> second(input.units.begin() + 4, input.units.begin() + 8);
    std::vector<std::vector<uint8_t>> third(input.units.begin() + 8, input.units.begin() + 12);
    AacRun a, b, c;
    decodeUnits(decoder, first, a);
    decoder.setMixType(KindAac, RemixDecoderDownmix, 0x3);
    decodeUnits(decoder, second, b);
    decoder.setMixType(KindAac, RemixNone, 0);
    decodeUnits(decoder, third, c);
    ASSERT_FALSE(a.frames.empty());
    ASSERT_FALSE(b.frames.empty());
    ASSERT_FALSE(c.frames.empty());
    EXPECT_EQ(a.frames.front().chan, 6);
    EXPECT_EQ(b.frames.front().chan, 2);
    EXPECT_EQ(b.frames.front().remixMode, RemixDecoderDownmix);
    EXPECT_EQ(c.frames.front().chan, 6);
    EXPECT_EQ(c.frames.front().remixMode, RemixNone);
}

// A broken unit logs the library's error, gives no output and leaves the
// next unit to decode normally on a re-opened library.
TEST(AdecAAC, CorruptedUnitIsDroppedAndTheNextDecodes)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    AacInput input = demux(makeStream(folder, kStereo));
    ASSERT_GE(input.units.size(), 10u);
    for (auto& byte : input.units[5])
        byte = 0xFF;
    std::ostringstream log;
    AdecAAC decoder(log);
    ASSERT_NE(decoder.init(input.type), nullptr);
    AacRun run;
    decodeUnits(decoder, input.units, run);
    EXPECT_NE(log.str().find("AAC: error "), std::string::npos) << log.str();
    EXPECT_EQ(run.frames.size() + run.silentUnits, input.units.size());
    // The broken unit, the first unit, and the first unit after the library
    // was re-opened: FAAD2 holds back the first output of each opening.
    EXPECT_EQ(run.silentUnits, 3u);
    EXPECT_EQ(run.frames.back().chan, 2);
}

// Types the decoder refuses, without opening anything for good.
TEST(AdecAAC, RefusesOtherSubtypesAndBrokenConfigurations)
{
    std::ostringstream log;
    AdecAAC decoder(log);
    auto typeWith = [](const GUID& subtype, std::vector<uint8_t> config, int extraSize = -1) {
        WAVEFORMATEX wave{0xFF, 2, 48000, 0, 0, 16, WORD(extraSize < 0 ? config.size() : size_t(extraSize))};
        std::vector<uint8_t> block(sizeof wave);
        std::memcpy(block.data(), &wave, sizeof wave);
        block.insert(block.end(), config.begin(), config.end());
        CMediaType type(&MEDIATYPE_Audio);
        type.SetSubtype(&subtype);
        type.SetFormatType(&FORMAT_WaveFormatEx);
        type.SetFormat(block.data(), ULONG(block.size()));
        return type;
    };
    const std::vector<uint8_t> lcStereo48k = {0x11, 0x90};
    EXPECT_TRUE(decoder.accepts(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, lcStereo48k)));
    EXPECT_TRUE(decoder.accepts(typeWith(MEDIASUBTYPE_MP4_AUDIO, lcStereo48k)));
    EXPECT_FALSE(decoder.accepts(typeWith(MEDIASUBTYPE_DOLBY_AC3, lcStereo48k)));
    EXPECT_FALSE(decoder.accepts(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {})));
    EXPECT_FALSE(decoder.accepts(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {0xF8, 0x00})));  // object type 31+
    // cbSize claiming more than the block holds reads only what is there.
    EXPECT_FALSE(decoder.accepts(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {}, 40)));
    EXPECT_EQ(decoder.init(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {})), nullptr);
    EXPECT_NE(log.str().find("AAC Error: "), std::string::npos);

    // Init writes what the library derived into the status: 22.05 kHz LC is
    // upsampled by implicit SBR to 44.1 kHz.
    TvStatus* status = decoder.init(typeWith(MEDIASUBTYPE_MPEG4_AUDIO, {0x13, 0x90}));
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->freq, 44100);
    EXPECT_EQ(status->chan, 2);
    EXPECT_EQ(static_cast<TvStatusAac*>(status)->openChannels, 2);
}

// An output sample too small for the unit gives nothing and asserts.
TEST(AdecAAC, OutputSampleTooSmallGivesNothing)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    AacInput input = demux(makeStream(folder, kStereo));
    std::ostringstream log;
    AdecAAC decoder(log);
    ASSERT_NE(decoder.init(input.type), nullptr);
    AacRun run;
    decodeUnits(decoder, input.units, run, 1024 * 2 * 2 - 1);
    EXPECT_TRUE(run.frames.empty());
    EXPECT_TRUE(run.pcm.empty());
}

}  // namespace
