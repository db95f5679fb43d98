// AdecMPEG's framing and bookkeeping: the accepted types, the search window,
// frames measured from their headers, frames split across buffers, garbage
// and refused headers, re-initialisation.
#include <gtest/gtest.h>

#include <iostream>
#include <set>

#include "decoders/mpeg_decoder_support.h"
#include "decoders/mpeg_header.h"
#include "diagnostics/assertions.h"
#include "filter/guid_names.h"
#include "support/ac3_tools.h"
#include "support/reference_tools.h"

namespace {

TEST(AdecMPEG, AcceptedTypes)
{
    std::ostringstream log;
    AdecMPEG decoder(log);
    struct Case {
        const GUID* major;
        const GUID* subtype;
        bool accepted;
    } cases[] = {
        {&MEDIATYPE_Audio, &MEDIASUBTYPE_MPEG1AudioPayload, true},
        {&MEDIATYPE_Audio, &MEDIASUBTYPE_MPEG1Payload, true},
        {&MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_MPEG2_AUDIO, true},
        {&MEDIATYPE_Audio, &MEDIASUBTYPE_MP3, true},
        {&MEDIATYPE_DVD_ENCRYPTED_PACK, &MEDIASUBTYPE_MPEG1Packet, true},
        {&MEDIATYPE_Audio, &MEDIASUBTYPE_MPEG1Packet, false},
        {&MEDIATYPE_MPEG2_PES, &MEDIASUBTYPE_MPEG1Packet, false},
        {&MEDIATYPE_Audio, &MEDIASUBTYPE_DOLBY_AC3, false},
        {&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(decoder.accepts(mpegType(*c.subtype, *c.major)), c.accepted) << guidName(*c.subtype);
}

class AdecMPEGFraming : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!haveFfmpeg())
            GTEST_SKIP() << "ffmpeg not installed";
        ASSERT_TRUE(makeMpegStream(folder.file("44.mp3"), "libmp3lame", 44100, 2, 128, 0.5));
        ASSERT_TRUE(makeMpegStream(folder.file("48.mp3"), "libmp3lame", 48000, 2, 128, 0.5));
        mp3At44 = readBytes(folder.file("44.mp3"));
        mp3At48 = readBytes(folder.file("48.mp3"));
        ASSERT_NE(decoder.init(mpegType()), nullptr);
    }
    TempFolder folder;
    std::vector<uint8_t> mp3At44, mp3At48;
    std::ostringstream log;
    AdecMPEG decoder{log};
};

TEST_F(AdecMPEGFraming, EdgeCases)
{
    // An MPEG-2.5 layer III header with bit-rate index 9 has no size and
    // must be passed over as garbage.
    std::vector<uint8_t> refusedHeader = {0xFF, 0xE3, 0x90, 0xC0};
    refusedHeader.insert(refusedHeader.end(), mp3At48.begin(), mp3At48.end());
    std::vector<uint8_t> garbage(333, 0x5A);
    garbage.insert(garbage.end(), mp3At48.begin(), mp3At48.end());
    struct Case {
        const char* what;
        std::vector<uint8_t> input;
        size_t frames;         // frames with output
        size_t skipped;        // bytes consumed without output
        std::set<int> sizes;   // iFrameSize of the frames
        bool nothingOnly;      // the window is never filled: "MPEG: nothing" at once
    } cases[] = {
        {"24 zero bytes", std::vector<uint8_t>(24, 0), 0, 1, {}, true},
        {"23 zero bytes", std::vector<uint8_t>(23, 0), 0, 0, {}, true},
        {"44.1 kHz 128 kbit/s: 417 and 418 bytes", mp3At44, 0, 0, {417, 418}, false},
        {"48 kHz 128 kbit/s: 384 bytes", mp3At48, 0, 0, {384}, false},
        {"MPEG-2.5 index 9 header skipped", refusedHeader, 0, 4, {384}, false},
        {"garbage before the stream skipped", garbage, 0, 333, {384}, false},
    };
    for (const Case& c : cases) {
        log.str("");
        ASSERT_NE(decoder.init(mpegType()), nullptr);
        MpegRun run = runMpeg(decoder, c.input);
        std::set<int> sizes;
        for (const TvStatusMpeg& s : run.frames)
            sizes.insert(s.iFrameSize);
        if (c.sizes.empty())
            EXPECT_EQ(run.frames.size(), c.frames) << c.what;
        else
            EXPECT_EQ(sizes, c.sizes) << c.what;
        EXPECT_EQ(run.skipped, c.skipped) << c.what;
        if (c.nothingOnly) {
            EXPECT_EQ(log.str().rfind("MPEG: nothing\n", 0), 0u) << c.what;
        }
        EXPECT_TRUE(run.output.empty() == run.frames.empty()) << c.what;
    }
}

TEST_F(AdecMPEGFraming, FrameSplitAcrossTwoBuffersWaitsForTheSecond)
{
    MemorySample out(16384);
    const uint8_t* start = mp3At48.data();
    const uint8_t* p = start;
    EXPECT_EQ(decoder.process(&p, start + 200, &out), nullptr);
    EXPECT_EQ(p, start) << "nothing of the frame is consumed";
    EXPECT_EQ(out.GetActualDataLength(), 0);
    TvStatus* status = decoder.process(&p, start + mp3At48.size(), &out);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(p - start, 384);
    EXPECT_EQ(status->iFrameSize, 384);
}

TEST_F(AdecMPEGFraming, StatusOfAPlainLayerIIIStream)
{
    MpegRun run = runMpeg(decoder, mp3At48);
    ASSERT_FALSE(run.frames.empty());
    const TvStatusMpeg& s = run.frames.back();
    EXPECT_EQ(s.formatId(), 1);
    EXPECT_EQ(s.mpeg, 1);
    EXPECT_EQ(s.layer, 3);
    EXPECT_EQ(s.mp3pro, 0);
    EXPECT_EQ(s.chan, 2);
    EXPECT_EQ(s.freq, 48000);
    EXPECT_EQ(s.samples, 1152);
    EXPECT_EQ(s.channelMask, 3u);
    EXPECT_EQ(s.bitRate, 128000);
    EXPECT_EQ(s.stype, ST16Bit);
    EXPECT_EQ(log.str().find("error: TvAssert"), std::string::npos) << log.str().substr(0, 2000);
    EXPECT_NE(log.str().find("mpeg: 1 layer: 3 srate: 48000 brate: 128 chan: 2 isize: 384"), std::string::npos);
    EXPECT_NE(log.str().find("MP3PRO:  layer: 3 MPEG: 1 Bitrate: 128000 chan: 2 sfreq: 48000 effchan: 2 "
                             "effsfreq: 48000 outsfreq: 48000 mp3pro: 0"),
              std::string::npos);
}

// init is the reset: after a stream cut in the middle of a frame, a new
// start gives the same output as a fresh decoder.
TEST_F(AdecMPEGFraming, InitStartsAfresh)
{
    MpegRun fresh = runMpeg(decoder, mp3At44);
    std::vector<uint8_t> half(mp3At48.begin(), mp3At48.begin() + 5000);
    runMpeg(decoder, half);
    ASSERT_NE(decoder.init(mpegType()), nullptr);
    MpegRun again = runMpeg(decoder, mp3At44);
    EXPECT_TRUE(again.output == fresh.output);
}

}  // namespace

namespace {

// An Info frame as mp3PRO encoders write before the audio: the header of the
// stream's first frame, empty side information, the "Info" tag and the
// encoder's name where a LAME tag keeps it.
std::vector<uint8_t> mp3ProInfoFrame(const std::vector<uint8_t>& stream)
{
    MpegHeader header;
    EXPECT_TRUE(parseMpegHeader(stream.data(), stream.size(), header));
    std::vector<uint8_t> frame(header.frameSize, 0);
    std::copy(stream.begin(), stream.begin() + 4, frame.begin());
    frame[1] |= 1;  // no CRC
    size_t tag = 4 + (header.version == 3 ? (header.channels == 1 ? 17 : 32) : (header.channels == 1 ? 9 : 17));
    const char info[] = "Info";
    std::copy(info, info + 4, frame.begin() + long(tag));
    const char encoder[] = "THOMSON mp3PRO Encoder";
    std::copy(encoder, encoder + sizeof encoder - 1, frame.begin() + long(tag + 8));
    return frame;
}

// An mp3PRO stream reports the effective channel count and the output rate,
// twice the core's, and delivers the core upsampled to it.
TEST(AdecMPEG, Mp3ProStreamReportsTheRateItStandsFor)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    TempFolder folder;
    std::string core = folder.file("core.mp3");
    ASSERT_TRUE(makeMpegStream(core, "libmp3lame", 22050, 2, 64, 1.0));
    std::vector<uint8_t> plain = readBytes(core);
    std::vector<uint8_t> marked = mp3ProInfoFrame(plain);
    marked.insert(marked.end(), plain.begin(), plain.end());

    std::ostringstream log;
    AdecMPEG decoder(log);
    ASSERT_NE(decoder.init(mpegType()), nullptr);
    MpegRun run = runMpeg(decoder, marked);
    ASSERT_FALSE(run.frames.empty());
    const TvStatusMpeg& s = run.frames.back();
    EXPECT_EQ(s.mp3pro, 1);
    EXPECT_EQ(s.freq, 44100);
    EXPECT_EQ(s.chan, 2);
    EXPECT_EQ(s.mpeg, 2);
    EXPECT_EQ(log.str().find("error: TvAssert"), std::string::npos);
    EXPECT_NE(log.str().find("sfreq: 22050 effchan: 2 effsfreq: 44100 outsfreq: 44100 mp3pro: 1"), std::string::npos);

    // The same resampler run by ffmpeg over its own decode of the core.
    std::vector<int16_t> reference =
        asSamples(commandOutput("ffmpeg -v error -i " + core + " -af aresample=44100 -f s16le -"));
    std::vector<int16_t> ours = asSamples(run.output);
    double snr = snrDb(reference, ours);
    std::cout << "[ snr ] mp3PRO core upsampled to 44100 Hz: " << snr << " dB, " << ours.size() << " samples, reference "
              << reference.size() << std::endl;
    EXPECT_GE(snr, 60);
    // ffmpeg flushes the resampler's last few samples at the end of the file.
    EXPECT_LE(reference.size() - ours.size(), 2u * 64);

    // Without the encoder's mark the same frames are a plain 22.05 kHz stream.
    ASSERT_NE(decoder.init(mpegType()), nullptr);
    MpegRun plainRun = runMpeg(decoder, plain);
    ASSERT_FALSE(plainRun.frames.empty());
    EXPECT_EQ(plainRun.frames.back().mp3pro, 0);
    EXPECT_EQ(plainRun.frames.back().freq, 22050);
}

}  // namespace
