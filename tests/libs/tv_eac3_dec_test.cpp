// TvEac3Dec's conventions at its entry points: frames measured as whole
// access units in either word order, real CRCs, instances in caller memory,
// output buffers checked before use and E-AC-3 converted to AC-3.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <tuple>

#include "core/bit_reader.h"  // swapBytes16
#include "decoders/eac3_header.h"
#include "libs/TvEac3Dec/tv_eac3_dec.h"
#include "support/ffmpeg.h"

extern "C" {
short ddpi_dcv_query(uint32_t* size);
short ddpi_dcv_open(void* instance);
short ddpi_dcv_close(void* instance);
short ddpi_dcv_setprocessparam(void* instance, int32_t number, const void* value);
short ddpi_dcv_getprocessparam(void* instance, int32_t number, void* value);
short ddpi_dcv_getframeparam(const ddpi_frame_desc* frame, ddpi_frame_params* params);
short ddpi_dcv_checkframe(const ddpi_frame_desc* frame);
short ddpi_dcv_processframe(void* instance, const ddpi_frame_desc* frame, ddpi_output* output);
}

namespace {

std::vector<uint8_t> swapped(std::vector<uint8_t> bytes)
{
    swapBytes16(bytes.data(), bytes.data(), bytes.size() / 2);
    return bytes;
}

ddpi_frame_desc describe(const std::vector<uint8_t>& words, size_t bytes = SIZE_MAX)
{
    uint32_t count = uint32_t(std::min(bytes, words.size()) / 2);
    return {reinterpret_cast<const int16_t*>(words.data()), count, count};
}

// A 7.1 access unit (independent and dependent substream) is one frame,
// whether the words after the first 64 are swapped yet or not; its end needs
// the next header; a flipped bit anywhere fails the CRC.
TEST(TvEac3Dec, AccessUnitsAreMeasuredAndChecked)
{
    REQUIRE_VECTOR("dlbmp4base/7ch_ddp_25fps_channel_id.ec3");
    std::vector<uint8_t> stream = readBytes(vectorPath("dlbmp4base/7ch_ddp_25fps_channel_id.ec3"));
    stream.resize(20000);
    DolbySyncFrame first, second;
    ASSERT_TRUE(parseDolbySyncFrame(stream.data(), stream.size(), first));
    ASSERT_TRUE(parseDolbySyncFrame(stream.data() + first.frameSize, 8, second));
    ASSERT_EQ(second.strmtyp, kEac3Dependent);
    size_t unit = size_t(first.frameSize + second.frameSize);

    std::vector<uint8_t> words = swapped(stream);
    std::vector<uint8_t> headOnly = stream;
    swapBytes16(headOnly.data(), headOnly.data(), 64);
    for (const auto* buffer : {&words, &headOnly}) {
        ddpi_frame_params params{};
        ddpi_frame_desc desc = describe(*buffer);
        ASSERT_EQ(ddpi_dcv_getframeparam(&desc, &params), kDdpiOk);
        EXPECT_EQ(std::tuple(size_t(params.frameWords) * 2, params.bsid, params.blocks,
                             params.acmod, params.lfeon),
                  std::tuple(unit, 16, 6, 7, 1));
    }
    // Without the next header the unit may go on: more words are asked for.
    ddpi_frame_params params{};
    ddpi_frame_desc exact = describe(words, unit);
    ASSERT_EQ(ddpi_dcv_getframeparam(&exact, &params), kDdpiOk);
    EXPECT_GT(size_t(params.frameWords) * 2, unit);
    // Handed over whole, it checks; with a bit flipped in either substream it does not.
    EXPECT_EQ(ddpi_dcv_checkframe(&exact), kDdpiOk);
    for (size_t at : {size_t(40), unit - 40}) {
        std::vector<uint8_t> broken = words;
        broken[at] ^= 0x10;
        ddpi_frame_desc desc = describe(broken, unit);
        EXPECT_EQ(ddpi_dcv_checkframe(&desc), kDdpiCrcError) << at;
    }
    std::vector<uint8_t> garbage(256, 0x55);
    ddpi_frame_desc none = describe(garbage);
    EXPECT_EQ(ddpi_dcv_getframeparam(&none, &params), kDdpiNoSync);
    EXPECT_EQ(ddpi_dcv_getframeparam(nullptr, &params), kDdpiNullArgument);
}

// Channel descriptors too small for a frame are refused before anything is
// written; the converted frame must fit its buffer.
TEST(TvEac3Dec, OutputBuffersAreCheckedBeforeUse)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string ac3 = folder.file("s.ac3"), eac3 = folder.file("s.eac3");
    ASSERT_TRUE(encodeTones(ac3, {"FL+FR", 48000, 0.1, 0.5}, "-c:a ac3 -b:a 192k -f ac3"));
    ASSERT_TRUE(encodeTones(eac3, {"FC", 48000, 0.1, 0.5}, "-c:a eac3 -f eac3"));
    // The instance lives in memory the caller asks for.
    uint32_t size = 0;
    ASSERT_EQ(ddpi_dcv_query(&size), kDdpiOk);
    std::unique_ptr<std::max_align_t[]> memory(
        new std::max_align_t[size / sizeof(std::max_align_t) + 1]);
    ASSERT_EQ(ddpi_dcv_open(memory.get()), kDdpiOk);

    std::vector<uint8_t> stream = readBytes(ac3);
    DolbySyncFrame first;
    ASSERT_TRUE(parseDolbySyncFrame(stream.data(), stream.size(), first));
    std::vector<uint8_t> frame = swapped({stream.begin(), stream.begin() + first.frameSize});
    ddpi_frame_desc desc = describe(frame);
    std::vector<double> samples(1536 * 2, 7.0);
    pp_bufdesc left{samples.data(), 1535, 2, 0, nullptr},
        right{samples.data() + 1, 1536, 2, 0, nullptr};
    ddpi_output out{};
    out.pp_dec_bufdesc[0] = &left;
    out.pp_dec_bufdesc[2] = &right;
    int32_t stereo = 2, noLfe = 0;
    ddpi_dcv_setprocessparam(memory.get(), kDdpiOutputMode, &stereo);
    ddpi_dcv_setprocessparam(memory.get(), kDdpiOutputLfe, &noLfe);
    EXPECT_EQ(ddpi_dcv_processframe(memory.get(), &desc, &out), kDdpiBufferTooSmall);
    EXPECT_EQ(samples[0], 7.0);
    left.capacity = 1536;
    EXPECT_EQ(ddpi_dcv_processframe(memory.get(), &desc, &out), kDdpiOk);
    EXPECT_EQ(left.nsamples, 1536);

    std::vector<uint8_t> unit = swapped(readBytes(eac3));
    ddpi_frame_params params{};
    ddpi_frame_desc whole = describe(unit);
    ASSERT_EQ(ddpi_dcv_getframeparam(&whole, &params), kDdpiOk);
    ddpi_frame_desc one = describe(unit, size_t(params.frameWords) * 2);
    std::vector<uint8_t> converted(6136);
    ddpi_output convert{};
    convert.convertToAc3 = 1;
    convert.ac3 = converted.data();
    convert.ac3Capacity = 100;
    EXPECT_EQ(ddpi_dcv_processframe(memory.get(), &one, &convert), kDdpiBufferTooSmall);
    convert.ac3Capacity = int32_t(converted.size());
    ASSERT_EQ(ddpi_dcv_processframe(memory.get(), &one, &convert), kDdpiOk);
    EXPECT_EQ(convert.ac3Words, 1280);  // the frames themselves are checked as S/PDIF bursts
    EXPECT_EQ(ddpi_dcv_close(memory.get()), kDdpiOk);
    EXPECT_EQ(ddpi_dcv_close(memory.get()), kDdpiNotOpen);
}

// A float destination gets the double destination's samples, narrowed and
// clamped to full scale, each channel at its own place.
TEST(TvEac3Dec, FloatOutputIsTheDoubleOutputClamped)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    std::string ac3 = folder.file("loud.ac3");
    ASSERT_TRUE(encodeTones(ac3, {"FL+FR+FC", 48000, 0.1, 1.0}, "-c:a ac3 -b:a 192k -f ac3"));
    std::vector<uint8_t> stream = readBytes(ac3);
    DolbySyncFrame first;
    ASSERT_TRUE(parseDolbySyncFrame(stream.data(), stream.size(), first));
    std::vector<uint8_t> frame = swapped({stream.begin(), stream.begin() + first.frameSize});
    ddpi_frame_desc desc = describe(frame);
    uint32_t size = 0;
    ASSERT_EQ(ddpi_dcv_query(&size), kDdpiOk);
    std::vector<double> doubles(1536 * 2);
    std::vector<float> floats(1536 * 2);
    pp_bufdesc toDouble[2] = {{doubles.data(), 1536, 2, 0, nullptr},
                              {doubles.data() + 1, 1536, 2, 0, nullptr}};
    pp_bufdesc toFloat[2] = {{nullptr, 1536, 2, 0, floats.data()},
                             {nullptr, 1536, 2, 0, floats.data() + 1}};
    for (pp_bufdesc* channels : {toDouble, toFloat}) {
        // One fresh instance each, so that both decode the frame alike.
        std::unique_ptr<std::max_align_t[]> memory(
            new std::max_align_t[size / sizeof(std::max_align_t) + 1]);
        ASSERT_EQ(ddpi_dcv_open(memory.get()), kDdpiOk);
        int32_t stereo = 2, noLfe = 0, noRange = 0;
        ddpi_dcv_setprocessparam(memory.get(), kDdpiOutputMode, &stereo);
        ddpi_dcv_setprocessparam(memory.get(), kDdpiOutputLfe, &noLfe);
        ddpi_dcv_setprocessparam(memory.get(), kDdpiRangeMode, &noRange);
        ddpi_output out{};
        out.pp_dec_bufdesc[0] = &channels[0];
        out.pp_dec_bufdesc[2] = &channels[1];
        EXPECT_EQ(ddpi_dcv_processframe(memory.get(), &desc, &out), kDdpiOk);
        ddpi_dcv_close(memory.get());
    }
    for (size_t i = 0; i < doubles.size(); ++i)
        ASSERT_EQ(floats[i], std::clamp(static_cast<float>(doubles[i]), -1.0f, 1.0f)) << i;
}

template <typename T>
std::vector<uint8_t> bytesOf(const T& value)
{
    std::vector<uint8_t> bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

// A processing parameter out of its range is refused and keeps the value it
// had; numbers outside 0..9, null values and closed instances are refused.
TEST(TvEac3Dec, RefusedParametersKeepTheirValue)
{
    uint32_t size = 0;
    ASSERT_EQ(ddpi_dcv_query(&size), kDdpiOk);
    std::vector<std::max_align_t> memory(size / sizeof(std::max_align_t) + 1);
    void* instance = memory.data();
    ASSERT_EQ(ddpi_dcv_open(instance), kDdpiOk);
    const std::tuple<int32_t, std::vector<uint8_t>, std::vector<uint8_t>> rows[] = {
        {kDdpiOutputMode, bytesOf(int32_t(2)), bytesOf(int32_t(8))},
        {kDdpiOutputLfe, bytesOf(int32_t(0)), bytesOf(int32_t(2))},
        {kDdpiRangeMode, bytesOf(int32_t(1)), bytesOf(int32_t(-1))},
        {kDdpiStereoMode, bytesOf(int32_t(2)), bytesOf(int32_t(3))},
        {kDdpiDialogueTarget, bytesOf(-20.0), bytesOf(1.0)},
        {kDdpiCutScale, bytesOf(0.5), bytesOf(std::nan(""))},
        {kDdpiBoostScale, bytesOf(0.25), bytesOf(1.5)},
        {kDdpiGain, bytesOf(0.5f), bytesOf(-0.1f)},
        {kDdpiDualMono, bytesOf(int32_t(3)), bytesOf(int32_t(4))},
        {kDdpiKaraoke, bytesOf(std::array<double, 6>{1, 0, 0, 0, 0.5, 0}),
         bytesOf(std::array<double, 6>{0, 0, 2, 0, 0, 0})},
    };
    for (const auto& [number, good, bad] : rows) {
        std::vector<uint8_t> read(good.size());
        EXPECT_EQ(ddpi_dcv_setprocessparam(instance, number, good.data()), kDdpiOk) << number;
        EXPECT_EQ(ddpi_dcv_setprocessparam(instance, number, bad.data()), kDdpiBadValue) << number;
        EXPECT_EQ(ddpi_dcv_getprocessparam(instance, number, read.data()), kDdpiOk);
        EXPECT_EQ(read, good) << number;
    }
    int32_t any = 0;
    EXPECT_EQ(ddpi_dcv_setprocessparam(instance, 10, &any), kDdpiUnknownParam);
    EXPECT_EQ(ddpi_dcv_getprocessparam(instance, 10, &any), kDdpiUnknownParam);
    EXPECT_EQ(ddpi_dcv_getprocessparam(instance, 0, nullptr), kDdpiNullArgument);
    ASSERT_EQ(ddpi_dcv_close(instance), kDdpiOk);
    EXPECT_EQ(ddpi_dcv_getprocessparam(instance, 0, &any), kDdpiNotOpen);
}

}  // namespace
