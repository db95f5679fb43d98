// Streams whose packets carry their own stamps, through the whole filter
// (DVD-Video, Blu-ray and Vorbis):
// the output equals the reference decoder's (bit-exact for LPCM, within a
// stated SNR for Vorbis) and each delivered sample starts at the time of the
// packet that made it. Packets that make no output come first.
#include <gtest/gtest.h>

#include "host/input_source.h"
#include "host/parsers/program_stream.h"
#include "support/ffmpeg.h"
#include "support/files.h"
#include "support/filter_harness.h"
#include "support/media_types.h"
#include "support/pcm.h"
#include "support/row_name.h"

namespace {

struct StreamCase {
    const char* name;
    ToneSignal signal;
    const char* encode;
    const char* file;
    const char* referenceFormat;  // the sink takes the first type offered
    double minSnr;                // infinite: bit-exact
    size_t silentPackets;
};

const double kExact = std::numeric_limits<double>::infinity();
const char* const kM2ts = "-c:a pcm_bluray -sample_fmt s16 -f mpegts -mpegts_m2ts_mode 1";

// Float output goes to the sink as 32-bit integers.
// clang-format off
const StreamCase kStreams[] = {
    {"BlurayStereo", {"FL+FR", 48000, 0.5, 0.7}, kM2ts, "s.m2ts", "s16le", kExact, 0},
    {"Bluray51", {"FL+FR+FC+LFE+SL+SR", 48000, 0.5, 0.7}, kM2ts, "s.m2ts", "s16le", kExact, 0},
    {"Vorbis", {"FL+FR", 48000, 0.5, 0.8}, "-c:a libvorbis -f ogg", "s.ogg", "s32le", 90, 1},
};
// clang-format on

class ReferenceStreams : public FilterHarness, public ::testing::WithParamInterface<StreamCase> {};

TEST_P(ReferenceStreams, OutputAndStampsFollowThePackets)
{
    const StreamCase& c = GetParam();
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string path = folder.file(c.file);
    ASSERT_TRUE(encodeTones(path, c.signal, c.encode));
    // As the host reads it: the media type it offers and its packets.
    std::string why;
    auto input = openInputSource(path, why);
    ASSERT_TRUE(input && input->select(0)) << why;
    std::vector<HostPacket> packets;
    for (HostPacket packet; input->next(packet);)
        packets.push_back(packet);
    build(*input->streams()[0].mediaType);
    for (const HostPacket& p : packets)
        ASSERT_EQ(push(p.data.data(), p.data.size(), p.hasTime ? &p.start : nullptr), S_OK);
    ASSERT_EQ(source->DeliverEndOfStream(), S_OK);

    std::vector<uint8_t> reference = referenceDecode(path, c.referenceFormat);
    if (c.minSnr == kExact) {
        EXPECT_EQ(output(), reference);
    } else {
        auto format =
            std::string(c.referenceFormat) == "s16le" ? SampleFormat::S16 : SampleFormat::S32;
        auto ours = samplesOf(output(), format);
        auto theirs = samplesOf(reference, format);
        // The container's end padding may still be in ours.
        EXPECT_GE(ours.size(), theirs.size());
        size_t channels = speakerList(c.signal.speakers).size();
        EXPECT_LE(ours.size(), theirs.size() + size_t(packets.back().paddingFrames) * channels);
        EXPECT_GE(snrDb(theirs, ours), c.minSnr);
    }
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size() + c.silentPackets, packets.size());
    for (size_t i = 0; i < samples.size(); ++i) {
        const HostPacket& packet = packets[i + c.silentPackets];
        ASSERT_TRUE(samples[i].hasStart) << i;
        if (packet.hasTime) {
            EXPECT_EQ(samples[i].start, packet.start) << i;
        }
    }
}

// DVD packets cut the audio anywhere; each carries the PTS of the first
// access unit that starts in it.
TEST_F(FilterHarness, DvdPacketsDecodeLikeTheReferenceDecoderWithStamps)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string vob = folder.file("in.vob");
    ASSERT_TRUE(
        encodeTones(vob, {"FL+FR", 48000, 1.0, 0.8}, "-c:a pcm_dvd -sample_fmt s16 -f vob"));
    auto reference = referenceDecode(vob, "s16le");
    ASSERT_FALSE(reference.empty());
    std::vector<PesPacket> packets;
    ASSERT_TRUE(readProgramStreamFile(vob, packets));

    build(
        waveType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DVD_LPCM_AUDIO, WAVE_FORMAT_PCM, 48000, 2, 16));
    size_t pushed = 0;
    for (const PesPacket& packet : packets) {
        if (packet.substreamId != 0xA0)
            continue;
        REFERENCE_TIME start = packet.ptsReferenceTime;
        ASSERT_EQ(
            push(packet.payload.data(), packet.payload.size(), packet.hasPts ? &start : nullptr),
            S_OK);
        ++pushed;
    }
    ASSERT_EQ(source->DeliverEndOfStream(), S_OK);
    EXPECT_EQ(output(), reference);
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), pushed);
    // Each packet comes out as one sample stamped with its PTS moved back by
    // the audio before its first access unit (pointer - 4 bytes in whole
    // stereo frames), lasting as long as its bytes.
    size_t index = 0;
    for (const PesPacket& packet : packets) {
        if (packet.substreamId != 0xA0)
            continue;
        const ReceivedSample& s = samples[index++];
        ASSERT_TRUE(s.hasStart) << index;
        EXPECT_EQ(s.stop - s.start, REFERENCE_TIME(s.data.size() / 4) * 10000000 / 48000) << index;
        if (packet.hasPts) {
            int pointer = (packet.payload[2] << 8) | packet.payload[3];
            int64_t bytes = pointer - 4;
            EXPECT_EQ(s.start, packet.ptsReferenceTime - (bytes / 4) * 10000000 / 48000) << index;
        }
    }
    EXPECT_EQ(sink->EndOfStreamCount(), 1);
}

INSTANTIATE_TEST_SUITE_P(Streams, ReferenceStreams, ::testing::ValuesIn(kStreams), RowName());

}  // namespace
