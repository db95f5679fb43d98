// Hands the filter several consecutive packets of a stream as one payload
// where that changes nothing but the count of deliveries: codecs whose
// frames begin with sync words (so the filter finds them in any split), and
// packets whose times follow on from one another. A TrueHD stream is 1200
// packets a second, AMR 50; one delivery each costs more than the decoder's
// own per-frame work.
#pragma once

#include <optional>
#include <string>

#include "host/input_source.h"

class CoalescedInput : public InputSource {
public:
    // Packets join only for the codecs named by framesFindThemselves().
    CoalescedInput(InputSource& inner, const std::string& codec);

    std::string containerName() const override { return inner_.containerName(); }
    const std::vector<HostStream>& streams() const override { return inner_.streams(); }
    bool select(size_t stream) override;
    bool next(HostPacket& packet) override;
    double progress() const override { return inner_.progress(); }
    bool timesFromPresentationStart() const override { return inner_.timesFromPresentationStart(); }
    bool seek(REFERENCE_TIME time) override;
    std::optional<REFERENCE_TIME> duration() const override { return inner_.duration(); }

    // Whether the filter's decoder for `codec` finds its frames by their
    // sync words, whatever the payloads' boundaries.
    static bool framesFindThemselves(const std::string& codec);

private:
    bool joins(const HostPacket& batch, const HostPacket& following) const;

    InputSource& inner_;
    bool enabled_;
    REFERENCE_TIME mostDuration_;      // of a payload; 0: no bound but the bytes'
    std::optional<HostPacket> ahead_;  // read, but not part of the last batch
};
