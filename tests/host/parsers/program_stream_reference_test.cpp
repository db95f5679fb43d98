// The program-stream reader against an independent demuxer: streams made by
// ffmpeg at test time, and real streams from the shared vectors. ffmpeg's own
// stream copy of the audio is the reference for the payload bytes, ffprobe's
// packet list the reference for the time stamps.
#include <gtest/gtest.h>

#include <sstream>

#include "host/parsers/program_stream_pieces.h"
#include "support/ffmpeg.h"
#include "support/row_name.h"

namespace {

using psbuild::Bytes;

constexpr uint8_t kPrivateStream1 = 0xBD;

// ffmpeg's stream copy drops the part of a private-stream-1 payload that only
// the demuxer needs: the substream id, the frame count and the first access
// unit pointer (4 bytes). What remains is the codec's data; for DVD LPCM that
// still starts with the 3 bytes of audio information.
constexpr size_t kDemuxerOnlyBytes = 4;

Bytes joinedPayloads(const std::vector<PesPacket>& packets, size_t skip)
{
    Bytes joined;
    for (const PesPacket& p : packets) {
        if (p.payload.size() > skip)
            joined.insert(joined.end(), p.payload.begin() + static_cast<std::ptrdiff_t>(skip),
                          p.payload.end());
    }
    return joined;
}

std::vector<int64_t> probedTimeStamps(const std::string& file)
{
    bool ok = false;
    Bytes out = commandOutput(
        "ffprobe -v error -select_streams a -show_entries packet=pts -of csv=p=0 " + file, &ok);
    EXPECT_TRUE(ok);
    std::vector<int64_t> stamps;
    std::stringstream lines(std::string(out.begin(), out.end()));
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line != "N/A")
            stamps.push_back(std::stoll(line));
    }
    return stamps;
}

struct MuxedCase {
    const char* name;
    const char* codec;  // ffmpeg encoder options, or a shared vector nobody here wrote
    int channels;
    int rate;
    // vob: MPEG-2 program stream; mpeg: MPEG-1 system stream; null: a vector
    const char* format;
    uint8_t streamId;
    int substream;
    // The reference demuxer hands each LPCM packet on as it is; for frame
    // codecs it splits and stamps frames, so ours are only a subset.
    bool samePacketsAsProbe;
};

class MuxedStreams : public ::testing::TestWithParam<MuxedCase> {};

TEST_P(MuxedStreams, PayloadsAndTimeStampsMatchTheReferenceDemuxer)
{
    const MuxedCase& c = GetParam();
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string stream = folder.file("out.mpg");
    if (c.format) {
        ToneSignal signal{c.channels == 6 ? "FL+FR+FC+LFE+BL+BR" : "FL+FR", c.rate, 1.0};
        ASSERT_TRUE(
            encodeTones(stream, signal, std::string("-c:a ") + c.codec + " -f " + c.format));
    } else {
        REQUIRE_VECTOR(c.codec);
        stream = vectorPath(c.codec);
    }

    std::vector<PesPacket> packets;
    ASSERT_TRUE(readProgramStreamFile(stream, packets));
    ASSERT_FALSE(packets.empty());
    std::vector<int64_t> ours;
    for (const PesPacket& p : packets) {
        ASSERT_EQ(p.streamId, c.streamId);
        ASSERT_EQ(p.substreamId, c.substream);
        EXPECT_FALSE(p.hasDts);
        if (p.hasPts) {
            if (!ours.empty()) {
                EXPECT_GT(p.pts, ours.back());
            }
            ours.push_back(p.pts);
        }
    }

    bool ok = false;
    Bytes copied =
        commandOutput("ffmpeg -v error -i " + stream + " -map 0:a -c copy -f data -", &ok);
    ASSERT_TRUE(ok);
    Bytes joined = joinedPayloads(packets, c.streamId == kPrivateStream1 ? kDemuxerOnlyBytes : 0);
    ASSERT_EQ(joined.size(), copied.size());
    EXPECT_TRUE(joined == copied);

    std::vector<int64_t> probed = probedTimeStamps(stream);
    if (c.samePacketsAsProbe) {
        // One reference packet per PES packet; it makes up a time for a
        // packet without one, so only the stamped packets are compared.
        ASSERT_EQ(probed.size(), packets.size());
        for (size_t i = 0; i < packets.size(); ++i) {
            if (packets[i].hasPts) {
                EXPECT_EQ(packets[i].pts, probed[i]) << "packet " << i;
            }
        }
    } else {
        size_t at = 0;
        for (int64_t pts : ours) {
            while (at < probed.size() && probed[at] != pts)
                ++at;
            ASSERT_LT(at, probed.size()) << "pts " << pts << " is not one ffprobe reports";
        }
    }

    psbuild::expectSameWhateverTheCuts(readBytes(stream));
}

// clang-format off
const MuxedCase kMuxed[] = {
    {"Lpcm16Stereo48k", "pcm_dvd -sample_fmt s16", 2, 48000, "vob", 0xBD, 0xA0, true},
    {"Lpcm16SixChannels48k", "pcm_dvd -sample_fmt s16", 6, 48000, "vob", 0xBD, 0xA0, true},
    {"Lpcm24Stereo96k", "pcm_dvd -sample_fmt s32", 2, 96000, "vob", 0xBD, 0xA0, true},
    {"Ac3SixChannels", "ac3", 6, 48000, "vob", 0xBD, 0x80, false},
    {"Mp2Stereo", "mp2", 2, 48000, "vob", 0xC0, -1, false},
    {"Mp2InMpeg1Stream", "mp2", 2, 44100, "mpeg", 0xC0, -1, false},
    {"Ac3InMpeg1Stream", "ac3", 2, 48000, "mpeg", 0xBD, 0x80, false},
    {"RealAc3", "androidx_media/ts_sample_ac3.ps", 0, 0, nullptr, 0xBD, 0x80, false},
    {"RealMpegAudio", "androidx_media/ts_sample_h262_mpeg_audio.ps", 0, 0, nullptr, 0xC0, -1, false},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Ffmpeg, MuxedStreams, ::testing::ValuesIn(kMuxed), RowName());

}  // namespace
