#include <gtest/gtest.h>

#include <memory>

#include "core/status_helpers.h"

namespace {

TEST(Status, DefaultRecordIsUninitialisedWithNoRemix)
{
    TvStatusLpcm status;
    EXPECT_EQ(status.remixMode, RemixNone);
    EXPECT_EQ(status.stype, STUninitialized);
    EXPECT_EQ(byteSize(status), 2);
    EXPECT_EQ(status.formatId(), 9);
}

TEST(Status, CloneKeepsTheSubclassAndItsFields)
{
    TvStatusLpcm original;
    original.freq = 96000;
    original.chan = 6;
    original.stype = ST24Bit;
    original.channelMask = 0x3F;
    original.timeOffset = -1234;
    original.spdif = true;
    original.remixMode = RemixDecoderDownmix;
    original.group1Channels = 2;
    original.group2Channels = 4;

    const TvStatus& asBase = original;
    std::unique_ptr<TvStatus> copy(asBase.clone());
    ASSERT_EQ(copy->formatId(), 9);
    auto* lpcm = dynamic_cast<TvStatusLpcm*>(copy.get());
    ASSERT_NE(lpcm, nullptr);
    EXPECT_EQ(lpcm->group1Channels, 2);
    EXPECT_EQ(lpcm->group2Channels, 4);
    EXPECT_EQ(lpcm->freq, 96000);
    EXPECT_EQ(lpcm->timeOffset, -1234);
    EXPECT_TRUE(lpcm->spdif);
    EXPECT_EQ(lpcm->remixMode, RemixDecoderDownmix);

    // A clone of a clone is still the same kind of record.
    std::unique_ptr<TvStatus> second(copy->clone());
    EXPECT_NE(dynamic_cast<TvStatusLpcm*>(second.get()), nullptr);
}

TEST(Status, SampleTypeTables)
{
    struct Row {
        TvSampleType type;
        int bits;
        int bytes;
    } rows[] = {{STUninitialized, 16, 2}, {ST16Bit, 16, 2}, {ST8Bit, 8, 1}, {ST20Bit, 20, 3},
                {ST24Bit, 24, 3},         {ST32Bit, 32, 4}, {STFloat, 32, 4}, {STDouble, 64, 8}};
    for (const Row& row : rows) {
        EXPECT_EQ(bitsPerSample(row.type), row.bits) << row.type;
        EXPECT_EQ(byteSize(row.type), row.bytes) << row.type;
    }
    struct Depth {
        int bits;
        TvSampleType type;
    } depths[] = {{8, ST8Bit}, {16, ST16Bit}, {20, ST20Bit}, {24, ST24Bit},
                  {32, ST32Bit}, {28, ST16Bit}, {0, ST16Bit}, {12, ST16Bit}};
    for (const Depth& d : depths)
        EXPECT_EQ(sampleTypeFromBits(d.bits), d.type) << d.bits;
}

TEST(Status, DefaultMasksFollowTheChannelCount)
{
    const uint32_t expected[] = {0, 0x4, 0x3, 0x7, 0xF, 0x37, 0x3F, 0x7F, 0xFF};
    for (int chan = 1; chan <= 8; ++chan) {
        EXPECT_EQ(defaultChannelMask(chan), expected[chan]) << chan;
        if (chan != 5) {
            EXPECT_EQ(maskChannelCount(defaultChannelMask(chan)), chan);
        }
    }
    EXPECT_EQ(maskChannelCount(0), 0);
}

TEST(Status, ReportedMaskFallsBackWhenItDisagreesWithTheChannelCount)
{
    TvStatusLpcm status;
    status.chan = 2;
    status.channelMask = 0x3F;
    EXPECT_EQ(reportedChannelMask(status), 0x3u);
    status.channelMask = 0;
    EXPECT_EQ(reportedChannelMask(status), 0x3u);
    status.channelMask = 0x600;  // side left and right: two speakers, kept
    EXPECT_EQ(reportedChannelMask(status), 0x600u);
}

TEST(Status, FrameDurationAndBitRate)
{
    TvStatusLpcm status;
    status.freq = 44100;
    status.samples = 1152;
    EXPECT_EQ(frameDuration(status), 261224);  // truncated, not rounded
    status.iFrameSize = 417;
    EXPECT_EQ(bitRateKbps(status), 128);  // estimated: 127.68 kbit/s rounds up
    status.bitRate = 191499;
    EXPECT_EQ(bitRateKbps(status), 191);
    status.freq = 0;
    EXPECT_EQ(frameDuration(status), 0);
}

TEST(Status, RemixModeTexts)
{
    EXPECT_STREQ(remixModeText(RemixNone), "");
    EXPECT_STREQ(remixModeText(RemixProLogicUpmix), "prologic upmix");
    EXPECT_STREQ(remixModeText(RemixDecoderSurroundDownmix), "decoder surround downmix");
    EXPECT_STREQ(remixModeText(RemixRightOnly), "");
}

}  // namespace
