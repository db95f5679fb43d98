// The whole filter between a push source and a recording sink, for tests
// that drive it through its pins: parameters reset, logs captured, every
// COM object accounted for at the end, and no assertion fired that the test
// did not announce with `assertions.expect(n)`.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "config/config_test_support.h"
#include "filter/TvFilter.h"
#include "filter/TvInputPin.h"
#include "host/graph.h"
#include "host/push_source.h"
#include "host/sink_filter.h"
#include "support/assertion_guard.h"

class FilterHarness : public ::testing::Test {
protected:
    // A filter with nothing connected, its sibling libraries in the build's
    // module folder, the parameters of `parameterFile` read first. build()
    // makes one if the test has not.
    void createFilter(const std::string& parameterFile = "")
    {
        resetParametersForTesting();
        if (!parameterFile.empty()) {
            writeText(root.file("Tavio.conf"), parameterFile);
            loadParameterFile(root.file("Tavio.conf"));
        }
        HRESULT hr = S_OK;
        filter = new TvFilter(nullptr, &hr, TAVIO_MODULE_DIR "/");
        filter->NonDelegatingAddRef();
        // The filter's own log has no file in tests; read it from memory.
        fileBuffer = filter->log().rdbuf(&filterLog);
    }
    // Connects source -> filter -> sink with `type` and runs the graph.
    void build(const CMediaType& type, LONG bufferSize = 65536)
    {
        if (!filter)
            createFilter();
        source = PushSource::Create(type, bufferSize, 4);
        sink = SinkFilter::Create();
        graph.Add(source, WIDE("source"));
        graph.Add(filter, WIDE("Tavio"));
        graph.Add(sink, WIDE("sink"));
        ASSERT_EQ(graph.Connect(source->OutputPin(), filter->inputPin()), S_OK);
        ASSERT_EQ(graph.Connect(filter->outputPin(), sink->InputPin()), S_OK);
        ASSERT_EQ(graph.Run(), S_OK);
    }
    void TearDown() override
    {
        graph.Clear();
        if (source)
            source->Release();
        if (sink)
            sink->Release();
        if (filter) {
            if (fileBuffer)
                filter->log().rdbuf(fileBuffer);
            filter->Release();
        }
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
        resetParametersForTesting();
        assertions.check();
    }

    HRESULT push(const uint8_t* data,
                 size_t size,
                 const REFERENCE_TIME* start = nullptr,
                 bool discontinuity = false)
    {
        PushSource::Packet packet;
        packet.data = data;
        packet.size = size;
        packet.start = start;
        packet.discontinuity = discontinuity;
        return source->Deliver(packet);
    }
    HRESULT push(const std::vector<uint8_t>& data, const REFERENCE_TIME* start = nullptr)
    {
        return push(data.data(), data.size(), start);
    }
    // The stream cut into `piece`-byte samples without times.
    void pushInPieces(const std::vector<uint8_t>& stream, size_t piece)
    {
        for (size_t offset = 0; offset < stream.size(); offset += piece)
            ASSERT_EQ(push(stream.data() + offset, std::min(piece, stream.size() - offset)), S_OK);
    }
    // Every byte the sink received, in order.
    std::vector<uint8_t> output()
    {
        std::vector<uint8_t> all;
        for (const auto& s : sink->Samples())
            all.insert(all.end(), s.data.begin(), s.data.end());
        return all;
    }
    // Back to the logs of a filter without a log file: closed, so nothing
    // is written (for tests that log from several threads).
    void quietLogs()
    {
        filter->log().rdbuf(fileBuffer);
        fileBuffer = nullptr;
        logStream.close();
        // As a log that could not be opened: failed, so a write touches
        // nothing, not even the stream's state.
        filter->log().setstate(std::ios::failbit);
        logStream.setstate(std::ios::failbit);
    }

    TempFolder root;
    CapturedLog log{root};
    AssertionGuard assertions;
    Graph graph;
    TvFilter* filter = nullptr;
    PushSource* source = nullptr;
    SinkFilter* sink = nullptr;

private:
    std::stringbuf filterLog;
    std::streambuf* fileBuffer = nullptr;
};
