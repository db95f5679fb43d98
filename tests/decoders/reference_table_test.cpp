// Every decoder against an independent reference: streams made here (one tone
// per speaker, so the table also proves where each speaker lands) and the real
// streams of the shared vectors folder.
#include <gtest/gtest.h>

#include <cmath>
#include <iostream>
#include <numeric>
#include <sstream>

#include "config/config.h"
#include "decoders/decoder_rows.h"

namespace {

// For each of our channels, the reference channel whose strongest tone is the
// one that channel should carry.
std::vector<int> channelsByTone(const std::vector<double>& reference,
                                int channels,
                                int rate,
                                const std::vector<double>& tones,
                                const std::vector<double>& wanted)
{
    std::vector<double> strongest(size_t(channels), 0);
    for (int c = 0; c < channels; ++c) {
        double best = -1;
        for (double tone : tones)
            if (double power = tonePower(reference, channels, c, tone, rate); power > best)
                best = power, strongest[size_t(c)] = tone;
    }
    std::vector<int> from;
    for (double tone : wanted)
        from.push_back(
            int(std::find(strongest.begin(), strongest.end(), tone) - strongest.begin()));
    return from;
}

// Samples of an integer reference rounded to the output's depth.
std::vector<double> roundedTo(std::vector<double> samples, SampleFormat format)
{
    double scale = format == SampleFormat::S24 ? 8388608.0 : 32768.0;
    if (format != SampleFormat::F32)
        for (double& s : samples)
            s = std::min(std::nearbyint(s * scale), scale - 1) / scale;
    return samples;
}

class DecoderReference : public ::testing::TestWithParam<Row> {};

TEST_P(DecoderReference, MatchesTheReference)
{
    const Row& row = GetParam();
    if (!row.vector.empty())
        REQUIRE_VECTOR(row.vector);
    if (row.decoder != Decoder::LpcmDvda)
        REQUIRE_FFMPEG();
    ParameterLines parameters(row.parameters);
    StreamInput input = rowInput(row);
    ASSERT_FALSE(input.packets.empty()) << "no input made";
    std::ostringstream log;
    auto decoder = startDecoder(row, input, log);
    ASSERT_TRUE(decoder) << log.str();
    DecoderRun run = feedDecoder(*decoder, input.packets, {.privateHeaders = input.privateHeaders});
    EXPECT_EQ(run.contractBreaks, std::vector<std::string>{});
    ASSERT_FALSE(run.frames.empty()) << log.str().substr(0, 2000);
    const TvStatus& last = run.last();
    if (row.channels) {
        EXPECT_EQ(last.chan, row.channels);
        EXPECT_EQ(last.channelMask, row.mask) << std::hex << last.channelMask;
    }
    if (row.rate) {
        EXPECT_EQ(last.freq, row.rate);
    }
    int channels = last.chan;
    // Each frame's record accounts for exactly the output it came with.
    size_t counted = 0;
    for (const auto& frame : run.frames)
        counted +=
            size_t(frame->samples) * size_t(frame->chan) * size_t(bytesPerSample(row.format));
    EXPECT_EQ(counted, run.output.size());
    std::vector<double> ours = samplesOf(run.output, row.format);
    std::vector<double> reference = rowReferenceSamples(row, input);
    ASSERT_FALSE(reference.empty());
    if (!row.delivered.empty()) {
        // One tone per speaker: the reference's channels taken in our order.
        std::vector<double> wanted = speakerTones(row.delivered);
        int referenceChannels = int(speakerList(row.tones.speakers).size());
        std::vector<int> from = channelsByTone(reference, referenceChannels, last.freq,
                                               speakerTones(row.tones.speakers), wanted);
        ASSERT_EQ(std::count(from.begin(), from.end(), referenceChannels), 0)
            << "a tone is missing";
        reference = pickChannels(reference, referenceChannels, from);
        EXPECT_TRUE(tonesOnSpeakers(ours, channels, last.freq, wanted, 2048));
    } else if (row.referenceChannels && row.referenceChannels < channels) {
        std::vector<int> first(size_t(row.referenceChannels));
        std::iota(first.begin(), first.end(), 0);
        ours = pickChannels(ours, channels, first);
        channels = row.referenceChannels;
    }
    PcmMatch match = alignedSnr(reference, ours, channels, row.maxShift);
    double lsb = maxDifference(roundedTo(reference, row.format), ours) *
                 (row.format == SampleFormat::S24 ? 8388608.0 : 32768.0);
    std::cout << "[ snr ] " << row.name << ": " << match.snr << " dB, shift " << match.shift
              << ", max " << lsb << " LSB" << std::endl;
    if (peak(reference) <= 2 / 32768.0) {
        // Some real streams hold only silence: then ours must be silent too.
        EXPECT_LE(peak(ours), 2 / 32768.0);
        return;
    }
    if (row.compare == Compare::Exact) {
        EXPECT_EQ(maxDifference(reference, ours), 0);
    } else if (row.compare == Compare::Lsb)
        EXPECT_LE(lsb, row.limit);
    else
        EXPECT_GE(match.snr, row.limit);
    long padding = input.endPadding <= uint32_t(last.samples) ? long(input.endPadding) : 0;
    long extra =
        long(ours.size() / size_t(channels)) - long(reference.size() / size_t(channels)) - padding;
    EXPECT_GE(extra, row.lengthLow) << "frames more than the reference";
    EXPECT_LE(extra, row.lengthHigh) << "frames more than the reference";
}

INSTANTIATE_TEST_SUITE_P(MadeStreams, DecoderReference, ::testing::ValuesIn(madeRows()), rowName);
INSTANTIATE_TEST_SUITE_P(Vectors, DecoderReference, ::testing::ValuesIn(vectorRows()), rowName);

}  // namespace
