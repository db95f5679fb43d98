// One table of values through every conversion, including the boundary
// values and the non-finite floats.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "conversion/sample_conversion.h"
#include "support/memory_sample.h"

namespace {

std::vector<uint8_t> bytes24(std::initializer_list<int32_t> values)
{
    std::vector<uint8_t> out;
    for (int32_t v : values) {
        out.push_back(uint8_t(v));
        out.push_back(uint8_t(v >> 8));
        out.push_back(uint8_t(v >> 16));
    }
    return out;
}

template <class T>
std::vector<uint8_t> bytesOf(std::initializer_list<T> values)
{
    std::vector<uint8_t> out(values.size() * sizeof(T));
    std::memcpy(out.data(), values.begin(), out.size());
    return out;
}

std::vector<int16_t> as16(const std::vector<uint8_t>& data, size_t length)
{
    std::vector<int16_t> out(length / 2);
    std::memcpy(out.data(), data.data(), length);
    return out;
}

TEST(ConvertTo16Bit, TwentyFourBit)
{
    auto data = bytes24({-0x800000, -1, 0, 1, 0x7FFFFF, 0x7FFF80, 0x7FFF7F, 0x000080, -0x000081, 0x123456});
    size_t length = convertTo16Bit(data.data(), data.size(), ST24Bit);
    EXPECT_EQ(length, 20u);
    EXPECT_EQ(as16(data, length),
              (std::vector<int16_t>{-32768, 0, 0, 0, 32767, 32767, 32767, 1, -1, 0x1234}));
}

TEST(ConvertTo16Bit, ThirtyTwoBit)
{
    auto data = bytesOf<int32_t>({INT32_MIN, -1, 0, 1, INT32_MAX, int32_t(0xFFFF8000), 0x00008000, 0x12345678});
    size_t length = convertTo16Bit(data.data(), data.size(), ST32Bit);
    EXPECT_EQ(as16(data, length), (std::vector<int16_t>{-32768, 0, 0, 0, 32767, 0, 1, 0x1234}));
}

TEST(ConvertTo16Bit, FloatIncludingNonFiniteValues)
{
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // 0x3e800300 (0.250022888...) times 32767 is just below 8192.5: rounded
    // in double precision it gives 8192; float arithmetic would round the
    // product up to 8192.5 and give 8193.
    const float nearHalf = std::bit_cast<float>(0x3e800300u);
    auto data = bytesOf<float>({-1.0f, -2.0f, 0.0f, 0.5f, 1.0f, 2.0f, inf, -inf, nan, 1e-9f, nearHalf});
    size_t length = convertTo16Bit(data.data(), data.size(), STFloat);
    EXPECT_EQ(as16(data, length),
              (std::vector<int16_t>{-32767, -32768, 0, 16384, 32767, 32767, 32767, -32768, 0, 0, 8192}));
}

TEST(ConvertTo16Bit, SixteenBitIsLeftAsItIs)
{
    auto data = bytesOf<int16_t>({1, -2, 3});
    auto before = data;
    EXPECT_EQ(convertTo16Bit(data.data(), data.size(), ST16Bit), 6u);
    EXPECT_EQ(data, before);
}

TEST(ConvertFloatToInt, ClampAndTheRequiredWrapAtPlusOne)
{
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    auto data = bytesOf<float>({1.0f, 0.5f, -2.0f, -1.0f, 0.0f, -0.5f, 2.0f, inf, -inf, nan});
    size_t length = convertFloatToInt(data.data(), data.size());
    ASSERT_EQ(length, data.size());
    std::vector<uint32_t> out(length / 4);
    std::memcpy(out.data(), data.data(), length);
    EXPECT_EQ(out, (std::vector<uint32_t>{0x80000000u, 0x40000000u, 0x80000000u, 0x80000000u, 0u,
                                          0xC0000000u, 0x80000000u, 0x80000000u, 0x80000000u, 0u}));
}

TEST(ConvertOnSamples, LengthsFollowTheConversion)
{
    MemorySample sample(64);
    BYTE* p;
    sample.GetPointer(&p);
    auto data = bytes24({0x100000, 0x200000});
    std::memcpy(p, data.data(), data.size());
    sample.SetActualDataLength(6);
    convertTo16Bit(&sample, ST24Bit);
    EXPECT_EQ(sample.GetActualDataLength(), 4);
    sample.SetActualDataLength(7);  // not a whole number of floats
    convertFloatToInt(&sample);
    EXPECT_EQ(sample.GetActualDataLength(), 4);
    // An unknown type is asserted and its length doubled, within the buffer.
    sample.SetActualDataLength(40);
    convertTo16Bit(&sample, STDouble);
    EXPECT_EQ(sample.GetActualDataLength(), 64);
}

}  // namespace
