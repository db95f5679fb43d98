// AdecAMR with TvAmrDec.dll: the types it takes and what it reports, the real
// AMR streams as the host's demuxer hands them over (bit for bit against
// opencore, SNR against ffmpeg's own decoders), output samples never overrun,
// re-initialisation, and a missing or broken library.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "core/media_subtypes.h"
#include "decoders/AdecAMR.h"
#include "filter/guid_names.h"
#include "support/amr_tools.h"
#include "support/av_packets.h"
#include "support/library_refusal.h"
#include "support/memory_sample.h"
#include "support/wave_type.h"

namespace {

const std::string kVectors = std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/";
const std::string kModuleFolder = TAVIO_MODULE_DIR "/";

CMediaType amrType(const GUID& subtype, int rate = 8000)
{
    return waveFormatType(&MEDIATYPE_Audio, &subtype, WAVEFORMATEX{0, 1, DWORD(rate), 0, 0, 16, 0});
}

struct AmrRun {
    std::vector<int16_t> pcm;
    std::vector<TvStatusAmr> statuses;  // one per input that gave output
};

// Each input handed over whole, as the filter's receive loop does with one
// media sample in its buffer.
AmrRun runAmr(AdecAMR& decoder,
              const std::vector<std::vector<uint8_t>>& inputs,
              size_t sampleSize = 65540)
{
    AmrRun run;
    for (const auto& input : inputs) {
        MemorySample out(sampleSize);
        const uint8_t* p = input.data();
        TvStatus* status = decoder.process(&p, input.data() + input.size(), &out);
        EXPECT_EQ(p, input.data() + input.size());
        auto data = out.data();
        EXPECT_EQ(status != nullptr, !data.empty());
        for (size_t i = data.size(); i < out.buffer().size(); ++i)
            if (out.buffer()[i] != 0xCD) {
                ADD_FAILURE() << "written past the output's length";
                break;
            }
        if (!status)
            continue;
        run.statuses.push_back(static_cast<TvStatusAmr&>(*status));
        EXPECT_EQ(status->iFrameSize, int32_t(input.size()));
        EXPECT_EQ(size_t(status->samples) * 2, data.size());
        size_t at = run.pcm.size();
        run.pcm.resize(at + data.size() / 2);
        std::memcpy(run.pcm.data() + at, data.data(), data.size());
    }
    return run;
}

TEST(AdecAMR, TakesTheAmrTypesAndReportsTheBand)
{
    struct Case {
        const GUID* subtype;
        bool accepted;
        int freq;
        uint8_t wideband;
    } cases[] = {
        {&MEDIASUBTYPE_SAMR_AUDIO, true, 8000, 0},    {&MEDIASUBTYPE_SAWB_AUDIO, true, 16000, 1},
        {&MEDIASUBTYPE_AMR_WB_AUDIO, true, 16000, 1}, {&MEDIASUBTYPE_DOLBY_AC3, false, 0, 0},
        {&MEDIASUBTYPE_MP4_AUDIO, false, 0, 0},
    };
    std::ostringstream log;
    AdecAMR decoder(log, kModuleFolder);
    for (const Case& c : cases) {
        // The wave format's rate is not what decides: the band is.
        CMediaType type = amrType(*c.subtype, 44100);
        ASSERT_EQ(decoder.accepts(type), c.accepted) << guidName(*c.subtype);
        if (!c.accepted)
            continue;
        auto* status = static_cast<TvStatusAmr*>(decoder.init(type));
        ASSERT_NE(status, nullptr) << log.str();
        EXPECT_EQ(status->formatId(), 3);
        EXPECT_EQ(status->freq, c.freq);
        EXPECT_EQ(status->wideband, c.wideband);
        EXPECT_EQ(status->chan, 1);
        EXPECT_EQ(status->channelMask, 4u);
        EXPECT_EQ(status->stype, ST16Bit);
    }
}

struct VectorCase {
    const char* file;
    bool wideband;
    double minSnrDb;  // against ffmpeg's decoder, a different implementation
};

class AdecAMRRealStream : public ::testing::TestWithParam<VectorCase> {};

// The real streams as the host demuxes them: equal to opencore decoding their
// frames one by one, and near ffmpeg's decoding of the same frames.
TEST_P(AdecAMRRealStream, DecodesLikeOpencoreAndNearFfmpeg)
{
    const VectorCase& c = GetParam();
    std::string path = kVectors + c.file;
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << path << " not present";
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg not installed";
    std::vector<DemuxedPacket> packets;
    std::string error;
    ASSERT_TRUE(readAudioPackets(path, packets, error)) << error;
    std::vector<std::vector<uint8_t>> inputs;
    std::vector<uint8_t> body;
    for (const auto& packet : packets) {
        inputs.push_back(packet.data);
        body.insert(body.end(), packet.data.begin(), packet.data.end());
    }

    std::ostringstream log;
    AdecAMR decoder(log, kModuleFolder);
    ASSERT_NE(decoder.init(amrType(c.wideband ? MEDIASUBTYPE_SAWB_AUDIO : MEDIASUBTYPE_SAMR_AUDIO)),
              nullptr);
    AmrRun run = runAmr(decoder, inputs);
    AmrStream frames = splitAmrFrames(c.wideband, body);
    EXPECT_TRUE(run.pcm == opencoreDecode(frames));
    ASSERT_FALSE(run.statuses.empty());
    EXPECT_EQ(run.statuses[0].freq, c.wideband ? 16000 : 8000);

    // ffmpeg's decoder takes one frame from each packet: it gets the frames
    // in a .amr file, one per packet.
    TempFolder folder;
    std::string amr = folder.file(c.wideband ? "frames.awb" : "frames.amr");
    writeFile(amr, frames.file());
    std::vector<int16_t> reference = ffmpegAmrDecode(amr);
    EXPECT_EQ(run.pcm.size(), reference.size());
    double snr = snrDb(reference, run.pcm);
    std::cout << "[ snr ] " << c.file << ": " << snr << " dB against ffmpeg, "
              << frames.frames.size() << " frames in " << inputs.size() << " inputs" << std::endl;
    EXPECT_GE(snr, c.minSnrDb);
}

INSTANTIATE_TEST_SUITE_P(
    SharedVectors,
    AdecAMRRealStream,
    ::testing::Values(VectorCase{"androidx_media/amr_sample_nb.amr", false, 33},
                      VectorCase{"androidx_media/amr_sample_wb.amr", true, 14},
                      VectorCase{"androidx_media/3gp_bbb_mono_8kHz_12.2kbps_amrnb.3gp", false, 28},
                      VectorCase{"mp4parser/MOV00006.3gp", false, 24}),
    [](const auto& info) {
        std::string name = std::filesystem::path(info.param.file).stem();
        for (char& ch : name)
            if (!std::isalnum(static_cast<unsigned char>(ch)))
                ch = '_';
        return name;
    });

// Samples of many frames, as 3GP files carry them, into output samples too
// small for them: nothing is written past the usable size, nothing is lost
// but what is still kept when the stream ends, and init starts afresh.
TEST(AdecAMR, SmallOutputSamplesAndReinit)
{
    AmrStream stream = encodeAmr(true, 2, false, vowelLikeSignal(16000, 1.0));
    std::vector<std::vector<uint8_t>> inputs;
    for (size_t i = 0; i < stream.frames.size(); ++i) {
        if (i % 10 == 0)
            inputs.emplace_back();
        inputs.back().insert(inputs.back().end(), stream.frames[i].begin(), stream.frames[i].end());
    }
    std::vector<int16_t> reference = opencoreDecode(stream);
    std::ostringstream log;
    AdecAMR decoder(log, kModuleFolder);
    CMediaType type = amrType(MEDIASUBTYPE_SAWB_AUDIO);
    ASSERT_NE(decoder.init(type), nullptr);
    AmrRun small = runAmr(decoder, inputs, 4000);  // six frames fit
    ASSERT_FALSE(small.statuses.empty());
    for (const auto& status : small.statuses)
        EXPECT_LE(status.samples, 6 * 320);
    ASSERT_LT(small.pcm.size(), reference.size());
    EXPECT_TRUE(std::equal(small.pcm.begin(), small.pcm.end(), reference.begin()));

    ASSERT_NE(decoder.init(type), nullptr);
    AmrRun whole = runAmr(decoder, inputs);
    EXPECT_TRUE(whole.pcm == reference);
    EXPECT_EQ(whole.statuses.size(), inputs.size());
    EXPECT_EQ(whole.statuses[0].samples, 10 * 320);
}

// A missing, broken or foreign TvAmrDec.dll refuses the type.
TEST(AdecAMR, WithoutItsLibraryRefusesTheType)
{
    expectRefusedWithoutItsLibrary<AdecAMR>("TvAmrDec.dll", amrType(MEDIASUBTYPE_SAMR_AUDIO));
}

}  // namespace
