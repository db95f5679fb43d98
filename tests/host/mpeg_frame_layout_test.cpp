// The host's layout of MPEG audio frames, wherever packets cut the stream:
// the same bytes come out, each byte in the packet it came in; a stream cut
// inside a frame that follows a frame is owed the rest of it.
#include <gtest/gtest.h>

#include "host/mpeg_frame_layout.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes frame(std::initializer_list<uint8_t> header, size_t size)
{
    Bytes bytes(header);
    bytes.resize(size, 0x55);
    return bytes;
}

TEST(MpegFrameLayout, SameLayoutWhereverPacketsCut)
{
    // MPEG-2 layer II at 24 kHz, 128 kbit/s: 768 bytes, 1152 as the decoder
    // measures them; then MPEG-1 layer II, 576 bytes either way.
    Bytes mpeg2 = frame({0xFF, 0xF4, 0xC4, 0x00}, 768), mpeg1 = frame({0xFF, 0xFC, 0xA4, 0}, 576);
    Bytes stream = {0xFF, 0xF4, 0xF0, 2, 3}, expected = stream;
    for (const Bytes* f : {&mpeg2, &mpeg2, &mpeg1}) {
        stream.insert(stream.end(), f->begin(), f->end());
        expected.insert(expected.end(), f->begin(), f->end());
        expected.resize(expected.size() + (f == &mpeg2 ? 384 : 0), 0);
    }
    for (size_t cut = 0; cut <= stream.size(); ++cut) {
        MpegFrameLayout layout;
        Bytes first(stream.begin(), stream.begin() + long(cut)),
            second(stream.begin() + long(cut), stream.end());
        layout.lay(first);
        // The first frame follows other bytes; the others follow a frame.
        size_t frameEnd = 5, owed = 0;
        for (const Bytes* f : {&mpeg2, &mpeg2, &mpeg1}) {
            size_t start = frameEnd;
            frameEnd += f->size();
            if (start > 5 && cut >= start + 4 && cut < frameEnd)
                owed = frameEnd - cut + (f == &mpeg2 ? 384 : 0);
        }
        ASSERT_EQ(layout.zerosToCompleteLastFrame(), owed) << cut;
        layout.lay(second);
        ASSERT_EQ(layout.zerosToCompleteLastFrame(), 0u);
        size_t zerosInFirst = 384 * ((cut >= 5 + 768) + (cut >= 5 + 2 * 768));
        ASSERT_EQ(first.size(), cut + zerosInFirst) << cut;
        first.insert(first.end(), second.begin(), second.end());
        ASSERT_EQ(first, expected) << cut;
    }
    MpegFrameLayout layout;
    Bytes laid;
    for (uint8_t byte : stream) {
        Bytes packet{byte};
        layout.lay(packet);
        laid.insert(laid.end(), packet.begin(), packet.end());
    }
    EXPECT_EQ(laid, expected);
}

TEST(MpegFrameLayout, FreeFormatPassesUntouched)
{
    // Free-format MPEG-2 layer II at 24 kHz, 600-byte frames; inside the
    // first, what looks like a table frame that would be owed zeros.
    Bytes free = frame({0xFF, 0xF5, 0x04, 0x00}, 600), stream;
    std::copy_n(Bytes{0xFF, 0xF4, 0xC4, 0x00}.begin(), 4, free.begin() + 100);
    for (int i = 0; i < 3; ++i)
        stream.insert(stream.end(), free.begin(), free.end());
    stream.resize(stream.size() - 50);
    for (size_t cut = 0; cut <= stream.size(); ++cut) {
        MpegFrameLayout layout;
        Bytes first(stream.begin(), stream.begin() + long(cut)),
            second(stream.begin() + long(cut), stream.end());
        layout.lay(first);
        layout.lay(second);
        first.insert(first.end(), second.begin(), second.end());
        ASSERT_EQ(first, stream) << cut;
        ASSERT_EQ(layout.zerosToCompleteLastFrame(), 0u) << cut;
    }
}

}  // namespace
