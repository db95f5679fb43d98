#include "support/decoder_feed.h"

#include <random>
#include <sstream>

#include "core/TvBuffer.h"
#include "support/memory_sample.h"

std::vector<uint8_t> joined(const std::vector<std::vector<uint8_t>>& packets)
{
    std::vector<uint8_t> all;
    for (const auto& packet : packets)
        all.insert(all.end(), packet.begin(), packet.end());
    return all;
}

namespace {

std::vector<std::vector<uint8_t>> recut(const std::vector<std::vector<uint8_t>>& packets,
                                        const FeedOptions& options)
{
    if (options.piece == 0)
        return packets;
    std::vector<uint8_t> all = joined(packets);
    std::mt19937 random(options.randomSeed);
    std::vector<std::vector<uint8_t>> pieces;
    for (size_t at = 0; at < all.size();) {
        size_t size = options.randomSeed ? 1 + random() % options.piece : options.piece;
        size = std::min(size, all.size() - at);
        pieces.emplace_back(all.begin() + long(at), all.begin() + long(at + size));
        at += size;
    }
    return pieces;
}

// What the receive loop asserts of one call.
std::string contractBreak(const TvStatus* status,
                          size_t consumed,
                          LONG written,
                          const MemorySample& out)
{
    std::ostringstream why;
    if (!out.guardIntact())
        why << "wrote past the end of the output sample; ";
    if (consumed == 0 && (status || written != 0))
        why << "produced output without consuming; ";
    if (!status && written != 0)
        why << "wrote " << written << " bytes without a frame; ";
    if (status) {
        if (written <= 0)
            why << "a frame without output; ";
        if (status->stype == STUninitialized || status->chan <= 0 || status->freq <= 0 ||
            status->samples <= 0 || status->channelMask == 0)
            why << "an incomplete record (chan " << status->chan << ", freq " << status->freq
                << ", samples " << status->samples << ", mask " << status->channelMask << "); ";
        if (status->iFrameSize <= 0 || size_t(status->iFrameSize) > consumed)
            why << "frame size " << status->iFrameSize << " against " << consumed
                << " bytes consumed; ";
    }
    return why.str();
}

}  // namespace

DecoderRun feedDecoder(Adec& decoder,
                       const std::vector<std::vector<uint8_t>>& packets,
                       const FeedOptions& options)
{
    DecoderRun run;
    TvBuffer buffer;
    buffer.setDecoder(options.privateHeaders && decoder.wantsPrivateHeader() ? &decoder : nullptr);
    MemorySample out(options.outputSize);
    for (const auto& packet : recut(packets, options)) {
        MemorySample in(packet.size());
        in.assign(packet.data(), packet.size());
        buffer.append(&in);
        // As the receive loop: the decoder is never called on an empty buffer.
        while (buffer.size() > 0) {
            out.SetActualDataLength(0);
            const uint8_t* start = buffer.data();
            const uint8_t* p = start;
            ++run.calls;
            TvStatus* status = decoder.process(&p, start + buffer.size(), &out);
            size_t consumed = size_t(p - start);
            LONG written = out.GetActualDataLength();
            std::string broken = contractBreak(status, consumed, written, out);
            if (!broken.empty())
                run.contractBreaks.push_back("call " + std::to_string(run.calls) + ": " + broken);
            if (consumed == 0 || consumed > buffer.size())
                break;
            run.consumed += consumed;
            if (status) {
                run.frames.emplace_back(status->clone());
                run.skipped += consumed - std::min(consumed, size_t(status->iFrameSize));
                auto data = out.data();
                run.output.insert(run.output.end(), data.begin(), data.end());
            } else {
                run.skipped += consumed;
            }
            buffer.consume(uint32_t(consumed));
        }
    }
    return run;
}
