// One decoding run of the tavio host: the chosen stream of an input pushed
// through a Tavio2 filter into a sink that writes the output file.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/input_source.h"
#include "host/pcm_format.h"
#include "host/stream_info_record.h"
#include "host/tavio_module.h"

struct DecodeRequest {
    std::string
        output;        // ".wav": WAVE file; "-": raw to standard output; "": nowhere; else raw file
    std::string bits;  // empty: any format; "16", "24", "32" or "float"
    // Set through the filter's codec API: "pcm-stereo", "matrix-stereo",
    // "spdif-pcm" or "spdif-bitstream" (S/PDIF pass-through); empty: untouched.
    std::string outputFormat;
    bool progress = false;
    bool announceFormatChanges = false;  // say a mid-stream format change on standard error
    size_t maxPackets = 0;               // stop after this many input packets (0: the whole stream)
    // Where to start, sought as a player's seek bar does, and how much audio
    // to keep from there (100 ns); unset: from the start, to the end.
    std::optional<REFERENCE_TIME> start;
    std::optional<REFERENCE_TIME> duration;
    // Asked between packets; true stops the graph and keeps what was written.
    std::function<bool()> stopRequested;
};

// What the property page would show for one Tavio2 filter's input and output
// (taken at the end), and the snapshots behind it.
struct FilterStreamInfo {
    std::string inputText;
    std::string outputText;
    std::optional<StreamInfoRecord> inputInfo;
    std::optional<StreamInfoRecord> outputInfo;
};

struct DecodeOutcome {
    // 0 decoded, 2 refused, 3 no audio, 1 output not writable, 4 writing failed
    int exitCode = 0;
    std::string message;   // one line for the user
    bool stopped = false;  // stopRequested ended the decode early
    uint64_t bytes = 0;
    double seconds = 0;   // of audio written
    std::string format;   // what was delivered, e.g. "16-bit PCM, 48000 Hz, 2 channels (mask 0x3)"
    PcmFormat delivered;  // the same as values
    // Each Tavio2 filter of the graph, the one taking the input first. E-AC-3
    // decoded to PCM goes through two: the first converts it to AC-3 bursts,
    // the second decodes the AC-3 it carries.
    std::vector<FilterStreamInfo> filters;
    // Set when the sound went through the AC-3 conversion: one line saying so.
    std::string conversion;
};

// True for the names DecodeRequest::outputFormat takes.
bool isOutputFormat(const std::string& name);

// Makes the filter to decode with: one reference held by the caller, or null.
using FilterFactory = std::function<IBaseFilter*()>;

DecodeOutcome decodeStream(const FilterFactory& createFilter,
                           InputSource& input,
                           size_t stream,
                           const DecodeRequest& request);
DecodeOutcome decodeStream(TavioModule& module,
                           InputSource& input,
                           size_t stream,
                           const DecodeRequest& request);
