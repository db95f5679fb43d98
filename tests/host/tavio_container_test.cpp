// Every codec in the containers users hand tavio, one row each: how the input
// is made (one tone per speaker encoded by ffmpeg, or a real stream), the
// options, the reference it must match and how closely, and the WAVE format
// the file must carry.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "host/tavio_run.h"
#include "support/dts_carrier_words.h"
#include "support/ffmpeg.h"
#include "support/pcm.h"
#include "support/program_stream_builder.h"
#include "support/row_name.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Repack = Bytes (*)(const Bytes&);

enum class Reference {
    Decode,   // ffmpeg's decode of the stream before any repacking
    Source,   // the PCM the stream was encoded from
    Spdif,    // ffmpeg's spdif muxer on the stream, byte for byte
    Bursts,   // the AC-3 inside our bursts decoded by ffmpeg, against Decode
    PcmFile,  // the 16-bit PCM that comes with a vector, beside it as .pcm
    // The AC-3 inside `tavio --spdif`'s bursts decoded by ffmpeg: for E-AC-3
    // that ffmpeg cannot decode itself.
    Converted,
    // ffmpeg's decode of the repacked input tavio reads: for packings ffmpeg
    // reads but cannot write.
    Repacked,
    // The mpg123 program's decode of the input tavio reads (libmpg123 called
    // directly): for free format, which ffmpeg neither writes nor reads.
    Mpg123,
};
// Length: a silent stream, whose length and format are the check.
enum class Compare { Exact, Lsb, Snr, Length };

struct Row {
    const char* name;
    // Tones: ffmpeg speakers, rate, seconds; "" when `made` names a vector.
    const char* speakers;
    int rate;
    // ffmpeg's output options and file name; a vector's path when no speakers.
    const char* made;
    const char* options = "";
    Reference reference = Reference::Decode;
    // The reference's raw format; for Source the one the tones are written in.
    const char* referenceFormat = "s16le";
    Compare compare = Compare::Exact;
    double tolerance = 0;  // LSBs of the output for Lsb, minimum dB for Snr
    long slackFrames = 0;  // how far the lengths may differ
    long shift = 0;        // the expected alignment (Snr)
    struct Wave {
        int channels, bits;
        uint32_t mask;
        uint32_t rate;
    } wave{};
    const char* placed = nullptr;       // tones expected per output channel
    Repack repack = nullptr;            // turns the made stream into the input
    const char* input = nullptr;        // the input's name when not the made file's
    const char* referenceOptions = "";  // ffmpeg's before -i for the reference
    std::vector<int> picked = {};       // our channels compared, in the reference's order
    double seconds = 0.5;
    // The reference's channel count when it differs from ours: then `picked`
    // names the channels compared in both.
    int referenceChannels = 0;
};

// Repackings a container cannot make: disc program streams, word forms,
// byte-swapped Dolby words.
constexpr auto aobMlp = psbuild::discMlpProgramStream<false>;
constexpr auto evoMlp = psbuild::discMlpProgramStream<true>;
Bytes aobLpcm16Six(const Bytes& bigEndian)
{
    return psbuild::dvdAudioLpcmProgramStream(bigEndian, 2400, 0x00, 17, 12);
}
// 20-bit DVD-Video LPCM, which ffmpeg decodes but does not encode.
Bytes vobLpcm20Stereo(const Bytes& s32)
{
    return psbuild::dvdVideoLpcm20ProgramStream(s32, 2, 2005);
}
Bytes vobLpcm20Six(const Bytes& s32)
{
    return psbuild::dvdVideoLpcm20ProgramStream(s32, 6, 2013);
}
// Stereo (assignment 1) cut inside its pairs of frames, as a muxer may.
Bytes aobLpcm16Stereo(const Bytes& bigEndian)
{
    return psbuild::dvdAudioLpcmProgramStream(bigEndian, 1002, 0x00, 1, 4);
}
// Little-endian 14-bit words behind a 16-bit stereo PCM header, as CD rips
// carry DTS.
Bytes dts14LittleInWav(const Bytes& core)
{
    Bytes words = streamInCarrierWords(core, true, true), out;
    auto put = [&](const char* text, uint32_t value, int bytes) {
        out.insert(out.end(), text, text + std::strlen(text));
        for (int i = 0; i < bytes; ++i)
            out.push_back(uint8_t(value >> (8 * i)));
    };
    put("RIFF", uint32_t(36 + words.size()), 4);
    put("WAVEfmt ", 16, 4);
    put("", 1, 2), put("", 2, 2), put("", 44100, 4), put("", 44100 * 4, 4), put("", 4, 2);
    put("", 16, 2), put("data", uint32_t(words.size()), 4);
    out.insert(out.end(), words.begin(), words.end());
    return out;
}

// Free-format layer II at 100 kbit/s, a rate outside the table, by twolame.
Bytes freeFormatLayer2(const Bytes& wav)
{
    TempFolder work;
    writeBytes(work.file("in.wav"), wav);
    if (!runCommand("twolame --quiet --freeformat -b 100 " + work.file("in.wav") + " " +
                    work.file("out.mp2")))
        return {};
    return readBytes(work.file("out.mp2"));
}

// The last 200 bytes dropped: inside the last frame of MPEG audio at these
// rates.
Bytes cutInLastFrame(const Bytes& stream)
{
    return Bytes(stream.begin(), stream.end() - 200);
}

constexpr const char* k51 = "FL+FR+FC+LFE+BL+BR";
constexpr const char* k51Side = "FL+FR+FC+LFE+SL+SR";
constexpr const char* k50 = "FL+FR+FC+BL+BR";
constexpr const char* k71 = "FL+FR+FC+LFE+BL+BR+SL+SR";
constexpr const char* kStereo = "FL+FR";

using W = Row::Wave;
using R = Reference;
using C = Compare;

// Thresholds are those measured when each path was first checked.
// clang-format off
const Row kRows[] = {
    // LPCM: bit-exact; ffmpeg's muxers cut payloads inside sample groups.
    {"LpcmVob6ch16", k51, 48000, "-c:a pcm_dvd -sample_fmt s16 -f vob in.vob", "", R::Decode,
     "s16le", C::Exact, 0, 0, 0, W{6, 16, 0x3F, 48000}, k51},
    {"LpcmVob2ch24", kStereo, 48000, "-c:a pcm_dvd -sample_fmt s32 -f vob in.vob", "", R::Decode,
     "s24le", C::Exact, 0, 0, 0, W{2, 24, 0x3, 48000}},
    {"LpcmVob6ch24", k51, 48000, "-c:a pcm_dvd -sample_fmt s32 -f vob in.vob", "", R::Decode,
     "s24le", C::Exact, 0, 0, 0, W{6, 24, 0x3F, 48000}, k51},
    {"LpcmM2ts6ch24", k51Side, 48000, "-c:a pcm_bluray -sample_fmt s32 -mpegts_m2ts_mode 1 in.m2ts",
     "", R::Decode, "s24le", C::Exact, 0, 0, 0, W{6, 24, 0x3F, 48000}, k51Side},
    // The Blu-ray table delivers the coded surround pair in the back positions.
    {"LpcmM2ts8ch16", k71, 48000, "-c:a pcm_bluray -sample_fmt s16 -mpegts_m2ts_mode 1 in.m2ts", "",
     R::Decode, "s16le", C::Exact, 0, 0, 0, W{8, 16, 0x63F, 48000}, "FL+FR+FC+LFE+SL+SR+BL+BR",
     nullptr, nullptr, "", {0, 1, 2, 3, 6, 7, 4, 5}},
    {"LpcmAob6ch16", k51, 48000, "-f s16be in.pcm", "", R::Decode, "s16le", C::Exact, 0, 0, 0,
     W{6, 16, 0x3F, 48000}, k51, aobLpcm16Six, "in.aob", "-f s16be -ar 48000 -ch_layout 5.1"},
    {"LpcmVob2ch20", kStereo, 48000, "-f s32le in.pcm", "", R::Repacked, "s24le", C::Exact, 0, 0, 0,
     W{2, 24, 0x3, 48000}, kStereo, vobLpcm20Stereo, "in.vob"},
    {"LpcmVob6ch20", k51, 48000, "-f s32le in.pcm", "", R::Repacked, "s24le", C::Exact, 0, 0, 0,
     W{6, 24, 0x3F, 48000}, k51, vobLpcm20Six, "in.vob"},
    {"LpcmAobStereo16", kStereo, 48000, "-f s16be in.pcm", "", R::Decode, "s16le", C::Exact, 0, 0, 0,
     W{2, 16, 0x3, 48000}, kStereo, aobLpcm16Stereo, "in.aob", "-f s16be -ar 48000 -ch_layout stereo"},
    // AC-3 through the filter's AC-3 library: within one 16-bit step.
    {"Ac3Raw", k51Side, 48000, "-c:a ac3 in.ac3", "--bits 16", R::Decode, "s16le", C::Lsb, 1, 0, 0,
     W{6, 16, 0x3F, 48000}, k51Side},
    {"Ac3Mkv", k51Side, 48000, "-c:a ac3 in.mkv", "--bits 16", R::Decode, "s16le", C::Lsb, 1, 0, 0,
     W{6, 16, 0x3F, 48000}},
    {"Ac3Vob", k51Side, 48000, "-c:a ac3 -f vob in.vob", "--bits 16", R::Decode, "s16le", C::Lsb, 1,
     0, 0, W{6, 16, 0x3F, 48000}},
    {"Ac3Avi", k51Side, 48000, "-c:a ac3 in.avi", "--bits 16", R::Decode, "s16le", C::Lsb, 1, 0, 0,
     W{6, 16, 0x3F, 48000}},
    {"Ac3Wav", k51Side, 48000, "-c:a ac3 in.wav", "--bits 16", R::Decode, "s16le", C::Lsb, 1, 0, 0,
     W{6, 16, 0x3F, 48000}},
    {"Ac3ByteSwapped", k51Side, 48000, "-c:a ac3 in.ac3", "--bits 16", R::Decode, "s16le", C::Lsb,
     1, 0, 0, W{6, 16, 0x3F, 48000}, k51Side, [](const Bytes& b) { return swappedPairs(b); }, "swapped.ac3"},
    // 2/2 is delivered quadraphonic (0x33), not as the connection's 0xF.
    {"Ac3TwoTwoVector", "", 0, "dlbframe337/dd_6ch_acmod22.ac3", "--bits 16", R::Decode, "s16le",
     C::Lsb, 1, 0, 0, W{4, 16, 0x33, 48000}},
    {"Ac3ErrorVector", "", 0, "dlbframe337/dd_error1.ac3", "--bits 16", R::Decode, "s16le", C::Lsb,
     1, 0, 0, W{5, 16, 0x37, 48000}},
    {"Ac3Spdif", kStereo, 48000, "-c:a ac3 -b:a 192k in.ac3", "--spdif", R::Spdif, "", C::Exact, 0,
     0, 0, W{2, 16, 0x3, 48000}},
    // E-AC-3 leaves as AC-3 bursts, 256 samples late (the AC-3 encoder's
    // delay), MP4's priming on top as bursts cannot be cut.
    {"Eac3SpdifRaw", k51Side, 48000, "-c:a eac3 -b:a 384k in.eac3", "--spdif", R::Bursts, "s16le",
     C::Snr, 30, 100000, 256, W{2, 16, 0x3, 48000}},
    {"Eac3SpdifMp4", k51Side, 48000, "-c:a eac3 -b:a 384k in.mp4", "--spdif", R::Bursts, "s16le",
     C::Snr, 30, 100000, 512, W{2, 16, 0x3, 48000}},
    // E-AC-3 as sound: through the filter's AC-3 conversion and a second
    // filter, lined up with ffmpeg's decode and as long, the last 256 samples
    // (which the conversion's encoder holds back) included: tones of 16 whole
    // frames sound to the end. 7.1 comes out as 5.1, whose fronts are compared.
    {"Eac3Raw", k51Side, 48000, "-c:a eac3 -b:a 384k in.eac3", "", R::Decode, "f32le", C::Snr, 70,
     0, 0, W{6, 32, 0x3F, 48000}, k51Side, nullptr, nullptr, "", {}, 0.512},
    {"Eac3Mp4", k51Side, 48000, "-c:a eac3 -b:a 384k in.mp4", "", R::Decode, "f32le", C::Snr, 70,
     0, 0, W{6, 32, 0x3F, 48000}, k51Side},
    {"Eac3Mkv", kStereo, 48000, "-c:a eac3 -b:a 192k in.mkv", "", R::Decode, "f32le", C::Snr, 70,
     0, 0, W{2, 32, 0x3, 48000}, kStereo, nullptr, nullptr, "", {}, 0.512},
    {"Eac3VectorTs", "", 0, "androidx_media/ts_sample_eac3.ts", "", R::Decode, "f32le", C::Snr, 30,
     0, 0, W{6, 32, 0x3F, 48000}},
    {"Eac3VectorM4a", "", 0, "taglib/eac3.m4a", "", R::Decode, "f32le", C::Snr, 70, 0, 0,
     W{2, 32, 0x3, 48000}},
    {"Eac3VectorEvo", "", 0, "dlbframe337/ddp_evo_passthrough_32L.ec3", "", R::Decode, "f32le",
     C::Snr, 70, 0, 0, W{6, 32, 0x3F, 48000}},
    {"Eac3VectorThreePrograms", "", 0, "dlbframe337/ddp_3_stream_640.ec3", "", R::Decode, "f32le",
     C::Snr, 55, 0, 0, W{6, 32, 0x3F, 48000}},
    {"Eac3Vector7ch", "", 0, "dlbmp4base/7ch_ddp_25fps_channel_id.ec3", "", R::Decode, "f32le",
     C::Snr, 55, 0, 0, W{6, 32, 0x3F, 48000}, nullptr, nullptr, nullptr, "", {0, 1, 2, 3}, 0.5, 8},
    // Speech at -87 dBFS, where the re-encoding's noise is near the signal.
    {"Eac3VectorJoc", "", 0, "dlbframe337/ddp_ChID_voices_71_640_ddp_joc.ec3", "", R::Decode,
     "f32le", C::Snr, 8, 0, 0, W{6, 32, 0x3F, 48000}, nullptr, nullptr, nullptr, "",
     {0, 1, 2, 3}, 0.5, 8},
    // Three programs of 5.1 with two 2.0 dependent substreams each, which
    // libavcodec refuses as a whole: the first extension is converted.
    {"Eac3VectorTwoDependents", "", 0, "dlbframe337/ddp_6ch_substream.ec3", "", R::Converted,
     "f32le", C::Snr, 100, 0, -256, W{6, 32, 0x3F, 48000}},
    // Silent conformance streams: mono stays mono, 44.1 kHz stays 44.1 kHz.
    {"Eac3VectorStereo", "", 0, "dlbframe337/ddp_2ch_typical.ec3", "", R::Decode, "f32le",
     C::Length, 0, 0, 0, W{2, 32, 0x3, 48000}},
    {"Eac3VectorMono", "", 0, "dlbframe337/ddp_6ch_acmod10.ec3", "", R::Decode, "f32le", C::Length,
     0, 0, 0, W{1, 32, 0x4, 48000}},
    {"Eac3VectorBsid11", "", 0, "dlbframe337/ddp_6ch_bsid11.ec3", "", R::Decode, "f32le", C::Length,
     0, 0, 0, W{6, 32, 0x3F, 48000}},
    {"Eac3Vector44k", "", 0, "mutagen/silence-44-s.eac3", "", R::Decode, "f32le", C::Length, 0, 0,
     0, W{2, 32, 0x3, 44100}},
    // DTS core: within one 24-bit LSB of ffmpeg's decode.
    {"DtsRaw", k51Side, 48000, "-c:a dca -strict -2 in.dts", "", R::Decode, "s32le", C::Lsb, 1, 0,
     0, W{6, 24, 0x60F, 48000}, k51Side},
    {"DtsTs", k51Side, 48000, "-c:a dca -strict -2 in.ts", "", R::Decode, "s32le", C::Lsb, 1, 0, 0,
     W{6, 24, 0x60F, 48000}},
    {"DtsVob", k51Side, 48000, "-c:a dca -strict -2 -f vob in.vob", "", R::Decode, "s32le", C::Lsb,
     1, 0, 0, W{6, 24, 0x60F, 48000}},
    {"DtsSpdif", k51Side, 48000, "-c:a dca -strict -2 in.dts", "--spdif", R::Spdif, "", C::Exact, 0,
     0, 0, W{2, 16, 0x3, 48000}},
    // A CD rip: 1792-byte frames at 1234 kbit/s, 2048 bytes in 14-bit words
    // behind a PCM header (the other word forms are the parser test's).
    {"DtsCd14InWav", kStereo, 44100, "-c:a dca -strict -2 -b:a 1234k -f dts in.dts", "", R::Decode,
     "s32le", C::Lsb, 1, 0, 0, W{2, 24, 0x3, 44100}, nullptr, dts14LittleInWav, "cd.wav"},
    // MLP and TrueHD: the source PCM, then less than one access unit of silence;
    // TrueHD's surround pair is the side pair.
    {"MlpRaw6ch96k24", k51, 96000, "-c:a mlp -strict -2 in.mlp", "", R::Source, "s24le", C::Exact,
     0, 160, 0, W{6, 24, 0x3F, 96000}, k51, nullptr, nullptr, "", {}, 0.3},
    {"MlpRaw2ch44k16", kStereo, 44100, "-c:a mlp -strict -2 in.mlp", "", R::Source, "s16le",
     C::Exact, 0, 160, 0, W{2, 24, 0x3, 44100}, nullptr, nullptr, nullptr, "", {}, 0.3},
    {"TrueHdRaw", k51, 48000, "-c:a truehd -strict -2 in.thd", "", R::Source, "s24le", C::Exact, 0,
     160, 0, W{6, 24, 0x60F, 48000}, nullptr, nullptr, nullptr, "", {}, 0.3},
    {"TrueHdMp4", k50, 96000, "-c:a truehd -strict -2 in.mp4", "", R::Source, "s16le", C::Exact, 0,
     160, 0, W{5, 24, 0x607, 96000}, nullptr, nullptr, nullptr, "", {}, 0.3},
    {"TrueHdM2ts", kStereo, 192000, "-c:a truehd -strict -2 in.m2ts", "", R::Source, "s24le",
     C::Exact, 0, 160, 0, W{2, 24, 0x3, 192000}, nullptr, nullptr, nullptr, "", {}, 0.1},
    {"MlpDvdAudioAob", k51, 96000, "-c:a mlp -strict -2 in.mlp", "", R::Source, "s24le", C::Exact,
     0, 160, 0, W{6, 24, 0x3F, 96000}, nullptr, aobMlp, "in.aob", "", {}, 0.3},
    {"TrueHdHdDvdEvo", k51, 48000, "-c:a truehd -strict -2 in.thd", "", R::Source, "s24le",
     C::Exact, 0, 160, 0, W{6, 24, 0x60F, 48000}, nullptr, evoMlp, "in.evo", "", {}, 0.3},
    // The real 7.1 TrueHD stream with two- and six-channel presentations.
    {"TrueHdVectorMp4", "", 0, "androidx_media/mp4_sample_dthd.mp4", "", R::Decode, "s24le",
     C::Exact, 0, 0, 0, W{8, 24, 0x63F, 48000}},
    // MPEG audio layers: libmpg123 against ffmpeg's decoder; Matroska stamps in
    // milliseconds, so its end padding is cut to the nearest one.
    {"Mp3Raw", kStereo, 44100, "-c:a libmp3lame -b:a 192k in.mp3", "", R::Decode, "s16le", C::Snr,
     70, 0, 0, W{2, 16, 0x3, 44100}, kStereo, nullptr, nullptr, "", {}, 1},
    {"Mp3Mp4", kStereo, 44100, "-c:a libmp3lame -b:a 192k in.mp4", "", R::Decode, "s16le", C::Snr,
     70, 0, 0, W{2, 16, 0x3, 44100}, nullptr, nullptr, nullptr, "", {}, 1},
    {"Mp2Vob", kStereo, 48000, "-c:a mp2 -b:a 192k -f vob in.vob", "", R::Decode, "s16le", C::Snr,
     70, 0, 0, W{2, 16, 0x3, 48000}, kStereo, nullptr, nullptr, "", {}, 1},
    // MPEG-2 layer II, which the decoder measures with the layer I bit rates,
    // below twice the real size here: every frame must come out, whole or
    // (the program stream) cut across packets.
    {"Mp2HalfRateRaw", kStereo, 24000, "-c:a mp2 -b:a 128k in.mp2", "", R::Decode, "s16le",
     C::Snr, 80, 0, 0, W{2, 16, 0x3, 24000}},
    {"Mp2HalfRateVob", kStereo, 24000, "-c:a mp2 -b:a 96k -f vob in.vob", "", R::Decode, "s16le",
     C::Snr, 80, 0, 0, W{2, 16, 0x3, 24000}},
    // Cut inside the last frame: completed with zeros, as ffmpeg reads it,
    // the LAME tag's padding cut from it; a half-rate layer II frame with
    // the zeros the decoder's measure asks for on top.
    {"Mp3CutInLastFrame", kStereo, 44100, "-c:a libmp3lame -b:a 192k in.mp3", "", R::Repacked,
     "s16le", C::Snr, 70, 0, 0, W{2, 16, 0x3, 44100}, nullptr, cutInLastFrame, "cut.mp3", "", {},
     1},
    {"Mp2HalfRateCutInLastFrame", kStereo, 24000, "-c:a mp2 -b:a 128k in.mp2", "", R::Repacked,
     "s16le", C::Snr, 70, 0, 0, W{2, 16, 0x3, 24000}, nullptr, cutInLastFrame, "cut.mp2"},
    // Free format, a rate outside the table, at 24 kHz.
    {"Mp2FreeFormat", kStereo, 24000, "-f wav in.wav", "", R::Mpg123, "s16le", C::Exact, 0, 0, 0,
     W{2, 16, 0x3, 24000}, kStereo, freeFormatLayer2, "free.mp2"},
    {"Mp3VectorXing", "", 0, "androidx_media/mp3_bear-vbr-xing-header.mp3", "", R::Decode, "s16le",
     C::Snr, 80, 0, 0, W{2, 16, 0x3, 48000}},
    {"Mp2VectorProgramStream", "", 0, "androidx_media/ts_sample_h262_mpeg_audio.ps", "", R::Decode,
     "s16le", C::Snr, 80, 0, -1152, W{1, 16, 0x4, 44100}},
    // The same as real streams: two overloaded frames the decoders clip
    // differently; 22.05 kHz with a padded frame, near-silent (the length is
    // the check).
    {"Mp2VectorHalfRate", "", 0, "minimp3/l2-nonstandard-test32-size.bit", "", R::Decode, "s16le",
     C::Snr, 30, 0, 0, W{2, 16, 0x3, 24000}},
    {"Mp2VectorHalfRate22k", "", 0, "tinytag/mpeg2_22050hz.mp2", "", R::Decode, "s16le", C::Snr, 0,
     0, 0, W{2, 16, 0x3, 22050}},
    // One frame that libavformat does not recognise: fed as MPEG audio
    // because its frames fill the file.
    {"Mp2VectorRefusedByProbe", "", 0, "minimp3/ILL2_mono.bit", "", R::PcmFile, "s16le", C::Lsb, 1,
     0, 0, W{1, 16, 0x4, 48000}},
    {"Mp3VectorNonstandard", "", 0, "minimp3/l3-nonstandard-sin1k0db_lame_vbrtag.bit", "",
     R::Decode, "s16le", C::Snr, 80, 0, 0, W{2, 16, 0x3, 44100}},
    // Free format, which libavformat does not read; its PCM lacks the last frame.
    {"Mp3VectorFreeFormat", "", 0, "minimp3/l3-he_free.bit", "", R::PcmFile, "s16le", C::Lsb, 1,
     1152, 0, W{2, 16, 0x3, 44100}},
    // AAC through FAAD2 against ffmpeg's decoder, from the first unit on: the
    // host cuts the container's priming by time.
    {"AacM4a", k51, 48000, "-c:a aac in.m4a", "", R::Decode, "s16le", C::Snr, 50, 0, 0,
     W{6, 16, 0x3F, 48000}, k51},
    {"AacAdts", k51, 48000, "-c:a aac -f adts in.aac", "", R::Decode, "s16le", C::Snr, 50, 0, 0,
     W{6, 16, 0x3F, 48000}},
    {"AacMkv", k51, 48000, "-c:a aac in.mkv", "", R::Decode, "s16le", C::Snr, 50, 0, 0,
     W{6, 16, 0x3F, 48000}},
    {"AacTs", k51, 48000, "-c:a aac in.ts", "", R::Decode, "s16le", C::Snr, 50, 0, 0,
     W{6, 16, 0x3F, 48000}},
    {"AacLatmTs", k51, 48000, "-c:a aac -mpegts_flags latm in.ts", "", R::Decode, "s16le", C::Snr,
     50, 0, 0, W{6, 16, 0x3F, 48000}},
    {"AacLoas", k51, 48000, "-c:a aac -f latm in.loas", "", R::Decode, "s16le", C::Snr, 50, 0, 0,
     W{6, 16, 0x3F, 48000}},
    // FAAC names itself in its first unit and starts a frame late: its
    // priming is cut, as ffmpeg's decoder cuts it, so the first samples line up.
    {"AacFaacVectorM4a", "", 0, "cts/sinesweep51m4a.m4a", "", R::Decode, "s16le", C::Snr, 80, 0, 0,
     W{6, 16, 0x3F, 44100}},
    // HE-AAC: the file takes the decoded rate (SBR doubles the announced one)
    // and FAAD2's mono on both fronts.
    {"HeAacVectorTs", "", 0, "mediabunny/no-initial-keyframe.ts", "", R::Decode, "s16le", C::Snr,
     60, 0, 0, W{2, 16, 0x3, 44100}},
    {"HeAacVectorMonoM4a", "", 0, "taglib/zero-length-mdat.m4a", "", R::Decode, "s16le", C::Snr, 60,
     0, 0, W{2, 16, 0x3, 44100}, nullptr, nullptr, nullptr, "", {0}},
    // Vorbis as float: both decoders are libvorbis-compatible floating point.
    {"VorbisOgg", k51, 48000, "-c:a libvorbis -q:a 6 in.ogg", "--bits float", R::Decode, "f32le",
     C::Snr, 90, 0, 0, W{6, 32, 0x3F, 48000}, k51},
    {"VorbisWebm", k51, 48000, "-c:a libvorbis -q:a 6 in.webm", "--bits float", R::Decode, "f32le",
     C::Snr, 90, 0, 0, W{6, 32, 0x3F, 48000}},
    {"VorbisVectorWebmMono", "", 0, "androidx/mkv_bbb_1ch_12kHz_q10_vorbis.webm", "--bits float",
     R::Decode, "f32le", C::Snr, 90, 0, 0, W{1, 32, 0x4, 12000}},
    // Float decoders deliver float by default: peaks at +1.38 stay as they are.
    {"VorbisVectorAboveFullScale", "", 0,
     "optivorbis/44100hz_500ms_stereo_uncoupled_400hz_sine_wave.ogg", "", R::Decode, "f32le",
     C::Snr, 90, 0, 0, W{2, 32, 0x3, 44100}},
    // Half-rate AC-3 (bsid 9) at its own 22.05 kHz, through the DD+ library.
    {"Ac3HalfRateVector", "", 0, "mp4parser/ac3-sample.ac3", "", R::Decode, "f32le", C::Snr, 90,
     1536, 0, W{1, 32, 0x4, 22050}},
    // AMR against ffmpeg's decoders (a different implementation), which
    // decode one frame of each packet: their reference is the frames as .amr.
    {"AmrNbVector", "", 0, "androidx_media/amr_sample_nb.amr", "", R::Decode, "s16le", C::Snr, 33,
     320, 0, W{1, 16, 0x4, 8000}},
    {"AmrWbVectorAwb", "", 0, "androidx_media/amr_sample_wb.amr", "", R::Decode, "s16le", C::Snr,
     14, 320, 0, W{1, 16, 0x4, 16000}, nullptr, nullptr, "in.awb"},
    {"AmrNbVector3gp", "", 0, "androidx_media/3gp_bbb_mono_8kHz_12.2kbps_amrnb.3gp", "", R::Decode,
     "s16le", C::Snr, 28, 320, -50, W{1, 16, 0x4, 8000}},
};
// clang-format on

// The AC-3 frames inside a run of 6144-byte bursts, back in stream order.
Bytes burstPayloads(const Bytes& bursts)
{
    Bytes ac3;
    for (size_t b = 0; b + 6144 <= bursts.size(); b += 6144) {
        size_t bytes = size_t(bursts[b + 6] | (bursts[b + 7] << 8)) / 8;
        for (size_t i = 0; i + 1 < bytes; i += 2) {
            ac3.push_back(bursts[b + 8 + i + 1]);
            ac3.push_back(bursts[b + 8 + i]);
        }
    }
    return ac3;
}

void PrintTo(const Row& row, std::ostream* out)
{
    *out << row.name;
}

class TavioContainers : public ::testing::TestWithParam<Row> {
protected:
    // Makes the row's stream; returns the made file (before any repacking).
    std::string make(const Row& row)
    {
        std::string recipe = row.made;
        if (!*row.speakers)
            return vectorPath(recipe);
        std::string name = recipe.substr(recipe.rfind(' ') + 1),
                    options = recipe.substr(0, recipe.rfind(' '));
        ToneSignal signal{row.speakers, row.rate, row.seconds};
        if (row.reference == R::Source) {
            // Encoded from raw PCM written first, the exact reference.
            std::string raw = std::string("-f ") + row.referenceFormat;
            source = folder.file("source.pcm");
            EXPECT_TRUE(encodeTones(source, signal, raw));
            EXPECT_TRUE(runCommand("ffmpeg -v error -nostdin " + raw + " -ar " +
                                   std::to_string(row.rate) + " -ch_layout " + row.speakers +
                                   " -i " + source + " " + options + " -y " + folder.file(name)));
        } else {
            EXPECT_TRUE(encodeTones(folder.file(name), signal, options)) << recipe;
        }
        return folder.file(name);
    }

    TempFolder folder;
    std::string source;
};

TEST_P(TavioContainers, DecodesLikeItsReference)
{
    const Row& row = GetParam();
    REQUIRE_FFMPEG();
    if (!*row.speakers) {
        REQUIRE_VECTOR(row.made);
    }
    if (row.reference == R::Mpg123 &&
        !runCommand("command -v twolame >/dev/null && command -v mpg123 >/dev/null")) {
        if (runningInCi())
            FAIL() << "twolame or mpg123 is missing";
        GTEST_SKIP() << "twolame or mpg123 not installed";
    }
    std::string made = make(row), input = made;
    if (row.input) {
        input = folder.file(row.input);
        writeBytes(input, row.repack ? row.repack(readBytes(made)) : readBytes(made));
    }
    if (std::string(row.name).rfind("Amr", 0) == 0) {
        // ffmpeg decodes one frame per packet: its reference reads the frames
        // as a .amr file.
        std::string frames = folder.file("frames.amr");
        ASSERT_TRUE(
            runCommand("ffmpeg -v error -i " + made + " -map 0:a -c copy -f amr -y " + frames));
        made = frames;
    }
    std::string out = folder.file("out.wav"), errors;
    ASSERT_EQ(runTavio(input + " -q " + row.options + " -o " + out, &errors), 0) << errors;
    WavFile wav = readWav(out);
    bool spdif = row.reference == R::Spdif || row.reference == R::Bursts;
    EXPECT_EQ(wav.formatTag(), spdif ? 0x0092 : 0xFFFE);
    EXPECT_EQ(wav.channels(), row.wave.channels);
    EXPECT_EQ(wav.bitsPerSample(), row.wave.bits);
    EXPECT_EQ(wav.channelMask(), row.wave.mask);
    EXPECT_EQ(wav.sampleRate(), row.wave.rate);
    if (row.reference == R::Spdif) {
        Bytes reference = commandOutput("ffmpeg -v error -i " + made + " -c copy -f spdif -");
        EXPECT_TRUE(wav.data == reference) << wav.data.size() << " vs " << reference.size();
        return;
    }

    std::vector<double> ours = samplesOf(wav.data, wav.sampleFormat()), reference;
    int channels = row.wave.channels;
    if (row.reference == R::Converted) {
        std::string bursts = folder.file("bursts.wav");
        ASSERT_EQ(runTavio(input + " -q --spdif -o " + bursts), 0);
        writeBytes(folder.file("converted.ac3"), burstPayloads(readWav(bursts).data));
        made = folder.file("converted.ac3");
    }
    reference = samplesOf(
        row.reference == R::Source    ? readBytes(source)
        : row.reference == R::PcmFile ? readBytes(made.substr(0, made.rfind('.')) + ".pcm")
        : row.reference == R::Mpg123  ? commandOutput("mpg123 -q -s " + input)
                                      : referenceDecode(row.reference == R::Repacked ? input : made,
                                                       row.referenceFormat, row.referenceOptions),
        sampleFormatNamed(row.referenceFormat));
    if (row.reference == R::Bursts) {
        writeBytes(folder.file("bursts.ac3"), burstPayloads(wav.data));
        ours = samplesOf(referenceDecode(folder.file("bursts.ac3"), "s16le"), SampleFormat::S16);
        channels = 6;
    }
    if (row.placed) {
        EXPECT_TRUE(tonesOnSpeakers(ours, channels, int(row.wave.rate), speakerTones(row.placed),
                                    size_t(row.wave.rate / 10)));
    }
    if (row.referenceChannels)
        reference = pickChannels(reference, row.referenceChannels, row.picked);
    if (!row.picked.empty()) {
        ours = pickChannels(ours, channels, row.picked);
        channels = int(row.picked.size());
    }
    ASSERT_FALSE(ours.empty());
    long frames = long(ours.size()) / channels, referenceFrames = long(reference.size()) / channels;
    if (row.compare == C::Snr) {
        PcmMatch match = alignedSnr(reference, ours, channels);
        std::cout << "[ snr ] " << row.name << ": " << match.snr << " dB, shift " << match.shift
                  << std::endl;
        EXPECT_GE(match.snr, row.tolerance);
        EXPECT_EQ(match.shift, row.shift);
    } else if (row.compare != C::Length) {
        double lsb = std::ldexp(1.0, 1 - row.wave.bits);
        EXPECT_LE(maxDifference(reference, ours), row.tolerance * lsb);
        std::cout << "[ snr ] " << row.name << ": " << snrDb(reference, ours) << " dB" << std::endl;
    }
    EXPECT_LE(std::labs(frames - referenceFrames), row.slackFrames)
        << frames << " frames vs " << referenceFrames;
    if (row.reference == R::Source) {
        EXPECT_GE(frames, referenceFrames);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, TavioContainers, ::testing::ValuesIn(kRows), RowName());

}  // namespace
