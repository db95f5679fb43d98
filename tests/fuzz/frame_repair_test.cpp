// The fuzz mutator's frame repair on real streams: an intact stream comes
// out as it went in (each check field computed as the encoder computed it),
// and a frame altered so that our own checks refuse it passes them again.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "decoders/dts_header.h"
#include "decoders/eac3_header.h"
#include "engines/dts/dts_engine.h"
#include "fuzz/frame_mutator.h"
#include "libs/TvEac3Dec/tv_eac3_dec.h"
#include "support/ffmpeg.h"
#include "support/mlp_library.h"

extern "C" short ddpi_dcv_checkframe(const ddpi_frame_desc* frame);

namespace {

using Bytes = std::vector<uint8_t>;

// Whether the first frame of a stream passes the checks its decoder makes.
bool dolbyFrameChecks(const Bytes& s)
{
    DolbySyncFrame frame;
    if (!parseDolbySyncFrame(s.data(), s.size(), frame))
        return false;
    uint32_t words = uint32_t(frame.frameSize / 2);
    Bytes inWords = swappedPairs(Bytes(s.begin(), s.begin() + frame.frameSize));
    ddpi_frame_desc desc{reinterpret_cast<const int16_t*>(inWords.data()), words, words};
    return ddpi_dcv_checkframe(&desc) == kDdpiOk;
}

// The first access unit alone, decoded by the library: it yields samples
// only when its checks and those of libavcodec's decoder pass.
bool mlpUnitDecodes(const Bytes& s)
{
    AccessUnit unit;
    if (checkAccessUnit(s.data(), s.size(), nullptr, unit) != AccessUnitCheck::kValid)
        return false;
    MlpDecoder* mlp = mlpDecoderInit(nullptr, kMlpRecordVersion);
    static MlpSampleRow matrix[kMlpMaxSamples];
    mlp->intface.inbufEnd = int32_t(unit.length);
    mlp->intface.consumed = 0;
    bool decoded = mlpDecoderRun(mlp, s.data(), matrix)->samplesDecoded > 0;
    mlpDecoderClose(mlp);
    return decoded;
}

bool dtsFrameDecodes(const Bytes& s)
{
    DtsHeader header;
    if (!parseDtsHeader(s.data(), s.size(), header))
        return false;
    DtsEngine* engine = dtsEngineCreate();
    std::vector<uint8_t> out(1 << 16);
    DtsFrameInfo info =
        dtsEngineDecode(engine, s.data(), size_t(header.frameBytes), out.data(), out.size());
    dtsEngineDestroy(engine);
    return info.error == 0;
}

struct Stream {
    const char* name;
    const char* options;  // ffmpeg's output options
    void (*repair)(uint8_t* data, size_t size);
    std::function<bool(const Bytes&)> accepted;
};

const Stream kStreams[] = {
    {"s.ac3", "-c:a ac3 -f ac3", repairDolbyFrames, dolbyFrameChecks},
    {"s.eac3", "-c:a eac3 -f eac3", repairDolbyFrames, dolbyFrameChecks},
    {"s.thd", "-c:a truehd -sample_fmt s32 -strict -2 -f truehd", repairMlpUnits, mlpUnitDecodes},
    {"s.mlp", "-c:a mlp -sample_fmt s32 -strict -2 -f mlp", repairMlpUnits, mlpUnitDecodes},
    {"s.dts", "-c:a dca -strict -2 -f dts", repairDtsFrames, dtsFrameDecodes},
};

Bytes encode(const TempFolder& folder, const Stream& stream)
{
    std::string path = folder.file(stream.name);
    if (!encodeTones(path, {"FL+FR+FC+LFE+BL+BR", 48000, 0.3, 0.5}, stream.options))
        return {};
    return readBytes(path);
}

Bytes repaired(const Stream& stream, Bytes bytes)
{
    stream.repair(bytes.data(), bytes.size());
    return bytes;
}

TEST(FrameRepair, IntactStreamsStayAsTheyAre)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    for (const Stream& stream : kStreams) {
        Bytes bytes = encode(folder, stream);
        ASSERT_GT(bytes.size(), 4000u) << stream.name;
        EXPECT_TRUE(stream.accepted(bytes)) << stream.name;
        EXPECT_EQ(repaired(stream, bytes), bytes) << stream.name;
        EXPECT_EQ(repaired(stream, swappedPairs(bytes)), swappedPairs(bytes)) << stream.name;
    }
}

// Each alteration makes the first frame fail; repaired, it passes, in either
// word order where the syntax has both.
TEST(FrameRepair, AlteredFramesPassAgain)
{
    REQUIRE_FFMPEG();
    TempFolder folder;
    struct Case {
        size_t stream;  // in kStreams
        size_t at;      // the byte altered
        uint8_t mask;   // what it is XORed with
        bool bothOrders;
    } cases[] = {
        {0, 100, 0x10, true},          // AC-3: in the first 5/8 (crc1)
        {0, 1000, 0x01, true},         // AC-3: in the rest (crc2)
        {0, 2, 0xFF, true},            // AC-3: crc1 itself
        {1, 300, 0x80, true},          // E-AC-3: anywhere
        {2, 4 + 10, 0x01, false},      // TrueHD: the major sync
        {2, 0, 0x30, false},           // TrueHD: the check nibble
        {2, 4 + 28 + 1, 0x02, false},  // TrueHD: a directory word
        {3, 4 + 12, 0x04, false},      // MLP: the major sync
        {4, 4, 0x3C, true},            // DTS: the deficit sample count
        {4, 7, 0x05, true},            // DTS: the channel arrangement
        {4, 8, 0x34, true},            // DTS: a sample rate code no core uses
        {4, 9, 0x10, true},            // DTS: the reserved bit
    };
    std::vector<Bytes> streams;
    for (const Stream& stream : kStreams)
        streams.push_back(encode(folder, stream));
    for (const Case& c : cases) {
        const Stream& stream = kStreams[c.stream];
        ASSERT_GT(streams[c.stream].size(), c.at) << stream.name;
        Bytes altered = streams[c.stream];
        altered[c.at] ^= c.mask;
        EXPECT_FALSE(stream.accepted(altered)) << stream.name << " at " << c.at;
        EXPECT_TRUE(stream.accepted(repaired(stream, altered))) << stream.name << " at " << c.at;
        if (c.bothOrders) {
            EXPECT_EQ(repaired(stream, swappedPairs(altered)),
                      swappedPairs(repaired(stream, altered)))
                << stream.name << " at " << c.at;
        }
    }
}

}  // namespace
