// The host's inputs: which media type each kind of stream is offered as, what
// the payloads look like after demuxing, and the WAVE/RF64 writer.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "core/media_subtypes.h"
#include "host/host_media_types.h"
#include "host/input_source.h"
#include "host/parsers/ogg_packets.h"
#include "host/wav_writer.h"
#include "support/reference_tools.h"
#include "support/wav_file.h"

namespace {

WAVEFORMATEX waveOf(const CMediaType& type)
{
    WAVEFORMATEX wave{};
    std::memcpy(&wave, type.pbFormat, sizeof wave);
    return wave;
}

TEST(HostMediaTypes, EachCodecIsOfferedUnderTheSubtypeItsDecoderAccepts)
{
    struct Case {
        const char* codec;
        bool programStream;
        bool aviOrWave;
        const GUID* major;
        const GUID* subtype;
    } cases[] = {
        {"ac3", false, false, &MEDIATYPE_Audio, &MEDIASUBTYPE_DOLBY_AC3},
        {"ac3", false, true, &MEDIATYPE_Audio, &MEDIASUBTYPE_AC3_AVI},
        {"ac3", true, false, &MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_DOLBY_AC3},
        {"eac3", false, true, &MEDIATYPE_Audio, &MEDIASUBTYPE_DOLBY_AC3},
        {"dts", false, false, &MEDIATYPE_Audio, &MEDIASUBTYPE_DTS},
        {"mp2", false, false, &MEDIATYPE_Audio, &MEDIASUBTYPE_MPEG1AudioPayload},
        {"mp2", true, false, &MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_MPEG2_AUDIO},
        {"mp3", false, false, &MEDIATYPE_Audio, &MEDIASUBTYPE_MP3},
        {"amr-nb", false, false, &MEDIATYPE_Audio, &MEDIASUBTYPE_SAMR_AUDIO},
        {"amr-wb", false, false, &MEDIATYPE_Audio, &MEDIASUBTYPE_SAWB_AUDIO},
        {"bluray-lpcm", false, false, &MEDIATYPE_Audio, &MEDIASUBTYPE_BDMV_LPCM_AUDIO},
        {"dvd-video-lpcm", true, false, &MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_DVD_LPCM_AUDIO},
        {"dvd-audio-lpcm", true, false, &MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_DVDA_AUDIO_LPCM},
        {"dvd-audio-mlp", true, false, &MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_DVDA_AUDIO_MLP},
    };
    for (const Case& c : cases) {
        AudioStreamParameters stream;
        stream.codec = c.codec;
        stream.sampleRate = 48000;
        stream.channels = 6;
        stream.bitsPerSample = 24;
        stream.inProgramStream = c.programStream;
        stream.fromAviOrWave = c.aviOrWave;
        std::string why;
        auto type = hostMediaType(stream, why);
        ASSERT_TRUE(type) << c.codec << ": " << why;
        EXPECT_TRUE(IsEqualGUID(type->majortype, *c.major)) << c.codec;
        EXPECT_TRUE(IsEqualGUID(type->subtype, *c.subtype)) << c.codec;
        EXPECT_TRUE(IsEqualGUID(type->formattype, FORMAT_WaveFormatEx)) << c.codec;
        ASSERT_GE(type->cbFormat, sizeof(WAVEFORMATEX));
        EXPECT_EQ(waveOf(*type).nChannels, 6) << c.codec;
        EXPECT_EQ(waveOf(*type).nSamplesPerSec, 48000u) << c.codec;
    }
}

TEST(HostMediaTypes, SetUpBytesTravelInTheFormatBlock)
{
    AudioStreamParameters aac;
    aac.codec = "aac";
    aac.sampleRate = 44100;
    aac.channels = 2;
    std::string why;
    EXPECT_FALSE(hostMediaType(aac, why));
    EXPECT_NE(why.find("AudioSpecificConfig"), std::string::npos);
    aac.extradata = {0x12, 0x10};
    auto type = hostMediaType(aac, why);
    ASSERT_TRUE(type);
    EXPECT_TRUE(IsEqualGUID(type->subtype, MEDIASUBTYPE_MPEG4_AUDIO));
    ASSERT_EQ(type->cbFormat, sizeof(WAVEFORMATEX) + 2);
    EXPECT_EQ(waveOf(*type).cbSize, 2);
    EXPECT_EQ(type->pbFormat[sizeof(WAVEFORMATEX)], 0x12);

    AudioStreamParameters pcm;
    pcm.codec = "";
    pcm.channels = 2;
    EXPECT_FALSE(hostMediaType(pcm, why));
    EXPECT_NE(why.find("no decoder"), std::string::npos);
}

std::vector<uint8_t> vorbisHeader(uint8_t type, size_t size)
{
    std::vector<uint8_t> header(size, 0xAB);
    header[0] = type;
    std::memcpy(header.data() + 1, "vorbis", 6);
    return header;
}

TEST(HostMediaTypes, VorbisHeadersAreUnlacedIntoTheVorbisFormat2Block)
{
    auto id = vorbisHeader(1, 30), comment = vorbisHeader(3, 300), setup = vorbisHeader(5, 1000);
    // Channels and rate are the identification header's, whatever the
    // container says.
    id[11] = 2;
    uint32_t rate = 48000;
    std::memcpy(id.data() + 12, &rate, 4);
    AudioStreamParameters vorbis;
    vorbis.codec = "vorbis";
    vorbis.sampleRate = 44100;
    vorbis.channels = 0;
    vorbis.extradata = {2, 30, 255, 45};  // 300 = 255 + 45
    for (const auto* h : {&id, &comment, &setup})
        vorbis.extradata.insert(vorbis.extradata.end(), h->begin(), h->end());
    std::string why;
    auto type = hostMediaType(vorbis, why);
    ASSERT_TRUE(type) << why;
    EXPECT_TRUE(IsEqualGUID(type->formattype, FORMAT_VorbisFormat2));
    ASSERT_EQ(type->cbFormat, 24u + 30 + 300 + 1000);
    uint32_t fields[6];
    std::memcpy(fields, type->pbFormat, sizeof fields);
    EXPECT_EQ(fields[0], 2u);
    EXPECT_EQ(fields[1], 48000u);
    EXPECT_EQ(fields[3], 30u);
    EXPECT_EQ(fields[4], 300u);
    EXPECT_EQ(fields[5], 1000u);
    EXPECT_EQ(type->pbFormat[24 + 30], 3);  // the comment header follows the identification header

    // Malformed lacing: sizes past the end, a wrong count, a wrong packet type.
    std::vector<std::vector<uint8_t>> headers;
    for (std::vector<uint8_t> bad : {std::vector<uint8_t>{2, 255, 255}, std::vector<uint8_t>{3, 1, 1, 1, 1},
                                     std::vector<uint8_t>{}})
        EXPECT_FALSE(splitXiphHeaders(bad, headers));
    auto swapped = vorbis.extradata;
    swapped[4] = 3;  // the first header claims to be a comment header
    EXPECT_FALSE(splitXiphHeaders(swapped, headers));
}

std::vector<uint8_t> readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(WavWriter, SmallFilesAreRiffAndLargeOnesRf64WithTheSameData)
{
    TempFolder folder;
    std::vector<uint8_t> pcm(10000);
    for (size_t i = 0; i < pcm.size(); ++i)
        pcm[i] = uint8_t(i * 7);
    WAVEFORMATEX wave{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
    std::vector<uint8_t> format(reinterpret_cast<uint8_t*>(&wave), reinterpret_cast<uint8_t*>(&wave) + 18);
    for (bool large : {false, true}) {
        std::string path = folder.file(large ? "large.wav" : "small.wav");
        WavWriter writer;
        if (large)
            writer.setRiffLimitForTesting(5000);
        ASSERT_TRUE(writer.open(path, fileWaveFormat(format)));
        writer.write(pcm.data(), 3000);
        writer.write(pcm.data() + 3000, pcm.size() - 3000);
        ASSERT_TRUE(writer.close());
        auto bytes = readAll(path);
        WavFile wav;
        ASSERT_TRUE(parseWav(bytes, wav));
        EXPECT_EQ(wav.data, pcm);
        EXPECT_EQ(wav.formatTag(), WAVE_FORMAT_EXTENSIBLE);
        EXPECT_EQ(wav.channelMask(), 0x3u);
        EXPECT_EQ(wav.bitsPerSample(), 16);
        if (large) {
            EXPECT_EQ(wav.form, "RF64");
            EXPECT_EQ(wav.riffSize, 0xFFFFFFFFu);
            EXPECT_EQ(wav.dataSizeField, 0xFFFFFFFFu);
            EXPECT_TRUE(wav.hasDs64);
            EXPECT_EQ(wav.ds64RiffSize, bytes.size() - 8);
            EXPECT_EQ(wav.ds64DataSize, pcm.size());
        } else {
            EXPECT_EQ(wav.form, "RIFF");
            EXPECT_EQ(wav.riffSize, bytes.size() - 8);
            EXPECT_FALSE(wav.hasDs64);
        }
    }
}

TEST(WavWriter, CompressedFormatsKeepTheirOwnTag)
{
    WAVEFORMATEX spdif{WAVE_FORMAT_DOLBY_AC3_SPDIF, 2, 48000, 192000, 4, 16, 0};
    std::vector<uint8_t> format(reinterpret_cast<uint8_t*>(&spdif), reinterpret_cast<uint8_t*>(&spdif) + 18);
    EXPECT_EQ(fileWaveFormat(format), format);
}

// Makes a file with ffmpeg and opens it as the host does.
std::unique_ptr<InputSource> openMade(const TempFolder& folder, const std::string& name,
                                      const std::string& encode)
{
    std::string path = folder.file(name);
    if (std::system(("ffmpeg -v error " + encode + " -y " + path).c_str()) != 0)
        return nullptr;
    std::string error;
    auto input = openInputSource(path, error);
    EXPECT_TRUE(input) << error;
    return input;
}

TEST(HostInputs, AdtsFramesLoseTheirHeadersAndGiveTheConfig)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    auto input = openMade(folder, "x.aac", sineSource(2, 44100, 0.5) + " -c:a aac -f adts");
    ASSERT_TRUE(input);
    ASSERT_EQ(input->streams().size(), 1u);
    const auto& type = input->streams()[0].mediaType;
    ASSERT_TRUE(type);
    ASSERT_EQ(type->cbFormat, sizeof(WAVEFORMATEX) + 2);
    // AAC LC (2), 44.1 kHz (index 4), two channels.
    EXPECT_EQ(type->pbFormat[sizeof(WAVEFORMATEX)], 0x12);
    EXPECT_EQ(type->pbFormat[sizeof(WAVEFORMATEX) + 1], 0x10);
    ASSERT_TRUE(input->select(0));
    HostPacket packet;
    int packets = 0;
    while (input->next(packet)) {
        ++packets;
        ASSERT_FALSE(packet.data.size() >= 2 && packet.data[0] == 0xFF && (packet.data[1] & 0xF0) == 0xF0);
    }
    EXPECT_GT(packets, 15);
}

// Our own Ogg reader and libavformat's agree on the audio packets, and the
// last packet carries the final granule position. (libavformat keeps only
// the vendor of the comment header, so the set-up data is compared without it.)
TEST(HostInputs, OggPagesGiveTheSamePacketsAsLibavformat)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    auto input = openMade(folder, "x.ogg", sineSource(2, 44100, 1.0) + " -c:a libvorbis");
    ASSERT_TRUE(input);
    ASSERT_TRUE(input->select(0));
    std::vector<std::vector<uint8_t>> demuxed;
    HostPacket packet;
    while (input->next(packet))
        demuxed.push_back(packet.data);
    std::ifstream file(folder.file("x.ogg"), std::ios::binary);
    std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::vector<OggPacket> ours = readOggPackets(bytes.data(), bytes.size());
    ASSERT_EQ(ours.size(), demuxed.size() + 3);
    for (size_t i = 0; i < demuxed.size(); ++i)
        ASSERT_TRUE(ours[i + 3].data == demuxed[i]) << "packet " << i;
    EXPECT_EQ(ours.back().granule, 44100);
    std::vector<std::vector<uint8_t>> headers;
    ASSERT_TRUE(splitXiphHeaders(xiphLacedHeaders(ours), headers));
    EXPECT_TRUE(headers[0] == ours[0].data);
    EXPECT_TRUE(headers[2] == ours[2].data);
    // A cut page ends the stream where it is cut.
    EXPECT_LT(readOggPackets(bytes.data(), bytes.size() - 1).size(), ours.size());
}

TEST(HostInputs, ProgramStreamAudioIsDescribedAndDeliveredAsTheDecodersWantIt)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    auto input = openMade(folder, "two.vob",
                          sineSource(6, 48000, 0.5) + " " + sineSource(2, 48000, 0.5) +
                              " -map 0 -map 1 -c:a:0 ac3 -c:a:1 pcm_dvd -sample_fmt:a:1 s16 -f vob");
    ASSERT_TRUE(input);
    ASSERT_EQ(input->streams().size(), 2u);
    EXPECT_EQ(input->containerName(), "MPEG program stream");
    const HostStream& ac3 = input->streams()[0];
    const HostStream& lpcm = input->streams()[1];
    EXPECT_EQ(ac3.codec, "ac3");
    EXPECT_NE(ac3.description.find("substream 0x80"), std::string::npos) << ac3.description;
    ASSERT_TRUE(ac3.mediaType);
    EXPECT_EQ(waveOf(*ac3.mediaType).nChannels, 6);
    EXPECT_EQ(lpcm.codec, "dvd-video-lpcm");
    ASSERT_TRUE(lpcm.mediaType);
    EXPECT_TRUE(IsEqualGUID(lpcm.mediaType->subtype, MEDIASUBTYPE_DVD_LPCM_AUDIO));

    // AC-3 comes without the substream header: the first payload starts a frame.
    ASSERT_TRUE(input->select(0));
    HostPacket packet;
    ASSERT_TRUE(input->next(packet));
    ASSERT_GE(packet.data.size(), 2u);
    EXPECT_EQ(packet.data[0], 0x0B);
    EXPECT_EQ(packet.data[1], 0x77);
    EXPECT_TRUE(packet.hasTime);

    // LPCM keeps its private header for the decoder.
    std::string error;
    auto again = openInputSource(folder.file("two.vob"), error);
    ASSERT_TRUE(again && again->select(1));
    ASSERT_TRUE(again->next(packet));
    EXPECT_EQ(packet.data[0], 0xA0);
}

}  // namespace
