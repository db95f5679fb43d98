#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "core/bit_reader.h"

namespace {

TEST(BitReader, ReadsFieldsMostSignificantFirstAcrossBytes)
{
    const uint8_t data[] = {0b10110011, 0b01011100, 0xFF};
    BitReader bf(data, sizeof data);
    EXPECT_EQ(bf.get(2), 0b10u);
    EXPECT_EQ(bf.get(3), 0b110u);
    EXPECT_EQ(bf.get(7), 0b0110101u);
    bf.skip(4);
    EXPECT_EQ(bf.get(8), 0xFFu);
    EXPECT_FALSE(bf.overrun());
}

TEST(BitReader, ReadingPastTheEndGivesZerosAndFlagsOverrun)
{
    const uint8_t data[] = {0xFF};
    BitReader bf(data, sizeof data);
    EXPECT_EQ(bf.get(12), 0xFF0u);
    EXPECT_TRUE(bf.overrun());
    BitReader empty(nullptr, 0);
    EXPECT_EQ(empty.get(32), 0u);
    EXPECT_TRUE(empty.overrun());
}

// Every field width at every bit offset, across the end of the data too,
// against the bits picked out one by one.
TEST(BitReader, EveryWidthAtEveryOffset)
{
    const uint8_t data[] = {0xA5, 0x3C, 0xF0, 0x0F, 0x96, 0x69};
    auto bitAt = [&](size_t position) {
        return position / 8 < sizeof data ? (data[position / 8] >> (7 - position % 8)) & 1u : 0u;
    };
    for (int offset = 0; offset < 16; ++offset)
        for (int width = 0; width <= 32; ++width) {
            BitReader bf(data, sizeof data);
            bf.skip(offset);
            uint32_t expected = 0;
            for (int i = 0; i < width; ++i)
                expected = (expected << 1) | bitAt(size_t(offset + i));
            EXPECT_EQ(bf.get(width), expected) << offset << " " << width;
            EXPECT_EQ(bf.overrun(), offset + width > int(8 * sizeof data))
                << offset << " " << width;
            EXPECT_EQ(bf.bitPosition(), size_t(offset + width));
        }
}

TEST(BitReader, BigEndianReadsAndSwap)
{
    const uint8_t data[] = {0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(readBigEndian16(data), 0x1234u);
    EXPECT_EQ(readBigEndian24(data), 0x123456u);
    EXPECT_EQ(readBigEndian32(data), 0x12345678u);
    std::vector<uint8_t> copy(data, data + 4);
    swapBytes16(copy.data(), copy.data(), 2);  // in place
    EXPECT_EQ(copy, (std::vector<uint8_t>{0x34, 0x12, 0x78, 0x56}));
}

// Every length around the 16-word vector steps, in place and into another
// buffer, against the bytes exchanged one pair at a time.
TEST(BitReader, SwapsEveryLengthInPlaceAndCopied)
{
    for (size_t words = 0; words <= 50; ++words) {
        // Two guard bytes after the words stay as they are.
        std::vector<uint8_t> source(2 * words + 2, 0xEE);
        for (size_t i = 0; i < 2 * words; ++i)
            source[i] = static_cast<uint8_t>(i * 7 + 1);
        std::vector<uint8_t> expected = source;
        for (size_t i = 0; i < words; ++i)
            std::swap(expected[2 * i], expected[2 * i + 1]);
        std::vector<uint8_t> copied(source.size(), 0xEE), inPlace = source;
        swapBytes16(copied.data(), source.data(), words);
        swapBytes16(inPlace.data(), inPlace.data(), words);
        EXPECT_EQ(copied, expected) << words;
        EXPECT_EQ(inPlace, expected) << words;
    }
}

}  // namespace
