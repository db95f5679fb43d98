// The output pin against recording sinks: what it offers, what it connects
// with, and how delivery renegotiates and converts when the stream changes.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "config/config_test_support.h"
#include "conversion/output_types.h"
#include "filter/TvOutputPin.h"
#include "host/graph.h"
#include "host/sink_filter.h"

namespace {

// A filter holding the pin under test and an input pin for the pass-through.
class PinHost : public CBaseFilter {
public:
    class Input : public CBaseInputPin {
    public:
        Input(PinHost* host, HRESULT* phr) : CBaseInputPin("in", host, &host->lock, phr, WIDE("Input")) {}
        HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    };

    PinHost() : CBaseFilter("PinHost", nullptr, &lock, MEDIATYPE_Video)
    {
        HRESULT hr = S_OK;
        input = new Input(this, &hr);
        output = new TvOutputPin(this, &lock, &hr, log, input);
        NonDelegatingAddRef();
    }
    ~PinHost() override
    {
        delete output;
        delete input;
    }
    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int n) override
    {
        return n == 0 ? static_cast<CBasePin*>(input) : n == 1 ? static_cast<CBasePin*>(output) : nullptr;
    }

    CCritSec lock;
    std::ostringstream log;
    Input* input;
    TvOutputPin* output;
};

TvStatusLpcm status(int chan, TvSampleType stype, bool spdif = false, int freq = 48000)
{
    TvStatusLpcm s;
    s.freq = freq;
    s.chan = chan;
    s.stype = stype;
    s.spdif = spdif;
    s.samples = 4;
    s.iFrameSize = 1;
    return s;
}

WAVEFORMATEXTENSIBLE formatOf(const CMediaType& type)
{
    WAVEFORMATEXTENSIBLE format{};
    std::memcpy(&format, type.pbFormat, std::min<size_t>(type.cbFormat, sizeof format));
    return format;
}

bool isPcm16(const CMediaType& type)
{
    return IsEqualGUID(type.subtype, MEDIASUBTYPE_PCM) && formatOf(type).Format.wBitsPerSample == 16;
}

class OutputPinTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        resetParametersForTesting();
        host = new PinHost;
        sink = SinkFilter::Create();
        graph.Add(host, WIDE("decoder"));
        graph.Add(sink, WIDE("sink"));
    }
    void TearDown() override
    {
        graph.Clear();
        host->Release();
        sink->Release();
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }
    HRESULT connect() { return graph.Connect(host->output, sink->InputPin()); }
    // Fills an output buffer with `bytes` and delivers it under `s`.
    HRESULT deliver(const std::vector<uint8_t>& bytes, const TvStatus& s)
    {
        IMediaSample* sample = nullptr;
        HRESULT hr = host->output->getEmptySample(&sample);
        if (FAILED(hr))
            return hr;
        BYTE* p;
        sample->GetPointer(&p);
        std::memcpy(p, bytes.data(), bytes.size());
        sample->SetActualDataLength(static_cast<LONG>(bytes.size()));
        hr = host->output->deliver(sample, &s);
        sample->Release();
        return hr;
    }

    TempRoot root;
    CapturedLog processLog{root};
    Graph graph;
    PinHost* host = nullptr;
    SinkFilter* sink = nullptr;
};

TEST_F(OutputPinTest, NothingIsOfferedBeforeAPreferredType)
{
    CMediaType type;
    EXPECT_EQ(host->output->GetMediaType(0, &type), VFW_S_NO_MORE_ITEMS);
    EXPECT_EQ(host->output->CheckMediaType(&type), E_INVALIDARG);
    EXPECT_EQ(connect(), VFW_E_NO_ACCEPTABLE_TYPES);
}

TEST_F(OutputPinTest, OfferOrderForFloatSixteenBitAndSpdif)
{
    struct Case {
        TvStatusLpcm s;
        std::vector<std::pair<GUID, WORD>> offered;  // subtype, bits at positions 0..2
    } cases[] = {
        {status(2, STFloat), {{MEDIASUBTYPE_PCM, 32}, {MEDIASUBTYPE_PCM, 16}, {MEDIASUBTYPE_IEEE_FLOAT, 32}}},
        {status(2, ST16Bit), {{MEDIASUBTYPE_PCM, 16}, {MEDIASUBTYPE_PCM, 16}, {MEDIASUBTYPE_PCM, 16}}},
        {status(6, ST24Bit), {{MEDIASUBTYPE_PCM, 24}, {MEDIASUBTYPE_PCM, 16}, {MEDIASUBTYPE_PCM, 24}}},
        {status(6, ST16Bit, true),
         {{MEDIASUBTYPE_DOLBY_AC3_SPDIF, 16}, {MEDIASUBTYPE_DOLBY_AC3_SPDIF, 16}, {MEDIASUBTYPE_DOLBY_AC3_SPDIF, 16}}},
    };
    for (const Case& c : cases) {
        auto* pin = new PinHost;
        pin->output->setPreferredType(&c.s);
        for (int position = 0; position < 3; ++position) {
            CMediaType type;
            ASSERT_EQ(pin->output->GetMediaType(position, &type), S_OK);
            EXPECT_TRUE(IsEqualGUID(type.subtype, c.offered[size_t(position)].first)) << position;
            EXPECT_EQ(formatOf(type).Format.wBitsPerSample, c.offered[size_t(position)].second) << position;
            EXPECT_EQ(pin->output->CheckMediaType(&type), S_OK);
            if (c.s.spdif) {
                EXPECT_EQ(formatOf(type).Format.nChannels, 2);
            }
        }
        CMediaType none;
        EXPECT_EQ(pin->output->GetMediaType(3, &none), VFW_S_NO_MORE_ITEMS);
        pin->Release();
    }
}

TEST_F(OutputPinTest, SinkTakingEverythingGetsTheNativeFormatUnconverted)
{
    TvStatusLpcm s = status(2, ST24Bit);
    host->output->setPreferredType(&s);
    ASSERT_EQ(connect(), S_OK);
    EXPECT_EQ(host->output->outType(), ST24Bit);
    ASSERT_EQ(graph.Run(), S_OK);
    std::vector<uint8_t> frame = {1, 2, 3, 4, 5, 6};
    ASSERT_EQ(deliver(frame, s), S_OK);
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), 1u);
    EXPECT_EQ(samples[0].data, frame);
    EXPECT_FALSE(samples[0].mediaType.has_value());
}

TEST_F(OutputPinTest, SixteenBitSinkStillGetsTwentyFourBitAndFloatStreams)
{
    sink->SetAcceptType(isPcm16);
    TvStatusLpcm s24 = status(2, ST24Bit);
    host->output->setPreferredType(&s24);
    ASSERT_EQ(connect(), S_OK);  // through the 16-bit offer at position 1
    EXPECT_EQ(host->output->outType(), ST16Bit);
    ASSERT_EQ(graph.Run(), S_OK);
    // 0x7FFF80 rounds to 32767, 0x000080 to 1.
    ASSERT_EQ(deliver({0x80, 0xFF, 0x7F, 0x80, 0x00, 0x00}, s24), S_OK);

    TvStatusLpcm sFloat = status(2, STFloat);
    std::vector<uint8_t> floats(8);
    const float values[2] = {0.5f, -1.0f};
    std::memcpy(floats.data(), values, 8);
    ASSERT_EQ(deliver(floats, sFloat), S_OK);

    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_EQ(samples[0].data, (std::vector<BYTE>{0xFF, 0x7F, 0x01, 0x00}));
    int16_t out[2];
    ASSERT_EQ(samples[1].data.size(), 4u);
    std::memcpy(out, samples[1].data.data(), 4);
    EXPECT_EQ(out[0], 16384);
    EXPECT_EQ(out[1], -32767);
    // The float stream's new type went with its first sample: 16-bit PCM.
    ASSERT_TRUE(samples[1].mediaType.has_value());
    EXPECT_TRUE(isPcm16(*samples[1].mediaType));
    std::string log = host->log.str();
    EXPECT_NE(log.find("attaching new MT: "), std::string::npos);
    EXPECT_NE(log.find("convert to 16 bit"), std::string::npos);
}

TEST_F(OutputPinTest, IntegerSinkGetsFloatAsThirtyTwoBit)
{
    sink->SetAcceptType([](const CMediaType& t) { return IsEqualGUID(t.subtype, MEDIASUBTYPE_PCM); });
    TvStatusLpcm s = status(1, STFloat);
    host->output->setPreferredType(&s);
    ASSERT_EQ(connect(), S_OK);  // position 0: 32-bit PCM
    EXPECT_EQ(host->output->outType(), ST32Bit);
    ASSERT_EQ(graph.Run(), S_OK);
    std::vector<uint8_t> one(4);
    const float value = 1.0f;
    std::memcpy(one.data(), &value, 4);
    ASSERT_EQ(deliver(one, s), S_OK);
    EXPECT_EQ(sink->Samples()[0].data, (std::vector<BYTE>{0, 0, 0, 0x80}));  // the required wrap
    EXPECT_NE(host->log.str().find("convert to int"), std::string::npos);
}

TEST_F(OutputPinTest, AChangeNobodyAcceptsIsRefusedAndRetriedNextTime)
{
    sink->SetAcceptType([](const CMediaType& t) { return formatOf(t).Format.nChannels == 2; });
    TvStatusLpcm stereo = status(2, ST16Bit);
    host->output->setPreferredType(&stereo);
    ASSERT_EQ(connect(), S_OK);
    ASSERT_EQ(graph.Run(), S_OK);
    TvStatusLpcm six = status(6, ST16Bit);
    EXPECT_EQ(deliver(std::vector<uint8_t>(12), six), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_NE(host->log.str().find("error: QueryAccept: bad type"), std::string::npos);
    EXPECT_EQ(sink->SampleCount(), 0u);
    // Back to stereo: the type changed again and is offered again.
    ASSERT_EQ(deliver(std::vector<uint8_t>(4), stereo), S_OK);
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), 1u);
    EXPECT_TRUE(samples[0].mediaType.has_value());
}

TEST_F(OutputPinTest, SpdifIsOfferedOnlyAsItselfAndNeverConverted)
{
    sink->SetAcceptType([](const CMediaType& t) { return IsEqualGUID(t.subtype, MEDIASUBTYPE_DOLBY_AC3_SPDIF); });
    TvStatusLpcm burst = status(2, ST16Bit, true);
    host->output->setPreferredType(&burst);
    ASSERT_EQ(connect(), S_OK);
    EXPECT_EQ(host->output->outType(), ST16Bit);
    ASSERT_EQ(graph.Run(), S_OK);
    // A burst whose record still names a decoded sample type is passed as it is.
    burst.stype = ST24Bit;
    std::vector<uint8_t> payload = {0x72, 0xF8, 0x1F, 0x4E, 1, 0};
    ASSERT_EQ(deliver(payload, burst), S_OK);
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), 1u);
    EXPECT_EQ(samples[0].data, payload);
    EXPECT_EQ(host->log.str().find("convert to"), std::string::npos);

    // A PCM status needs a PCM type, which this sink refuses.
    EXPECT_EQ(deliver(std::vector<uint8_t>(4), status(2, ST16Bit)), VFW_E_TYPE_NOT_ACCEPTED);
}

TEST_F(OutputPinTest, DiscontinuityGoesWithTheNextDeliveredSample)
{
    TvStatusLpcm s = status(2, ST16Bit);
    host->output->setPreferredType(&s);
    ASSERT_EQ(connect(), S_OK);
    ASSERT_EQ(graph.Run(), S_OK);
    host->output->setDiscontinuity();
    ASSERT_EQ(deliver(std::vector<uint8_t>(4), s), S_OK);
    ASSERT_EQ(deliver(std::vector<uint8_t>(4), s), S_OK);
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_TRUE(samples[0].discontinuity);
    EXPECT_FALSE(samples[1].discontinuity);
}

TEST_F(OutputPinTest, BuffersCarryAGuardWordThatCatchesOverruns)
{
    TvStatusLpcm s = status(2, ST16Bit);
    host->output->setPreferredType(&s);
    ASSERT_EQ(connect(), S_OK);
    ALLOCATOR_PROPERTIES props{};
    IMemAllocator* allocator = nullptr;
    ASSERT_EQ(sink->InputPin()->GetAllocator(&allocator), S_OK);
    allocator->GetProperties(&props);
    allocator->Release();
    EXPECT_EQ(props.cbBuffer, 65536 + 4);
    EXPECT_EQ(props.cBuffers, 4);
    ASSERT_EQ(graph.Run(), S_OK);

    IMediaSample* sample = nullptr;
    ASSERT_EQ(host->output->getEmptySample(&sample), S_OK);
    BYTE* p;
    sample->GetPointer(&p);
    DWORD guard;
    std::memcpy(&guard, p + 65536, 4);
    EXPECT_EQ(guard, 0xdeadbeefu);
    p[65536] = 0;  // an overrun
    sample->SetActualDataLength(4);
    host->output->deliver(sample, &s);
    sample->Release();
    auto lines = processLog.lines();
    bool asserted = false;
    for (const auto& line : lines)
        asserted |= line.rfind("error: TvAssert: TvOutputPin ", 0) == 0 &&
                    line.find("'*(DWORD*)(p+PoutputBufferSize() ) == 0xdeadbeef'") != std::string::npos;
    EXPECT_TRUE(asserted);
}

TEST_F(OutputPinTest, SeekingIsPassedUpstream)
{
    IMediaSeeking* seeking = nullptr;
    ASSERT_EQ(host->output->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking)), S_OK);
    LONGLONG duration;
    EXPECT_EQ(seeking->GetDuration(&duration), E_NOTIMPL);  // nothing upstream
    IPin* pin = nullptr;
    ASSERT_EQ(seeking->QueryInterface(IID_IPin, reinterpret_cast<void**>(&pin)), S_OK);
    EXPECT_EQ(pin, static_cast<IPin*>(host->output));
    pin->Release();
    seeking->Release();
}

}  // namespace
