// What `tavio info` finds out about an input: its container and, for each
// audio stream, what the filter made of the stream's start. Shown as text
// for people or as one JSON document for scripts.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/decode_session.h"

struct StreamReport {
    HostStream stream;
    bool chosen = false;  // the stream a decode without --stream takes
    // Set when the stream was decoded: what came out, and the filter's view.
    std::optional<DecodeOutcome> outcome;
};

struct InfoReport {
    std::string path;
    std::string container;
    std::vector<StreamReport> streams;
};

// The stream decoded by default: the first the filter accepts and can make
// sound of; streams.size() when there is none.
size_t defaultStream(const std::vector<HostStream>& streams);

// Decodes the start of each stream through the module (opening `path` again
// for each); without a module, only lists them. `name` is what the user gave.
InfoReport examineInput(TavioModule* module,
                        const std::string& name,
                        const std::string& path,
                        InputSource& input);
void printInfoText(const InfoReport& report);
std::string infoJson(const InfoReport& report);
