// TvEac3Dec's conventions at its entry points: frames measured as whole
// access units in either word order, real CRCs, parameters refused out of
// range, instances in caller memory; and the syncframe header reading shared
// with the decoders.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>

#include "core/bit_reader.h"
#include "decoders/eac3_header.h"
#include "libs/TvEac3Dec/tv_eac3_dec.h"
#include "support/ac3_tools.h"

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

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";

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

TEST(DolbySyncFrame, BothSyntaxesAndEachWayToFail)
{
    struct Case {
        const char* what;
        std::vector<uint8_t> header;
        bool ok;
        int32_t size = 0, bsid = 0, strmtyp = 0, substream = 0, blocks = 0, freq = 0, acmod = 0,
                lfeon = 0;
    };
    const Case cases[] = {
        // AC-3 448 kbit/s 48 kHz, bsid 8, 3/2 with LFE (lfeon after cmixlev, surmixlev).
        {"ac-3 3/2", {0x0B, 0x77, 0, 0, 0x1E, 0x40, 0xE1, 0x40}, true, 1792, 8, 0, 0, 6, 48000, 7,
         1},
        // E-AC-3 independent, substream 0, 6 blocks, 48 kHz, 2/0, bsid 16.
        {"e-ac-3 2/0", {0x0B, 0x77, 0x01, 0x7F, 0x34, 0x80, 0, 0}, true, 768, 16, 0, 0, 6, 48000,
         2, 0},
        // Dependent substream, 1 block, 44.1 kHz, 2/2 with LFE.
        {"e-ac-3 dependent", {0x0B, 0x77, 0x40, 0x3F, 0x4D, 0x80, 0, 0}, true, 128, 16, 1, 0, 1,
         44100, 6, 1},
        // Reduced rate: fscod 3, fscod2 0 (24 kHz), always 6 blocks; 1/0.
        {"e-ac-3 24 kHz", {0x0B, 0x77, 0x00, 0x3F, 0xC2, 0x80, 0, 0}, true, 128, 16, 0, 0, 6, 24000,
         1, 0},
        {"no sync", {0x0B, 0x78, 0, 0, 0x1E, 0x40, 0xE0, 0x40}, false},
        {"ac-3 reserved fscod", {0x0B, 0x77, 0, 0, 0xDE, 0x40, 0xE0, 0x40}, false},
        {"e-ac-3 reserved fscod2", {0x0B, 0x77, 0x00, 0x3F, 0xF2, 0x80, 0, 0}, false},
        {"e-ac-3 reserved stream type", {0x0B, 0x77, 0xC1, 0x7F, 0x34, 0x80, 0, 0}, false},
        {"bsid 17", {0x0B, 0x77, 0x01, 0x7F, 0x34, 0x88, 0, 0}, false},
        {"too short", {0x0B, 0x77, 0x01, 0x7F, 0x34, 0x80, 0}, false},
    };
    for (const Case& c : cases) {
        DolbySyncFrame frame;
        bool ok = parseDolbySyncFrame(c.header.data(), c.header.size(), frame);
        EXPECT_EQ(ok, c.ok) << c.what;
        if (!ok || !c.ok)
            continue;
        EXPECT_EQ(frame.frameSize, c.size) << c.what;
        EXPECT_EQ(frame.bsid, c.bsid) << c.what;
        EXPECT_EQ(frame.strmtyp, c.strmtyp) << c.what;
        EXPECT_EQ(frame.substreamid, c.substream) << c.what;
        EXPECT_EQ(frame.blocks, c.blocks) << c.what;
        EXPECT_EQ(frame.freq, c.freq) << c.what;
        EXPECT_EQ(frame.acmod, c.acmod) << c.what;
        EXPECT_EQ(frame.lfeon, c.lfeon) << c.what;
    }
}

// A 7.1 access unit (independent and dependent substream) is one frame,
// whether the words after the first 64 are swapped yet or not; its end needs
// the next header; a flipped bit anywhere fails the CRC.
TEST(TvEac3Dec, AccessUnitsAreMeasuredAndChecked)
{
    std::string path = kVectors + "dlbmp4base/7ch_ddp_25fps_channel_id.ec3";
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    std::vector<uint8_t> stream = readBytes(path);
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
        EXPECT_EQ(size_t(params.frameWords) * 2, unit);
        EXPECT_EQ(params.bsid, 16);
        EXPECT_EQ(params.blocks, 6);
        EXPECT_EQ(params.acmod, 7);
        EXPECT_EQ(params.lfeon, 1);
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

TEST(TvEac3Dec, InstancesLiveInTheCallersMemoryAndRefuseBadParameters)
{
    uint32_t size = 0;
    ASSERT_EQ(ddpi_dcv_query(&size), kDdpiOk);
    ASSERT_GT(size, 0u);
    std::unique_ptr<std::max_align_t[]> memory(
        new std::max_align_t[size / sizeof(std::max_align_t) + 1]);
    void* instance = memory.get();
    ASSERT_EQ(ddpi_dcv_open(instance), kDdpiOk);
    struct Case {
        int32_t number;
        int32_t intValue;
        double doubleValue;
        bool isDouble;
        short expected;
    };
    const Case cases[] = {
        {kDdpiOutputMode, 7, 0, false, kDdpiOk},   {kDdpiOutputMode, 0, 0, false, kDdpiBadValue},
        {kDdpiOutputMode, 8, 0, false, kDdpiBadValue}, {kDdpiOutputLfe, 2, 0, false, kDdpiBadValue},
        {kDdpiRangeMode, 2, 0, false, kDdpiOk},    {kDdpiStereoMode, 3, 0, false, kDdpiBadValue},
        {kDdpiDialogueTarget, 0, -31, true, kDdpiOk}, {kDdpiDialogueTarget, 0, 1, true, kDdpiBadValue},
        {kDdpiCutScale, 0, 0.5, true, kDdpiOk},    {kDdpiCutScale, 0, 1.5, true, kDdpiBadValue},
        {10, 0, 0, false, kDdpiUnknownParam},
    };
    for (const Case& c : cases) {
        const void* value = c.isDouble ? static_cast<const void*>(&c.doubleValue)
                                       : static_cast<const void*>(&c.intValue);
        EXPECT_EQ(ddpi_dcv_setprocessparam(instance, c.number, value), c.expected) << c.number;
    }
    double cut = 0;
    ASSERT_EQ(ddpi_dcv_getprocessparam(instance, kDdpiCutScale, &cut), kDdpiOk);
    EXPECT_EQ(cut, 0.5);
    const double karaoke[6] = {1, 1, 1, -1, 1, 0};
    EXPECT_EQ(ddpi_dcv_setprocessparam(instance, kDdpiKaraoke, karaoke), kDdpiOk);
    const double tooLoud[6] = {2, 0, 0, 0, 1, 0};
    EXPECT_EQ(ddpi_dcv_setprocessparam(instance, kDdpiKaraoke, tooLoud), kDdpiBadValue);
    const float gain = 0.5f;
    EXPECT_EQ(ddpi_dcv_setprocessparam(instance, kDdpiGain, &gain), kDdpiOk);
    EXPECT_EQ(ddpi_dcv_close(instance), kDdpiOk);
    EXPECT_EQ(ddpi_dcv_close(instance), kDdpiNotOpen);
    EXPECT_EQ(ddpi_dcv_setprocessparam(instance, kDdpiGain, &gain), kDdpiNotOpen);
}

// Channel descriptors too small for a frame are refused before anything is
// written; the converted frame must fit its buffer.
TEST(TvEac3Dec, OutputBuffersAreCheckedBeforeUse)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string ac3 = folder.file("s.ac3"), eac3 = folder.file("s.eac3");
    ASSERT_TRUE(makeAc3Stream(ac3, encodableLayouts()[2], 48000, 192, 0.1));
    ASSERT_EQ(std::system(("ffmpeg -v error -f lavfi -i sine=d=0.1:sample_rate=48000 -c:a eac3 -y " + eac3).c_str()),
              0);
    uint32_t size = 0;
    ASSERT_EQ(ddpi_dcv_query(&size), kDdpiOk);
    std::unique_ptr<std::max_align_t[]> memory(
        new std::max_align_t[size / sizeof(std::max_align_t) + 1]);
    ASSERT_EQ(ddpi_dcv_open(memory.get()), kDdpiOk);

    std::vector<uint8_t> frame = swapped(splitAc3Frames(readBytes(ac3))[0]);
    ddpi_frame_desc desc = describe(frame);
    std::vector<double> samples(1536 * 2, 7.0);
    pp_bufdesc left{samples.data(), 1535, 2, 0}, right{samples.data() + 1, 1536, 2, 0};
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
    EXPECT_EQ(convert.ac3Words, 1280);  // 640 kbit/s at 48 kHz
    EXPECT_EQ(converted[0], 0x77);  // little-endian words: 0x0B77
    EXPECT_EQ(converted[1], 0x0B);
    ddpi_dcv_close(memory.get());
}

}  // namespace
