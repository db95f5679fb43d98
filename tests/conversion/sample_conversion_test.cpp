// Every in-place sample conversion as one table: a source format, values
// across its range and at its edges (non-finite floats too), and the values
// that must come out, computed here by the rule (round to nearest, clamp).
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <limits>
#include <vector>

#include "conversion/sample_conversion.h"
#include "support/assertion_guard.h"
#include "support/memory_sample.h"

namespace {

const float kInf = std::numeric_limits<float>::infinity();
const float kNan = std::numeric_limits<float>::quiet_NaN();

std::vector<uint8_t> bytes24(const std::vector<int32_t>& values)
{
    std::vector<uint8_t> out;
    for (int32_t v : values)
        for (int shift : {0, 8, 16})
            out.push_back(uint8_t(v >> shift));
    return out;
}

template <class T>
std::vector<uint8_t> bytesOf(const std::vector<T>& values)
{
    std::vector<uint8_t> out(values.size() * sizeof(T));
    std::memcpy(out.data(), values.data(), out.size());
    return out;
}

struct ConversionCase {
    const char* name;
    TvSampleType from;
    bool toInt32;  // float to 32-bit integers rather than anything to 16-bit
    std::vector<uint8_t> in;
    std::vector<uint8_t> out;
};

const ConversionCase kConversions[] = {
    {"Int24To16", ST24Bit, false,
     bytes24({-0x800000, -1, 0, 1, 0x7FFFFF, 0x7FFF80, 0x7FFF7F, 0x000080, -0x000081, 0x123456}),
     bytesOf<int16_t>({-32768, 0, 0, 0, 32767, 32767, 32767, 1, -1, 0x1234})},
    // 20-bit samples fill the upper bits of a 24-bit container and round alike.
    {"Int20To16", ST20Bit, false, bytes24({-0x800000, 0x7FFFF0, 0x000080, -0x000090, 0x123450}),
     bytesOf<int16_t>({-32768, 32767, 1, -1, 0x1234})},
    {"Int32To16", ST32Bit, false,
     bytesOf<int32_t>(
         {INT32_MIN, -1, 0, 1, INT32_MAX, int32_t(0xFFFF8000), 0x00008000, 0x12345678}),
     bytesOf<int16_t>({-32768, 0, 0, 0, 32767, 0, 1, 0x1234})},
    // 0x3e800300 * 32767 lies just under 8192.5: double arithmetic gives
    // 8192 where float arithmetic would round up.
    {"FloatTo16", STFloat, false,
     bytesOf<float>({-1.0f, -2.0f, 0.0f, 0.5f, 1.0f, 2.0f, kInf, -kInf, kNan, 1e-9f,
                     std::bit_cast<float>(0x3e800300u)}),
     bytesOf<int16_t>({-32767, -32768, 0, 16384, 32767, 32767, 32767, -32768, 0, 0, 8192})},
    {"Int16IsLeftAlone", ST16Bit, false, bytesOf<int16_t>({1, -2, 3}),
     bytesOf<int16_t>({1, -2, 3})},
    // +1.0 wraps to 0x80000000, as recorded output has it.
    {"FloatToInt32", STFloat, true,
     bytesOf<float>({1.0f, 0.5f, -2.0f, -1.0f, 0.0f, -0.5f, 2.0f, kInf, -kInf, kNan}),
     bytesOf<uint32_t>({0x80000000u, 0x40000000u, 0x80000000u, 0x80000000u, 0u, 0xC0000000u,
                        0x80000000u, 0x80000000u, 0x80000000u, 0u})},
};

class SampleConversion : public ::testing::TestWithParam<ConversionCase> {};

// Through the media sample, as the output pin calls it, so the new length
// is checked as well as the values.
TEST_P(SampleConversion, ValuesAndLengthFollowTheRule)
{
    const ConversionCase& c = GetParam();
    AssertionGuard assertions;
    MemorySample sample(c.in.size() + 16);
    BYTE* p;
    sample.GetPointer(&p);
    std::memcpy(p, c.in.data(), c.in.size());
    sample.SetActualDataLength(LONG(c.in.size()));
    if (c.toInt32)
        convertFloatToInt(&sample);
    else
        convertTo16Bit(&sample, c.from);
    EXPECT_EQ(sample.data(), c.out);
}

INSTANTIATE_TEST_SUITE_P(Formats,
                         SampleConversion,
                         ::testing::ValuesIn(kConversions),
                         [](const ::testing::TestParamInfo<ConversionCase>& info) {
                             return info.param.name;
                         });

TEST(SampleConversionEdges, PartialSamplesAndUnknownTypes)
{
    AssertionGuard assertions;
    MemorySample sample(64);
    sample.SetActualDataLength(7);  // not a whole number of floats
    convertFloatToInt(&sample);
    EXPECT_EQ(sample.GetActualDataLength(), 4);
    // An unknown type is asserted and its length doubled, within the buffer.
    sample.SetActualDataLength(40);
    convertTo16Bit(&sample, STDouble);
    assertions.expect(1);
    EXPECT_EQ(sample.GetActualDataLength(), 64);
}

}  // namespace
