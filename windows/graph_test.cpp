// Runs the Windows module in a real DirectShow graph: the system's filter
// graph manager, filter mapper, Sample Grabber and Null Renderer. After
// regsvr32 has registered TavioDec2.ax it
//   1. checks the registry keys and finds the filter through the mapper;
//   2. connects a push source of disc audio (DVD-Video LPCM or AC-3 from a
//      VOB), of Vorbis (from an Ogg file), of AAC (from an ADTS stream) or of
//      AMR speech (a .amr/.awb file, ten frames to a sample as 3GP files carry
//      them), of Blu-ray LPCM (from an M2TS file) or of E-AC-3 (a raw stream,
//      whose AC-3 bursts are grabbed) to the Sample Grabber by
//      intelligent connect, which must insert our filter by its registration;
//   3. runs the graph to the end, checks that the graph loaded MODULE (and
//      any sibling library from beside it) and compares the grabbed PCM with
//      the Linux build's output for the same input;
//   4. (graph_test MODULE --unregister, once after every input) unregisters
//      and checks that only the capabilities value stays.
// After an uninstallation, graph_test MODULE INPUT.vob --absent checks that
// no key of the filter is left and that intelligent connect no longer finds
// a decoder for the stream.
// Usage: graph_test MODULE INPUT.vob|INPUT.ogg|INPUT.aac|INPUT.amr|INPUT.awb|INPUT.m2ts|INPUT.eac3
// EXPECTED.pcm [GRABBED.pcm]
//        graph_test MODULE --unregister
//        graph_test MODULE INPUT.vob --absent
// (GRABBED.pcm: where to keep what the grabber collected)
#include <qedit.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "decoders/AdecLpcmBd.h"
#include "decoders/ac3_header.h"
#include "decoders/dts_header.h"
#include "decoders/eac3_header.h"
#include "decoders/mpeg_header.h"
#include "filter/TvFilter.h"
#include "host/host_media_types.h"
#include "host/parsers/adts_header.h"
#include "host/parsers/disc_lpcm_headers.h"
#include "host/parsers/disc_mlp_headers.h"
#include "host/parsers/lpcm_recut.h"
#include "host/parsers/ogg_packets.h"
#include "host/parsers/program_stream.h"
#include "host/push_source.h"
#include "libs/TvAmrDec/amr_storage_frame.h"
#include "windows/page_window.h"
#include "windows/transport_stream_reader.h"

namespace {

// qedit's classes (the header declares only their interfaces).
const CLSID kSampleGrabber = {0xC1F400A0,
                              0x3F08,
                              0x11D3,
                              {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
const CLSID kNullRenderer = {0xC1F400A4,
                             0x3F08,
                             0x11D3,
                             {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

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
    if (FAILED(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IFilterMapper2, reinterpret_cast<void**>(&mapper))))
        return false;
    GUID types[2] = {MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DVD_LPCM_AUDIO};
    IEnumMoniker* monikers = nullptr;
    bool found = false;
    if (SUCCEEDED(mapper->EnumMatchingFilters(&monikers, 0, TRUE, MERIT_DO_NOT_USE + 1, TRUE, 1,
                                              types, nullptr, nullptr, FALSE, FALSE, 0, nullptr,
                                              nullptr, nullptr))) {
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

// The Tavio2 instance the graph manager inserted (a reference), or null.
IBaseFilter* tavioIn(IGraphBuilder* graph)
{
    IEnumFilters* filters = nullptr;
    IBaseFilter* found = nullptr;
    if (FAILED(graph->EnumFilters(&filters)))
        return nullptr;
    IBaseFilter* filter = nullptr;
    while (filters->Next(1, &filter, nullptr) == S_OK) {
        CLSID clsid;
        if (!found && SUCCEEDED(filter->GetClassID(&clsid)) && clsid == CLSID_Tavio2)
            found = filter;
        else
            filter->Release();
    }
    filters->Release();
    return found;
}

// What the page test wants: the stream text the Linux host shows for the
// same input, and where the screenshot goes. Empty: no page test.
struct PageCheck {
    std::string expectedText;
    std::string screenshot;
};

// The text item the page fills and the statistics box (shown: the
// parameter file of the page test sets showStat).
constexpr int kStreamTextItem = 1004;
constexpr int kStatisticsItem = 1005;

// Levels as the statistics box shows them: one two-wide exponent and a blank
// per channel.
bool looksLikeLevels(const std::string& text, int channels)
{
    if (text.size() != size_t(channels) * 3)
        return false;
    for (size_t at = 0; at < text.size(); at += 3) {
        int exponent = std::atoi(text.substr(at, 2).c_str());
        if (text[at + 2] != ' ' || exponent < 0 || exponent > 16)
            return false;
    }
    return true;
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

bool isMpegAudio(const PesPacket& p)
{
    return p.streamId >= 0xC0 && p.streamId <= 0xDF;
}

// MPEG audio streams are described by the first frame header in the packet.
bool describeMpeg(const PesPacket& p, AudioStreamParameters& parameters, std::string& description)
{
    MpegHeader header;
    for (size_t at = 0; at + 4 <= p.payload.size(); ++at)
        if (parseMpegHeader(p.payload.data() + at, p.payload.size() - at, header)) {
            parameters.codec = header.layer == 3 ? "mp3" : header.layer == 2 ? "mp2" : "mp1";
            parameters.sampleRate = int(header.sampleRate);
            parameters.channels = header.channels;
            description = "MPEG audio layer " + std::to_string(header.layer) + ", " +
                          std::to_string(header.sampleRate) + " Hz, " +
                          std::to_string(header.channels) + " channels";
            return true;
        }
    return false;
}

bool isDts(int substream)
{
    return substream >= 0x88 && substream <= 0x8F;
}

// What the media type needs to know: LPCM from its private header (DVD-Audio's
// in an AOB, as the host tells them apart), DVD-Audio and HD-DVD MLP from its
// major sync,
// MPEG audio and AC-3 from the first frame that starts in the packet; DTS is
// offered as stereo at the frame's rate, and the decoder tells the layout
// in-band.
bool describe(const PesPacket& p,
              bool dvdAudio,
              AudioStreamParameters& parameters,
              std::string& description)
{
    bool mlp = p.substreamId == 0xA1 || (p.substreamId >= 0xB0 && p.substreamId <= 0xB7);
    if (mlp && discMlp(p.payload, parameters, description))
        return true;
    if (isMpegAudio(p))
        return describeMpeg(p, parameters, description);
    if (p.substreamId == 0xA0 && dvdAudio)
        return dvdAudioLpcm(p.payload, parameters, description);
    if (p.substreamId >= 0xA0 && p.substreamId <= 0xA7)
        return dvdVideoLpcm(p.payload, parameters, description);
    if (isDts(p.substreamId)) {
        DtsHeader header;
        for (size_t at = 4; at < p.payload.size(); ++at)
            if (parseDtsHeader(p.payload.data() + at, p.payload.size() - at, header)) {
                parameters.codec = "dts";
                parameters.sampleRate = dtsSampleRate(header.sfreq);
                parameters.channels = 2;
                description = "DTS, " + std::to_string(parameters.sampleRate) + " Hz";
                return true;
            }
        return false;
    }
    if (!isAc3(p.substreamId))
        return false;
    Ac3Header header;
    for (size_t at = 4; at + 8 <= p.payload.size(); ++at)
        if (parseAc3Header(p.payload.data() + at, p.payload.size() - at, header)) {
            parameters.codec = "ac3";
            parameters.sampleRate = header.freq;
            parameters.channels = __builtin_popcount(ac3ChannelMask(header.acmod, header.lfeon));
            description = "AC-3, " + std::to_string(header.freq) + " Hz, " +
                          std::to_string(parameters.channels) + " channels";
            return true;
        }
    return false;
}

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// One input sample: a payload and its time stamp, if any.
struct Payload {
    std::vector<uint8_t> data;
    bool hasTime = false;
    REFERENCE_TIME start = 0;
};

struct Input {
    std::optional<CMediaType> type;
    std::vector<Payload> payloads;
    // The filter registers no type for this stream (HD-DVD TrueHD), so the
    // graph manager cannot find it: a player adds it to the graph itself,
    // and intelligent connect then tries it first.
    bool addFilterFirst = false;
    // Bursts come under the S/PDIF subtype, not the PCM one the grabber
    // otherwise asks for.
    bool bursts = false;
};

// The first LPCM, MLP, MPEG audio or AC-3 stream of a VOB, EVO or AOB, its LPCM
// payloads re-cut on whole sample groups as the tavio host re-cuts them.
Input readVob(const char* vob)
{
    Input input;
    std::vector<PesPacket> packets;
    check(readProgramStreamFile(vob, packets), std::string("read ") + vob);
    int substream = -1;
    int streamId = -1;
    AudioStreamParameters parameters;
    std::string description;
    bool dvdAudio = endsWith(vob, ".aob");
    for (const PesPacket& p : packets)
        if (describe(p, dvdAudio, parameters, description)) {
            substream = p.substreamId;
            streamId = p.streamId;
            break;
        }
    check(streamId >= 0, "the input holds disc audio: " + description);
    parameters.inProgramStream = true;
    std::string why;
    input.type = hostMediaType(parameters, why);
    input.addFilterFirst = parameters.codec == "truehd";
    std::optional<LpcmRecutter> recutter;
    if (parameters.codec == "dvd-video-lpcm")
        recutter.emplace(LpcmRecutter::Packing::DvdVideo);
    else if (parameters.codec == "dvd-audio-lpcm")
        recutter.emplace(LpcmRecutter::Packing::DvdAudio);
    for (PesPacket p : packets) {
        if (p.streamId != streamId || p.substreamId != substream)
            continue;
        bool hasTime = p.hasPts;
        if (recutter && !recutter->recut(p.payload, hasTime))
            continue;
        // AC-3 and DTS go without their substream header, LPCM and MLP keep it for the decoder.
        size_t skip =
            isAc3(substream) || isDts(substream) ? std::min<size_t>(4, p.payload.size()) : 0;
        input.payloads.push_back(
            {{p.payload.begin() + long(skip), p.payload.end()}, hasTime, p.ptsReferenceTime});
    }
    return input;
}

// The Vorbis stream of an Ogg file: the three header packets in the media
// type, every further packet as one sample.
Input readOgg(const char* ogg)
{
    Input input;
    std::vector<uint8_t> bytes = readFile(ogg);
    std::vector<OggPacket> packets = readOggPackets(bytes.data(), bytes.size());
    AudioStreamParameters parameters;
    parameters.codec = "vorbis";
    parameters.extradata = xiphLacedHeaders(packets);
    std::string why;
    input.type = hostMediaType(parameters, why);
    check(input.type.has_value(),
          std::string("the input holds Vorbis") + (input.type ? "" : ": " + why));
    for (size_t i = 3; i < packets.size(); ++i)
        input.payloads.push_back({packets[i].data, false, 0});
    return input;
}

// AAC from an ADTS stream (ISO/IEC 13818-7, 6.2): the AudioSpecificConfig
// from the first header, each frame's payload one access unit, stamped by
// its place in the stream.
Input readAdts(const char* path)
{
    Input input;
    std::vector<uint8_t> stream = readFile(path);
    AudioStreamParameters parameters;
    parameters.codec = "aac";
    static const int rates[13] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                  22050, 16000, 12000, 11025, 8000,  7350};
    size_t offset = 0;
    AdtsHeader adts;
    while (parseAdtsHeader(stream.data() + offset, stream.size() - offset, adts)) {
        const uint8_t* h = stream.data() + offset;
        size_t length = adts.frameLength, header = adts.headerLength;
        if (length <= header || offset + length > stream.size())
            break;
        if (parameters.extradata.empty()) {
            parameters.extradata = adtsAudioSpecificConfig(adts);
            parameters.sampleRate = adts.rateIndex < 13 ? rates[adts.rateIndex] : 0;
            parameters.channels = adts.channelConfig == 7 ? 8 : adts.channelConfig;
        }
        REFERENCE_TIME start = parameters.sampleRate ? REFERENCE_TIME(input.payloads.size()) *
                                                           1024 * 10000000 / parameters.sampleRate
                                                     : 0;
        input.payloads.push_back({{h + header, h + length}, true, start});
        offset += length;
    }
    check(!input.payloads.empty(), std::string("the input holds ADTS frames: ") + path);
    std::string why;
    if (!input.payloads.empty())
        input.type = hostMediaType(parameters, why);
    return input;
}

// E-AC-3 from a raw stream (A/52 Annex E): each independent syncframe with
// the dependent ones after it one sample, stamped by its place in the
// stream. The filter turns it into AC-3 bursts.
Input readEac3(const char* path)
{
    Input input;
    std::vector<uint8_t> stream = readFile(path);
    AudioStreamParameters parameters;
    parameters.codec = "eac3";
    int64_t samples = 0;
    DolbySyncFrame frame;
    for (size_t at = 0; at + kDolbySyncHeaderBytes <= stream.size() &&
                        parseDolbySyncFrame(stream.data() + at, stream.size() - at, frame) &&
                        at + size_t(frame.frameSize) <= stream.size();
         at += size_t(frame.frameSize)) {
        if (parameters.sampleRate == 0) {
            parameters.sampleRate = frame.freq;
            parameters.channels = __builtin_popcount(ac3ChannelMask(frame.acmod, frame.lfeon));
        }
        if (frame.strmtyp != kEac3Dependent || input.payloads.empty()) {
            input.payloads.push_back({{}, true, samples * 10000000 / parameters.sampleRate});
            samples += 256 * frame.blocks;
        }
        input.payloads.back().data.insert(input.payloads.back().data.end(),
                                          stream.begin() + long(at),
                                          stream.begin() + long(at) + frame.frameSize);
    }
    check(!input.payloads.empty(), std::string("the input holds E-AC-3 frames: ") + path);
    std::string why;
    if (!input.payloads.empty())
        input.type = hostMediaType(parameters, why);
    input.bursts = true;
    return input;
}

// Blu-ray LPCM (stream type 0x80) from an M2TS or transport stream file:
// each PES payload one sample, its 4-byte header kept for the decoder, which
// reads the layout from it; the media type gives the first header's.
Input readM2ts(const char* path)
{
    Input input;
    std::vector<PesPacket> packets;
    check(readTransportStreamFile(path, 0x80, packets),
          std::string("the input holds Blu-ray LPCM: ") + path);
    if (packets.empty() || packets[0].payload.size() < 4)
        return input;
    const uint8_t* header = packets[0].payload.data();
    static const int rates[16] = {0, 48000, 0, 0, 96000, 192000};
    static const int bits[4] = {0, 16, 20, 24};
    const AdecLpcmBd::ChannelLayout* layout = AdecLpcmBd::channelLayout(header[2] >> 4);
    AudioStreamParameters parameters;
    parameters.codec = "bluray-lpcm";
    parameters.sampleRate = rates[header[2] & 0x0F];
    parameters.bitsPerSample = bits[header[3] >> 6];
    parameters.channels = layout ? layout->outputChannels : 0;
    std::string why;
    input.type = hostMediaType(parameters, why);
    for (const PesPacket& p : packets)
        input.payloads.push_back({p.payload, p.hasPts, p.ptsReferenceTime});
    return input;
}

// A .amr/.awb file: the frames after its magic line, ten to a sample.
Input readAmr(const char* path)
{
    Input input;
    std::vector<uint8_t> file = readFile(path);
    size_t at = amrMagicLength(file.data(), file.size());
    bool wideband = at == 9;
    check(at == 6 || at == 9, std::string("read the AMR file ") + path);
    if (at != 6 && at != 9)
        return input;
    AudioStreamParameters parameters;
    parameters.codec = wideband ? "amr-wb" : "amr-nb";
    parameters.sampleRate = wideband ? 16000 : 8000;
    parameters.channels = 1;
    std::string why;
    auto type = hostMediaType(parameters, why);
    if (!type)
        return input;
    input.type = type;
    const REFERENCE_TIME frameTime = 200000;  // 20 ms
    for (size_t frames = 0; at < file.size(); ++frames) {
        AmrFrame frame = amrFrame(file[at], wideband);
        if (frame.kind == AmrFrameKind::Invalid || at + frame.bytes > file.size())
            break;
        if (frames % 10 == 0)
            input.payloads.push_back({{}, true, REFERENCE_TIME(frames) * frameTime});
        input.payloads.back().data.insert(input.payloads.back().data.end(), file.begin() + long(at),
                                          file.begin() + long(at + frame.bytes));
        at += frame.bytes;
    }
    return input;
}

// The full path of a module this process has loaded, or "".
std::string loadedPath(const char* name)
{
    HMODULE module = GetModuleHandleA(name);
    char path[MAX_PATH];
    DWORD n = module ? GetModuleFileNameA(module, path, sizeof path) : 0;
    return n > 0 && n < sizeof path ? std::string(path, n) : std::string();
}

std::string folderOf(const std::string& path)
{
    return path.substr(0, path.find_last_of('\\') + 1);
}

// The graph must have loaded the module the caller names, through its
// registration, and the sibling libraries it uses from beside it: nothing
// from another copy (the build folder, when an installation is tested).
void checkLoadedFrom(const std::string& expectedModule)
{
    // By its own file name: the module may be installed under another one.
    std::string name = expectedModule.substr(expectedModule.find_last_of('\\') + 1);
    std::string module = loadedPath(name.c_str());
    check(_stricmp(module.c_str(), expectedModule.c_str()) == 0,
          "the graph loaded " + expectedModule + " (" + module + ")");
    for (const char* sibling :
         {"TvRemix.dll", "TvAc3Lib.dll", "TvMlpDec.dll", "TvEac3Dec.dll", "TvAmrDec.dll"}) {
        std::string path = loadedPath(sibling);
        if (!path.empty())
            check(_stricmp(folderOf(path).c_str(), folderOf(module).c_str()) == 0,
                  std::string(sibling) + " loaded beside the module (" + path + ")");
    }
}

// Streams the input's audio through the graph; returns what the grabber
// collected.
std::vector<uint8_t> runGraph(const Input& input,
                              const PageCheck& pageCheck,
                              const std::string& modulePath)
{
    if (!input.type)
        return {};
    const std::optional<CMediaType>& type = input.type;

    IGraphBuilder* graph = nullptr;
    check(SUCCEEDED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                     IID_IGraphBuilder, reinterpret_cast<void**>(&graph))),
          "filter graph manager created");
    if (!graph)
        return {};
    PushSource* source = PushSource::Create(*type);
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
        SUCCEEDED(grabberFilter->QueryInterface(IID_ISampleGrabber,
                                                reinterpret_cast<void**>(&grabber)))) {
        AM_MEDIA_TYPE pcm{};
        pcm.majortype = MEDIATYPE_Audio;
        pcm.subtype = MEDIASUBTYPE_PCM;
        grabber->SetMediaType(&pcm);
        grabber->SetBufferSamples(FALSE);
        grabber->SetCallback(&collector, 1);
        graph->AddFilter(source, L"Audio source");
        if (input.addFilterFirst) {
            IBaseFilter* added = nullptr;
            check(SUCCEEDED(CoCreateInstance(CLSID_Tavio2, nullptr, CLSCTX_INPROC_SERVER,
                                             IID_IBaseFilter, reinterpret_cast<void**>(&added))) &&
                      SUCCEEDED(graph->AddFilter(added, L"Tavio2")),
                  "Tavio2 created through its registration and added to the graph");
            if (added)
                added->Release();
        }
        graph->AddFilter(grabberFilter, L"Sample Grabber");
        graph->AddFilter(renderer, L"Null Renderer");
        IPin* grabberIn = pinOf(grabberFilter, PINDIR_INPUT);
        IPin* grabberOut = pinOf(grabberFilter, PINDIR_OUTPUT);
        IPin* rendererIn = pinOf(renderer, PINDIR_INPUT);
        HRESULT hr = graph->Connect(source->OutputPin(), grabberIn);
        check(SUCCEEDED(hr), "intelligent connect from the source to the grabber");
        IBaseFilter* tavio = tavioIn(graph);
        check(tavio != nullptr, "the graph manager inserted Tavio2");
        check(SUCCEEDED(graph->Connect(grabberOut, rendererIn)),
              "grabber connected to the null renderer");
        if (input.bursts) {
            // Asked for PCM, the grabber made the graph manager put our
            // filter in; now it must also take the bursts' type in-band.
            pcm.subtype = GUID_NULL;
            grabber->SetMediaType(&pcm);
        }
        // The page is open while the stream plays, as a user would have it.
        std::unique_ptr<PageWindow> page;
        if (tavio && !pageCheck.expectedText.empty()) {
            page = std::make_unique<PageWindow>(tavio);
            check(page->isOpen(),
                  "the property page opened in a window" +
                      (page->isOpen() ? std::string() : " (" + page->failure() + ")"));
            check(page->itemText(kStreamTextItem) == "no info available",
                  "before any data the page has no info");
            check(page->itemVisible(kStatisticsItem), "with showStat the statistics box is shown");
        }

        IMediaFilter* clock = nullptr;
        IMediaControl* control = nullptr;
        IMediaEvent* events = nullptr;
        graph->QueryInterface(IID_IMediaFilter, reinterpret_cast<void**>(&clock));
        graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
        graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&events));
        clock->SetSyncSource(nullptr);  // as fast as it goes
        check(SUCCEEDED(control->Run()), "graph running");
        for (const Payload& p : input.payloads) {
            // Opened again before the last sample, the page shows the stream
            // so far and its new statistics box that sample's levels.
            if (page && &p == &input.payloads.back())
                page->reactivate();
            PushSource::Packet packet;
            packet.data = p.data.data();
            packet.size = p.data.size();
            packet.start = p.hasTime ? &p.start : nullptr;
            source->Deliver(packet);
        }
        // Read before the end of the stream, whose flush starts decoding afresh.
        if (page) {
            std::string levels = page->itemText(kStatisticsItem);
            check(looksLikeLevels(levels, 2),
                  "the statistics box shows the last frame's levels: \"" + levels + "\"");
            check(page->saveScreenshot(pageCheck.screenshot),
                  "screenshot saved: " + pageCheck.screenshot);
            page->reactivate();
            std::string text = page->itemText(kStreamTextItem);
            check(text == pageCheck.expectedText, "the page shows what the Linux host shows:\n" +
                                                      text + "\nexpected:\n" +
                                                      pageCheck.expectedText);
            page.reset();
        }
        source->DeliverEndOfStream();
        long code = 0;
        check(events->WaitForCompletion(20000, &code) == S_OK && code == EC_COMPLETE,
              "the stream completed");
        checkLoadedFrom(modulePath);
        if (tavio)
            tavio->Release();
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

// The last step, run once after every graph: unregistering leaves only the
// capabilities value, which outlives the module on purpose.
int checkUnregistration(const char* modulePath)
{
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    std::wstring filter = L"CLSID\\" + clsidText(CLSID_Tavio2);
    HMODULE module = LoadLibraryA(modulePath);
    auto unregister = module ? reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(
                                   GetProcAddress(module, "DllUnregisterServer")))
                             : nullptr;
    check(unregister && unregister() == S_OK, "DllUnregisterServer");
    check(!keyExists(filter), "the filter's server key is gone");
    check(!mapperFinds(L"Tavio Audio Decoder 2"), "the filter mapper no longer offers Tavio2");
    check(keyExists(kInstance + clsidText(CLSID_Tavio2) + L"\\Capabilities"),
          "the capabilities key stays");
    if (module)
        FreeLibrary(module);
    CoUninitialize();
    std::printf("graph test: %d failed\n", failures);
    return failures ? 1 : 0;
}

// Whether intelligent connect finds a way from the input's stream to PCM.
bool connectsToPcm(const Input& input)
{
    IGraphBuilder* graph = nullptr;
    IBaseFilter* grabberFilter = nullptr;
    ISampleGrabber* grabber = nullptr;
    CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                     reinterpret_cast<void**>(&graph));
    CoCreateInstance(kSampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                     reinterpret_cast<void**>(&grabberFilter));
    check(graph && grabberFilter && input.type, "filter graph manager and Sample Grabber created");
    bool connected = false;
    if (graph && grabberFilter && input.type &&
        SUCCEEDED(grabberFilter->QueryInterface(IID_ISampleGrabber,
                                                reinterpret_cast<void**>(&grabber)))) {
        AM_MEDIA_TYPE pcm{};
        pcm.majortype = MEDIATYPE_Audio;
        pcm.subtype = MEDIASUBTYPE_PCM;
        grabber->SetMediaType(&pcm);
        PushSource* source = PushSource::Create(*input.type);
        graph->AddFilter(source, L"Audio source");
        graph->AddFilter(grabberFilter, L"Sample Grabber");
        IPin* grabberIn = pinOf(grabberFilter, PINDIR_INPUT);
        connected = SUCCEEDED(graph->Connect(source->OutputPin(), grabberIn));
        grabberIn->Release();
        grabber->Release();
    }
    if (grabberFilter)
        grabberFilter->Release();
    if (graph)
        graph->Release();
    return connected;
}

// After an uninstallation: no key of the filter is left, and the graph
// manager finds no decoder for the stream.
int checkAbsence(const char* vob)
{
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    check(!keyExists(L"CLSID\\" + clsidText(CLSID_Tavio2)), "the filter's class key is gone");
    check(!keyExists(L"CLSID\\" + clsidText(CLSID_TavioPropertyPage)),
          "the property page's class key is gone");
    check(!keyExists(kInstance + clsidText(CLSID_Tavio2)),
          "the filter's instance key (with its capabilities) is gone");
    check(!mapperFinds(L"Tavio Audio Decoder 2"), "the filter mapper no longer offers Tavio2");
    check(!connectsToPcm(readVob(vob)), "intelligent connect finds no decoder for the stream");
    CoUninitialize();
    std::printf("graph test: %d failed\n", failures);
    return failures ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && std::string(argv[2]) == "--unregister")
        return checkUnregistration(argv[1]);
    if (argc == 4 && std::string(argv[3]) == "--absent")
        return checkAbsence(argv[2]);
    PageCheck pageCheck;
    if (argc == 7 && std::string(argv[4]) == "--page") {
        // The Linux host's lines; the page ends each with CR LF.
        std::ifstream in(argv[5]);
        for (std::string line; std::getline(in, line);)
            pageCheck.expectedText += line + "\r\n";
        pageCheck.screenshot = argv[6];
        argc = 4;
    }
    if (argc != 4 && argc != 5) {
        std::fprintf(
            stderr,
            "usage: graph_test MODULE INPUT.vob|INPUT.ogg|INPUT.aac|INPUT.amr|INPUT.awb|INPUT.m2ts|INPUT.eac3 EXPECTED.pcm "
            "[GRABBED.pcm | --page EXPECTED_PAGE.txt SCREENSHOT.bmp]\n"
            "       graph_test MODULE --unregister\n"
            "       graph_test MODULE INPUT.vob --absent\n");
        return 2;
    }
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    std::wstring filter = L"CLSID\\" + clsidText(CLSID_Tavio2);
    check(keyExists(filter + L"\\InprocServer32"), "the filter's server key is registered");
    check(keyExists(L"CLSID\\" + clsidText(CLSID_TavioPropertyPage)),
          "the property page is registered");
    check(keyExists(kInstance + clsidText(CLSID_Tavio2) + L"\\Capabilities"),
          "the capabilities key is there");
    check(mapperFinds(L"Tavio Audio Decoder 2"), "the filter mapper offers Tavio2 for DVD LPCM");

    char modulePath[MAX_PATH];
    DWORD length = GetFullPathNameA(argv[1], MAX_PATH, modulePath, nullptr);
    bool ogg = endsWith(argv[2], ".ogg");
    bool adts = endsWith(argv[2], ".aac");
    bool amr = endsWith(argv[2], ".amr") || endsWith(argv[2], ".awb");
    bool m2ts = endsWith(argv[2], ".m2ts") || endsWith(argv[2], ".ts");
    bool eac3 = endsWith(argv[2], ".eac3");
    std::vector<uint8_t> grabbed = runGraph(ogg    ? readOgg(argv[2])
                                            : adts ? readAdts(argv[2])
                                            : amr  ? readAmr(argv[2])
                                            : m2ts ? readM2ts(argv[2])
                                            : eac3 ? readEac3(argv[2])
                                                   : readVob(argv[2]),
                                            pageCheck, std::string(modulePath, length));
    std::vector<uint8_t> expected = readFile(argv[3]);
    if (argc == 5)
        std::ofstream(argv[4], std::ios::binary)
            .write(reinterpret_cast<const char*>(grabbed.data()), std::streamsize(grabbed.size()));
    if (!ogg) {
        check(!expected.empty() && grabbed == expected,
              "grabbed PCM equals the Linux build's (" + std::to_string(grabbed.size()) + " vs " +
                  std::to_string(expected.size()) + " bytes)");
    } else {
        // The host cuts the end padding Ogg's last granule position marks;
        // a graph without the host keeps it, at most one Vorbis block (4096
        // frames of up to 8 channels of 32 bits). libvorbis built here
        // rounds its floats a little differently from Debian's build, so
        // the 32-bit samples are compared within 2^-19 of full scale.
        size_t padding = grabbed.size() > expected.size() ? grabbed.size() - expected.size() : 0;
        int64_t largest = expected.empty() || grabbed.size() < expected.size() ? INT64_MAX : 0;
        for (size_t at = 0; largest != INT64_MAX && at + 4 <= expected.size(); at += 4) {
            int32_t a, b;
            std::memcpy(&a, expected.data() + at, 4);
            std::memcpy(&b, grabbed.data() + at, 4);
            largest = std::max<int64_t>(largest, std::abs(int64_t(a) - int64_t(b)));
        }
        check(padding <= 4096 * 8 * 4 && largest <= 4096,
              "grabbed PCM equals the Linux build's within 4096 of 2^31 (largest difference " +
                  std::to_string(largest) + "; " + std::to_string(grabbed.size() - padding) +
                  " vs " + std::to_string(expected.size()) + " bytes, " + std::to_string(padding) +
                  " bytes of end padding left)");
    }

    CoUninitialize();
    std::printf("graph test: %d failed\n", failures);
    return failures ? 1 : 0;
}
