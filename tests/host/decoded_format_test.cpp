// The output file describes what the filter delivered: the WAVE header is the
// format of the first sample that carries audio, whatever the connection's
// type was, and a change after audio was written is converted to the file's
// format. Runs the host's decoding session in-process with a filter of its
// own, so the remixer can be set through a parameter file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "config/config_test_support.h"
#include "filter/TvFilter.h"
#include "host/decode_session.h"
#include "host/format_converter.h"
#include "host/input_source.h"
#include "support/ffmpeg.h"
#include "support/files.h"
#include "support/pcm.h"
#include "support/wav_file.h"

namespace {

// Decodes `input` with the parameters of `parameterFile` into a WAVE file.
DecodeOutcome decodeWith(const std::string& parameterFile, const std::string& input, WavFile& wav)
{
    TempFolder root;
    writeText(root.file("Tavio.conf"), parameterFile);
    resetParametersForTesting();
    loadParameterFile(root.file("Tavio.conf"));
    std::string error;
    auto source = openInputSource(input, error);
    EXPECT_TRUE(source) << error;
    if (!source)
        return {};
    DecodeRequest request;
    request.output = root.file("out.wav");
    DecodeOutcome outcome = decodeStream(
        [] {
            HRESULT hr = S_OK;
            auto* filter = new TvFilter(nullptr, &hr, TAVIO_MODULE_DIR "/");
            filter->NonDelegatingAddRef();
            return static_cast<IBaseFilter*>(filter);
        },
        *source, 0, request);
    resetParametersForTesting();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.message;
    EXPECT_TRUE(parseWav(readBytes(request.output), wav));
    return outcome;
}

class DecodedFormat : public ::testing::Test {
protected:
    void SetUp() override { REQUIRE_FFMPEG(); }
    // An ffmpeg-made DVD-Video VOB of two tones.
    std::string makeVob(const char* sampleFormat)
    {
        std::string vob = folder.file(std::string("in-") + sampleFormat + ".vob");
        EXPECT_TRUE(encodeTones(
            vob, {}, std::string("-c:a pcm_dvd -sample_fmt ") + sampleFormat + " -f vob"));
        return vob;
    }
    TempFolder folder;
};

// Remixer settings that deliver one channel of a stereo stream: the file is
// mono with the centre mask, and holds the channel the setting names.
TEST_F(DecodedFormat, OneChannelRemixesWriteAMonoHeader)
{
    std::string vob = makeVob("s16");
    auto reference = referenceDecode(vob, "s16le");
    struct Case {
        const char* parameters;
        size_t channel;
    } cases[] = {
        {"remixMask=4\ndownmixType=103\nsingleChannel=1\n", 1},
        {"downmixType=106\n", 0},
    };
    for (const Case& c : cases) {
        WavFile wav;
        DecodeOutcome outcome = decodeWith(c.parameters, vob, wav);
        EXPECT_EQ(wav.channels(), 1) << c.parameters;
        EXPECT_EQ(wav.channelMask(), 0x4u) << c.parameters;
        EXPECT_EQ(outcome.format, "16-bit PCM, 48000 Hz, 1 channel (mask 0x4)");
        EXPECT_TRUE(samplesOf(wav.data, SampleFormat::S16) ==
                    pickChannels(samplesOf(reference, SampleFormat::S16), 2, {int(c.channel)}))
            << c.parameters;
    }
}

// x16 on a 24-bit stream: a 16-bit file whose samples are the 24-bit decode
// rounded at bit 7 of the low byte.
TEST_F(DecodedFormat, SixteenBitConversionWritesASixteenBitHeader)
{
    std::string vob = makeVob("s32");
    auto reference = referenceDecode(vob, "s24le");
    WavFile wav;
    decodeWith("x16=1\n", vob, wav);
    EXPECT_EQ(wav.bitsPerSample(), 16);
    std::vector<double> expected;
    for (size_t i = 0; i + 3 <= reference.size(); i += 3) {
        int value = int(int8_t(reference[i + 2])) * 256 + reference[i + 1] + (reference[i] >> 7);
        expected.push_back(std::min(value, 32767) / 32768.0);
    }
    EXPECT_TRUE(samplesOf(wav.data, SampleFormat::S16) == expected);
}

// The converter that carries a file on after a mid-stream change: channel
// layout, sample format and rate, with packed 24-bit samples on either side.
TEST(FormatConverter, ConvertsLayoutSampleFormatAndRate)
{
    using K = PcmFormat::Kind;
    const PcmFormat stereo16{K::Integer, 48000, 2, 16, 4, 0x3};
    const PcmFormat mono24{K::Integer, 48000, 1, 24, 3, 0x4};
    const PcmFormat stereo24at96{K::Integer, 96000, 2, 24, 6, 0x3};
    const PcmFormat spdif{K::Spdif, 48000, 2, 16, 4, 0};

    FormatConverter converter;
    EXPECT_FALSE(converter.configure(spdif, stereo16));

    // Mono 24-bit to stereo 16-bit: the centre goes to both sides at -3 dB,
    // rounded from the 24-bit value.
    ASSERT_TRUE(converter.configure(mono24, stereo16));
    const int32_t value = 0x123456;  // 24-bit
    uint8_t in[3 * 480];
    for (int i = 0; i < 480; ++i)
        std::memcpy(in + 3 * i, &value, 3);
    std::vector<uint8_t> out;
    converter.convert(in, sizeof in, out);
    converter.drain(out);
    ASSERT_EQ(out.size(), 480u * 4);
    auto samples = samplesOf(out, SampleFormat::S16);
    EXPECT_EQ(samples[0], samples[1]);
    EXPECT_NEAR(samples[100], value / 8388608.0 * 0.7071, 2 / 32768.0);

    // 16-bit 48 kHz to 24-bit 96 kHz: twice the frames once drained.
    ASSERT_TRUE(converter.configure(stereo16, stereo24at96));
    std::vector<int16_t> ramp(2 * 4800);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = int16_t((i / 2) % 2000);
    out.clear();
    converter.convert(reinterpret_cast<const uint8_t*>(ramp.data()), ramp.size() * 2, out);
    converter.drain(out);
    EXPECT_EQ(out.size() / 6, 9600u);
    EXPECT_FALSE(converter.configured());
}

}  // namespace
