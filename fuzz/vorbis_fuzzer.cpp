// Vorbis: AdecVorbis initialised from the first three packets of an Ogg
// stream (as a VORBISFORMAT2 block), then handed every further packet. The
// pages are read without checking their CRC so that mutated inputs reach
// the decoder; real .ogg files are the seeds. The input's size picks the
// output sample size, a small one making output not fit.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <vector>

#include "decoders/AdecVorbis.h"
#include "tests/support/memory_sample.h"

namespace {

// The packets of the Ogg pages in [data, data + size), joined across pages
// by their lacing values (RFC 3533, section 6); a truncated page ends it.
std::vector<std::vector<uint8_t>> oggPackets(const uint8_t* data, size_t size)
{
    constexpr size_t kPageHeader = 27;
    std::vector<std::vector<uint8_t>> packets;
    std::vector<uint8_t> pending;
    size_t at = 0;
    while (at + kPageHeader <= size && std::memcmp(data + at, "OggS", 4) == 0) {
        size_t segments = data[at + 26];
        const uint8_t* lacing = data + at + kPageHeader;
        if (at + kPageHeader + segments > size)
            break;
        const uint8_t* body = lacing + segments;
        const uint8_t* end = data + size;
        for (size_t s = 0; s < segments; ++s) {
            size_t take = lacing[s] <= size_t(end - body) ? lacing[s] : size_t(end - body);
            pending.insert(pending.end(), body, body + take);
            body += take;
            if (lacing[s] < 255) {
                packets.push_back(std::move(pending));
                pending.clear();
            }
        }
        at = size_t(body - data);
    }
    return packets;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto packets = oggPackets(data, size);
    if (packets.size() < 3)
        return 0;
    VORBISFORMAT2 format{};
    // The identification header's own channel count and rate, where present.
    if (packets[0].size() >= 16) {
        format.Channels = packets[0][11];
        std::memcpy(&format.SamplesPerSec, packets[0].data() + 12, 4);
    }
    format.BitsPerSample = 16;
    std::vector<uint8_t> block(sizeof format);
    for (int i = 0; i < 3; ++i) {
        format.HeaderSize[i] = DWORD(packets[size_t(i)].size());
        block.insert(block.end(), packets[size_t(i)].begin(), packets[size_t(i)].end());
    }
    std::memcpy(block.data(), &format, sizeof format);
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&MEDIASUBTYPE_Vorbis2);
    type.SetFormatType(&FORMAT_VorbisFormat2);
    type.SetFormat(block.data(), ULONG(block.size()));

    std::ostringstream log;
    AdecVorbis decoder(log);
    if (!decoder.init(type))
        return 0;
    MemorySample out(size % 2 ? 4096 : 65540);
    for (size_t i = 3; i < packets.size(); ++i) {
        const uint8_t* p = packets[i].data();
        decoder.process(&p, p + packets[i].size(), &out);
        out.SetActualDataLength(0);
    }
    return 0;
}
