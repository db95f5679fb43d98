// The whole filter through its pins: a push source, the filter and a
// recording sink in a graph, as a player would run them. The input's head
// picks one of the registered input types with a format block, the rest is a
// script of what a source and a user do between samples: samples of any size
// with or without times and discontinuities, in-band type changes, flushes,
// end of stream, S/PDIF switches (directly and through the codec API), remix
// settings, DVD karaoke data, an application reading the stream information
// and the codec API, and stop/run. Every object must be gone once the graph is
// torn down.
//
// Head:   subtype (byte, mod 18), major type and wave fields (byte),
//         channels/rate (byte), format extra length (le16), extra bytes.
// Script: one opcode byte each, its operands after it (see runScript).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/media_subtypes.h"
#include "filter/TvFilter.h"
#include "filter/TvInputPin.h"
#include "filter/registered_types.h"
#include "filter/stream_text.h"
#include "filter/tavio_interfaces.h"
#include "host/graph.h"
#include "host/push_source.h"
#include "host/sink_filter.h"
#include "platform/codecapi.h"
#include "platform/dvdmedia.h"
#include "tests/support/guid_variant.h"

namespace {

// The sibling libraries stay loaded, so that each input's filter finds them
// in memory rather than opening them again.
const bool keepLoaded = [] {
    for (const char* name : {"TvAc3Lib", "TvEac3Dec", "TvMlpDec", "TvAmrDec", "TvRemix"})
        LoadLibraryA((std::string(TAVIO_MODULE_DIR "/") + name + ".dll").c_str());
    return true;
}();

// The wave format tag a splitter would put in front of each registered
// input subtype.
WORD waveTagOf(const GUID& subtype)
{
    if (subtype == MEDIASUBTYPE_MPEG3)
        return 0x0055;
    if (subtype == MEDIASUBTYPE_MPEG4_AUDIO || subtype == MEDIASUBTYPE_MP4_AUDIO)
        return 0x00FF;
    if (subtype == MEDIASUBTYPE_DOLBY_AC3 || subtype == MEDIASUBTYPE_AC3_AVI)
        return 0x2000;
    if (subtype == MEDIASUBTYPE_DTS)
        return 0x2001;
    if (subtype == MEDIASUBTYPE_DVD_LPCM_AUDIO || subtype == MEDIASUBTYPE_DVDA_AUDIO_LPCM ||
        subtype == MEDIASUBTYPE_BDMV_LPCM_AUDIO)
        return WAVE_FORMAT_PCM;
    if (subtype == MEDIASUBTYPE_MPEG1AudioPayload || subtype == MEDIASUBTYPE_MPEG1Payload ||
        subtype == MEDIASUBTYPE_MPEG2_AUDIO || subtype == MEDIASUBTYPE_MPEG1Packet)
        return 0x0050;
    return 0;  // AMR, Vorbis and MLP have none
}
const DWORD kRates[16] = {48000, 44100, 32000,  96000, 192000, 8000,  16000, 22050,
                          24000, 88200, 176400, 11025, 12000,  64000, 0,     384000};
const WORD kBits[8] = {16, 24, 20, 32, 0, 8, 12, 64};

// Reads the script's bytes; past the end everything reads as zero.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : p_(data), end_(data + size) {}
    bool atEnd() const { return p_ >= end_; }
    size_t left() const { return size_t(end_ - p_); }
    uint8_t byte() { return p_ < end_ ? *p_++ : 0; }
    uint32_t le16() { return byte() | uint32_t(byte()) << 8; }
    uint32_t le32() { return le16() | le16() << 16; }
    const uint8_t* take(size_t n)
    {
        const uint8_t* start = p_;
        p_ += n;
        return start;
    }

private:
    const uint8_t* p_;
    const uint8_t* end_;
};

// A media type from the head: Vorbis gets the extra bytes as its whole
// VORBISFORMAT2 block, every other subtype a WAVEFORMATEX followed by them
// (an AAC AudioSpecificConfig, say).
bool readMediaType(Reader& in, CMediaType& type)
{
    uint8_t which = in.byte();
    uint8_t fields = in.byte();
    uint8_t shape = in.byte();
    size_t extraSize = in.le16() % 2048;
    if (extraSize > in.left())
        return false;
    const uint8_t* extra = in.take(extraSize);

    const AMOVIESETUP_MEDIATYPE& chosen =
        registeredInputTypes.types[(which % kRegisteredSubtypeCount) * 3 + (fields & 3) % 3];
    type.InitMediaType();
    type.SetType(chosen.clsMajorType);
    type.SetSubtype(chosen.clsMinorType);
    if (*chosen.clsMinorType == MEDIASUBTYPE_Vorbis2) {
        type.SetFormatType(&FORMAT_VorbisFormat2);
        type.SetFormat(extra, ULONG(extraSize));
        return true;
    }
    WAVEFORMATEX wave{};
    wave.wFormatTag = (fields & 4) ? WORD(fields >> 3) : waveTagOf(*chosen.clsMinorType);
    wave.nChannels = WORD(1 + (shape & 7));
    wave.nSamplesPerSec = kRates[shape >> 4];
    wave.wBitsPerSample = kBits[(fields >> 5) & 7];
    wave.nBlockAlign = WORD(wave.nChannels * ((wave.wBitsPerSample + 7) / 8));
    wave.nAvgBytesPerSec = wave.nSamplesPerSec * wave.nBlockAlign;
    wave.cbSize = WORD(extraSize);
    std::vector<uint8_t> block(sizeof wave + extraSize);
    std::memcpy(block.data(), &wave, sizeof wave);
    if (extraSize)
        std::memcpy(block.data() + sizeof wave, extra, extraSize);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    type.SetFormat(block.data(), ULONG(block.size()));
    return true;
}

void setOutputFormat(TvFilter* filter, int which)
{
    static const GUID* const formats[5] = {&CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_BITSTREAM,
                                           &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO_MATRIXENCODED,
                                           &CODECAPI_AUDIO_OUTPUT_FORMAT_PCM_STEREO,
                                           &CODECAPI_AUDIO_OUTPUT_FORMAT_SPDIF_PCM, &GUID_NULL};
    ICodecAPI* api = nullptr;
    if (filter->QueryInterface(IID_ICodecAPI, reinterpret_cast<void**>(&api)) != S_OK)
        return;
    VARIANT value = guidVariant(*formats[which % 5]);
    api->SetValue(&CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT, &value);
    VariantClear(&value);
    api->Release();
}

// What a player's information dialog and the property page read while the
// stream plays: both stream-information records with every getter, and the
// codec API's output-format property.
void readAsAnApplication(TvFilter* filter)
{
    ITavioControl* control = nullptr;
    if (filter->QueryInterface(IID_ITavioControl, reinterpret_cast<void**>(&control)) == S_OK) {
        ITavioStreamInfo* info = nullptr;
        for (bool input : {true, false}) {
            if ((input ? control->GetInputStreamInfo(&info)
                       : control->GetOutputStreamInfo(&info)) == S_OK) {
                streamText(info);
                info->Release();
            }
        }
        control->Release();
    }
    ICodecAPI* api = nullptr;
    if (filter->QueryInterface(IID_ICodecAPI, reinterpret_cast<void**>(&api)) != S_OK)
        return;
    VARIANT value;
    VariantInit(&value);
    if (api->GetValue(&CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT, &value) == S_OK)
        VariantClear(&value);
    VARIANT* values = nullptr;
    ULONG count = 0;
    if (api->GetParameterValues(&CODECAPI_CURRENT_AUDIO_OUTPUT_FORMAT, &values, &count) == S_OK) {
        for (ULONG i = 0; i < count; ++i)
            VariantClear(&values[i]);
        CoTaskMemFree(values);
    }
    api->Release();
}

// DVD karaoke data as a navigator sends it: speaker assignment and downmix
// bits, valid and not.
void setKaraoke(TvFilter* filter, Reader& in)
{
    IKsPropertySet* properties = nullptr;
    if (filter->QueryInterface(IID_IKsPropertySet, reinterpret_cast<void**>(&properties)) != S_OK)
        return;
    AM_DvdKaraokeData data;
    data.dwSpeakerAssignment = in.byte() % 9;
    data.dwDownmix = in.le16() | (DWORD(in.le16()) << 16);
    properties->Set(AM_KSPROPSETID_DvdKaraoke, AM_PROPERTY_DVDKARAOKE_DATA, nullptr, 0, &data,
                    sizeof data);
    properties->Release();
}

// Remix settings as the property page or an application would change them,
// valid and not: output configuration, up/downmix per kind, single channel.
void changeRemix(ITavioRemix* remix, Reader& in)
{
    static const unsigned kMasks[8] = {0x3, 0x4, 0x7, 0x33, 0x3F, 0x63F, 0x0, 0xFFFFFFFF};
    uint8_t what = in.byte();
    uint8_t value = in.byte();
    int kind = value % 12;
    int mixType = 100 + (value >> 4) % 9;
    switch (what % 5) {
        case 0:
            remix->SetOutputConfig((what >> 3) % 3, kMasks[value & 7]);
            break;
        case 1:
            remix->SetUpmixType(kind, mixType);
            break;
        case 2:
            remix->SetDownmixType(kind, mixType);
            break;
        case 3:
            remix->SetSingleChannel(int(value % 10) - 1);
            break;
        default:
            remix->ResetRemix();
            break;
    }
}

void runScript(Reader& in,
               const CMediaType& type,
               Graph& graph,
               PushSource* source,
               TvFilter* filter,
               ITavioRemix* remix)
{
    bool running = true;
    for (int ops = 0; ops < 4096 && !in.atEnd(); ++ops) {
        uint8_t op = in.byte();
        switch (op & 15) {
            default: {  // 0-8: a sample; bit 4 a start time, bit 5 a stop, bit 6 a discontinuity
                size_t size = in.le16();
                REFERENCE_TIME start = 0;
                REFERENCE_TIME stop = 0;
                if (op & 0x10)
                    start = REFERENCE_TIME(int32_t(in.le32())) * 1000;
                if (op & 0x20)
                    stop = start + REFERENCE_TIME(in.le16()) * 1000;
                size = size < in.left() ? size : in.left();
                PushSource::Packet packet;
                packet.data = in.take(size);
                packet.size = size;
                packet.start = (op & 0x10) ? &start : nullptr;
                packet.stop = (op & 0x30) == 0x30 ? &stop : nullptr;
                packet.discontinuity = (op & 0x40) != 0;
                packet.syncPoint = (op & 0x80) == 0;
                source->Deliver(packet);
                break;
            }
            case 9:  // the same type again, attached in-band
                if (op & 0x10) {
                    PushSource::Packet packet;
                    packet.newType = &type;
                    size_t size = in.le16() % 4096;
                    size = size < in.left() ? size : in.left();
                    packet.data = in.take(size);
                    packet.size = size;
                    source->Deliver(packet);
                }
                break;
            case 10:
                source->DeliverBeginFlush();
                source->DeliverEndFlush();
                break;
            case 11:
                source->DeliverEndOfStream();
                break;
            case 12:
                if (op & 0x40)
                    setKaraoke(filter, in);
                else if (op & 0x20)
                    readAsAnApplication(filter);
                else
                    filter->SetSpdif(op & 0x10);
                break;
            case 13:
                setOutputFormat(filter, op >> 4);
                break;
            case 14:
                changeRemix(remix, in);
                break;
            case 15:
                if (running)
                    graph.Stop();
                else
                    graph.Run();
                running = !running;
                break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Longer inputs find nothing new and slow the seed runs down.
    if (size < 5 || size > (1 << 20) || !keepLoaded)
        return 0;
    static const LONG objectsBefore = CBaseObject::ObjectsActive();
    Reader in(data, size);
    CMediaType type;
    if (!readMediaType(in, type))
        return 0;

    HRESULT hr = S_OK;
    auto* filter = new TvFilter(nullptr, &hr, TAVIO_MODULE_DIR "/");
    filter->NonDelegatingAddRef();
    PushSource* source = PushSource::Create(type, 65536, 4);
    SinkFilter* sink = SinkFilter::Create();
    // The sink forgets what it receives: only the filter's handling matters.
    sink->SetSampleHandler([](const SampleView&) {});
    {
        Graph graph;
        graph.Add(source, WIDE("source"));
        graph.Add(filter, WIDE("Tavio"));
        graph.Add(sink, WIDE("sink"));
        ITavioRemix* remix = nullptr;
        if (graph.Connect(source->OutputPin(), filter->inputPin()) == S_OK &&
            graph.Connect(filter->outputPin(), sink->InputPin()) == S_OK && graph.Run() == S_OK &&
            filter->QueryInterface(IID_ITavioRemix, reinterpret_cast<void**>(&remix)) == S_OK) {
            runScript(in, type, graph, source, filter, remix);
            remix->Release();
        }
        graph.Clear();
    }
    source->Release();
    sink->Release();
    filter->Release();
    if (CBaseObject::ObjectsActive() != objectsBefore)
        std::abort();  // a pin, sample or allocator outlived its graph
    return 0;
}
