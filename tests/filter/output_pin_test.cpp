// The output pin against recording sinks: what a sink that takes only some
// of the offered types receives, the guard word behind each buffer,
// and Stop releasing a thread that waits for a buffer.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <sstream>
#include <thread>

#include "config/config_test_support.h"
#include "conversion/output_types.h"
#include "filter/TvOutputPin.h"
#include "host/graph.h"
#include "host/sink_filter.h"
#include "support/assertion_guard.h"
#include "support/row_name.h"

namespace {

// A filter holding the pin under test and an input pin for the pass-through.
class PinHost : public CBaseFilter {
public:
    class Input : public CBaseInputPin {
    public:
        Input(PinHost* host, HRESULT* phr)
            : CBaseInputPin("in", host, &host->lock, phr, WIDE("Input"))
        {
        }
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
        return n == 0   ? static_cast<CBasePin*>(input)
               : n == 1 ? static_cast<CBasePin*>(output)
                        : nullptr;
    }

    CCritSec lock;
    std::ostringstream log;
    Input* input;
    TvOutputPin* output;
};

TvStatusLpcm status(int chan, TvSampleType stype, bool spdif = false)
{
    TvStatusLpcm s;
    s.freq = 48000;
    s.chan = chan;
    s.stype = stype;
    s.spdif = spdif;
    s.samples = 4;
    s.iFrameSize = 1;
    return s;
}

const WAVEFORMATEX& formatOf(const CMediaType& type)
{
    return *reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
}

bool isPcm(const CMediaType& type)
{
    return IsEqualGUID(type.subtype, MEDIASUBTYPE_PCM);
}
bool isPcm16(const CMediaType& type)
{
    return isPcm(type) && formatOf(type).wBitsPerSample == 16;
}
bool isStereo(const CMediaType& type)
{
    return formatOf(type).nChannels == 2;
}
bool isSpdif(const CMediaType& type)
{
    return IsEqualGUID(type.subtype, MEDIASUBTYPE_DOLBY_AC3_SPDIF);
}

std::vector<uint8_t> floats(std::initializer_list<float> values)
{
    std::vector<uint8_t> bytes(values.size() * 4);
    std::memcpy(bytes.data(), values.begin(), bytes.size());
    return bytes;
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
    // Connected with the record of 16-bit stereo and running.
    void runStereo()
    {
        host->output->setPreferredType(&stereo);
        ASSERT_EQ(connect(), S_OK);
        ASSERT_EQ(graph.Run(), S_OK);
    }
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

    TempFolder root;
    CapturedLog processLog{root};
    AssertionGuard assertions;
    Graph graph;
    PinHost* host = nullptr;
    SinkFilter* sink = nullptr;
    TvStatusLpcm stereo = status(2, ST16Bit);
};

TEST_F(OutputPinTest, NothingIsOfferedBeforeTheFirstStatus)
{
    CMediaType none;
    EXPECT_EQ(host->output->GetMediaType(0, &none), VFW_S_NO_MORE_ITEMS);
    EXPECT_EQ(connect(), VFW_E_NO_ACCEPTABLE_TYPES);
}

// Seeking asked of the output pin goes to the pin upstream of the input pin:
// with nothing there, there is nothing to seek.
TEST_F(OutputPinTest, SeekingIsAskedUpstream)
{
    IMediaSeeking* seeking = nullptr;
    ASSERT_EQ(host->output->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking)),
              S_OK);
    LONGLONG duration = 0;
    EXPECT_EQ(seeking->GetDuration(&duration), E_NOTIMPL);
    seeking->Release();
}

struct Delivery {
    TvStatusLpcm s;
    std::vector<uint8_t> in;
    HRESULT result;
    std::vector<uint8_t> out;  // what the sink receives, when it does
    bool newType;              // the sample carries a new media type
};

struct SinkCase {
    const char* name;
    bool (*accepts)(const CMediaType&);
    TvStatusLpcm connectedWith;
    TvSampleType outType;
    std::vector<Delivery> deliveries;
};

// clang-format off
const SinkCase kSinkCases[] = {
    {"TakesEverythingNativeUnconverted", nullptr, status(2, ST24Bit), ST24Bit,
     {{status(2, ST24Bit), {1, 2, 3, 4, 5, 6}, S_OK, {1, 2, 3, 4, 5, 6}, false}}},
    // 20-bit samples are stored in 24-bit containers: the 24-bit connection
    // that the first offer makes takes them byte for byte.
    {"TwentyBitGoesOutInItsTwentyFourBitContainer", nullptr, status(2, ST20Bit), ST24Bit,
     {{status(2, ST20Bit), {0x10, 0x32, 0x54, 0xF0, 0xFF, 0xFF}, S_OK,
       {0x10, 0x32, 0x54, 0xF0, 0xFF, 0xFF}, false}}},
    {"SixteenBitOnlyGetsTwentyBitRoundedAsTwentyFour", isPcm16, status(2, ST20Bit), ST16Bit,
     {{status(2, ST20Bit), {0x80, 0xFF, 0x7F, 0x90, 0xFF, 0xFF}, S_OK, {0xFF, 0x7F, 0x00, 0x00},
       false}}},
    // 0x7FFF80 rounds to 32767, 0x000080 to 1; 0.5 to 16384, -1 to -32767.
    {"SixteenBitOnlyGetsTwentyFourBitAndFloatConverted", isPcm16, status(2, ST24Bit), ST16Bit,
     {{status(2, ST24Bit), {0x80, 0xFF, 0x7F, 0x80, 0, 0}, S_OK, {0xFF, 0x7F, 0x01, 0x00}, false},
      {status(2, STFloat), floats({0.5f, -1.0f}), S_OK, {0x00, 0x40, 0x01, 0x80}, true}}},
    {"IntegerOnlyGetsFloatAsThirtyTwoBit", isPcm, status(1, STFloat), ST32Bit,
     {{status(1, STFloat), floats({1.0f}), S_OK, {0, 0, 0, 0x80}, false}}},
    // A change nobody accepts is refused, and offered again next time.
    {"StereoOnlyRefusesSixChannels", isStereo, status(2, ST16Bit), ST16Bit,
     {{status(6, ST16Bit), std::vector<uint8_t>(12), VFW_E_TYPE_NOT_ACCEPTED, {}, false},
      {status(2, ST16Bit), {1, 2, 3, 4}, S_OK, {1, 2, 3, 4}, true}}},
    // Bursts pass as they are whatever sample type their record names; PCM
    // needs a PCM type this sink refuses.
    {"SpdifOnlyTakesBurstsUnconverted", isSpdif, status(2, ST16Bit, true), ST16Bit,
     {{status(2, ST24Bit, true), {0x72, 0xF8, 0x1F, 0x4E, 1, 0}, S_OK, {0x72, 0xF8, 0x1F, 0x4E, 1, 0},
       false},
      {status(2, ST16Bit), std::vector<uint8_t>(4), VFW_E_TYPE_NOT_ACCEPTED, {}, false}}},
};
// clang-format on

class SinkTable : public OutputPinTest, public ::testing::WithParamInterface<SinkCase> {};

TEST_P(SinkTable, DeliveriesReachTheSinkInATypeItTakes)
{
    const SinkCase& c = GetParam();
    if (c.accepts)
        sink->SetAcceptType(c.accepts);
    host->output->setPreferredType(&c.connectedWith);
    ASSERT_EQ(connect(), S_OK);
    EXPECT_EQ(host->output->outType(), c.outType);
    ASSERT_EQ(graph.Run(), S_OK);
    std::vector<Delivery> received;
    for (const Delivery& d : c.deliveries) {
        EXPECT_EQ(deliver(d.in, d.s), d.result);
        if (d.result == S_OK)
            received.push_back(d);
    }
    auto samples = sink->Samples();
    ASSERT_EQ(samples.size(), received.size());
    for (size_t i = 0; i < samples.size(); ++i) {
        EXPECT_EQ(samples[i].data, received[i].out) << i;
        EXPECT_EQ(samples[i].mediaType.has_value(), received[i].newType) << i;
        if (samples[i].mediaType && c.accepts) {
            EXPECT_TRUE(c.accepts(*samples[i].mediaType));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sinks, SinkTable, ::testing::ValuesIn(kSinkCases), RowName());

TEST_F(OutputPinTest, AGuardWordBehindEachBufferCatchesOverruns)
{
    runStereo();
    IMediaSample* sample = nullptr;
    ASSERT_EQ(host->output->getEmptySample(&sample), S_OK);
    EXPECT_EQ(sample->GetSize(), 65536 + 4);
    BYTE* p;
    sample->GetPointer(&p);
    p[65536] ^= 1;  // an overrun
    sample->SetActualDataLength(4);
    host->output->deliver(sample, &stereo);
    sample->Release();
    assertions.expect(1);
}

// Every buffer held downstream, the streaming thread waits for one; Stop
// decommits the allocator and the wait ends with an error.
TEST_F(OutputPinTest, StopReleasesAThreadWaitingForABuffer)
{
    runStereo();
    std::vector<IMediaSample*> held;
    for (IMediaSample* sample = nullptr;
         held.size() < 4 && host->output->getEmptySample(&sample) == S_OK;)
        held.push_back(sample);
    ASSERT_EQ(held.size(), 4u);
    std::atomic<bool> returned{false};
    HRESULT waited = S_OK;
    std::thread streaming([&] {
        IMediaSample* sample = nullptr;
        waited = host->output->getEmptySample(&sample);
        if (sample)
            sample->Release();
        returned = true;
    });
    Sleep(50);
    EXPECT_FALSE(returned.load());
    ASSERT_EQ(graph.Stop(), S_OK);
    streaming.join();
    EXPECT_TRUE(FAILED(waited));
    for (IMediaSample* sample : held)
        sample->Release();
}

}  // namespace
