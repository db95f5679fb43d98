// The receive loop's rarer paths, driven directly by a decoder whose input
// says how it behaves: skipped bytes, frames without output, a frame
// reported larger than the decoder advanced, a downstream that answers
// S_FALSE, and output without time stamps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>

#include "config/config_test_support.h"
#include "core/receive_loop.h"
#include "core/receive_parameters.h"
#include "support/assertion_guard.h"
#include "support/files.h"
#include "support/memory_sample.h"

namespace {

// A frame is a kind byte, a length byte n and n payload bytes of 16-bit
// stereo. 'F' decodes the payload as it is; 'E' consumes the frame and
// outputs nothing; 'O' decodes like 'F' but reports a frame 8 bytes longer
// than it is. Bytes before a kind byte are garbage and are skipped.
class ScriptedDecoder : public Adec {
public:
    explicit ScriptedDecoder(std::ostream& log) : Adec(log) {}
    bool accepts(const CMediaType&) override { return true; }
    TvStatus* init(const CMediaType&) override
    {
        _status = TvStatusLpcm();
        _status.freq = 48000;
        _status.chan = 2;
        _status.stype = ST16Bit;
        _status.channelMask = 0x3;
        return &_status;
    }
    TvStatus* process(const uint8_t** readPtr, const uint8_t* end, IMediaSample* out) override
    {
        const uint8_t* p = *readPtr;
        while (p < end && !std::strchr("FEO", *p))
            ++p;
        *readPtr = p;  // garbage is consumed whether or not a frame follows
        if (end - p < 2 || end - p < 2 + p[1])
            return nullptr;
        uint8_t kind = p[0];
        int length = p[1];
        if (kind != 'E') {
            BYTE* data = nullptr;
            out->GetPointer(&data);
            std::memcpy(data, p + 2, size_t(length));
            out->SetActualDataLength(length);
        }
        _status.samples = std::max(length / 4, 1);
        _status.iFrameSize = 2 + length + (kind == 'O' ? 8 : 0);
        *readPtr = p + 2 + length;
        return &_status;
    }

private:
    TvStatusLpcm _status;
};

std::vector<uint8_t> frame(char kind, const std::vector<uint8_t>& payload)
{
    std::vector<uint8_t> bytes(2 + payload.size());
    bytes[0] = uint8_t(kind);
    bytes[1] = uint8_t(payload.size());
    std::copy(payload.begin(), payload.end(), bytes.begin() + 2);
    return bytes;
}

// 48 stereo samples (10 000 units of 100 ns at 48 kHz) of one value.
std::vector<uint8_t> block(uint8_t value)
{
    return std::vector<uint8_t>(192, value);
}

// The filter's side of the loop as a recording: output samples from memory,
// no remix, delivery recorded with the answer the step gives, and a flush
// that re-initialises the decoder, drops the held input and marks the next
// delivery as a discontinuity, as the filter's does.
class RecordingHost : public ReceiveLoopHost {
public:
    struct Delivered {
        std::vector<uint8_t> data;
        bool discontinuity;
        bool hasStart;
    };

    RecordingHost(DecodingState& state, std::ostream& log) : state_(state), log_(log) {}

    bool outputConnected() override { return true; }
    HRESULT getEmptySample(IMediaSample** out) override
    {
        outputs_.push_back(std::make_unique<MemorySample>(4096));
        *out = outputs_.back().get();
        return S_OK;
    }
    TvStatus* remix(IMediaSample*, TvStatus*) override { return nullptr; }
    void showLevels(IMediaSample*) override {}
    HRESULT deliver(IMediaSample* out, const TvStatus*) override
    {
        auto* sample = static_cast<MemorySample*>(out);
        REFERENCE_TIME start, stop;
        delivered.push_back(
            {sample->data(), discontinuity_, SUCCEEDED(out->GetTime(&start, &stop))});
        discontinuity_ = false;
        return answer;
    }
    void flush() override
    {
        log_ << "flush" << std::endl;
        state_.decoder->init(CMediaType());
        state_.buffer.clear();
        discontinuity_ = true;
    }

    HRESULT answer = S_OK;
    std::vector<Delivered> delivered;

private:
    DecodingState& state_;
    std::ostream& log_;
    std::vector<std::unique_ptr<MemorySample>> outputs_;
    bool discontinuity_ = false;
};

// One input sample and what the sink answers while it is decoded.
struct Step {
    std::vector<uint8_t> bytes;
    REFERENCE_TIME start = kNoTime;
    HRESULT sinkAnswers = S_OK;
    bool discontinuity = false;
};

struct LoopCase {
    const char* what;
    bool enableTimeStamps;
    std::vector<Step> steps;
    std::vector<std::vector<uint8_t>> delivered;  // payloads, in order
    std::vector<bool> discontinuities;            // one per delivered sample
    std::vector<const char*> logged;              // in the loop's or the process log
    unsigned long assertions = 0;                 // provoked on purpose
};

class ReceiveLoopTest : public ::testing::TestWithParam<LoopCase> {
protected:
    void SetUp() override { resetParametersForTesting(); }
    void TearDown() override { resetParametersForTesting(); }
};

TEST_P(ReceiveLoopTest, DeliversWhatTheDecoderMade)
{
    const LoopCase& c = GetParam();
    TempFolder root;
    CapturedLog processLog(root);
    AssertionGuard assertions;
    assertions.expect(c.assertions);
    std::ostringstream loopLog;
    ScriptedDecoder decoder(loopLog);
    DecodingState state;
    state.decoder = &decoder;
    decoder.init(CMediaType());
    CCritSec streamLock;
    RecordingHost host(state, loopLog);
    ReceiveLoop loop(host, state, streamLock, loopLog);
    PenableTimeStamps.value = c.enableTimeStamps;
    int64_t decodedBefore = totalDecodedTime;
    for (const Step& step : c.steps) {
        host.answer = step.sinkAnswers;
        MemorySample in(step.bytes.size());
        BYTE* data = nullptr;
        in.GetPointer(&data);
        std::memcpy(data, step.bytes.data(), step.bytes.size());
        in.SetActualDataLength(LONG(step.bytes.size()));
        in.SetDiscontinuity(step.discontinuity);
        if (step.start != kNoTime) {
            REFERENCE_TIME start = step.start;
            in.SetTime(&start, nullptr);
        }
        // A positive answer from downstream stops the sample but is not an error.
        EXPECT_EQ(loop.receive(&in), S_OK) << c.what;
    }
    const auto& samples = host.delivered;
    ASSERT_EQ(samples.size(), c.delivered.size()) << c.what;
    for (size_t i = 0; i < samples.size(); ++i) {
        EXPECT_EQ(samples[i].data, c.delivered[i]) << c.what << ", sample " << i;
        EXPECT_EQ(samples[i].discontinuity, c.discontinuities[i]) << c.what << ", sample " << i;
    }
    std::string logs = loopLog.str();
    for (const auto& line : processLog.lines())
        logs += line + "\n";
    for (const char* text : c.logged)
        EXPECT_NE(logs.find(text), std::string::npos) << c.what << ": no \"" << text << "\" in\n"
                                                      << logs;

    // Stamped frames are timed whether or not the samples carry the times.
    bool stamped = std::any_of(c.steps.begin(), c.steps.end(),
                               [](const Step& s) { return s.start != kNoTime; });
    if (stamped) {
        EXPECT_EQ(totalDecodedTime - decodedBefore, int64_t(samples.size()) * 10000) << c.what;
        for (const auto& sample : samples)
            EXPECT_EQ(sample.hasStart, c.enableTimeStamps) << c.what;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases,
    ReceiveLoopTest,
    ::testing::Values(
        LoopCase{"time stamps on",
                 true,
                 {{frame('F', block(1)) + frame('F', block(2)), 5000000}},
                 {block(1), block(2)},
                 {false, false},
                 {" t1=5000000 t2=5010000", " t1=5010000 t2=5020000"}},
        LoopCase{"time stamps off: logged and counted, not attached",
                 false,
                 {{frame('F', block(1)) + frame('F', block(2)), 5000000}},
                 {block(1), block(2)},
                 {false, false},
                 {" t1=5000000 t2=5010000", " t1=5010000 t2=5020000"}},
        // Garbage, then a frame that makes no output: neither is delivered,
        // the next frame is.
        LoopCase{
            "skipped bytes, then a status without output",
            true,
            {{std::vector<uint8_t>{1, 2, 3, 4, 5} + frame('E', block(7)) + frame('F', block(3))}},
            {block(3)},
            {false},
            {"skipped bytes: 5", "'osize>0'"},
            1},
        // The decoder reports 8 bytes more than it advanced: the unsigned
        // count of skipped bytes wraps and the buffer refuses it, and
        // exactly the advanced bytes go, so the next frame still decodes,
        // as does the next sample.
        LoopCase{"a frame reported larger than the decoder advanced",
                 true,
                 {{frame('O', block(1)) + frame('F', block(2))}, {frame('F', block(3))}},
                 {block(1), block(2), block(3)},
                 {false, false, false},
                 {"skipped bytes: 4294967288", "'n<=size()'"},
                 1},
        // S_FALSE drops the rest of the sample's input; the next delivery
        // is marked as a discontinuity.
        LoopCase{
            "downstream answers S_FALSE",
            true,
            {{frame('F', block(1)) + frame('F', block(2)) + frame('F', block(3)), kNoTime, S_FALSE},
             {frame('F', block(4))},
             {frame('F', block(5))}},
            {block(1), block(4), block(5)},
            {false, true, false},
            {"delivery result: S_FALSE", "flush"}},
        // A discontinuity drops the half frame of the old stream held in
        // the buffer before the new bytes go in.
        LoopCase{"a discontinuity mid-frame",
                 true,
                 {{frame('F', block(1)) + std::vector<uint8_t>{'F', 192, 9, 9}},
                  {frame('F', block(5)), kNoTime, S_OK, true}},
                 {block(1), block(5)},
                 {false, true},
                 {"flush"}}),
    [](const ::testing::TestParamInfo<LoopCase>& info) {
        return "Case" + std::to_string(info.index);
    });

}  // namespace
