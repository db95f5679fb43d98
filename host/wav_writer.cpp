#include "host/wav_writer.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t kDs64Size =
    28;  // RIFF size, data size, sample count (64-bit each), table length

void put32(std::ofstream& out, uint32_t v)
{
    char b[4] = {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
    out.write(b, 4);
}

void put64(std::ofstream& out, uint64_t v)
{
    put32(out, uint32_t(v));
    put32(out, uint32_t(v >> 32));
}

uint32_t defaultMask(int channels)
{
    static const uint32_t masks[9] = {0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};
    return channels >= 0 && channels <= 8 ? masks[channels] : 0;
}

}  // namespace

std::vector<uint8_t> fileWaveFormat(const std::vector<uint8_t>& connectionFormat)
{
    if (connectionFormat.size() < sizeof(WAVEFORMATEX) - 2)
        return connectionFormat;
    WAVEFORMATEX wave{};
    std::memcpy(&wave, connectionFormat.data(), std::min(sizeof wave, connectionFormat.size()));
    WAVEFORMATEXTENSIBLE extensible{};
    if (wave.wFormatTag == WAVE_FORMAT_EXTENSIBLE && connectionFormat.size() >= sizeof extensible) {
        std::memcpy(&extensible, connectionFormat.data(), sizeof extensible);
    } else if (wave.wFormatTag == WAVE_FORMAT_PCM || wave.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) {
        extensible.Format = wave;
        extensible.Samples.wValidBitsPerSample = wave.wBitsPerSample;
        extensible.dwChannelMask = defaultMask(wave.nChannels);
        extensible.SubFormat = wave.wFormatTag == WAVE_FORMAT_PCM ? KSDATAFORMAT_SUBTYPE_PCM
                                                                  : KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
    } else {
        return connectionFormat;
    }
    extensible.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    extensible.Format.cbSize = sizeof extensible - sizeof(WAVEFORMATEX);
    std::vector<uint8_t> out(sizeof extensible);
    std::memcpy(out.data(), &extensible, sizeof extensible);
    return out;
}

bool WavWriter::open(const std::string& path, const std::vector<uint8_t>& format)
{
    file_.open(path, std::ios::binary | std::ios::trunc);
    if (!file_)
        return false;
    formatSize_ = static_cast<uint32_t>(format.size());
    if (format.size() >= 14)
        std::memcpy(&blockAlign_, format.data() + 12, 2);
    if (blockAlign_ == 0)
        blockAlign_ = 1;
    file_.write("RIFF", 4);
    put32(file_, 0);  // filled in by close()
    file_.write("WAVE", 4);
    // Room for the ds64 chunk, in case the file ends up larger than RIFF allows.
    file_.write("JUNK", 4);
    put32(file_, kDs64Size);
    file_.write(std::string(kDs64Size, '\0').data(), kDs64Size);
    file_.write("fmt ", 4);
    put32(file_, formatSize_);
    file_.write(reinterpret_cast<const char*>(format.data()), std::streamsize(format.size()));
    if (formatSize_ % 2)
        file_.put(0);
    file_.write("data", 4);
    put32(file_, 0);
    return bool(file_);
}

void WavWriter::write(const uint8_t* data, size_t size)
{
    file_.write(reinterpret_cast<const char*>(data), std::streamsize(size));
    data_ += size;
}

bool WavWriter::close()
{
    if (data_ % 2)
        file_.put(0);
    uint64_t padded = formatSize_ + (formatSize_ % 2);
    uint64_t headerAfterRiff = 4 + (8 + kDs64Size) + (8 + padded) + 8;
    uint64_t riff = headerAfterRiff + data_ + (data_ % 2);
    bool rf64 = riff > limit_ || data_ > limit_;
    file_.seekp(0);
    file_.write(rf64 ? "RF64" : "RIFF", 4);
    put32(file_, rf64 ? 0xFFFFFFFFu : uint32_t(riff));
    if (rf64) {
        file_.seekp(12);
        file_.write("ds64", 4);
        put32(file_, kDs64Size);
        put64(file_, riff);
        put64(file_, data_);
        put64(file_, data_ / blockAlign_);
        put32(file_, 0);  // no table of other large chunks
    }
    file_.seekp(std::streamoff(headerAfterRiff + 8 - 4));
    put32(file_, rf64 ? 0xFFFFFFFFu : uint32_t(data_));
    file_.close();
    return !file_.fail();
}
