// Connecting two pins as the graph manager does: type negotiation order,
// refusals, allocator negotiation and cleanup after failures.
#include <gtest/gtest.h>

#include "test_filters.h"

namespace {

class ConnectionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        upstream = new TestFilter(&log);
        downstream = new TestFilter(&log);
    }
    void TearDown() override
    {
        if (output && output->IsConnected())
            output->Disconnect();
        if (input && input->IsConnected())
            input->Disconnect();
        upstream->Release();
        downstream->Release();
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }
    void makePins(PinBehaviour out, PinBehaviour in)
    {
        output = new TestOutputPin(upstream, WIDE("Out"), std::move(out), "out");
        input = new TestInputPin(downstream, WIDE("In"), std::move(in), "in");
        upstream->AddPin(output);
        downstream->AddPin(input);
    }

    CallLog log;
    TestFilter* upstream = nullptr;
    TestFilter* downstream = nullptr;
    TestOutputPin* output = nullptr;
    TestInputPin* input = nullptr;
};

TEST_F(ConnectionTest, SuccessfulConnectionRunsTheProtocolInOrder)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    ASSERT_EQ(output->Connect(input, nullptr), S_OK);
    const CallLog expected = {
        "out.CheckConnect",   "out.CheckMediaType PCM", "out.SetMediaType PCM",
        "in.CheckConnect",    "in.CheckMediaType PCM",  "in.SetMediaType PCM",
        "in.CompleteConnect", "out.CompleteConnect",    "in.GetAllocatorRequirements",
        "in.GetAllocator",    "out.DecideBufferSize",   "in.NotifyAllocator",
    };
    EXPECT_EQ(log, expected);
    EXPECT_TRUE(output->IsConnected());
    EXPECT_TRUE(input->IsConnected());
    // The input pin's own allocator was chosen and told to the input pin.
    EXPECT_EQ(input->notified, output->Allocator());
    ALLOCATOR_PROPERTIES props;
    output->Allocator()->GetProperties(&props);
    EXPECT_EQ(props.cbBuffer, 1000);
    EXPECT_EQ(props.cBuffers, 2);

    AM_MEDIA_TYPE connected;
    ASSERT_EQ(input->ConnectionMediaType(&connected), S_OK);
    EXPECT_TRUE(IsEqualGUID(connected.subtype, MEDIASUBTYPE_PCM));
    FreeMediaType(connected);
}

TEST_F(ConnectionTest, ReceivingPinsTypesAreTriedBeforeOurOwn)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM), flt = audioType(MEDIASUBTYPE_IEEE_FLOAT);
    CMediaType ac3 = audioType(MEDIASUBTYPE_DOLBY_AC3);
    // Output offers AC3 then FLOAT; input offers PCM then FLOAT. Only FLOAT
    // is acceptable to both, so the attempts show the order.
    makePins({{ac3, flt}, {flt}}, {{pcm, flt}, {flt}});
    ASSERT_EQ(output->Connect(input, nullptr), S_OK);
    std::vector<std::string> checks;
    for (const auto& entry : log)
        if (entry.rfind("out.CheckMediaType", 0) == 0)
            checks.push_back(entry);
    EXPECT_EQ(checks,
              (std::vector<std::string>{"out.CheckMediaType PCM", "out.CheckMediaType FLOAT"}));
}

TEST_F(ConnectionTest, TryMyTypesFirstReversesTheOrder)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM), flt = audioType(MEDIASUBTYPE_IEEE_FLOAT);
    makePins({{flt}, {flt, pcm}}, {{pcm}, {flt, pcm}});
    output->SetTryMyTypesFirst(true);
    ASSERT_EQ(output->Connect(input, nullptr), S_OK);
    EXPECT_TRUE(IsEqualGUID(output->CurrentMediaType().subtype, MEDIASUBTYPE_IEEE_FLOAT));
}

TEST_F(ConnectionTest, FullTypeIsTriedAloneAndItsRefusalReported)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM), dts = audioType(MEDIASUBTYPE_DTS);
    makePins({{pcm}, {pcm, dts}}, {{pcm}, {pcm}});
    EXPECT_EQ(output->Connect(input, &dts), VFW_E_TYPE_NOT_ACCEPTED);
    // No enumeration: the one type was offered once to each side.
    EXPECT_EQ(std::count(log.begin(), log.end(), "out.CheckMediaType PCM"), 0);
    EXPECT_EQ(std::count(log.begin(), log.end(), "in.CheckMediaType DTS"), 1);
    EXPECT_FALSE(output->IsConnected());
    EXPECT_FALSE(input->IsConnected());
}

TEST_F(ConnectionTest, PartialTypeFiltersTheCandidates)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM), flt = audioType(MEDIASUBTYPE_IEEE_FLOAT);
    makePins({{pcm, flt}, {pcm, flt}}, {{}, {pcm, flt}});
    CMediaType partial;
    partial.InitMediaType();
    partial.SetSubtype(&MEDIASUBTYPE_IEEE_FLOAT);  // no major or format type: partial
    ASSERT_TRUE(partial.IsPartiallySpecified());
    ASSERT_EQ(output->Connect(input, &partial), S_OK);
    EXPECT_EQ(std::count(log.begin(), log.end(), "out.CheckMediaType PCM"), 0);
    EXPECT_TRUE(IsEqualGUID(input->CurrentMediaType().subtype, MEDIASUBTYPE_IEEE_FLOAT));
}

TEST_F(ConnectionTest, RefusalsHaveTheirOwnCodes)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM), dts = audioType(MEDIASUBTYPE_DTS);
    makePins({{pcm}, {pcm}}, {{dts}, {dts}});
    EXPECT_EQ(output->Connect(input, nullptr), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_EQ(output->Connect(nullptr, nullptr), E_POINTER);

    // Output to output is the wrong direction.
    auto* otherOutput = new TestOutputPin(downstream, WIDE("Out2"), {{pcm}, {pcm}}, "out2");
    downstream->AddPin(otherOutput);
    EXPECT_EQ(output->Connect(otherOutput, &pcm), VFW_E_INVALID_DIRECTION);
}

TEST_F(ConnectionTest, AlreadyConnectedAndNotStoppedAreRefused)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    ASSERT_EQ(output->Connect(input, &pcm), S_OK);
    EXPECT_EQ(output->Connect(input, &pcm), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(input->ReceiveConnection(output, &pcm), VFW_E_ALREADY_CONNECTED);

    ASSERT_EQ(upstream->Pause(), S_OK);
    EXPECT_EQ(output->Disconnect(), VFW_E_NOT_STOPPED);
    ASSERT_EQ(upstream->Stop(), S_OK);
    EXPECT_EQ(output->Disconnect(), S_OK);
    EXPECT_EQ(output->Disconnect(), S_FALSE);
    EXPECT_EQ(input->Disconnect(), S_OK);

    ASSERT_EQ(upstream->Pause(), S_OK);
    EXPECT_EQ(output->Connect(input, &pcm), VFW_E_NOT_STOPPED);
    upstream->Stop();
}

TEST_F(ConnectionTest, CompleteConnectFailureUndoesBothSides)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    PinBehaviour failing{{pcm}, {pcm}};
    failing.failCompleteConnect = true;
    makePins(failing, {{}, {pcm}});
    EXPECT_EQ(output->Connect(input, &pcm), E_FAIL);
    EXPECT_FALSE(output->IsConnected());
    EXPECT_FALSE(input->IsConnected());
    EXPECT_NE(std::find(log.begin(), log.end(), "in.BreakConnect"), log.end());
    EXPECT_NE(std::find(log.begin(), log.end(), "out.BreakConnect"), log.end());
}

TEST_F(ConnectionTest, OwnAllocatorIsUsedWhenTheInputPinsAllocatorWillNotDo)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    output->refuseFirstAllocator = true;
    input->requirements = {0, 0, 16, 8};  // alignment and prefix asked by the input
    ASSERT_EQ(output->Connect(input, &pcm), S_OK);
    EXPECT_EQ(output->decideCalls, 2);
    EXPECT_NE(output->Allocator(), nullptr);
    EXPECT_EQ(input->notified, output->Allocator());
    EXPECT_EQ(output->lastRequest.cbAlign, 16);
    EXPECT_EQ(output->lastRequest.cbPrefix, 8);
    ALLOCATOR_PROPERTIES props;
    output->Allocator()->GetProperties(&props);
    EXPECT_EQ(props.cbAlign, 16);
    EXPECT_EQ((props.cbBuffer + props.cbPrefix) % 16, 0);
}

TEST_F(ConnectionTest, PeerWithoutMemInputPinHasNoTransport)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    // An input pin that only speaks IPin.
    class BarePin : public RecordingPin<CBaseInputPin> {
    public:
        using RecordingPin::RecordingPin;
        STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
        {
            if (IsEqualGUID(riid, IID_IMemInputPin)) {
                *ppv = nullptr;
                return E_NOINTERFACE;
            }
            return RecordingPin::NonDelegatingQueryInterface(riid, ppv);
        }
    };
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    auto* bare = new BarePin(downstream, WIDE("Bare"), {{}, {pcm}}, "bare");
    downstream->AddPin(bare);
    EXPECT_EQ(output->Connect(bare, &pcm), VFW_E_NO_TRANSPORT);
}

TEST_F(ConnectionTest, PinInformationAndIdentity)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    LPWSTR id = nullptr;
    ASSERT_EQ(input->QueryId(&id), S_OK);
    IPin* found = nullptr;
    ASSERT_EQ(downstream->FindPin(id, &found), S_OK);
    EXPECT_EQ(found, static_cast<IPin*>(input));
    found->Release();
    CoTaskMemFree(id);
    EXPECT_EQ(downstream->FindPin(WIDE("in"), &found), VFW_E_NOT_FOUND);  // case-sensitive

    PIN_INFO info;
    ASSERT_EQ(output->QueryPinInfo(&info), S_OK);
    EXPECT_EQ(info.dir, PINDIR_OUTPUT);
    EXPECT_EQ(info.pFilter, static_cast<IBaseFilter*>(upstream));
    info.pFilter->Release();

    IPin* peer = reinterpret_cast<IPin*>(1);
    EXPECT_EQ(output->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(peer, nullptr);
    AM_MEDIA_TYPE none;
    EXPECT_EQ(output->ConnectionMediaType(&none), VFW_E_NOT_CONNECTED);

    // Input-only calls on an output pin.
    EXPECT_EQ(output->EndOfStream(), E_UNEXPECTED);
    EXPECT_EQ(output->BeginFlush(), E_UNEXPECTED);
    EXPECT_EQ(output->EndFlush(), E_UNEXPECTED);

    // QueryAccept answers only S_OK or S_FALSE.
    CMediaType dts = audioType(MEDIASUBTYPE_DTS);
    EXPECT_EQ(input->QueryAccept(&pcm), S_OK);
    EXPECT_EQ(input->QueryAccept(&dts), S_FALSE);
}

TEST_F(ConnectionTest, HoldingAPinKeepsTheFilterAlive)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    IPin* pin = nullptr;
    ASSERT_EQ(upstream->FindPin(WIDE("Out"), &pin), S_OK);
    LONG before = CBaseObject::ObjectsActive();
    upstream->Release();                              // the test's own reference
    EXPECT_EQ(CBaseObject::ObjectsActive(), before);  // still alive through the pin
    PIN_DIRECTION direction;
    EXPECT_EQ(pin->QueryDirection(&direction), S_OK);
    upstream->AddRef();  // give TearDown its reference back
    pin->Release();
}

TEST_F(ConnectionTest, RefusalCodesFromCheckMediaType)
{
    // Vague refusals become VFW_E_TYPE_NOT_ACCEPTED; a telling one is kept.
    struct Case {
        HRESULT refusal;
        HRESULT expected;
    } cases[] = {
        {S_FALSE, VFW_E_TYPE_NOT_ACCEPTED},
        {E_FAIL, VFW_E_TYPE_NOT_ACCEPTED},
        {E_INVALIDARG, VFW_E_TYPE_NOT_ACCEPTED},
        {VFW_S_NO_MORE_ITEMS, VFW_E_TYPE_NOT_ACCEPTED},
        {VFW_E_INVALIDSUBTYPE, VFW_E_INVALIDSUBTYPE},
    };
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM), dts = audioType(MEDIASUBTYPE_DTS);
    makePins({{pcm}, {pcm, dts}}, {{}, {pcm}});
    for (const Case& c : cases) {
        input->behaviour.refusal = c.refusal;
        output->behaviour.refusal = c.refusal;
        // Refused by the receiving pin, then by the connecting pin itself.
        EXPECT_EQ(output->Connect(input, &dts), c.expected) << std::hex << c.refusal;
        CMediaType flt = audioType(MEDIASUBTYPE_IEEE_FLOAT);
        EXPECT_EQ(output->Connect(input, &flt), c.expected) << std::hex << c.refusal;
        EXPECT_FALSE(output->IsConnected());
        EXPECT_FALSE(input->IsConnected());
    }
}

TEST_F(ConnectionTest, ATellingFailureDuringEnumerationIsReported)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM), dts = audioType(MEDIASUBTYPE_DTS);
    makePins({{dts}, {dts}}, {{pcm}, {}});
    input->behaviour.refusal = VFW_E_INVALIDSUBTYPE;
    EXPECT_EQ(output->Connect(input, nullptr), VFW_E_INVALIDSUBTYPE);
}

TEST_F(ConnectionTest, ReceiveConnectionChecksItsCaller)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    EXPECT_EQ(input->ReceiveConnection(nullptr, &pcm), E_POINTER);
    EXPECT_EQ(input->ReceiveConnection(output, nullptr), E_POINTER);
    auto* otherInput = new TestInputPin(upstream, WIDE("In2"), {{}, {pcm}}, "in2");
    upstream->AddPin(otherInput);
    EXPECT_EQ(input->ReceiveConnection(otherInput, &pcm), VFW_E_INVALID_DIRECTION);
    EXPECT_FALSE(input->IsConnected());

    // A receiving filter that is running refuses the connection.
    ASSERT_EQ(downstream->Pause(), S_OK);
    EXPECT_EQ(output->Connect(input, &pcm), VFW_E_NOT_STOPPED);
    EXPECT_FALSE(output->IsConnected());
    downstream->Stop();
}

TEST_F(ConnectionTest, DisconnectForgetsTheType)
{
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    ASSERT_EQ(output->Connect(input, &pcm), S_OK);
    ASSERT_EQ(input->Disconnect(), S_OK);
    AM_MEDIA_TYPE type;
    EXPECT_EQ(input->ConnectionMediaType(&type), VFW_E_NOT_CONNECTED);
    EXPECT_TRUE(IsEqualGUID(input->CurrentMediaType().majortype, GUID_NULL));
    IPin* peer = nullptr;
    EXPECT_EQ(input->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(input->ConnectionMediaType(nullptr), E_POINTER);
}

TEST_F(ConnectionTest, NoUsableAllocatorFailsTheConnection)
{
    // The output pin cannot size any allocator: both candidates are tried,
    // the failure comes back, and neither pin stays connected.
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    output->bufferCount = 0;
    EXPECT_EQ(output->Connect(input, &pcm), E_FAIL);
    EXPECT_EQ(output->decideCalls, 2);
    EXPECT_FALSE(output->IsConnected());
    EXPECT_FALSE(input->IsConnected());
    EXPECT_EQ(output->Allocator(), nullptr);
}

TEST_F(ConnectionTest, AnInputPinWithoutAnAllocatorGetsOurs)
{
    class BringYourOwn : public TestInputPin {
    public:
        using TestInputPin::TestInputPin;
        STDMETHODIMP GetAllocator(IMemAllocator** allocator) override
        {
            *allocator = nullptr;
            return VFW_E_NO_ALLOCATOR;
        }
    };
    CMediaType pcm = audioType(MEDIASUBTYPE_PCM);
    makePins({{pcm}, {pcm}}, {{}, {pcm}});
    auto* own = new BringYourOwn(downstream, WIDE("Own"), {{}, {pcm}}, "own");
    downstream->AddPin(own);
    ASSERT_EQ(output->Connect(own, &pcm), S_OK);
    EXPECT_EQ(output->decideCalls, 1);
    EXPECT_EQ(own->notified, output->Allocator());
    output->Disconnect();
    own->Disconnect();
}

}  // namespace
