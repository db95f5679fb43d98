// The status record's derived values: the speaker mask a stream reports,
// frame durations and bit rates as the stream information shows them.
#include <gtest/gtest.h>

#include <bit>
#include <memory>

#include "core/status_helpers.h"

namespace {

TEST(Status, CloneKeepsTheRecordsKindAndFields)
{
    TvStatusLpcm original;
    original.freq = 96000;
    original.chan = 6;
    original.channelMask = 0x3F;
    original.timeOffset = -1234;
    original.spdif = true;
    original.remixMode = RemixDecoderDownmix;
    original.group2Channels = 4;
    std::unique_ptr<TvStatus> copy(static_cast<const TvStatus&>(original).clone());
    auto* lpcm = dynamic_cast<TvStatusLpcm*>(copy.get());
    ASSERT_NE(lpcm, nullptr);
    EXPECT_EQ(lpcm->group2Channels, 4);
    EXPECT_EQ(lpcm->freq, 96000);
    EXPECT_EQ(lpcm->timeOffset, -1234);
    EXPECT_TRUE(lpcm->spdif);
    EXPECT_EQ(lpcm->remixMode, RemixDecoderDownmix);
}

// A mask that disagrees with the channel count gives way to the default
// one, which names exactly as many speakers as there are channels.
TEST(Status, ReportedMaskAgreesWithTheChannelCount)
{
    struct Case {
        int chan;
        uint32_t mask, reported;
    } cases[] = {{2, 0x3F, 0x3}, {2, 0, 0x3},    {2, 0x600, 0x600},
                 {1, 0, 0x4},    {6, 0x3, 0x3F}, {8, 0, 0xFF}};
    for (const Case& c : cases) {
        TvStatusLpcm status;
        status.chan = c.chan;
        status.channelMask = c.mask;
        EXPECT_EQ(reportedChannelMask(status), c.reported) << c.chan << " " << c.mask;
    }
    for (int chan = 1; chan <= 8; ++chan)
        EXPECT_EQ(std::popcount(defaultChannelMask(chan)), chan) << chan;
}

TEST(Status, FrameDurationIsTruncatedAndBitRatesRounded)
{
    TvStatusLpcm status;
    status.freq = 44100;
    status.samples = 1152;
    EXPECT_EQ(frameDuration(status), 261224);
    status.iFrameSize = 417;
    EXPECT_EQ(bitRateKbps(status), 128);  // estimated 127.68 kbit/s
    status.bitRate = 191500;
    EXPECT_EQ(bitRateKbps(status), 192);
    status.freq = 0;
    EXPECT_EQ(frameDuration(status), 0);
}

}  // namespace
