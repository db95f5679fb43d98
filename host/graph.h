// A minimal stand-in for the graph manager: it connects pins directly, moves
// its filters through the states in the graph's order (downstream first) and
// flushes from a given output pin. Filters join it as they would a graph, so
// they can post events, which it records.
#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "platform/dshow/streams.h"

class Graph : public IFilterGraph, public IMediaEventSink {
public:
    Graph() = default;
    ~Graph();
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;

    // Filters in stream order, upstream first. The graph holds a reference.
    HRESULT Add(IBaseFilter* filter, LPCWSTR name);
    // Connects an output pin to an input pin, with an optional type.
    HRESULT Connect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type = nullptr);
    HRESULT Pause();
    HRESULT Run(REFERENCE_TIME start = 0);
    HRESULT Stop();
    // Removes every filter (stopping them first).
    void Clear();

    // Events posted by the filters: (code, param1).
    std::vector<std::pair<LONG, LONG_PTR>> Events();

    // IUnknown: the graph lives on the stack of its user; counting is not needed.
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    // IFilterGraph
    STDMETHODIMP AddFilter(IBaseFilter* filter, LPCWSTR name) override { return Add(filter, name); }
    STDMETHODIMP RemoveFilter(IBaseFilter* filter) override;
    STDMETHODIMP EnumFilters(IEnumFilters** ppEnum) override;
    STDMETHODIMP FindFilterByName(LPCWSTR name, IBaseFilter** filter) override;
    STDMETHODIMP ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) override
    {
        return Connect(output, input, type);
    }
    STDMETHODIMP Reconnect(IPin* pin) override;
    STDMETHODIMP Disconnect(IPin* pin) override;
    STDMETHODIMP SetDefaultSyncSource() override { return S_OK; }
    // IMediaEventSink
    STDMETHODIMP Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override;

private:
    std::vector<IBaseFilter*> m_filters;
    std::mutex m_eventLock;
    std::vector<std::pair<LONG, LONG_PTR>> m_events;
};
