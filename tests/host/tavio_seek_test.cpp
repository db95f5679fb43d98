// --start and --duration against ffmpeg's decode of the same file from its
// start, cut at the same times by frame count, one row per codec and
// container: the output must begin within one codec frame of the cut and
// match it in content. (ffmpeg's own -ss lands 20 ms late in program
// streams and restarts an elementary stream's count from a guess, so its
// full decode is the reference.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "host/tavio_run.h"
#include "support/ffmpeg.h"
#include "support/pcm.h"
#include "support/program_stream_builder.h"
#include "support/row_name.h"

// Named: the tests build as one unit, beside the container table's helpers.
namespace seek_table {

using Bytes = std::vector<uint8_t>;

struct SeekRow {
    const char* name;
    // ffmpeg's output options and file name for the made signal, or a
    // vector's path when `vector` is set.
    const char* made;
    const char* reference;  // ffmpeg's raw format of the same samples
    double minSnr;          // dB; above 150 means equal
    long frame;             // the codec's frame: how far start and length may be off
    Bytes (*repack)(const Bytes&) = nullptr;
    const char* input = nullptr;  // the repacked file's name
    bool vector = false;
    const char* options = "";
    const char* start = "1.3";
};

void PrintTo(const SeekRow& row, std::ostream* out)
{
    *out << row.name;
}

constexpr auto aobMlp = psbuild::discMlpProgramStream<false>;
constexpr auto evoMlp = psbuild::discMlpProgramStream<true>;
Bytes aobLpcm(const Bytes& bigEndian)
{
    return psbuild::dvdAudioLpcmProgramStream(bigEndian, 2400, 0x00, 17, 12);
}

// clang-format off
const SeekRow kSeekRows[] = {
    // From zero: the first packet's stamp is its first access unit's, at
    // the start (ffmpeg's 16-bit stamps later jump a packet ahead).
    {"LpcmVob", "-c:a pcm_dvd -sample_fmt s16 -f vob in.vob", "s16le", 200, 0, nullptr, nullptr,
     false, "", "0"},
    // 24-bit: half of ffmpeg's packets start inside a pair of frames, and
    // its stamps gain a frame a packet.
    {"Lpcm24Vob", "-c:a pcm_dvd -sample_fmt s32 -f vob in.vob", "s24le", 200, 60},
    {"LpcmAob", "-ac 6 -f s16be in.pcm", "s16le", 200, 0, aobLpcm, "in.aob"},
    {"LpcmM2ts", "-c:a pcm_bluray -sample_fmt s32 -mpegts_m2ts_mode 1 in.m2ts", "s24le", 200, 0},
    {"Ac3Vob", "-c:a ac3 -f vob in.vob", "f32le", 90, 1536},
    {"Ac3Mkv", "-c:a ac3 in.mkv", "f32le", 90, 1536},
    // Nearer the start than the decoders' preroll, where AVI (as raw
    // streams and WAVE) finds no packet at or before the sought time.
    {"Ac3AviNearStart", "-c:a ac3 in.avi", "f32le", 90, 0, nullptr, nullptr, false, "", "0.1"},
    // E-AC-3 through the filter's AC-3 conversion and a second filter.
    {"Eac3Mka", "-c:a eac3 in.mka", "f32le", 90, 1536},
    {"DtsTs", "-c:a dca -strict -2 in.ts", "s32le", 100, 512},
    {"DtsVob", "-c:a dca -strict -2 -f vob in.vob", "s32le", 100, 512},
    {"MlpAob", "-c:a mlp -strict -2 -f mlp in.mlp", "s24le", 200, 40, aobMlp, "in.aob"},
    {"TrueHdEvo", "-c:a truehd -strict -2 -f truehd in.thd", "s24le", 200, 40, evoMlp, "in.evo"},
    // Layer I: no encoder makes it, so a conformance stream, 0.59 s long.
    {"Mp1Vector", "minimp3/l1-fl4.bit", "s16le", 60, 384, nullptr, nullptr, true, "", "0.2"},
    {"Mp2Vob", "-c:a mp2 -b:a 192k -f vob in.vob", "s16le", 80, 1152},
    {"Mp3Raw", "-c:a libmp3lame -b:a 192k in.mp3", "s16le", 90, 1152},
    {"AacM4a", "-c:a aac in.m4a", "s16le", 90, 1024},
    // From zero: the pre-roll reaches back into MP4's priming.
    {"AacM4aFromZero", "-c:a aac in.m4a", "s16le", 80, 1024, nullptr, nullptr, false, "", "0"},
    {"AacAdts", "-c:a aac -f adts in.aac", "s16le", 90, 1024},
    // From zero, FAAC's announced priming is cut as without a seek: exact.
    {"AacFaacVectorM4a", "cts/sinesweep51m4a.m4a", "s16le", 80, 0, nullptr, nullptr, true, "", "0"},
    {"HeAacVectorTs", "mediabunny/no-initial-keyframe.ts", "s16le", 55, 2048, nullptr, nullptr,
     true},
    {"VorbisOgg", "-c:a libvorbis -q:a 6 in.ogg", "f32le", 130, 1024, nullptr, nullptr, false,
     "--bits float"},
    {"AmrNbVector", "androidx_media/amr_sample_nb.amr", "s16le", 33, 160, nullptr, nullptr, true},
    {"AmrWbVector", "androidx_media/amr_sample_wb.amr", "s16le", 20, 320, nullptr, nullptr, true},
};
// clang-format on

// A stereo sweep: unlike a steady tone it matches itself at one shift only.
const char* kSweep =
    "-f lavfi -i 'aevalsrc=0.5*sin(2*PI*(100+400*t)*t)|0.5*sin(2*PI*(150+300*t)*t)"
    ":s=48000:d=4'";
constexpr const char* kDuration = "1";

class TavioSeek : public ::testing::TestWithParam<SeekRow> {
protected:
    TempFolder folder;
};

TEST_P(TavioSeek, StartsAndEndsWhereFfmpegDoes)
{
    const SeekRow& row = GetParam();
    REQUIRE_FFMPEG();
    std::string made;
    if (row.vector) {
        REQUIRE_VECTOR(row.made);
        made = vectorPath(row.made);
    } else {
        std::string recipe = row.made;
        made = folder.file(recipe.substr(recipe.rfind(' ') + 1));
        ASSERT_TRUE(runCommand(std::string("ffmpeg -v error -nostdin ") + kSweep + " " +
                               recipe.substr(0, recipe.rfind(' ')) + " -y " + made));
    }
    std::string input = made, referenceInput;
    if (row.repack) {
        input = folder.file(row.input);
        writeBytes(input, row.repack(readBytes(made)));
    }
    if (std::string(row.made).find(".pcm") != std::string::npos)
        referenceInput = "-f s16be -ar 48000 -ch_layout 5.1";
    std::string out = folder.file("out.wav"), errors;
    ASSERT_EQ(runTavio(input + " -q " + row.options + " --start " + row.start + " --duration " +
                           kDuration + " -o " + out,
                       &errors),
              0)
        << errors;
    WavFile wav = readWav(out);
    int channels = wav.channels();
    std::vector<double> ours = samplesOf(wav.data, wav.sampleFormat());
    std::vector<double> whole = samplesOf(referenceDecode(made, row.reference, referenceInput),
                                          sampleFormatNamed(row.reference));
    size_t first = size_t(std::atof(row.start) * wav.sampleRate()) * size_t(channels);
    size_t count = size_t(std::atof(kDuration) * wav.sampleRate()) * size_t(channels);
    ASSERT_LT(first, whole.size());
    std::vector<double> reference(whole.begin() + long(first),
                                  whole.begin() + long(std::min(whole.size(), first + count)));
    ASSERT_FALSE(ours.empty());
    ASSERT_FALSE(reference.empty());
    PcmMatch match = alignedSnr(reference, ours, channels);
    long frames = long(ours.size()) / channels, referenceFrames = long(reference.size()) / channels;
    std::cout << "[ seek ] " << row.name << ": offset " << match.shift << " frames, " << match.snr
              << " dB, " << frames << " frames vs " << referenceFrames << std::endl;
    EXPECT_LE(std::labs(match.shift), row.frame);
    EXPECT_GE(match.snr, row.minSnr > 150 ? 1e300 : row.minSnr);
    EXPECT_LE(std::labs(frames - referenceFrames), row.frame);
}

INSTANTIATE_TEST_SUITE_P(Rows, TavioSeek, ::testing::ValuesIn(kSeekRows), RowName());

}  // namespace seek_table
