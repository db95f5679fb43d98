// TvAmrDec.dll through its exported object: every narrow-band mode and the
// wide-band modes against opencore decoding frame by frame (bit for bit),
// inputs cut anywhere, comfort noise, the output room, and input it cannot use.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "libs/TvAmrDec/tv_amr_dec.h"
#include "platform/kernel.h"
#include "support/amr_codec.h"
#include "support/decoder_feed.h"
#include "support/library_object.h"

namespace {

class Library : public LibraryObject<TvAmrDecoder> {
public:
    Library() : LibraryObject(TAVIO_MODULE_DIR "/TvAmrDec.dll") {}

    void start(bool wideband)
    {
        uint8_t flag = wideband ? 1 : 0;
        ASSERT_EQ(decoder_->SetParam(kAmrWideband, &flag), 0);
    }
    void setRoom(int32_t room) { ASSERT_EQ(decoder_->SetParam(kAmrOutputRoom, &room), 0); }

    // One Decode of `input`; what it wrote is appended to `pcm`.
    int decode(const uint8_t* input, size_t size, std::vector<int16_t>& pcm)
    {
        int32_t n = int32_t(size);
        decoder_->SetParam(kAmrInputSize, &n);
        std::vector<int16_t> out(32768, int16_t(0x5A5A));
        int result = decoder_->Decode(input, out.data());
        int32_t written = -1;
        decoder_->GetParam(kAmrOutputSize, &written);
        EXPECT_EQ(result == 0, written > 0);
        EXPECT_EQ(written % 2, 0);
        pcm.insert(pcm.end(), out.begin(), out.begin() + std::max(0, written / 2));
        return result;
    }

    // The whole input in pieces: whole (0), of `piece` bytes, or random (-1).
    std::vector<int16_t> decodeInPieces(const std::vector<uint8_t>& input, int piece)
    {
        std::vector<int16_t> pcm;
        std::mt19937 random(7);
        size_t at = 0;
        while (at < input.size()) {
            size_t take = piece == 0  ? input.size()
                          : piece > 0 ? size_t(piece)
                                      : size_t(std::uniform_int_distribution<int>(1, 200)(random));
            take = std::min(take, input.size() - at);
            decode(input.data() + at, take, pcm);
            at += take;
        }
        return pcm;
    }
};

// Every mode decodes bit for bit as opencore does, whole, byte by byte and
// cut at random. ffmpeg's decoders are compared through the decoder suite.
TEST(TvAmrDec, EveryModeDecodesLikeOpencoreHoweverTheInputIsCut)
{
    struct Mode {
        bool wideband;
        int mode;
    };
    for (Mode m : {Mode{false, 0}, Mode{false, 1}, Mode{false, 2}, Mode{false, 3}, Mode{false, 4},
                   Mode{false, 5}, Mode{false, 6}, Mode{false, 7}, Mode{true, 0}, Mode{true, 1},
                   Mode{true, 4}, Mode{true, 8}}) {
        Library library;
        ASSERT_TRUE(library);
        AmrStream stream =
            encodeAmr(m.wideband, m.mode, false, vowelLikeSignal(m.wideband ? 16000 : 8000, 0.5));
        ASSERT_EQ(stream.frameType(10), m.mode);
        std::vector<int16_t> reference = opencoreDecode(stream);
        ASSERT_EQ(reference.size(), stream.frames.size() * size_t(stream.frameSamples()));
        for (int piece : {0, 1, -1}) {
            library.start(m.wideband);
            EXPECT_TRUE(library.decodeInPieces(stream.body(), piece) == reference)
                << (m.wideband ? "wide" : "narrow") << "-band mode " << m.mode << " piece "
                << piece;
        }
    }
}

// With DTX the pause is sent as SID and NO_DATA frames: each gives a whole
// frame of the codec's comfort noise, as opencore makes it.
TEST(TvAmrDec, PausesBecomeComfortNoise)
{
    for (bool wideband : {false, true}) {
        Library library;
        ASSERT_TRUE(library);
        int rate = wideband ? 16000 : 8000;
        AmrStream stream =
            encodeAmr(wideband, wideband ? 2 : 7, true, vowelLikeSignal(rate, 2.5, 0.8));
        int sid = wideband ? 9 : 8, sids = 0, noData = 0;
        for (size_t i = 0; i < stream.frames.size(); ++i) {
            sids += stream.frameType(i) == sid;
            noData += stream.frameType(i) == 15;
        }
        ASSERT_GT(sids, 0) << wideband;
        ASSERT_GT(noData, 0) << wideband;
        library.start(wideband);
        std::vector<int16_t> pcm = library.decodeInPieces(stream.body(), 17);
        EXPECT_EQ(pcm.size(), stream.frames.size() * size_t(stream.frameSamples())) << wideband;
        EXPECT_TRUE(pcm == opencoreDecode(stream)) << wideband;
    }
}

// Frames that do not fit the output room are written by the next Decode.
TEST(TvAmrDec, FramesBeyondTheOutputRoomComeNextTime)
{
    Library library;
    ASSERT_TRUE(library);
    AmrStream stream = encodeAmr(false, 5, false, vowelLikeSignal(8000, 0.2));
    ASSERT_EQ(stream.frames.size(), 10u);
    library.start(false);
    library.setRoom(3 * kAmrNarrowbandFrameBytes + 100);
    std::vector<uint8_t> body = stream.body();
    std::vector<int16_t> pcm;
    EXPECT_EQ(library.decode(body.data(), body.size(), pcm), 0);
    EXPECT_EQ(pcm.size(), 3u * 160);
    while (library.decode(nullptr, 0, pcm) == 0) {
    }
    EXPECT_TRUE(pcm == opencoreDecode(stream));

    // With no room at all, what is kept is bounded: too much is dropped.
    library.start(false);
    library.setRoom(0);
    std::vector<uint8_t> big;
    while (big.size() <= size_t(kAmrMaxKeptBytes))
        big.insert(big.end(), body.begin(), body.end());
    pcm.clear();
    EXPECT_EQ(library.decode(big.data(), big.size(), pcm), 1);
    library.setRoom(kAmrDefaultOutputRoom);
    EXPECT_EQ(library.decode(nullptr, 0, pcm), 1);
    EXPECT_TRUE(pcm.empty());
    EXPECT_EQ(library.decode(body.data(), body.size(), pcm), 0);
    EXPECT_EQ(pcm.size(), 10u * 160);
}

// Input that cannot be decoded as it is: what is lost, and what comes back.
TEST(TvAmrDec, InputItCannotUse)
{
    AmrStream nb = encodeAmr(false, 7, false, vowelLikeSignal(8000, 0.1));
    AmrStream wb = encodeAmr(true, 2, false, vowelLikeSignal(16000, 0.1));
    ASSERT_EQ(nb.frames.size(), 5u);
    std::vector<uint8_t> head(nb.frames[0].begin(), nb.frames[0].begin() + 10);
    std::vector<uint8_t> tail(nb.frames[0].begin() + 10, nb.frames[0].end());
    std::vector<uint8_t> efrSid(7, 0);
    efrSid[0] = 9 << 3 | 4;
    struct Row {
        const char* what;
        bool wideband;
        std::vector<std::vector<uint8_t>> inputs;
        size_t frames;  // of output, in all
    } rows[] = {
        // clang-format off
        // 0x3D has a padding bit set, 0x83 the F bit: neither is a table-of-contents byte.
        {"a broken frame boundary drops the rest of its input only", false, {joined({nb.body(0, 2), {0x3D}, nb.body(2, 3)}), nb.body()}, 2 + 5},
        {"after a frame completed across inputs, a broken boundary drops the rest", false, {head, joined({tail, {0x83}, nb.body(1, 4)}), nb.body()}, 1 + 5},
        {"narrow-band types of other codecs and for future use are dropped", false, {joined({nb.body(0, 1), efrSid, {13 << 3 | 4}, nb.body(1, 4)})}, 5},
        {"wide-band types for future use are concealed as missing frames", true, {joined({wb.body(0, 3), {11 << 3 | 4}, wb.body(3, 2)})}, 6},
        {"the file's magic line is skipped, even cut", true, {{'#', '!', 'A', 'M'}, {'R', '-', 'W', 'B', '\n'}, wb.body()}, 5},
        {"no frame yet: nothing", false, {{nb.frames[0].begin(), nb.frames[0].end() - 1}}, 0},
        // clang-format on
    };
    for (const Row& row : rows) {
        Library library;
        ASSERT_TRUE(library);
        library.start(row.wideband);
        std::vector<int16_t> pcm;
        for (const auto& input : row.inputs)
            library.decode(input.data(), input.size(), pcm);
        EXPECT_EQ(pcm.size(), row.frames * (row.wideband ? 320 : 160)) << row.what;
    }
}

}  // namespace
