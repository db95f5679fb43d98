// TvMlpDec at its entry points: access units and major syncs read from
// hand-altered real units, the two presentations, the record version and
// garbage before a stream.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "libs/TvMlpDec/mlp_access_unit.h"
#include "support/mlp_tools.h"

extern "C" MlpDecoder* mlpDecoderInit(const MlpInitRecord* init, int version);
extern "C" const MlpResult* mlpDecoderRun(MlpDecoder* instance,
                                          const uint8_t* input,
                                          MlpSampleRow* matrix);
extern "C" void mlpDecoderClose(MlpDecoder* instance);

namespace {

struct Decoded {
    // 24-bit little-endian, as a filter writes them.
    std::vector<uint8_t> multichannel, twoChannel;
    int multichannelCount = 0, twoChannelCount = 0, errors = 0;
    size_t consumed = 0;
    uint32_t formatSync = 0;
};

void append24(std::vector<uint8_t>& out,
              const MlpSampleRow* rows,
              int samples,
              int column,
              int count)
{
    for (int i = 0; i < samples; ++i)
        for (int k = 0; k < count; ++k) {
            uint32_t v = uint32_t(rows[i][column + k]);
            out.push_back(uint8_t(v));
            out.push_back(uint8_t(v >> 8));
            out.push_back(uint8_t(v >> 16));
        }
}

// Offers the stream in pieces of `piece` bytes (0: whole), each call's unused
// bytes offered again with the next piece, as the filter's buffer does.
Decoded decodeAll(const std::vector<uint8_t>& stream, size_t piece = 0)
{
    Decoded d;
    MlpDecoder* mlp = mlpDecoderInit(nullptr, kMlpRecordVersion);
    EXPECT_NE(mlp, nullptr);
    if (!mlp)
        return d;
    static MlpSampleRow matrix[kMlpMaxSamples];
    size_t begin = 0, available = 0;
    while (available < stream.size()) {
        available = piece ? std::min(stream.size(), available + piece) : stream.size();
        mlp->intface.inbufEnd = int32_t(available - begin);
        mlp->intface.consumed = 0;
        for (;;) {
            const MlpResult* r = mlpDecoderRun(mlp, stream.data() + begin, matrix);
            d.errors += r->errorCode != kMlpErrorNone;
            if (r->samplesDecoded == 0)
                break;
            EXPECT_LE(r->samplesDecoded, kMlpMaxSamples);
            d.formatSync = r->major_sync_info->format_sync;
            if (r->multichannel >= 0) {
                append24(d.multichannel, matrix, r->samplesDecoded, r->multichannel,
                         r->multichannelCount);
                d.multichannelCount = r->multichannelCount;
            }
            if (r->twoChannel >= 0) {
                append24(d.twoChannel, matrix, r->samplesDecoded, r->twoChannel,
                         r->twoChannelCount);
                d.twoChannelCount = r->twoChannelCount;
            }
        }
        EXPECT_EQ(mlp->intface.inbufEnd, int32_t(available - begin));
        begin += size_t(mlp->intface.consumed);
        d.consumed += size_t(mlp->intface.consumed);
    }
    mlpDecoderClose(mlp);
    return d;
}

// A stream comes out in the presentation its channel count calls for (two
// channels or the multichannel one, never both), bit for bit its source PCM,
// whole and in pieces. The decoder suite covers the other encodings.
TEST(TvMlpDec, EachPresentationDecodesToTheSourcePcm)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    for (MlpEncoding encoding :
         {MlpEncoding{"mlp", 2, "stereo", 44100, 16}, MlpEncoding{"truehd", 6, "5.1", 48000, 24}}) {
        TempFolder folder;
        MlpStream stream = makeMlpStream(folder, encoding);
        ASSERT_FALSE(stream.path.empty());
        std::vector<uint8_t> bytes = fileBytes(stream.path);
        Decoded whole = decodeAll(bytes);
        bool multichannel = encoding.channels > 2;
        EXPECT_EQ(whole.multichannelCount, multichannel ? encoding.channels : 0);
        EXPECT_EQ(whole.twoChannelCount, multichannel ? 0 : encoding.channels);
        EXPECT_TRUE(startsWithSource(multichannel ? whole.multichannel : whole.twoChannel,
                                     stream.expected, encoding.channels))
            << mlpEncodingName(encoding);
        EXPECT_EQ(whole.errors, 0);
        EXPECT_EQ(whole.consumed, bytes.size());
        Decoded pieces = decodeAll(bytes, 17);
        EXPECT_TRUE(pieces.multichannel == whole.multichannel &&
                    pieces.twoChannel == whole.twoChannel);
    }
}

// The first access unit of a real stream (with its major sync) and the one
// after it, as found and as altered: each way an access unit is refused.
TEST(MlpAccessUnit, FoundCheckedAndRefused)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    MlpStream stream = makeMlpStream(folder, {"truehd", 6, "5.1", 96000, 24});
    std::vector<uint8_t> bytes = fileBytes(stream.path);
    ASSERT_GT(bytes.size(), 200u);
    size_t first = size_t(((bytes[0] << 8) | bytes[1]) & 0xFFF) * 2;
    std::vector<uint8_t> unit(bytes.begin(), bytes.begin() + long(first));
    std::vector<uint8_t> next(bytes.begin() + long(first), bytes.end());
    auto altered = [](std::vector<uint8_t> b, size_t at, uint8_t x) {
        b[at] ^= x;
        return b;
    };
    MlpMajorSyncInfo sync;
    ASSERT_TRUE(readMajorSync(unit.data() + 4, unit.size() - 4, sync));
    struct Case {
        const char* what;
        std::vector<uint8_t> data;
        const MlpMajorSyncInfo* current;
        AccessUnitCheck check;
    } cases[] = {
        // clang-format off
        {"with its major sync", unit, nullptr, AccessUnitCheck::kValid},
        {"cut short", {unit.begin(), unit.end() - 1}, nullptr, AccessUnitCheck::kIncomplete},
        {"major sync cut short", {unit.begin(), unit.begin() + 20}, nullptr, AccessUnitCheck::kIncomplete},
        {"three bytes", {unit.begin(), unit.begin() + 3}, nullptr, AccessUnitCheck::kIncomplete},
        {"major sync checksum wrong", altered(unit, 4 + 10, 0x01), nullptr, AccessUnitCheck::kInvalid},
        {"check nibble wrong", altered(unit, 0, 0x10), nullptr, AccessUnitCheck::kInvalid},
        {"length below a header", {0xF0, 0x02, 0, 0, 0, 0, 0, 0}, &sync, AccessUnitCheck::kInvalid},
        {"without a major sync, after one", next, &sync, AccessUnitCheck::kValid},
        {"without a major sync, none before", next, nullptr, AccessUnitCheck::kInvalid},
        {"directory word altered", altered(next, 4, 0x01), &sync, AccessUnitCheck::kInvalid},
        // clang-format on
    };
    for (const Case& c : cases) {
        AccessUnit found;
        EXPECT_EQ(checkAccessUnit(c.data.data(), c.data.size(), c.current, found), c.check)
            << c.what;
    }
    AccessUnit found;
    ASSERT_EQ(checkAccessUnit(unit.data(), unit.size(), nullptr, found), AccessUnitCheck::kValid);
    const MlpMajorSyncInfo& m = found.majorSync;
    EXPECT_EQ(std::tuple(found.hasMajorSync, found.length, m.format_sync, m.sampleRate, m.channels,
                         m.substreams, m.accessUnitSamples),
              std::tuple(true, first, kMlpFormatSyncFba, 96000, 6, 1, 80));
}

// Only the records' own version opens an instance; garbage before the stream
// is passed over with a sync error, and the samples after it are all there.
TEST(TvMlpDec, VersionAndGarbage)
{
    EXPECT_EQ(mlpDecoderInit(nullptr, 30), nullptr);
    EXPECT_EQ(mlpDecoderRun(nullptr, nullptr, nullptr), nullptr);
    mlpDecoderClose(nullptr);
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    MlpStream stream = makeMlpStream(folder, {"mlp", 2, "stereo", 48000, 24});
    std::vector<uint8_t> bytes(777, 0xF8);
    std::vector<uint8_t> encoded = fileBytes(stream.path);
    bytes.insert(bytes.end(), encoded.begin(), encoded.end());
    Decoded d = decodeAll(bytes, 100);
    EXPECT_TRUE(startsWithSource(d.twoChannel, stream.expected, 2));
    EXPECT_EQ(d.errors, 8);  // once per offering that held garbage (777 bytes in pieces of 100)
    EXPECT_EQ(d.formatSync, kMlpFormatSyncFbb);
}

}  // namespace
