// Connecting two pins as the graph manager does: the protocol order, which
// types are tried, the refusals, allocator negotiation and the cleanup after a
// failure.
#include <gtest/gtest.h>

#include <algorithm>

#include "test_filters.h"

namespace {

const CMediaType pcm = audioType(MEDIASUBTYPE_PCM), flt = audioType(MEDIASUBTYPE_IEEE_FLOAT),
                 ac3 = audioType(MEDIASUBTYPE_DOLBY_AC3), dts = audioType(MEDIASUBTYPE_DTS);

// The calls of one kind in the log, in order.
CallLog entries(const CallLog& log, const std::string& prefix)
{
    CallLog out;
    std::copy_if(log.begin(), log.end(), std::back_inserter(out),
                 [&](const std::string& entry) { return entry.rfind(prefix, 0) == 0; });
    return out;
}

TEST(Connection, RunsTheProtocolInOrder)
{
    PinPair pins(PinPair::pcmOnly(), {{}, {pcm}});
    ASSERT_EQ(pins.output->Connect(pins.input, nullptr), S_OK);
    const CallLog expected = {
        "out.CheckConnect",     "out.CheckMediaType PCM",      "out.SetMediaType PCM",
        "in.CheckConnect",      "in.CheckMediaType PCM",       "in.SetMediaType PCM",
        "in.CompleteConnect",   "in.GetAllocatorRequirements", "in.GetAllocator",
        "out.DecideBufferSize", "in.NotifyAllocator",          "out.CompleteConnect",
    };
    EXPECT_EQ(pins.log, expected);
    EXPECT_EQ(pins.input->notified, pins.output->Allocator());
    IPin* peer = nullptr;
    ASSERT_EQ(pins.input->ConnectedTo(&peer), S_OK);
    EXPECT_EQ(peer, static_cast<IPin*>(pins.output));
    peer->Release();
}

TEST(Connection, TypesAreTriedInTheirOrder)
{
    CMediaType partial;
    partial.SetSubtype(&MEDIASUBTYPE_IEEE_FLOAT);  // no major or format type
    const HRESULT notTaken = VFW_E_TYPE_NOT_ACCEPTED, told = VFW_E_INVALIDSUBTYPE;
    struct Case {
        const char* what;
        PinBehaviour out, in;
        const CMediaType* proposed;
        HRESULT expected;
        std::string outChecks;  // the types the connecting pin was asked about
    } cases[] = {
        {"theirs first", {{ac3, flt}, {flt}}, {{pcm, flt}, {flt}}, nullptr, S_OK, "PCM FLOAT "},
        {"full type alone", {{pcm}, {pcm, dts}}, {{pcm}, {pcm}}, &dts, notTaken, "DTS "},
        {"partial filters", {{pcm, flt}, {pcm, flt}}, {{}, {pcm, flt}}, &partial, S_OK, "FLOAT "},
        {"none", {{pcm}, {pcm}}, {{dts}, {dts}}, nullptr, VFW_E_NO_ACCEPTABLE_TYPES, "DTS PCM "},
        // A telling refusal is reported; vague ones, by either pin, become
        // VFW_E_TYPE_NOT_ACCEPTED.
        {"told", {{dts}, {dts}}, {{pcm}, {}, told}, nullptr, told, "PCM DTS "},
        {"told by us", {{}, {}, told}, {{}, {dts}}, &dts, told, "DTS "},
        {"refused", {{}, {dts}}, {{}, {}, E_INVALIDARG}, &dts, notTaken, "DTS "},
        {"refused by us", {{}, {}, E_FAIL}, {{}, {dts}}, &dts, notTaken, "DTS "},
        {"success code", {{}, {dts}}, {{}, {}, VFW_S_NO_MORE_ITEMS}, &dts, notTaken, "DTS "},
    };
    for (const Case& c : cases) {
        PinPair pins(c.out, c.in);
        EXPECT_EQ(pins.output->Connect(pins.input, c.proposed), c.expected) << c.what;
        std::string checks;
        for (const std::string& entry : entries(pins.log, "out.CheckMediaType "))
            checks += entry.substr(sizeof "out.CheckMediaType " - 1) + " ";
        EXPECT_EQ(checks, c.outChecks) << c.what;
        EXPECT_EQ(pins.input->IsConnected(), c.expected == S_OK) << c.what;
        EXPECT_EQ(pins.output->IsConnected(), c.expected == S_OK) << c.what;
        EXPECT_EQ(subtypeName(pins.input->CurrentMediaType()),
                  c.expected == S_OK ? "FLOAT" : "other")
            << c.what;
    }
}

TEST(Connection, RefusalsLeaveBothPinsUnconnected)
{
    PinPair pins;
    auto* otherOutput = pins.downstream->add(
        new TestOutputPin(pins.downstream, WIDE("Out2"), PinPair::pcmOnly(), "out2"));
    auto* otherInput =
        pins.upstream->add(new TestInputPin(pins.upstream, WIDE("In2"), PinPair::pcmOnly(), "in2"));
    EXPECT_EQ(pins.output->Connect(otherOutput, &pcm), VFW_E_INVALID_DIRECTION);
    EXPECT_EQ(pins.input->ReceiveConnection(otherInput, &pcm), VFW_E_INVALID_DIRECTION);
    for (TestFilter* running : {pins.upstream, pins.downstream}) {
        running->Pause();
        EXPECT_EQ(pins.connect(), VFW_E_NOT_STOPPED);
        running->Stop();
    }
    pins.input->offersTransport = false;
    EXPECT_EQ(pins.connect(), VFW_E_NO_TRANSPORT);
    for (TestFilter* filter : {pins.upstream, pins.downstream})
        for (CBasePin* pin : filter->pins)
            EXPECT_FALSE(pin->IsConnected());

    // A pin that fails to complete the connection undoes both sides.
    pins.input->offersTransport = true;
    pins.output->does.failCompleteConnect = true;
    pins.log.clear();
    EXPECT_EQ(pins.connect(), E_FAIL);
    EXPECT_FALSE(pins.output->IsConnected() || pins.input->IsConnected());
    EXPECT_EQ(entries(pins.log, "in.BreakConnect").size(), 1u);
    EXPECT_EQ(entries(pins.log, "out.BreakConnect").size(), 1u);
}

TEST(Connection, ConnectedPinsRefuseAgainAndDisconnectOnlyWhenStopped)
{
    PinPair pins;
    ASSERT_EQ(pins.connect(), S_OK);
    EXPECT_EQ(pins.connect(), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(pins.input->ReceiveConnection(pins.output, &pcm), VFW_E_ALREADY_CONNECTED);
    ASSERT_EQ(pins.upstream->Pause(), S_OK);
    EXPECT_EQ(pins.output->Disconnect(), VFW_E_NOT_STOPPED);
    pins.upstream->Stop();
    EXPECT_EQ(pins.output->Disconnect(), S_OK);
    EXPECT_EQ(pins.output->Disconnect(), S_FALSE);
    EXPECT_EQ(pins.input->Disconnect(), S_OK);
    // The connection and its type are forgotten.
    EXPECT_TRUE(IsEqualGUID(pins.input->CurrentMediaType().majortype, GUID_NULL));
    IPin* peer = reinterpret_cast<IPin*>(1);
    EXPECT_EQ(pins.input->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(peer, nullptr);
}

TEST(Connection, AllocatorNegotiation)
{
    struct Case {
        const char* what;
        bool inputOffersOne, refuseFirst;
        LONG bufferCount, align, prefix;
        HRESULT expected;
        size_t decisions;
    } cases[] = {
        {"the input pin's allocator", true, false, 2, 0, 0, S_OK, 1},
        {"ours when the input pin's will not do", true, true, 2, 16, 8, S_OK, 2},
        {"ours when the input pin has none", false, false, 2, 0, 0, S_OK, 1},
        {"none that can be sized", true, false, 0, 0, 0, E_FAIL, 2},
    };
    for (const Case& c : cases) {
        PinPair pins;
        pins.input->offersAllocator = c.inputOffersOne;
        pins.input->requirements = {0, 0, c.align, c.prefix};
        pins.output->refuseFirstAllocator = c.refuseFirst;
        pins.output->bufferCount = c.bufferCount;
        ASSERT_EQ(pins.connect(), c.expected) << c.what;
        EXPECT_EQ(entries(pins.log, "out.DecideBufferSize").size(), c.decisions) << c.what;
        // What the input pin asks for reaches every sizing.
        EXPECT_EQ(pins.output->lastRequest.cbAlign, std::max(c.align, 1)) << c.what;
        EXPECT_EQ(pins.output->lastRequest.cbPrefix, c.prefix) << c.what;
        EXPECT_EQ(pins.input->IsConnected(), c.expected == S_OK) << c.what;
        EXPECT_EQ(pins.input->notified, pins.output->Allocator()) << c.what;
        if (c.expected == S_OK) {
            ALLOCATOR_PROPERTIES props;
            pins.output->Allocator()->GetProperties(&props);
            EXPECT_EQ(props.cbAlign, std::max(c.align, 1)) << c.what;
            EXPECT_EQ((props.cbBuffer + props.cbPrefix) % props.cbAlign, 0) << c.what;
        }
    }
}

TEST(Connection, PinsAreFoundByIdAndKeepTheirFilterAlive)
{
    PinPair pins;
    LPWSTR id = nullptr;
    ASSERT_EQ(pins.input->QueryId(&id), S_OK);
    IPin* found = nullptr;
    ASSERT_EQ(pins.downstream->FindPin(id, &found), S_OK);
    EXPECT_EQ(found, static_cast<IPin*>(pins.input));
    CoTaskMemFree(id);

    // Held through the pin alone, the filter stays.
    LONG before = CBaseObject::ObjectsActive();
    pins.downstream->Release();
    EXPECT_EQ(CBaseObject::ObjectsActive(), before);
    EXPECT_EQ(found->QueryAccept(&pcm), S_OK);  // only S_OK or S_FALSE
    EXPECT_EQ(found->QueryAccept(&dts), S_FALSE);
    pins.downstream->AddRef();  // given back for the pair to release
    found->Release();
}

}  // namespace
