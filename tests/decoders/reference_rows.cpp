// The rows of the reference table: every decoder, and every layout where
// speaker placement is at stake.
#include <algorithm>

#include "core/media_subtypes.h"
#include "decoders/decoder_rows.h"
#include "decoders/mpeg_header.h"
#include "support/amr_codec.h"
#include "support/media_types.h"

namespace {

const std::vector<uint8_t> kAc3FalseSync = {0x0B, 0x77, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
// A normal frame whose SHORT is not 31.
const std::vector<uint8_t> kDtsFalseSync = {0x7F, 0xFE, 0x80, 0x01, 0xF8, 0, 0, 0, 0, 0, 0, 0};
// A layer III header with a bit-rate index that does not exist.
const std::vector<uint8_t> kMpegFalseSync = {0xFF, 0xFB, 0xF0, 0x00};
const std::vector<uint8_t> kMlpFalseSync = {0, 0, 0, 0, 0xF8, 0x72, 0x6F, 0xBA, 0xFF, 0xFF};

Row toneRow(std::string name,
            Decoder decoder,
            std::string speakers,
            int rate,
            std::string encode,
            SampleFormat format,
            uint32_t mask,
            std::string delivered = "")
{
    std::string placed = delivered.empty() ? speakers : delivered;
    return {.name = std::move(name),
            .decoder = decoder,
            .tones = {speakers, rate, 0.5, 0.5},
            .encode = std::move(encode),
            .format = format,
            .channels = int(speakerList(placed).size()),
            .mask = mask,
            .delivered = placed};
}

Row& snr(Row& row, double limit, long maxShift = 0)
{
    row.compare = Compare::Snr;
    row.limit = limit;
    row.maxShift = maxShift;
    return row;
}

// DVD-Audio sample frames, packed as the format packs them (written from its
// packing rules, not from the decoder's tables): 16-bit big-endian words; 24-bit
// per group and pair of frames the upper words of the group's samples (frame
// 0's channels, then frame 1's), then their low bytes, group 2 before group 1.
std::vector<uint8_t> dvdaPack(const std::vector<uint8_t>& pcm,
                              int channels,
                              int bits,
                              const std::vector<int>& groups)
{
    size_t width = size_t(bits / 8), frame = width * size_t(channels);
    auto sample = [&](size_t f, int c) {
        const uint8_t* s = &pcm[f * frame + size_t(c) * width];
        return width == 2 ? int32_t(s[0] | s[1] << 8) << 8 : int32_t(s[0] | s[1] << 8 | s[2] << 16);
    };
    std::vector<uint8_t> out;
    for (size_t f = 0; f + 1 < pcm.size() / frame; f += 2) {
        if (bits == 16) {
            for (size_t k = 0; k < 2; ++k)
                for (int c = 0; c < channels; ++c)
                    out.insert(out.end(),
                               {uint8_t(sample(f + k, c) >> 16), uint8_t(sample(f + k, c) >> 8)});
            continue;
        }
        for (int g = int(groups.size()) - 1; g >= 0; --g) {
            int first = g == 0 ? 0 : groups[0];
            std::vector<int32_t> samples;
            for (size_t k = 0; k < 2; ++k)
                for (int c = first; c < first + groups[size_t(g)]; ++c)
                    samples.push_back(sample(f + k, c));
            for (int32_t s : samples)
                out.insert(out.end(), {uint8_t(s >> 16), uint8_t(s >> 8)});
            for (int32_t s : samples)
                out.push_back(uint8_t(s));
        }
    }
    return out;
}

// DVD-Audio LPCM: the source's channels (in coded order) in one or two groups
// behind DVD-Audio private headers, or as plain audio samples.
StreamInput dvdaInput(const Row& row)
{
    StreamInput input;
    int bits = row.format == SampleFormat::S16 ? 16 : 24, channels = row.channels,
        rate = row.tones.rate;
    input.source = tonePcm(row.tones.speakers, rate, row.tones.seconds, bits);
    bool headers = row.dvdaAssignment >= 0;
    std::vector<int> groups = {channels};
    if (headers && row.dvdaGroup1 < channels)
        groups = {row.dvdaGroup1, channels - row.dvdaGroup1};
    std::vector<uint8_t> packed = dvdaPack(input.source, channels, bits, groups);
    input.source.resize(packed.size());  // whole pairs of frames only
    uint8_t quant = uint8_t(bits == 16 ? 0 : 2);
    // The sample rate codes: 0-2 from 48 kHz up, 8-10 from 44.1 kHz up.
    const int rates[] = {48000, 96000, 192000, 0, 0, 0, 0, 0, 44100, 88200, 176400};
    uint8_t freq = uint8_t(std::find(std::begin(rates), std::end(rates), rate) - rates);
    // A group that is not used says so with all ones.
    uint8_t quants = uint8_t(quant << 4 | (groups.size() > 1 ? quant : 0xF));
    uint8_t freqs = uint8_t(freq << 4 | (groups.size() > 1 ? freq : 0xF));
    input.type = headers ? waveType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DVDA_AUDIO_LPCM,
                                    WAVE_FORMAT_PCM, 48000, 2, 16)
                         : waveType(MEDIATYPE_Audio, MEDIASUBTYPE_DVDA_AUDIO_LPCM, WAVE_FORMAT_PCM,
                                    DWORD(rate), WORD(channels), WORD(bits));
    input.privateHeaders = headers;
    size_t unit = size_t(channels * bits / 8 * 2) * 20;  // 40 frames a packet
    for (size_t at = 0; at < packed.size(); at += unit) {
        std::vector<uint8_t> packet;
        if (headers)
            packet = {0xA0, 0, 0, 8, 0, 7, 0, quants, freqs, 0, uint8_t(row.dvdaAssignment), 0};
        packet.insert(packet.end(), packed.begin() + long(at),
                      packed.begin() + long(std::min(at + unit, packed.size())));
        input.packets.push_back(packet);
    }
    return input;
}

// MLP and TrueHD encoded by ffmpeg from PCM written here, carried in
// DVD-Audio (MLP) or HD-DVD (TrueHD) packets; the source PCM is the reference.
StreamInput mlpInput(const Row& row)
{
    bool trueHd = row.encode.starts_with("truehd");
    int bits = row.encode.ends_with("16") ? 16 : 24, rate = row.tones.rate;
    std::vector<uint8_t> pcm = tonePcm(row.tones.speakers, rate, row.tones.seconds, bits);
    std::string format = bits == 16 ? "s16le" : "s24le";
    std::string raw = cachedBytes(row.name + format, "pcm", pcm);
    std::string command = "-f " + format + " -ar " + std::to_string(rate) + " -ch_layout " +
                          row.tones.speakers + " -i '" + raw + "' -c:a " +
                          (trueHd ? "truehd" : "mlp") + " -strict -2 -f " +
                          (trueHd ? "truehd" : "mlp");
    StreamInput input;
    input.path = cachedFile(command, trueHd ? "thd" : "mlp", [&](const std::string& p) {
        return runCommand("ffmpeg -v error -nostdin " + command + " -y '" + p + "'");
    });
    input.elementary = readBytes(input.path);
    input.packets = mlpPackets(input.elementary, trueHd, {2000});
    input.privateHeaders = true;
    input.type = waveType(MEDIATYPE_MPEG2_PES,
                          trueHd ? MEDIASUBTYPE_HDDVD_AUDIO_MLP : MEDIASUBTYPE_DVDA_AUDIO_MLP, 0,
                          48000, 2, 24);
    for (size_t i = 0; i < pcm.size(); i += size_t(bits / 8)) {
        if (bits == 16)
            input.source.push_back(0);
        input.source.insert(input.source.end(), pcm.begin() + long(i),
                            pcm.begin() + long(i + size_t(bits / 8)));
    }
    return input;
}

// An mp3PRO stream: a 22.05 kHz core behind the Info frame its encoder writes
// (the stream's first header, empty side information, "Info" and the
// encoder's name); the reference is ffmpeg's decode of the core resampled.
StreamInput mp3ProInput(const Row& row)
{
    StreamInput input;
    input.path =
        madeStream(row.tones, "-c:a libmp3lame -b:a 64k -write_xing 0 -id3v2_version 0", "mp3");
    std::vector<uint8_t> core = readBytes(input.path);
    MpegHeader header;
    if (core.size() < 4 || !parseMpegHeader(core.data(), core.size(), header))
        return input;
    std::vector<uint8_t> frame(header.frameSize, 0);
    std::copy(core.begin(), core.begin() + 4, frame.begin());
    frame[1] |= 1;  // no CRC
    size_t tag = 4 + (header.version == 3 ? 32 : 17);
    std::string text = std::string("Info") + std::string(4, '\0') + "THOMSON mp3PRO Encoder";
    std::copy(text.begin(), text.end(), frame.begin() + long(tag));
    frame.insert(frame.end(), core.begin(), core.end());
    input.packets = {frame};
    input.type = audioType(MEDIASUBTYPE_MP3, WAVE_FORMAT_MPEGLAYER3, 44100);
    return input;
}

// A raw MPEG audio file as one stream of bytes.
StreamInput rawMpegInput(const Row& row)
{
    StreamInput input;
    input.path = vectorPath(row.vector);
    input.packets = {readBytes(input.path)};
    input.type = audioType(MEDIASUBTYPE_MP3, WAVE_FORMAT_MPEGLAYER3, 44100);
    return input;
}

// AMR as the host demuxes it; ffmpeg's decoder takes one frame per packet,
// so its reference reads the same frames from a storage-format file.
StreamInput amrInput(const Row& row)
{
    StreamInput input = demuxed(vectorPath(row.vector));
    bool wide = input.type.subtype == MEDIASUBTYPE_SAWB_AUDIO;
    std::string magic = wide ? "#!AMR-WB\n" : "#!AMR\n";
    std::vector<uint8_t> file(magic.begin(), magic.end());
    for (const auto& packet : input.packets)
        file.insert(file.end(), packet.begin(), packet.end());
    input.path = cachedBytes(row.vector + "frames", wide ? "awb" : "amr", file);
    return input;
}

// AMR made by opencore's and VisualOn's encoders, ten frames a packet as 3GP
// files carry them; opencore's own decoding of each frame, which the library
// is built on, is the reference.
StreamInput amrMadeInput(const Row& row)
{
    bool wide = row.tones.rate == 16000;
    AmrStream stream =
        encodeAmr(wide, wide ? 2 : 7, false, vowelLikeSignal(row.tones.rate, row.tones.seconds));
    StreamInput input;
    // A wave format rate of its own: the band decides the rate.
    input.type = audioType(wide ? MEDIASUBTYPE_SAWB_AUDIO : MEDIASUBTYPE_SAMR_AUDIO, 0, 44100, 1);
    for (size_t n = 0; n < stream.frames.size(); n += 10)
        input.packets.push_back(stream.body(n, 10));
    for (int16_t sample : opencoreDecode(stream))
        input.source.insert(input.source.end(), {uint8_t(sample), uint8_t(uint16_t(sample) >> 8)});
    return input;
}

Row vectorRow(Decoder decoder,
              std::string vector,
              SampleFormat format,
              Compare compare,
              double limit,
              long lengthLow = 0,
              long lengthHigh = 0)
{
    return {.name = vector.substr(vector.rfind('/') + 1),
            .decoder = decoder,
            .vector = vector,
            .format = format,
            .compare = compare,
            .limit = limit,
            .lengthLow = lengthLow,
            .lengthHigh = lengthHigh};
}

}  // namespace

std::vector<Row> madeRows()
{
    using enum SampleFormat;
    std::vector<Row> rows;
    auto add = [&rows](Row row) -> Row& { return rows.emplace_back(std::move(row)); };

    // The LPCM packings: depth, rate, speakers, mask and, where the decoder
    // moves them, the speakers in its order.
    struct Lpcm {
        int bits, rate;
        const char* speakers;
        uint32_t mask;
        const char* delivered = "";
    };
    auto lpcmRow = [&add](const char* packing, Decoder decoder, Lpcm c,
                          std::string encode) -> Row& {
        return add(toneRow(std::string(packing) + " lpcm " + std::to_string(c.bits) + " " +
                               std::to_string(c.rate) + " " + c.speakers,
                           decoder, c.speakers, c.rate, std::move(encode), c.bits == 16 ? S16 : S24,
                           c.mask, c.delivered));
    };
    // DVD-Video LPCM in VOB files, through the host's program-stream reader.
    for (Lpcm c : {Lpcm{16, 48000, "FL+FR", 0x3}, Lpcm{16, 48000, "FC", 0x4},
                   Lpcm{16, 96000, "FL+FR+FC+LFE+BL+BR", 0x3F},
                   Lpcm{16, 48000, "FL+FR+FC+LFE+BL+BR+SL+SR", 0xFF}, Lpcm{24, 48000, "FL+FR", 0x3},
                   Lpcm{24, 96000, "FL+FR", 0x3}, Lpcm{24, 48000, "FC", 0x4}})
        lpcmRow("dvd", Decoder::LpcmDvd, c,
                std::string("-c:a pcm_dvd -sample_fmt ") + (c.bits == 16 ? "s16" : "s32") + "|vob")
            .contract = c.bits == 16 && c.mask == 0x3;
    // Blu-ray LPCM in M2TS files. The surround pairs of the 3/4 layouts land
    // where the decoder's assignment table puts them: the side pair in the back
    // slots and the back pair in the side slots.
    const char* const k71 = "FL+FR+FC+LFE+BL+BR+SL+SR";
    const char* const k71Bd = "FL+FR+FC+LFE+SL+SR+BL+BR";
    for (Lpcm c :
         {Lpcm{16, 48000, "FC", 0x4}, Lpcm{16, 48000, "FL+FR", 0x3},
          Lpcm{16, 48000, "FL+FR+FC", 0x7}, Lpcm{16, 48000, "FL+FR+BC", 0x103},
          Lpcm{16, 48000, "FL+FR+FC+BC", 0x107}, Lpcm{16, 48000, "FL+FR+SL+SR", 0x33},
          Lpcm{16, 48000, "FL+FR+FC+SL+SR", 0x37}, Lpcm{16, 48000, "FL+FR+FC+LFE+SL+SR", 0x3F},
          Lpcm{16, 48000, "FL+FR+FC+BL+BR+SL+SR", 0x637, "FL+FR+FC+SL+SR+BL+BR"},
          Lpcm{16, 48000, k71, 0x63F, k71Bd}, Lpcm{24, 96000, "FL+FR", 0x3},
          Lpcm{24, 96000, "FL+FR+FC+LFE+SL+SR", 0x3F}, Lpcm{16, 96000, k71, 0x63F, k71Bd},
          Lpcm{16, 192000, "FL+FR", 0x3}, Lpcm{16, 192000, k71, 0x63F, k71Bd}}) {
        Row& row = lpcmRow("bd", Decoder::LpcmBd, c,
                           std::string("-c:a pcm_bluray -sample_fmt ") +
                               (c.bits == 16 ? "s16" : "s32") + " -mpegts_m2ts_mode 1|mpegts");
        row.tones.seconds = 0.3;
        row.contract = c.rate == 96000 && c.mask == 0x63F;
    }
    // DVD-Audio LPCM packed here; the source PCM is the reference. With
    // private headers each channel assignment has its own groups, and those
    // that code the surround pair before the centre or LFE (18-20) are put in
    // speaker order; without, the format block tells the channels.
    struct Dvda {
        int bits, rate;
        const char* coded;  // the speakers in the order the stream codes them
        uint32_t mask;
        const char* delivered;
        int assignment, group1;
    };
    for (Dvda c :
         {Dvda{16, 48000, "FL+FR", 0x3, "", 1, 2}, Dvda{24, 96000, "FL+FR", 0x3, "", 1, 2},
          Dvda{24, 192000, "FC", 0x4, "", 0, 1}, Dvda{24, 48000, "FL+FR+BC", 0x103, "", 2, 2},
          Dvda{24, 48000, "FL+FR+FC+BL+BR", 0x37, "", 14, 3}, Dvda{24, 96000, k51, 0x3F, "", 17, 3},
          Dvda{16, 48000, k51, 0x3F, "", 17, 3},
          Dvda{16, 48000, "FL+FR+BL+BR+LFE", 0x3B, "FL+FR+LFE+BL+BR", 18, 4},
          Dvda{24, 48000, "FL+FR+BL+BR+FC+LFE", 0x3F, k51, 20, 4},
          Dvda{24, 48000, "FL+FR", 0x3, "", -1, 0}, Dvda{16, 44100, "FL+FR", 0x3, "", -1, 0},
          Dvda{24, 48000, "FC", 0x4, "", -1, 0}}) {
        Row& row = lpcmRow("dvda", Decoder::LpcmDvda,
                           Lpcm{c.bits, c.rate, c.coded, c.mask, c.delivered}, "");
        if (c.assignment >= 0)
            row.name += " assignment " + std::to_string(c.assignment);
        row.build = dvdaInput;
        row.reference = Reference::Source;
        row.dvdaAssignment = c.assignment, row.dvdaGroup1 = c.group1;
        row.contract = c.assignment == 17 && c.bits == 24;
    }
    // AC-3 in every acmod and LFE setting ffmpeg encodes, through both
    // decoders: the AC-3 library's 16-bit output equals ffmpeg's, the DD+
    // library's float output is within a 16-bit step of it.
    struct Ac3 {
        const char* speakers;
        uint32_t mask;
        const char* delivered;
        bool quirks = false;
    };
    for (Decoder decoder : {Decoder::Dolby, Decoder::DDPlus})
        for (Ac3 c : {Ac3{"FC", 0x4, ""}, Ac3{"FC+LFE", 0xC, ""}, Ac3{"FL+FR", 0x3, ""},
                      Ac3{"FL+FR+LFE", 0xB, ""}, Ac3{"FL+FR+FC", 0x7, ""},
                      Ac3{"FL+FR+FC+LFE", 0xF, ""}, Ac3{"FL+FR+BC", 0x103, ""},
                      Ac3{"FL+FR+LFE+BC", 0x10B, ""}, Ac3{"FL+FR+FC+BC", 0x107, ""},
                      Ac3{"FL+FR+FC+LFE+BC", 0x10F, ""}, Ac3{"FL+FR+BL+BR", 0x33, ""},
                      Ac3{"FL+FR+FC+BL+BR", 0x37, ""}, Ac3{"FL+FR+FC+LFE+BL+BR", 0x3F, ""}}) {
            bool dolby = decoder == Decoder::Dolby;
            Row& row = add(toneRow(std::string(dolby ? "ac3 lib " : "ddplus lib ") + c.speakers,
                                   decoder, c.speakers, 48000, "-c:a ac3 -b:a 384k|ac3",
                                   dolby ? S16 : F32, c.mask, c.delivered));
            row.compare = dolby ? Compare::Exact : Compare::Lsb;
            row.limit = dolby ? 0 : 1;
            row.framed = true;
            row.falseSync = kAc3FalseSync;
            row.contract = c.mask == 0x3F;
        }
    // DTS cores in the layouts ffmpeg's encoder takes, within one 24-bit LSB.
    for (int rate : {44100, 48000})
        for (Ac3 c : {Ac3{"FC", 0x4, ""}, Ac3{"FL+FR", 0x3, ""}, Ac3{"FL+FR+FC+SL+SR", 0x607, ""},
                      Ac3{"FL+FR+FC+LFE+SL+SR", 0x60F, ""}}) {
            Row& row = add(toneRow("dts " + std::to_string(rate) + " " + c.speakers, Decoder::Dts,
                                   c.speakers, rate, "-c:a dca -strict -2|dts", S24, c.mask));
            row.compare = Compare::Lsb;
            row.limit = 1;
            row.framed = true;
            row.falseSync = kDtsFalseSync;
            row.contract = rate == 48000 && c.mask == 0x60F;
        }
    // MLP and TrueHD in disc packets, bit for bit the source; the decoder adds
    // less than one access unit of the encoder's padding. The mask is the
    // decoded layout's (TrueHD's surround pair is the side pair); with
    // compatQuirks=1 it is the lowest bits.
    struct Mlp {
        const char* codec;
        const char* speakers;
        int rate;
        double seconds;
        uint32_t mask;
        bool quirks = false;
    };
    for (Mlp c : {Mlp{"mlp 16", "FL+FR", 44100, 0.3, 0x3},
                  Mlp{"mlp 24", "FL+FR+FC+LFE+BL+BR", 96000, 0.3, 0x3F},
                  Mlp{"mlp 24", "FL+FR+FC+BL+BR", 88200, 0.3, 0x37},
                  Mlp{"mlp 16", "FL+FR+BL+BR", 192000, 0.1, 0x33},
                  Mlp{"mlp 16", "FL+FR+BL+BR", 192000, 0.1, 0xF, true},
                  Mlp{"truehd 24", "FL+FR+FC+LFE+BL+BR", 48000, 0.3, 0x60F},
                  Mlp{"truehd 16", "FL+FR", 176400, 0.1, 0x3}}) {
        Row& row = add(toneRow(std::string(c.codec) + " " + std::to_string(c.rate) + " " +
                                   c.speakers + (c.quirks ? " quirks" : ""),
                               Decoder::Mlp, c.speakers, c.rate, c.codec, S24, c.mask));
        row.tones.seconds = c.seconds;
        row.build = mlpInput;
        row.reference = Reference::Source;
        row.lengthHigh = 159;
        row.contract = c.rate == 48000 || c.rate == 44100;
        row.parameters = c.quirks ? "compatQuirks=1\n" : "";
    }
    // TrueHD as the host reads a raw .thd file: no private headers.
    Row& thd = add(toneRow("truehd raw FL+FR+FC+LFE+BL+BR", Decoder::Mlp, "FL+FR+FC+LFE+BL+BR",
                           48000, "-c:a truehd -strict -2|thd", S24, 0x60F));
    thd.framed = thd.contract = true;
    thd.falseSync = kMlpFalseSync;
    // MPEG audio layers II and III at every family of rates, within the few
    // LSBs two floating-point decoders differ by.
    struct Mpeg {
        const char* codec;
        int rate, kbps;
        const char* speakers;
    };
    for (Mpeg c : {Mpeg{"libmp3lame", 44100, 320, "FL+FR"}, Mpeg{"libmp3lame", 48000, 64, "FC"},
                   Mpeg{"libmp3lame", 32000, 96, "FL+FR"}, Mpeg{"libmp3lame", 24000, 64, "FL+FR"},
                   Mpeg{"libmp3lame", 16000, 32, "FC"}, Mpeg{"libmp3lame", 11025, 32, "FC"},
                   Mpeg{"libmp3lame", 8000, 32, "FL+FR"}, Mpeg{"mp2", 48000, 384, "FL+FR"},
                   Mpeg{"mp2", 32000, 64, "FC"}, Mpeg{"mp2", 44100, 192, "FL+FR"},
                   Mpeg{"mp2", 24000, 32, "FL+FR"}}) {
        bool mp3 = std::string(c.codec) == "libmp3lame";
        Row& row = add(toneRow(std::string(mp3 ? "mp3 " : "mp2 ") + std::to_string(c.rate) + " " +
                                   std::to_string(c.kbps) + "k " + c.speakers,
                               Decoder::Mpeg, c.speakers, c.rate,
                               std::string("-c:a ") + c.codec + " -b:a " + std::to_string(c.kbps) +
                                   "k" + (mp3 ? " -write_xing 0 -id3v2_version 0|mp3" : "|mp2"),
                               S16, std::string(c.speakers) == "FC" ? 0x4 : 0x3));
        snr(row, 70);
        row.framed = true;
        row.falseSync = kMpegFalseSync;
        row.contract = c.rate == 44100;
        // MPEG-2 layer II, measured as two frames a call: a last frame alone
        // is never whole.
        if (c.rate == 24000)
            row.lengthLow = -1152;
    }
    Row& mp3Pro =
        add(toneRow("mp3pro core upsampled", Decoder::Mpeg, "FL+FR", 22050, "", S16, 0x3));
    mp3Pro.tones.seconds = 1.0;
    mp3Pro.build = mp3ProInput;
    mp3Pro.referenceFilter = "-af aresample=44100";
    mp3Pro.lengthLow = -64;  // ffmpeg flushes the resampler's last samples
    snr(mp3Pro, 60);
    // AAC LC in MP4 up to 7.1 (FAAD2 gives mono on both front channels). The
    // decoder gives every unit, the encoder's priming included: ffmpeg's
    // reference ignores the edit list that would cut it.
    for (Ac3 c :
         {Ac3{"FC", 0x3, "FC+FC"}, Ac3{"FL+FR", 0x3, ""}, Ac3{"FL+FR+FC", 0x7, ""},
          Ac3{"FL+FR+FC+BC", 0x107, ""}, Ac3{"FL+FR+FC+BL+BR", 0x37, ""},
          Ac3{"FL+FR+FC+LFE+BL+BR", 0x3F, ""}, Ac3{"FL+FR+FC+LFE+BL+BR+SL+SR", 0x63F, ""}}) {
        Row& row = add(toneRow(std::string("aac ") + c.speakers, Decoder::Aac, c.speakers, 48000,
                               "-c:a aac|mp4", S16, c.mask, c.delivered));
        snr(row, 50);
        row.referenceOptions = "-ignore_editlist 1";
        row.contract = c.mask == 0x3F;
    }
    // Vorbis, one to eight channels; with compatQuirks=1, 6.1 and 7.1 put
    // the back and side pairs and LFE where the old channel table did.
    const char* const k61 = "FL+FR+FC+LFE+BC+SL+SR";
    for (Ac3 c : {Ac3{"FC", 0x4, ""}, Ac3{"FL+FR", 0x3, ""}, Ac3{"FL+FR+FC", 0x7, ""},
                  Ac3{"FL+FR+BL+BR", 0x33, ""}, Ac3{"FL+FR+FC+BL+BR", 0x37, ""},
                  Ac3{"FL+FR+FC+LFE+BL+BR", 0x3F, ""}, Ac3{k61, 0x70F, ""}, Ac3{k71, 0x63F, ""},
                  Ac3{k61, 0x7F, "FL+FR+FC+BC+SL+SR+LFE", true},
                  Ac3{k71, 0xFF, "FL+FR+FC+BL+SL+SR+BR+LFE", true}}) {
        Row& row = add(toneRow(std::string("vorbis ") + c.speakers + (c.quirks ? " quirks" : ""),
                               Decoder::Vorbis, c.speakers, 44100, "-c:a libvorbis -q:a 6|ogg", F32,
                               c.mask, c.delivered));
        snr(row, 90);
        row.contract = c.mask == 0x3F;
        row.parameters = c.quirks ? "compatQuirks=1\n" : "";
    }
    for (int rate : {8000, 16000}) {
        Row& row = add(toneRow(rate == 8000 ? "amr-nb 12.2k" : "amr-wb 12.65k", Decoder::Amr, "FC",
                               rate, "", S16, 0x4));
        row.tones.seconds = 1.0;
        row.build = amrMadeInput;
        row.reference = Reference::Source;
        row.delivered = "";
        row.contract = true;
    }
    return rows;
}

std::vector<Row> vectorRows()
{
    using enum SampleFormat;
    std::vector<Row> rows;
    auto add = [&rows](Row row) -> Row& { return rows.emplace_back(std::move(row)); };
    // ffmpeg also decodes a truncated last frame, which the decoders wait on.
    for (const char* v : {"androidx_media/ts_sample.ac3", "mp4parser/ac3-sample.ac3"})
        add(vectorRow(Decoder::Dolby, v, S16, Compare::Snr, 90, -1536, 0));
    for (const char* v : {"androidx_media/ts_sample.ac3", "dlbframe337/dd_6ch_bsid0.ac3",
                          "mp4parser/ac3-sample.ac3"})
        add(vectorRow(Decoder::DDPlus, v, F32, Compare::Snr, 90, -1536, 0)).name += " ddplus";
    // Half-rate AC-3 (bsid 9) plays at 22.05 kHz; compatQuirks puts back 44.1.
    for (Row& row : rows)
        row.rate = row.vector == "mp4parser/ac3-sample.ac3" ? 22050 : 0;
    Row& quirks =
        add(vectorRow(Decoder::Dolby, "mp4parser/ac3-sample.ac3", S16, Compare::Snr, 90, -1536, 0));
    quirks.name += " compatQuirks", quirks.rate = 44100, quirks.parameters = "compatQuirks=1\n";
    for (const char* v :
         {"androidx_media/ts_sample_dts.ts", "androidx_media/mkv_sample_with_dts.mkv",
          "exoplayer/ts_sample_h264_dts_audio.ts"})
        add(vectorRow(Decoder::Dts, v, S24, Compare::Lsb, 1)).referenceOptions = "-core_only 1";
    // The TrueHD stream's 7.1 presentation, and its two-channel one on a
    // stereo request.
    Row& full =
        add(vectorRow(Decoder::Mlp, "androidx_media/mp4_sample_dthd.mp4", S24, Compare::Exact, 0));
    full.channels = 8, full.mask = 0x63F;
    Row& stereo =
        add(vectorRow(Decoder::Mlp, "androidx_media/mp4_sample_dthd.mp4", S24, Compare::Exact, 0));
    stereo.name += " stereo request";
    stereo.referenceOptions = "-downmix stereo";
    stereo.mixKind = KindMlp, stereo.mixType = RemixDecoderDownmix, stereo.mixMask = 0x3;
    // AAC LC, HE-AAC and HE-AAC v2 from ADTS, MP4 and MPEG-TS (ADTS and LATM).
    // FAAD2 gives mono on both front channels: compared on the first.
    struct Aac {
        const char* file;
        double snr;
        int channels;  // of ffmpeg's decode
    };
    for (Aac c :
         {Aac{"androidx_media/aac_sine.aac", 60, 1}, Aac{"androidx_media/ts_sample.adts", 60, 1},
          Aac{"mp4parser/aac-sample.aac", 60, 2}, Aac{"cts/sinesweep51m4a.m4a", 60, 6},
          Aac{"audioscan/heaac-truncated.aac", 15, 2},
          Aac{"mediabunny/no-initial-keyframe.ts", 15, 2}, Aac{"pymediainfo/aac_he_v2.aac", 10, 2},
          Aac{"taglib/zero-length-mdat.m4a", 10, 1},
          Aac{"androidx_media/ts_sample_latm.ts", 10, 2}}) {
        Row& row =
            add(vectorRow(Decoder::Aac, c.file, S16, Compare::Snr, c.snr, -1 << 20, 1 << 20));
        row.maxShift = 3072;
        row.referenceChannels = c.channels;
    }
    for (const char* v :
         {"androidx_media/ogg_bear_vorbis.ogg", "androidx/mkv_bbb_1ch_12kHz_q10_vorbis.webm",
          "optivorbis/44100hz_500ms_stereo_uncoupled_400hz_sine_wave.ogg"})
        add(vectorRow(Decoder::Vorbis, v, F32, Compare::Snr, 90));
    struct Amr {
        const char* file;
        double snr;
    };
    for (Amr c :
         {Amr{"androidx_media/amr_sample_nb.amr", 33}, Amr{"androidx_media/amr_sample_wb.amr", 14},
          Amr{"androidx_media/3gp_bbb_mono_8kHz_12.2kbps_amrnb.3gp", 28},
          Amr{"mp4parser/MOV00006.3gp", 24}})
        add(vectorRow(Decoder::Amr, c.file, S16, Compare::Snr, c.snr)).build = amrInput;
    // The MPEG conformance streams, against ffmpeg or the PCM that comes with
    // them. Left out (the fuzz seed run still feeds them): streams ffmpeg
    // decodes nothing of, streams the decoder gives nothing of (frame-less
    // VBR tags), MPEG-2 layer II, whose
    // frames the decoder measures otherwise (at 80 kbit/s and more under twice
    // their length: every other frame is cut off), and rate changes mid-stream.
    struct Mpeg {
        const char* file;
        double snr;
        Reference reference;
        long maxShift;  // or, for a PCM reference, the frames ours may lack at the end
    };
    for (Mpeg c : {Mpeg{"l3-compl.bit", 90, Reference::Ffmpeg, 0},
                   Mpeg{"l3-he_44khz.bit", 90, Reference::Ffmpeg, 0},
                   Mpeg{"l3-hecommon.bit", 90, Reference::Ffmpeg, 0},
                   Mpeg{"l3-si_block.bit", 90, Reference::Ffmpeg, 0},
                   Mpeg{"M2L3_noise.bit", 90, Reference::Ffmpeg, 0},
                   Mpeg{"M2L3_bitrate_16_all.bit", 90, Reference::Ffmpeg, 0},
                   Mpeg{"M2L3_bitrate_24_all.bit", 90, Reference::Ffmpeg, 0},
                   Mpeg{"l2-fl13.bit", 70, Reference::Ffmpeg, 0},
                   Mpeg{"l2-fl15.bit", 70, Reference::Ffmpeg, 0},
                   Mpeg{"l1-fl4.bit", 70, Reference::Ffmpeg, 0},
                   // Layer I at 44.1 kHz: frames of 416 and 420 bytes. ffmpeg
                   // drops the first two of l1-fl2, its header changing.
                   Mpeg{"l1-fl2.bit", 90, Reference::PcmFile, -14000},
                   Mpeg{"l1-fl6.bit", 80, Reference::Ffmpeg, 0},
                   Mpeg{"l1-fl8.bit", 70, Reference::Ffmpeg, 0},
                   // The bit reservoir of the first frames reaches before the stream.
                   Mpeg{"l3-sin1k0db.bit", 20, Reference::Ffmpeg, 0},
                   // ffmpeg drops the first frame: its own PCM is the reference.
                   Mpeg{"l2-fl11.bit", 90, Reference::PcmFile, -9216},
                   Mpeg{"ILL2_layer1.bit", 75, Reference::PcmFile, 0},
                   Mpeg{"ILL2_mono.bit", 95, Reference::PcmFile, 0},
                   // The decoders disagree on MPEG-2 intensity stereo.
                   Mpeg{"l3-test46.bit", 8, Reference::Ffmpeg, 0},
                   // ffmpeg trims the encoder delay the tag names.
                   Mpeg{"l3-nonstandard-sin1k0db_lame_vbrtag.bit", 90, Reference::Ffmpeg, 3072}}) {
        Row& row = add(vectorRow(Decoder::Mpeg, std::string("minimp3/") + c.file, S16, Compare::Snr,
                                 c.snr, -1152, 0));
        row.build = rawMpegInput;
        row.reference = c.reference;
        if (c.maxShift < 0)
            row.lengthLow = c.maxShift;
        else
            row.maxShift = c.maxShift;
        if (c.maxShift > 0)
            row.lengthLow = -100000, row.lengthHigh = 100000;
    }
    // Free format, which ffmpeg does not read: the PCM that comes with it
    // lacks the last frame.
    Row& free =
        add(vectorRow(Decoder::Mpeg, "minimp3/l3-he_free.bit", S16, Compare::Snr, 95, 0, 1152));
    free.build = rawMpegInput;
    free.reference = Reference::PcmFile;
    return rows;
}
