#include "host/wav_writer.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace {

constexpr uint32_t kDs64Size =
    28;  // RIFF size, data size, sample count (64-bit each), table length

void put32(std::ostream& out, uint32_t v)
{
    char b[4] = {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
    out.write(b, 4);
}

void put64(std::ostream& out, uint64_t v)
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
    path_ = path;
    errno = 0;
    file_.open(path, std::ios::binary | std::ios::trunc);
    if (!file_) {
        error_ = errno ? errno : EIO;
        return false;
    }
    // A pipe or a device cannot be rewound to fill in the sizes: its header
    // says "unknown" (all ones), which readers take as "to the end".
    struct stat info {};
    streaming_ = stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode);
    const uint32_t unknownSize = streaming_ ? 0xFFFFFFFFu : 0;
    formatSize_ = static_cast<uint32_t>(format.size());
    if (format.size() >= 14)
        std::memcpy(&blockAlign_, format.data() + 12, 2);
    if (blockAlign_ == 0)
        blockAlign_ = 1;
    file_.write("RIFF", 4);
    put32(file_, unknownSize);  // filled in by close()
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
    put32(file_, unknownSize);
    headerSize_ = 12 + (8 + kDs64Size) + (8 + formatSize_ + formatSize_ % 2) + 8;
    return bool(file_);
}

void WavWriter::write(const uint8_t* data, size_t size)
{
    if (error_)
        return;
    file_.write(reinterpret_cast<const char*>(data), std::streamsize(size));
    if (!file_) {
        error_ = errno ? errno : EIO;
        return;
    }
    data_ += size;
}

bool WavWriter::close()
{
    if (!error_ && data_ % 2)
        file_.put(0);
    if (!error_ && !file_.flush())
        error_ = errno ? errno : EIO;
    file_.close();
    if (!error_ && file_.fail())
        error_ = errno ? errno : EIO;
    if (streaming_)
        return !error_;
    if (error_)
        keepWhatReachedTheFile();
    // The sizes go into the header in place, which never makes the file longer.
    std::fstream header(path_, std::ios::binary | std::ios::in | std::ios::out);
    writeSizes(header);
    header.close();
    return !error_ && !header.fail();
}

void WavWriter::keepWhatReachedTheFile()
{
    std::error_code error;
    uint64_t size = std::filesystem::file_size(path_, error);
    // Whole frames, and an even count of bytes so that no pad byte is needed.
    uint64_t unit = blockAlign_ % 2 ? 2u * blockAlign_ : blockAlign_;
    data_ = error || size < headerSize_ ? 0 : (size - headerSize_) / unit * unit;
    if (!error)
        std::filesystem::resize_file(path_, std::min(size, headerSize_ + data_), error);
}

void WavWriter::writeSizes(std::ostream& out) const
{
    uint64_t riff = headerSize_ - 8 + data_ + (data_ % 2);
    bool rf64 = riff > limit_ || data_ > limit_;
    out.seekp(0);
    out.write(rf64 ? "RF64" : "RIFF", 4);
    put32(out, rf64 ? 0xFFFFFFFFu : uint32_t(riff));
    if (rf64) {
        out.seekp(12);
        out.write("ds64", 4);
        put32(out, kDs64Size);
        put64(out, riff);
        put64(out, data_);
        put64(out, data_ / blockAlign_);
        put32(out, 0);  // no table of other large chunks
    }
    out.seekp(std::streamoff(headerSize_ - 4));
    put32(out, rf64 ? 0xFFFFFFFFu : uint32_t(data_));
}
