// Runs the Windows module in a real DirectShow graph: the system's filter
// graph manager, filter mapper, Sample Grabber and Null Renderer. After
// regsvr32 has registered TavioDec2.ax it
//   1. checks the registry keys and finds the filter through the mapper;
//   2. connects a push source of disc audio (DVD-Video LPCM or AC-3 from a
//      VOB) or of AMR speech (a .amr/.awb file, ten frames to a sample as 3GP
//      files carry them) to the Sample Grabber by intelligent connect, which
//      must insert our filter by its registration;
//   3. runs the graph to the end and compares the grabbed PCM with the Linux
//      build's output for the same input;
//   4. unregisters and checks that only the capabilities value stays.
// Usage: graph_test MODULE INPUT EXPECTED.pcm
#include <qedit.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "decoders/ac3_header.h"
#include "filter/TvFilter.h"
#include "host/disc_lpcm_headers.h"
#include "host/program_stream.h"
#include "host/push_source.h"
#include "libs/TvAmrDec/amr_storage_frame.h"

namespace {

// qedit's classes (the header declares only their interfaces).
const CLSID kSampleGrabber = {0xC1F400A0, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
const CLSID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

int failures = 0;

void check(bool ok, const std::string& what)
{
    std::printf("%s: %s\n", ok ? "ok" : "FAILED", what.c_str());
    if (!ok)
        ++failures;
}

std::wstring clsidText(REFCLSID clsid)
{
    OLECHAR text[40];
    StringFromGUID2(clsid, text, 40);
    return text;
}

bool keyExists(const std::wstring& path)
{
    HKEY key;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

const std::wstring kInstance = L"CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\";

// Whether the filter mapper offers a filter of that friendly name for DVD LPCM.
bool mapperFinds(const std::wstring& friendlyName)
{
    IFilterMapper2* mapper = nullptr;
    if (FAILED(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                                reinterpret_cast<void**>(&mapper))))
        return false;
    GUID types[2] = {MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DVD_LPCM_AUDIO};
    IEnumMoniker* monikers = nullptr;
    bool found = false;
    if (SUCCEEDED(mapper->EnumMatchingFilters(&monikers, 0, TRUE, MERIT_DO_NOT_USE + 1, TRUE, 1, types, nullptr,
                                              nullptr, FALSE, FALSE, 0, nullptr, nullptr, nullptr))) {
        IMoniker* moniker = nullptr;
        while (!found && monikers->Next(1, &moniker, nullptr) == S_OK) {
            IPropertyBag* bag = nullptr;
            if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag,
                                                 reinterpret_cast<void**>(&bag)))) {
                VARIANT name;
                VariantInit(&name);
                if (SUCCEEDED(bag->Read(L"FriendlyName", &name, nullptr)) && name.vt == VT_BSTR)
                    found = friendlyName == name.bstrVal;
                VariantClear(&name);
                bag->Release();
            }
            moniker->Release();
        }
        monikers->Release();
    }
    mapper->Release();
    return found;
}

// Collects what the Sample Grabber sees.
class Collector : public ISampleGrabberCB {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        if (riid == IID_IUnknown || riid == IID_ISampleGrabberCB) {
            *ppv = static_cast<ISampleGrabberCB*>(this);
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP SampleCB(double, IMediaSample*) override { return S_OK; }
    STDMETHODIMP BufferCB(double, BYTE* buffer, long length) override
    {
        CAutoLock guard(&lock);
        bytes.insert(bytes.end(), buffer, buffer + length);
        return S_OK;
    }
    CCritSec lock;
    std::vector<uint8_t> bytes;
};

IPin* pinOf(IBaseFilter* filter, PIN_DIRECTION direction)
{
    IEnumPins* pins = nullptr;
    IPin* found = nullptr;
    if (FAILED(filter->EnumPins(&pins)))
        return nullptr;
    IPin* pin = nullptr;
    while (!found && pins->Next(1, &pin, nullptr) == S_OK) {
        PIN_DIRECTION d;
        if (SUCCEEDED(pin->QueryDirection(&d)) && d == direction)
            found = pin;
        else
            pin->Release();
    }
    pins->Release();
    return found;
}

bool graphHoldsTavio(IGraphBuilder* graph)
{
    IEnumFilters* filters = nullptr;
    bool found = false;
    if (FAILED(graph->EnumFilters(&filters)))
        return false;
    IBaseFilter* filter = nullptr;
    while (filters->Next(1, &filter, nullptr) == S_OK) {
        CLSID clsid;
        if (SUCCEEDED(filter->GetClassID(&clsid)) && clsid == CLSID_Tavio2)
            found = true;
        filter->Release();
    }
    filters->Release();
    return found;
}

std::vector<uint8_t> readFile(const char* path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool isAc3(int substream)
{
    return substream >= 0x80 && substream <= 0x87;
}

// What the media type needs to know: LPCM from its private header, AC-3 from
// the first frame that starts in the packet.
bool describe(const PesPacket& p, AudioStreamParameters& parameters, std::string& description)
{
    if (p.substreamId >= 0xA0 && p.substreamId <= 0xA7)
        return dvdVideoLpcm(p.payload, parameters, description);
    if (!isAc3(p.substreamId))
        return false;
    Ac3Header header;
    for (size_t at = 4; at + 8 <= p.payload.size(); ++at)
        if (parseAc3Header(p.payload.data() + at, p.payload.size() - at, header)) {
            parameters.codec = "ac3";
            parameters.sampleRate = header.freq;
            parameters.channels = __builtin_popcount(ac3ChannelMask(header.acmod, header.lfeon));
            description = "AC-3, " + std::to_string(header.freq) + " Hz, " + std::to_string(parameters.channels) +
                          " channels";
            return true;
        }
    return false;
}

// What the push source delivers: the media type and the payloads, each with
// its start time or none.
struct SourceInput {
    CMediaType type;
    std::vector<std::vector<uint8_t>> payloads;
    std::vector<std::pair<bool, REFERENCE_TIME>> starts;
};

// The first LPCM or AC-3 substream of a VOB.
bool readVob(const char* vob, SourceInput& input)
{
    std::vector<PesPacket> packets;
    check(readProgramStreamFile(vob, packets), std::string("read ") + vob);
    int substream = -1;
    AudioStreamParameters parameters;
    std::string description;
    for (const PesPacket& p : packets)
        if (describe(p, parameters, description)) {
            substream = p.substreamId;
            break;
        }
    check(substream >= 0, "the input holds disc audio: " + description);
    parameters.inProgramStream = true;
    std::string why;
    auto type = hostMediaType(parameters, why);
    if (!type)
        return false;
    input.type = *type;
    for (const PesPacket& p : packets) {
        if (p.substreamId != substream)
            continue;
        // AC-3 goes without its substream header, LPCM keeps it for the decoder.
        size_t skip = isAc3(substream) ? std::min<size_t>(4, p.payload.size()) : 0;
        input.payloads.emplace_back(p.payload.begin() + long(skip), p.payload.end());
        input.starts.emplace_back(p.hasPts, p.ptsReferenceTime);
    }
    return true;
}

// A .amr/.awb file: the frames after its magic line, ten to a sample.
bool readAmr(const char* path, SourceInput& input)
{
    std::vector<uint8_t> file = readFile(path);
    size_t at = amrMagicLength(file.data(), file.size());
    bool wideband = at == 9;
    check(at == 6 || at == 9, std::string("read the AMR file ") + path);
    if (at != 6 && at != 9)
        return false;
    AudioStreamParameters parameters;
    parameters.codec = wideband ? "amr-wb" : "amr-nb";
    parameters.sampleRate = wideband ? 16000 : 8000;
    parameters.channels = 1;
    std::string why;
    auto type = hostMediaType(parameters, why);
    if (!type)
        return false;
    input.type = *type;
    const REFERENCE_TIME frameTime = 200000;  // 20 ms
    for (size_t frames = 0; at < file.size(); ++frames) {
        AmrFrame frame = amrFrame(file[at], wideband);
        if (frame.kind == AmrFrameKind::Invalid || at + frame.bytes > file.size())
            break;
        if (frames % 10 == 0) {
            input.payloads.emplace_back();
            input.starts.emplace_back(true, REFERENCE_TIME(frames) * frameTime);
        }
        input.payloads.back().insert(input.payloads.back().end(), file.begin() + long(at),
                                     file.begin() + long(at + frame.bytes));
        at += frame.bytes;
    }
    return !input.payloads.empty();
}

// Streams the input through the graph; returns what the grabber collected.
std::vector<uint8_t> runGraph(const SourceInput& input)
{
    IGraphBuilder* graph = nullptr;
    check(SUCCEEDED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                     reinterpret_cast<void**>(&graph))),
          "filter graph manager created");
    if (!graph)
        return {};
    PushSource* source = PushSource::Create(input.type);
    IBaseFilter* grabberFilter = nullptr;
    IBaseFilter* renderer = nullptr;
    ISampleGrabber* grabber = nullptr;
    CoCreateInstance(kSampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                     reinterpret_cast<void**>(&grabberFilter));
    CoCreateInstance(kNullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                     reinterpret_cast<void**>(&renderer));
    check(grabberFilter && renderer, "Sample Grabber and Null Renderer created");
    Collector collector;
    std::vector<uint8_t> grabbed;
    if (grabberFilter && renderer &&
        SUCCEEDED(grabberFilter->QueryInterface(IID_ISampleGrabber, reinterpret_cast<void**>(&grabber)))) {
        AM_MEDIA_TYPE pcm{};
        pcm.majortype = MEDIATYPE_Audio;
        pcm.subtype = MEDIASUBTYPE_PCM;
        grabber->SetMediaType(&pcm);
        grabber->SetBufferSamples(FALSE);
        grabber->SetCallback(&collector, 1);
        graph->AddFilter(source, L"Audio source");
        graph->AddFilter(grabberFilter, L"Sample Grabber");
        graph->AddFilter(renderer, L"Null Renderer");
        IPin* grabberIn = pinOf(grabberFilter, PINDIR_INPUT);
        IPin* grabberOut = pinOf(grabberFilter, PINDIR_OUTPUT);
        IPin* rendererIn = pinOf(renderer, PINDIR_INPUT);
        HRESULT hr = graph->Connect(source->OutputPin(), grabberIn);
        check(SUCCEEDED(hr), "intelligent connect from the source to the grabber");
        check(graphHoldsTavio(graph), "the graph manager inserted Tavio2");
        check(SUCCEEDED(graph->Connect(grabberOut, rendererIn)), "grabber connected to the null renderer");

        IMediaFilter* clock = nullptr;
        IMediaControl* control = nullptr;
        IMediaEvent* events = nullptr;
        graph->QueryInterface(IID_IMediaFilter, reinterpret_cast<void**>(&clock));
        graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
        graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&events));
        clock->SetSyncSource(nullptr);  // as fast as it goes
        check(SUCCEEDED(control->Run()), "graph running");
        for (size_t i = 0; i < input.payloads.size(); ++i) {
            PushSource::Packet packet;
            REFERENCE_TIME start = input.starts[i].second;
            packet.data = input.payloads[i].data();
            packet.size = input.payloads[i].size();
            packet.start = input.starts[i].first ? &start : nullptr;
            source->Deliver(packet);
        }
        source->DeliverEndOfStream();
        long code = 0;
        check(events->WaitForCompletion(20000, &code) == S_OK && code == EC_COMPLETE, "the stream completed");
        control->Stop();
        events->Release();
        control->Release();
        clock->Release();
        grabberIn->Release();
        grabberOut->Release();
        rendererIn->Release();
        grabber->Release();
        CAutoLock guard(&collector.lock);
        grabbed = collector.bytes;
    }
    if (renderer)
        renderer->Release();
    if (grabberFilter)
        grabberFilter->Release();
    graph->Release();
    return grabbed;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: graph_test MODULE INPUT EXPECTED.pcm\n");
        return 2;
    }
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    std::wstring filter = L"CLSID\\" + clsidText(CLSID_Tavio2);
    check(keyExists(filter + L"\\InprocServer32"), "the filter's server key is registered");
    check(keyExists(L"CLSID\\" + clsidText(CLSID_TavioPropertyPage)), "the property page is registered");
    check(keyExists(kInstance + clsidText(CLSID_Tavio2) + L"\\Capabilities"), "the capabilities key is there");
    check(mapperFinds(L"Tavio Audio Decoder 2"), "the filter mapper offers Tavio2 for DVD LPCM");

    std::string path = argv[2];
    bool amr = path.size() > 4 && (path.substr(path.size() - 4) == ".amr" || path.substr(path.size() - 4) == ".awb");
    SourceInput input;
    std::vector<uint8_t> grabbed;
    if (amr ? readAmr(argv[2], input) : readVob(argv[2], input))
        grabbed = runGraph(input);
    std::vector<uint8_t> expected = readFile(argv[3]);
    check(!expected.empty() && grabbed == expected,
          "grabbed PCM equals the Linux build's (" + std::to_string(grabbed.size()) + " vs " +
              std::to_string(expected.size()) + " bytes)");

    HMODULE module = LoadLibraryA(argv[1]);
    auto unregister = module ? reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
                                   reinterpret_cast<void*>(GetProcAddress(module, "DllUnregisterServer")))
                             : nullptr;
    check(unregister && unregister() == S_OK, "DllUnregisterServer");
    check(!keyExists(filter), "the filter's server key is gone");
    check(!mapperFinds(L"Tavio Audio Decoder 2"), "the filter mapper no longer offers Tavio2");
    check(keyExists(kInstance + clsidText(CLSID_Tavio2) + L"\\Capabilities"), "the capabilities key stays");
    if (module)
        FreeLibrary(module);
    CoUninitialize();
    std::printf("graph test: %d failed\n", failures);
    return failures ? 1 : 0;
}
