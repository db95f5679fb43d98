#define TV_ASSERT_SOURCE "util"  // assertion lines name the helpers' common source
#include "conversion/sample_conversion.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#include "diagnostics/assertions.h"

namespace {

// Rounds a 24-bit value to 16 bits: the upper 16 bits plus the next bit
// below them; the one value that would overflow stays at the maximum.
inline int16_t round24To16(const uint8_t* p)
{
    int32_t value = int32_t(int8_t(p[2])) * 256 + p[1] + (p[0] >> 7);
    return static_cast<int16_t>(value > 32767 ? 32767 : value);
}

inline int16_t round32To16(int32_t x)
{
    int32_t value = (x >> 16) + ((x >> 15) & 1);
    return static_cast<int16_t>(value > 32767 ? 32767 : value);
}

// Rounded in double precision: in float, f * 32767 + 0.5 loses the bits that
// decide the rounding of values near the halfway points.
inline int16_t floatTo16(float f)
{
    double scaled = std::floor(static_cast<double>(f) * 32767.0 + 0.5);
    // Written so that NaN fails both comparisons and becomes silence; the
    // clamps keep the integer conversion defined for infinities.
    if (!(scaled >= -32768.0))
        return scaled < 0 ? -32768 : 0;
    if (!(scaled <= 32767.0))
        return 32767;
    return static_cast<int16_t>(scaled);
}

// The tests are made on the float's bits, so that no float comparison (which
// may trap) keeps a loop of these from vectorising. NaN gives silence; at and
// beyond full scale the value is 2^31, whose low 32 bits are 0x80000000, for
// either sign: -1.0 is exactly that, +1.0 wraps to it (kept on purpose).
inline int32_t floatTo32(uint32_t bits)
{
    uint32_t magnitude = bits & 0x7FFFFFFFu;
    bool nan = magnitude > 0x7F800000u;
    bool fullScale = magnitude >= 0x3F800000u;  // |f| >= 1, infinities too
    uint32_t inRange = nan || fullScale ? 0u : bits;
    float f;
    std::memcpy(&f, &inRange, 4);
    // Scaling by a power of two is exact, so this truncates as a wider product would.
    int32_t scaled = static_cast<int32_t>(f * 2147483648.0f);
    return nan ? 0 : fullScale ? INT32_MIN : scaled;
}

// Converts each `InBytes`-byte sample to an `Out` in place, front to back:
// each output is written at or before the bytes still to be read. Returns the
// new length.
template <size_t InBytes, class Out, class Convert>
size_t convertEach(uint8_t* data, size_t length, Convert convert)
{
    size_t samples = length / InBytes;
    for (size_t i = 0; i < samples; ++i) {
        Out value = convert(data + InBytes * i);
        std::memcpy(data + sizeof(Out) * i, &value, sizeof(Out));
    }
    return samples * sizeof(Out);
}

}  // namespace

size_t convertTo16Bit(uint8_t* data, size_t length, TvSampleType from)
{
    switch (from) {
        case ST16Bit:
            return length;
        // 20-bit samples sit in the upper bits of a 24-bit container.
        case ST20Bit:
        case ST24Bit:
            return convertEach<3, int16_t>(data, length, round24To16);
        case ST32Bit:
            return convertEach<4, int16_t>(data, length, [](const uint8_t* p) {
                int32_t x;
                std::memcpy(&x, p, 4);
                return round32To16(x);
            });
        case STFloat:
            return convertEach<4, int16_t>(data, length, [](const uint8_t* p) {
                float f;
                std::memcpy(&f, p, 4);
                return floatTo16(f);
            });
        default:
            TvAssert(0);
            return length * 2;
    }
}

size_t convertFloatToInt(uint8_t* data, size_t length)
{
    return convertEach<4, int32_t>(data, length, [](const uint8_t* p) {
        uint32_t bits;
        std::memcpy(&bits, p, 4);
        return floatTo32(bits);
    });
}

void convertTo16Bit(IMediaSample* sample, TvSampleType from)
{
    BYTE* data = nullptr;
    if (FAILED(sample->GetPointer(&data)) || !data)
        return;
    size_t length = static_cast<size_t>(sample->GetActualDataLength());
    size_t converted = convertTo16Bit(data, length, from);
    // An unknown type reports twice its length; the sample cannot hold more
    // than its buffer, so the length is clamped there.
    LONG capacity = sample->GetSize();
    sample->SetActualDataLength(
        static_cast<LONG>(converted) > capacity ? capacity : static_cast<LONG>(converted));
}

void convertFloatToInt(IMediaSample* sample)
{
    BYTE* data = nullptr;
    if (FAILED(sample->GetPointer(&data)) || !data)
        return;
    size_t length = static_cast<size_t>(sample->GetActualDataLength());
    sample->SetActualDataLength(static_cast<LONG>(convertFloatToInt(data, length)));
}
