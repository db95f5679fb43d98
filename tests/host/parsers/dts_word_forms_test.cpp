// The host's rewriting of DTS-CD and little-endian DTS into the 16-bit
// big-endian core stream: every form, cut anywhere, gives the frames back.
#include <gtest/gtest.h>

#include <random>

#include "host/parsers/dts_word_forms.h"
#include "support/dts_carrier_words.h"

namespace {

// A core frame of `bytes` bytes whose header says so; the rest is a pattern.
std::vector<uint8_t> frame(size_t bytes, uint8_t seed)
{
    std::vector<uint8_t> f(bytes);
    for (size_t i = 0; i < bytes; ++i)
        f[i] = uint8_t(seed + i * 31);
    const uint8_t header[] = {0x7F, 0xFE, 0x80, 0x01, 0xFC, 0x3C};
    std::copy(std::begin(header), std::end(header), f.begin());
    uint32_t fsize = uint32_t(bytes - 1);
    f[5] = uint8_t((f[5] & 0xFC) | (fsize >> 12));
    f[6] = uint8_t(fsize >> 4);
    f[7] = uint8_t((fsize << 4) | (f[7] & 0x0F));
    return f;
}

std::vector<uint8_t> inForm(const std::vector<uint8_t>& f, DtsWordForm form)
{
    return inCarrierWords(
        f, form == DtsWordForm::BigEndian14 || form == DtsWordForm::LittleEndian14,
        form == DtsWordForm::LittleEndian16 || form == DtsWordForm::LittleEndian14);
}

TEST(DtsWordForms, EveryFormCutAnywhereGivesTheCoreFrames)
{
    const DtsWordForm forms[] = {DtsWordForm::LittleEndian16, DtsWordForm::BigEndian14,
                                 DtsWordForm::LittleEndian14};
    std::vector<std::vector<uint8_t>> frames = {frame(1792, 1), frame(2012, 2), frame(1001, 3)};
    std::mt19937 random(7);
    for (DtsWordForm form : forms) {
        std::vector<uint8_t> stream = {0, 0, 0};  // garbage before the first sync is dropped
        std::vector<uint8_t> expected;
        std::vector<int64_t> starts;
        for (const auto& f : frames) {
            starts.push_back(int64_t(stream.size()));
            auto carried = inForm(f, form);
            stream.insert(stream.end(), carried.begin(), carried.end());
            expected.insert(expected.end(), f.begin(), f.end());
        }
        stream.resize(stream.size() - 5);  // the last frame is cut short
        expected.resize(expected.size() - frames.back().size());
        EXPECT_EQ(findDtsWordForm(stream.data(), stream.size()), form);
        for (size_t piece : {size_t(0), size_t(1), size_t(17), size_t(999)}) {
            DtsCoreStreamConverter converter(form);
            std::vector<uint8_t> out;
            std::vector<int64_t> firsts;
            for (size_t at = 0; at < stream.size();) {
                size_t take = piece ? std::min(piece, stream.size() - at) : stream.size();
                if (piece == 999)
                    take = std::min(size_t(1 + random() % 3000), stream.size() - at);
                int64_t first = converter.push(&stream[at], take, out);
                if (first >= 0)
                    firsts.push_back(first);
                at += take;
            }
            EXPECT_TRUE(out == expected) << int(form) << " piece " << piece << ": " << out.size();
            // Each frame is reported where it began in the carrier.
            ASSERT_EQ(firsts.size(), piece == 0 ? 1u : 2u) << int(form) << " piece " << piece;
            EXPECT_EQ(firsts[0], starts[0]);
        }
    }
}

TEST(DtsWordForms, SyncWordsOfEachForm)
{
    struct Case {
        std::vector<uint8_t> bytes;
        DtsWordForm form;
    } cases[] = {
        {{0x7F, 0xFE, 0x80, 0x01}, DtsWordForm::BigEndian16},
        {{0xFE, 0x7F, 0x01, 0x80}, DtsWordForm::LittleEndian16},
        {{0x1F, 0xFF, 0xE8, 0x00, 0x07, 0xF3}, DtsWordForm::BigEndian14},
        {{0xFF, 0x1F, 0x00, 0xE8, 0xF3, 0x07}, DtsWordForm::LittleEndian14},
        {{0x1F, 0xFF, 0xE8, 0x00, 0x07, 0xE3}, DtsWordForm::None},  // header bits not set
        {{0x1F, 0xFF, 0xE8, 0x00}, DtsWordForm::None},              // too short to tell
        {{0x64, 0x58, 0x20, 0x25}, DtsWordForm::None},              // DTS-HD substream: no core
    };
    for (const Case& c : cases)
        EXPECT_EQ(dtsSyncFormAt(c.bytes.data(), c.bytes.size()), c.form) << int(c.form);
}

// A sync whose frame would be shorter than any core frame is passed over.
TEST(DtsWordForms, FalseSyncsArePassedOver)
{
    std::vector<uint8_t> shortFrame = frame(1792, 9);
    shortFrame[5] &= 0xFC, shortFrame[6] = 0, shortFrame[7] &= 0x0F;  // FSIZE 0
    std::vector<uint8_t> real = frame(1792, 4);
    std::vector<uint8_t> stream = inForm(shortFrame, DtsWordForm::LittleEndian16);
    stream.resize(64);
    auto carried = inForm(real, DtsWordForm::LittleEndian16);
    stream.insert(stream.end(), carried.begin(), carried.end());
    DtsCoreStreamConverter converter(DtsWordForm::LittleEndian16);
    std::vector<uint8_t> out;
    EXPECT_EQ(converter.push(stream.data(), stream.size(), out), 64);
    EXPECT_TRUE(out == real);
}

}  // namespace
