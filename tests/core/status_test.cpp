// The status record's derived values: the speaker mask a stream reports,
// frame durations and bit rates as the stream information shows them.
#include <gtest/gtest.h>

#include "core/status_helpers.h"

namespace {

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
