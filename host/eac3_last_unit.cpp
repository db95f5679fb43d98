#include "host/eac3_last_unit.h"

#include <vector>

#include "decoders/eac3_header.h"

namespace {

struct Located {
    size_t offset;
    DolbySyncFrame frame;
};

bool startsUnitBlocks(const DolbySyncFrame& frame)
{
    return frame.strmtyp != kEac3Dependent && frame.substreamid == 0;
}

}  // namespace

std::optional<ByteSpan> lastEac3AccessUnit(const uint8_t* data, size_t size)
{
    // The last run of whole syncframes that follow one another. A run ends
    // at bytes that are no frame (a tag, padding, a frame cut short); the
    // search goes on a byte at a time, as a false sync word may start there.
    std::vector<Located> run, ended;
    for (size_t at = 0; at + kDolbySyncHeaderBytes <= size;) {
        DolbySyncFrame frame;
        bool whole = parseDolbySyncFrame(data + at, size - at, frame) && frame.frameSize > 0 &&
                     size_t(frame.frameSize) <= size - at;
        bool follows = !run.empty() && run.back().offset + size_t(run.back().frame.frameSize) == at;
        if (!follows && !run.empty())
            ended = std::move(run), run.clear();
        if (!whole) {
            ++at;
            continue;
        }
        run.push_back({at, frame});
        at += size_t(frame.frameSize);
    }
    if (run.empty())
        run = std::move(ended);
    // Back from the run's end to the frame where six blocks begin.
    int blocks = 0;
    for (size_t i = run.size(); i-- > 0;) {
        const DolbySyncFrame& frame = run[i].frame;
        if (!frame.eac3)
            return std::nullopt;  // AC-3 passes through without the encoder
        if (!startsUnitBlocks(frame))
            continue;
        blocks += frame.blocks;
        if (blocks == 6) {
            const Located& last = run.back();
            return ByteSpan{run[i].offset,
                            last.offset + size_t(last.frame.frameSize) - run[i].offset};
        }
        if (blocks > 6)
            return std::nullopt;
    }
    return std::nullopt;
}
