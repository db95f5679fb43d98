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
#include "host/parsers/ogg_packets.h"
#include "tests/support/memory_sample.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<OggPacket> found = readOggPackets(data, size);
    std::vector<std::vector<uint8_t>> packets;
    for (OggPacket& packet : found)
        packets.push_back(std::move(packet.data));
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
