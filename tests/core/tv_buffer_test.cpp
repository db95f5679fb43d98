// The input buffer: bytes re-cut for the decoder and the time stamps carried
// across the cuts, with the log lines of stamp mismatches.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "config/config_test_support.h"
#include "core/TvBuffer.h"
#include "decoders/AdecLpcmDvd.h"
#include "support/memory_sample.h"

namespace {

class TvBufferTest : public ::testing::Test {
protected:
    // Appends `size` bytes valued `fill`, stamped with `start` unless no-time.
    void append(size_t size, uint8_t fill, REFERENCE_TIME start = kNoTime)
    {
        MemorySample sample(size ? size : 1);
        BYTE* p;
        sample.GetPointer(&p);
        std::memset(p, fill, size);
        sample.SetActualDataLength(static_cast<LONG>(size));
        if (start != kNoTime) {
            REFERENCE_TIME stop = start + 1000;
            sample.SetTime(&start, &stop);
        }
        buffer.append(&sample);
    }
    std::vector<std::string> errors()
    {
        std::vector<std::string> out;
        for (const auto& line : log.lines())
            if (line.rfind("Buffer size: ", 0) != 0)
                out.push_back(line);
        return out;
    }

    TempRoot root;
    CapturedLog log{root};
    TvBuffer buffer;
};

TEST_F(TvBufferTest, BytesComeOutInOrderAcrossConsumesAndCompaction)
{
    append(5, 1, 1000);
    append(3, 2);
    ASSERT_EQ(buffer.size(), 8u);
    EXPECT_EQ(buffer.capacity(), 8u);  // exact growth, no headroom
    buffer.consume(4);
    EXPECT_EQ(buffer.size(), 4u);
    EXPECT_EQ(buffer.data()[0], 1);
    EXPECT_EQ(buffer.data()[1], 2);
    append(2, 3);  // compacts first: the 6 bytes fit without growing
    EXPECT_EQ(buffer.capacity(), 8u);
    const uint8_t expected[] = {1, 2, 2, 2, 3, 3};
    EXPECT_EQ(std::memcmp(buffer.data(), expected, 6), 0);
    append(5, 4);  // grows to exactly what is held
    EXPECT_EQ(buffer.capacity(), 11u);
    EXPECT_EQ(buffer.data()[10], 4);
    EXPECT_EQ(log.lines()[0], "Buffer size: 0 sample size: 5");
}

TEST_F(TvBufferTest, StampOnAnEmptyBufferIsCurrentAndGivenOnce)
{
    append(10, 0, 5000);
    EXPECT_EQ(buffer.takeTimeStamp(), 5000);
    EXPECT_EQ(buffer.takeTimeStamp(), kNoTime);
}

TEST_F(TvBufferTest, StampWithDataQueuedWaitsForItsFirstByte)
{
    append(10, 0, 1000);
    EXPECT_EQ(buffer.takeTimeStamp(), 1000);
    append(10, 0, 2000);
    EXPECT_EQ(buffer.pendingStamp(), 2000);
    buffer.consume(6);
    EXPECT_EQ(buffer.currentStamp(), kNoTime);
    buffer.consume(4);  // reaches the second sample's first byte
    EXPECT_EQ(buffer.currentStamp(), 2000);
    EXPECT_EQ(buffer.pendingStamp(), kNoTime);
}

TEST_F(TvBufferTest, PromotionReplacesAComputedStampThatWasNeverTaken)
{
    append(10, 0, 1000);
    append(10, 0, 2000);
    buffer.setNextTimeStamp(1500);  // current is still 1000: within nothing, logged
    buffer.consume(12);
    EXPECT_EQ(buffer.currentStamp(), 2000);
}

TEST_F(TvBufferTest, ASecondPendingStampDropsTheFirstWithALogLine)
{
    append(10, 0, 1000);
    append(10, 0, 2000);
    append(10, 0, 3000);
    EXPECT_EQ(buffer.pendingStamp(), 3000);
    auto lines = errors();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "time stamp error: expected 0 but have 2000");
}

TEST_F(TvBufferTest, ToleranceOfTenUnits)
{
    struct Case {
        REFERENCE_TIME computed;
        REFERENCE_TIME incoming;
        bool logged;
    } cases[] = {{1000, 1010, false}, {1000, 990, false}, {1000, 1011, true}, {1000, 989, true}};
    for (const Case& c : cases) {
        buffer.clear();
        log.lines();
        size_t before = errors().size();
        buffer.setNextTimeStamp(c.computed);
        append(4, 0, c.incoming);
        EXPECT_EQ(buffer.currentStamp(), c.incoming);  // upstream wins either way
        auto lines = errors();
        EXPECT_EQ(lines.size() - before, c.logged ? 1u : 0u) << c.incoming;
        if (c.logged) {
            EXPECT_EQ(lines.back(), "time stamp error: incoming=" + std::to_string(c.incoming) +
                                        "calc=" + std::to_string(c.computed));
        }
        buffer.consume(4);
    }
}

TEST_F(TvBufferTest, ComputedStampMismatchIsLoggedWithoutALineEnd)
{
    append(4, 0, 1000);
    buffer.setNextTimeStamp(1011);  // current 1000 not taken: a mismatch
    EXPECT_EQ(buffer.currentStamp(), 1000);
    logStream << "next entry" << std::endl;
    auto lines = log.lines();
    EXPECT_EQ(lines.back(), "time stamp error: 1011 1000next entry");
    buffer.takeTimeStamp();
    buffer.setNextTimeStamp(2000);
    EXPECT_EQ(buffer.currentStamp(), 2000);
}

TEST_F(TvBufferTest, EmptyPayloadStillCarriesItsStamp)
{
    append(0, 0, 7000);
    EXPECT_EQ(buffer.size(), 0u);
    EXPECT_EQ(buffer.takeTimeStamp(), 7000);
}

TEST_F(TvBufferTest, ClearKeepsTheStorage)
{
    append(100, 1, 1000);
    buffer.clear();
    EXPECT_EQ(buffer.size(), 0u);
    EXPECT_EQ(buffer.capacity(), 100u);
    EXPECT_EQ(buffer.currentStamp(), kNoTime);
}

TEST_F(TvBufferTest, ConsumingTooMuchIsAssertedAndDropsNothing)
{
    append(4, 1);
    const uint8_t* front = buffer.data();
    buffer.consume(10);
    EXPECT_EQ(buffer.size(), 4u);
    EXPECT_EQ(buffer.data(), front);
    EXPECT_EQ(errors().back().find("error: TvAssert: TvBuffer "), 0u);
    EXPECT_NE(errors().back().find("'n<=size()'"), std::string::npos);
}

TEST_F(TvBufferTest, PrivateHeadersAreStrippedByTheDecoder)
{
    std::ostringstream decoderLog;
    AdecLpcmDvd decoder(decoderLog);
    CMediaType type(&MEDIATYPE_MPEG2_PES);
    type.SetSubtype(&MEDIASUBTYPE_DVD_LPCM_AUDIO);
    decoder.init(type);
    buffer.setDecoder(&decoder);
    const uint8_t packet[] = {0xA0, 1, 0, 4, 0, 0x01, 0x80, 0x11, 0x22, 0x33, 0x44};
    MemorySample sample(sizeof packet);
    BYTE* p;
    sample.GetPointer(&p);
    std::memcpy(p, packet, sizeof packet);
    sample.SetActualDataLength(sizeof packet);
    buffer.append(&sample);
    ASSERT_EQ(buffer.size(), 4u);
    EXPECT_EQ(buffer.data()[0], 0x11);
    // A packet whose header is refused adds nothing.
    sample.SetActualDataLength(5);
    buffer.append(&sample);
    EXPECT_EQ(buffer.size(), 4u);
}

}  // namespace
