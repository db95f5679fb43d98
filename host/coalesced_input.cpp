#include "host/coalesced_input.h"

#include <cstdlib>

namespace {

// Enough packets per payload to make the delivery's cost vanish beside the
// decoding (about 40 TrueHD access units), and far below a source buffer.
constexpr size_t kMostBytes = 16 * 1024;

// AMR's library writes the frames of a payload into one output sample: a
// fifth of a second (ten frames) stays far below its room, whatever the
// frames' sizes, and already cuts the deliveries tenfold.
constexpr REFERENCE_TIME kMostAmr = 2000000;

}  // namespace

CoalescedInput::CoalescedInput(InputSource& inner, const std::string& codec)
    : inner_(inner),
      enabled_(framesFindThemselves(codec)),
      mostDuration_(codec == "amr-nb" || codec == "amr-wb" ? kMostAmr : 0)
{
}

bool CoalescedInput::framesFindThemselves(const std::string& codec)
{
    // Not AAC or Vorbis (a packet is a frame), nor LPCM (headers per
    // packet), nor MPEG audio layers I and II (their padding is laid per
    // packet), nor E-AC-3 (its conversion cuts by the first packet's time).
    // AMR's library keeps a frame cut by a payload's end for the next.
    return codec == "truehd" || codec == "mlp" || codec == "dts" || codec == "ac3" ||
           codec == "mp3" || codec == "amr-nb" || codec == "amr-wb";
}

bool CoalescedInput::select(size_t stream)
{
    ahead_.reset();
    return inner_.select(stream);
}

bool CoalescedInput::seek(REFERENCE_TIME time)
{
    ahead_.reset();
    return inner_.seek(time);
}

// A packet joins when neither it nor the batch ends in padding (whose audio
// is cut per packet), and when it has no time or its time is where the
// batch ends: a gap or an overlap keeps its own time stamp.
bool CoalescedInput::joins(const HostPacket& batch, const HostPacket& following) const
{
    if (batch.paddingFrames || following.paddingFrames || batch.duration <= 0 ||
        following.duration <= 0 || batch.data.size() + following.data.size() > kMostBytes ||
        (mostDuration_ && batch.duration + following.duration > mostDuration_))
        return false;
    if (!following.hasTime)
        return true;
    // Times and lengths are each rounded to 100 ns: half a packet apart is
    // a gap, a few units are rounding.
    return batch.hasTime &&
           std::llabs(following.start - (batch.start + batch.duration)) <= following.duration / 2;
}

bool CoalescedInput::next(HostPacket& packet)
{
    if (ahead_) {
        packet = std::move(*ahead_);
        ahead_.reset();
    } else if (!inner_.next(packet)) {
        return false;
    }
    if (!enabled_)
        return true;
    HostPacket following;
    while (packet.data.size() < kMostBytes && inner_.next(following)) {
        if (!joins(packet, following)) {
            ahead_ = std::move(following);
            break;
        }
        if (packet.data.capacity() < kMostBytes)
            packet.data.reserve(kMostBytes);  // one move of the first packet, not one per doubling
        packet.data.insert(packet.data.end(), following.data.begin(), following.data.end());
        packet.duration += following.duration;
    }
    return true;
}
