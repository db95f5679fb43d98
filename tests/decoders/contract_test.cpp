// What every decoder owes the receive loop, over the rows marked for it: the
// output does not depend on how the input was cut, a re-init starts afresh,
// an output sample too small for a frame is never overrun, garbage and false
// syncs in front are skipped, and a missing sibling library refuses the type.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "core/media_subtypes.h"
#include "decoders/decoder_rows.h"
#include "diagnostics/assertions.h"
#include "support/media_types.h"

namespace {

std::vector<Row> contractRows(bool byteStreams = false)
{
    std::vector<Row> rows;
    for (const Row& row : madeRows())
        if (row.contract && (!byteStreams || row.framed || row.decoder == Decoder::Mlp))
            rows.push_back(row);
    return rows;
}

class DecoderContract : public ::testing::TestWithParam<Row> {
protected:
    void SetUp() override
    {
        if (row.decoder != Decoder::LpcmDvda && row.decoder != Decoder::Amr)
            REQUIRE_FFMPEG();
        input = rowInput(row);
        ASSERT_FALSE(input.packets.empty());
        whole = run(input.packets, {.privateHeaders = input.privateHeaders});
        ASSERT_FALSE(whole.frames.empty());
    }
    void TearDown() override { EXPECT_EQ(assertionCount(), assertionsBefore); }

    DecoderRun run(const std::vector<std::vector<uint8_t>>& packets, FeedOptions options)
    {
        std::ostringstream log;
        auto decoder = startDecoder(row, input, log);
        EXPECT_TRUE(decoder) << log.str();
        if (!decoder)
            return {};
        DecoderRun result = feedDecoder(*decoder, packets, options);
        EXPECT_EQ(result.contractBreaks, std::vector<std::string>{});
        return result;
    }

    const Row& row = GetParam();
    unsigned long assertionsBefore = assertionCount();
    StreamInput input;
    DecoderRun whole;
};

// Byte streams (and MLP in disc packets, re-packed) can be cut anywhere; one
// coded unit per input sample (AAC, Vorbis, AMR) always arrives whole.
class ByteStreamContract : public DecoderContract {};

TEST_P(ByteStreamContract, OutputDoesNotDependOnTheCuts)
{
    bool repack = !input.elementary.empty();
    bool hdDvd = input.type.subtype == MEDIASUBTYPE_HDDVD_AUDIO_MLP;
    std::mt19937 random(7);
    std::vector<size_t> randomSizes;
    for (int i = 0; i < 64; ++i)
        randomSizes.push_back(1 + random() % 3000);
    for (auto [piece, seed] : {std::pair{1u, 0u}, {17u, 0u}, {3000u, 7u}}) {
        DecoderRun cut = repack ? run(mlpPackets(input.elementary, hdDvd,
                                                 seed ? randomSizes : std::vector<size_t>{piece}),
                                      {.privateHeaders = true})
                                : run(input.packets, {.piece = piece, .randomSeed = seed});
        EXPECT_TRUE(cut.output == whole.output)
            << "pieces of " << piece << (seed ? " at most" : "");
    }
}

TEST_P(DecoderContract, ReinitStartsAfresh)
{
    std::ostringstream log;
    auto decoder = startDecoder(row, input, log);
    ASSERT_TRUE(decoder);
    // Half the stream, the last packet of it cut short, then a new start.
    std::vector<std::vector<uint8_t>> half(
        input.packets.begin(), input.packets.begin() + long(input.packets.size() / 2 + 1));
    half.back().resize(half.back().size() / 2);
    feedDecoder(*decoder, half, {.privateHeaders = input.privateHeaders});
    // A disc packet cut short is an assertion of its own; the new start is not.
    assertionsBefore = assertionCount();
    ASSERT_TRUE(decoder->init(input.type));
    if (row.spdif)
        decoder->setSpdif(true);
    DecoderRun again =
        feedDecoder(*decoder, input.packets, {.privateHeaders = input.privateHeaders});
    EXPECT_TRUE(again.output == whole.output)
        << again.output.size() << " against " << whole.output.size();
    EXPECT_EQ(again.contractBreaks, std::vector<std::string>{});
}

TEST_P(DecoderContract, AnOutputSampleSmallerThanAFrameIsNeverOverrun)
{
    size_t smallest = whole.output.size();
    for (const auto& frame : whole.frames)
        smallest = std::min(smallest, size_t(frame->samples) * size_t(frame->chan) *
                                          size_t(bytesPerSample(row.format)));
    std::ostringstream log;
    auto decoder = startDecoder(row, input, log);
    ASSERT_TRUE(decoder) << log.str();
    DecoderRun small =
        feedDecoder(*decoder, input.packets,
                    {.privateHeaders = input.privateHeaders, .outputSize = smallest - 1});
    // A frame that does not fit is asserted on by design; what matters is that
    // nothing is written past the sample (its guard bytes are checked).
    assertionsBefore = assertionCount();
    for (const std::string& contractBreak : small.contractBreaks)
        EXPECT_EQ(contractBreak.find("past the end"), std::string::npos) << contractBreak;
    // LPCM and MPEG write what fits; the MLP and AMR decoders deliver fewer of
    // the units they hold, keeping the rest; DTS returns its record without
    // output; the others pass a frame over.
    Decoder d = row.decoder;
    if (d == Decoder::Mlp || d == Decoder::Amr) {
        EXPECT_TRUE(std::equal(small.output.begin(), small.output.end(), whole.output.begin()));
    } else if (d != Decoder::LpcmDvd && d != Decoder::LpcmDvda && d != Decoder::Mpeg) {
        EXPECT_TRUE(small.output.empty()) << small.output.size() << " bytes into " << smallest - 1;
    }
}

TEST_P(ByteStreamContract, GarbageAndFalseSyncsInFrontAreSkipped)
{
    if (!row.framed)
        GTEST_SKIP() << "private headers in front of every payload";
    std::mt19937 random(11);
    // Random bytes that start no sync of any format, around a false sync.
    std::vector<uint8_t> garbage;
    for (int i = 0; i < 200; ++i) {
        if (i == 100)
            garbage.insert(garbage.end(), row.falseSync.begin(), row.falseSync.end());
        garbage.push_back(uint8_t(0x10 + random() % 0x60));
    }
    std::vector<std::vector<uint8_t>> packets = {garbage};
    packets.insert(packets.end(), input.packets.begin(), input.packets.end());
    DecoderRun after = run(packets, {});
    EXPECT_TRUE(after.output == whole.output)
        << after.output.size() << " against " << whole.output.size();
    // The MLP library reports the bytes before a sync it finds with the frame
    // (fewer than the eight a sync search looks at).
    size_t slack = row.decoder == Decoder::Mlp ? 8 : 0;
    EXPECT_LE(after.skipped - whole.skipped, garbage.size());
    EXPECT_GE(after.skipped - whole.skipped, garbage.size() - slack);
}

INSTANTIATE_TEST_SUITE_P(Rows, DecoderContract, ::testing::ValuesIn(contractRows()), rowName);
INSTANTIATE_TEST_SUITE_P(Rows,
                         ByteStreamContract,
                         ::testing::ValuesIn(contractRows(true)),
                         rowName);

// A decoder whose sibling library is missing, is no library, or lacks its
// entry points refuses its type (the DD+ decoder cannot be made at all, and
// the factory then makes the AC-3 one).
TEST(DecoderLibraries, WithoutTheirLibraryDecodersRefuseTheType)
{
    struct Case {
        const char* library;
        Decoder decoder;
        CMediaType type;
    } cases[] = {
        {"TvAc3Lib.dll", Decoder::Dolby, audioType(MEDIASUBTYPE_DOLBY_AC3, 0x2000)},
        {"TvMlpDec.dll", Decoder::Mlp,
         waveType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DVDA_AUDIO_MLP, 0, 48000, 2, 24)},
        {"TvAmrDec.dll", Decoder::Amr, audioType(MEDIASUBTYPE_SAMR_AUDIO, 0, 8000, 1)},
        {"TvEac3Dec.dll", Decoder::DDPlus, {}},
    };
    TempFolder folder;
    std::ofstream(folder.file("text")) << "not a library";
    for (const Case& c : cases)
        for (std::string copied :
             {std::string(), folder.file("text"), std::string(TEST_MODULE_PATH)}) {
            SCOPED_TRACE(std::string(c.library) + " as " + (copied.empty() ? "nothing" : copied));
            std::filesystem::remove(folder.file(c.library));
            if (!copied.empty())
                std::filesystem::copy_file(copied, folder.file(c.library));
            std::ostringstream log;
            if (c.decoder == Decoder::DDPlus) {
                EXPECT_THROW(makeDecoder(c.decoder, log, folder.path()), std::exception);
                continue;
            }
            auto decoder = makeDecoder(c.decoder, log, folder.path());
            EXPECT_TRUE(decoder->accepts(c.type));
            EXPECT_EQ(decoder->init(c.type), nullptr);
        }
}

}  // namespace
