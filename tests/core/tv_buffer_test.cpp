// The input buffer: bytes re-cut for the decoder in order, storage that grows
// only to what is held, and time stamps that follow the byte they came with.
#include <gtest/gtest.h>

#include <cstring>

#include "config/config_test_support.h"
#include "core/TvBuffer.h"
#include "support/assertion_guard.h"
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

    TempFolder root;
    CapturedLog log{root};
    AssertionGuard assertions;
    TvBuffer buffer;
};

TEST_F(TvBufferTest, BytesComeOutInOrderAndStorageGrowsOnlyToWhatIsHeld)
{
    append(5, 1);
    append(3, 2);
    buffer.consume(4);
    ASSERT_EQ(buffer.size(), 4u);
    append(2, 3);  // compacts first: fits in the 8 bytes there are
    EXPECT_EQ(buffer.capacity(), 8u);
    const uint8_t expected[] = {1, 2, 2, 2, 3, 3};
    ASSERT_EQ(buffer.size(), 6u);
    EXPECT_EQ(std::memcmp(buffer.data(), expected, 6), 0);
    append(5, 4);
    EXPECT_EQ(buffer.capacity(), 11u);
    EXPECT_EQ(buffer.data()[10], 4);
    // Too much consumed is refused whole.
    buffer.consume(12);
    assertions.expect(1);
    EXPECT_EQ(buffer.size(), 11u);
    // A flush drops the bytes and the stamps, keeps the storage.
    append(4, 5, 1000);
    buffer.clear();
    EXPECT_EQ(buffer.size(), 0u);
    EXPECT_EQ(buffer.capacity(), 15u);
    EXPECT_EQ(buffer.takeTimeStamp(), kNoTime);
}

TEST_F(TvBufferTest, AStampGoesOnceToTheFrameStartingOnItsFirstByte)
{
    append(0, 0, 7000);  // an empty payload still carries its stamp
    EXPECT_EQ(buffer.takeTimeStamp(), 7000);
    append(10, 0, 1000);
    EXPECT_EQ(buffer.takeTimeStamp(), 1000);
    EXPECT_EQ(buffer.takeTimeStamp(), kNoTime);
    append(10, 0, 2000);
    buffer.consume(9);
    EXPECT_EQ(buffer.takeTimeStamp(), kNoTime);
    buffer.consume(1);  // the second sample's first byte
    EXPECT_EQ(buffer.takeTimeStamp(), 2000);
}

// Upstream stamps win over the computed ones, and a newer stamp replaces
// one still waiting for its byte.
TEST_F(TvBufferTest, TheLatestUpstreamStampWins)
{
    buffer.setNextTimeStamp(1000);
    append(4, 0, 1011);
    EXPECT_EQ(buffer.currentStamp(), 1011);
    buffer.clear();
    append(10, 0, 1000);
    append(10, 0, 2000);
    append(10, 0, 3000);
    EXPECT_EQ(buffer.pendingStamp(), 3000);
}

}  // namespace
